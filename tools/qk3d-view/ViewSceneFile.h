// ViewSceneFile.h: fills a scene from a scene file, or from the models and materials of the command line.
#pragma once

#include "ViewOptions.h"

namespace view {
class CViewEngine;
class CViewOverlay;
class CViewScene;

/// Failure if a file is missing or broken. The form of a scene file is told in ViewSceneFile.cpp.
void FillFromFile(CViewEngine& engine, CViewScene& scene, CViewOverlay& overlay, std::string const& file);

/// The models side by side on the ground, with light from the upper left and a camera that turns around them.
void FillFromModels(CViewEngine& engine, CViewScene& scene, Options const& options);
} // namespace view
