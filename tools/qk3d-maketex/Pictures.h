// Pictures.h: the textures of the demo scene.
#pragma once

#include "Painter.h"

struct Picture {
    char const* name; // of the file, without ".png"
    Canvas (*paint)();
};

/// All of them; the end is a null name.
extern Picture const kPictures[];
