// ModelImport.h: has a model imported by the program qk3d-import, in a process of its own.
#pragma once

#include "ModelScene.h"
#include "QK3DFileSystem.h"

namespace qk3d::models {
/// Imports the file of that path, which comes out of the store, as do the files beside it. The program lies beside the
/// plug-in, or beside the running program. Whatever a file does to it, here is but a reason: it is held to a minute of
/// computing and 4 GiB of memory, and what it answers is believed only as far as it holds together.
///
/// False, with a reason, if there is no sound model.
bool ImportModel(CFileSystem const& store, wstring const& path, ModelScene& scene, std::string& reason);
} // namespace qk3d::models
