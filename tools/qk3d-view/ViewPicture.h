// ViewPicture.h: brings what was drawn into a file.
#pragma once

#include <string>

namespace view {
class CViewEngine;

/// Writes what the target shows as a PNG file without alpha. Failure if it cannot be read back or written.
void SavePicture(CViewEngine& engine, std::string const& utf8);
} // namespace view
