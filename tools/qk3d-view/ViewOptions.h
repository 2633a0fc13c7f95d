// ViewOptions.h: what the command line of qk3d-view says.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace view {
/// A model, and the script that replaces the materials of its file (empty: they stay).
struct ModelOption {
    std::string file;
    std::string material;
};

/// All texts are UTF-8.
struct Options {
    std::vector<ModelOption> models; ///< a material without a model has an empty file, and is shown on a ball
    std::string scene;
    std::string package; ///< where all of the above is read from; empty: the disk
    std::string output;
    std::string trace;
    std::string font; ///< empty: one of the system
    std::string backend = "QK3DGL";
    unsigned int width = 960;
    unsigned int height = 540;
    unsigned int frames = 0; ///< 0: one, or in a window until it is closed
    /// Seconds from frame to frame. Without it 1/60, or in a window that stays open what the clock of the system says.
    std::optional<double> timeStep;
    bool window = false;
    bool hud = false;
    bool help = false;
};

/// False, with one line that says what is wrong, for a command line that makes no sense.
bool ReadOptions(std::vector<std::string> const& arguments, Options& options, std::string& error);

extern char const* const kHelp;
} // namespace view
