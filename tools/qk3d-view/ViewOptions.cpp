// ViewOptions.cpp: reading the command line.
#include "ViewOptions.h"

#include <charconv>
#include <cmath>
#include <functional>

namespace view {
char const* const kHelp =
    R"(usage: qk3d-view [OPTION]...

Shows models, materials and scenes with the engine QK3D: without a display as a picture, or in a window.

What to show:
  --scene FILE       a scene: a JSON file that names models, materials, lights and cameras
  --model FILE       a model (glTF 2.0, OBJ, MS3D and others); several stand side by side
  --material FILE    a material script: replaces the materials of the model before it, or is shown on a ball
  --package FILE     reads all of the above, and the files that they name, out of one package of qk3d-pack (or another
                     ZIP archive), whose top takes the place of the root of the disk

How:
  --size WxH         size in pixels (960x540)
  --frames N         how many frames to draw (1; in a window until it is closed); the camera goes round as time goes on
  --time-step S      seconds from one frame to the next (1/60); the clock of the system plays no part, so the same
                     command draws the same picture. Only a window without --frames and --time-step follows the clock
  --backend NAME     the plug-in that draws (QK3DGL)
  --hud              what a frame costs, in a panel over the scene
  --font FILE        the font of panels (DejaVu Sans)

Where to:
  --out FILE.png     the last frame
  --trace FILE       draws nothing, but writes each operation that would reach the device, one JSON object a line
  --window           a window. Drag with the left button to orbit, with the right one to pan, turn
                     the wheel to zoom. Keys: H the panel of --hud, W wireframe, R reload the scripts (a changed script
                     reloads by itself), S screenshot (of the name in --out, or qk3d-view.png), Escape close

  --help             this text

Exit codes: 0 all is well, 1 a file is missing or broken, or the device cannot be had, 2 wrong usage.
)";

namespace {
template <class Number>
bool ReadNumber(std::string const& text, Number low, Number high, Number& out) {
    Number value{};
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !(value >= low && value <= high)) return false;
    out = value;
    return true;
}

bool ReadSize(std::string const& text, unsigned int& width, unsigned int& height) {
    auto const cross = text.find('x');
    return cross != std::string::npos && ReadNumber(text.substr(0, cross), 1u, 8192u, width) &&
           ReadNumber(text.substr(cross + 1), 1u, 8192u, height);
}

// What cannot go together, or is too little.
bool CheckWhole(Options const& options, std::string& error) {
    if (options.models.empty() && options.scene.empty())
        error = "nothing to show: name a --scene, --model or --material";
    else if (!options.models.empty() && !options.scene.empty())
        error = "--scene goes with neither --model nor --material";
    else if (!options.trace.empty() && (!options.output.empty() || options.window))
        error = "--trace draws nothing, so it goes with neither --out nor --window";
    return error.empty();
}
} // namespace

bool ReadOptions(std::vector<std::string> const& arguments, Options& options, std::string& error) {
    struct Row {
        char const* name;
        bool hasValue;
        std::function<bool(std::string const&)> take;
    };
    auto const text = [](std::string& target) {
        return [&target](std::string const& value) { return !(target = value).empty(); };
    };
    Row const rows[] = {
        {"--help", false, [&](auto&) { return options.help = true; }},
        {"--hud", false, [&](auto&) { return options.hud = true; }},
        {"--window", false, [&](auto&) { return options.window = true; }},
        {"--scene", true, text(options.scene)},
        {"--out", true, text(options.output)},
        {"--package", true, text(options.package)},
        {"--trace", true, text(options.trace)},
        {"--backend", true, text(options.backend)},
        {"--font", true, text(options.font)},
        {"--size", true, [&](std::string const& value) { return ReadSize(value, options.width, options.height); }},
        {"--frames", true, [&](std::string const& value) { return ReadNumber(value, 1u, 1000000u, options.frames); }},
        {"--time-step", true,
         [&](std::string const& value) { return ReadNumber(value, 0.0, 3600.0, options.timeStep.emplace()); }},
        {"--model", true,
         [&](std::string const& value) {
             options.models.push_back({value, {}});
             return !value.empty();
         }},
        {"--material", true,
         [&](std::string const& value) {
             // One that follows a model belongs to it; any other is shown by itself.
             if (options.models.empty() || !options.models.back().material.empty()) options.models.push_back({});
             options.models.back().material = value;
             return !value.empty();
         }},
    };

    for (std::size_t i = 0; i < arguments.size(); ++i) {
        Row const* found = nullptr;
        for (Row const& row : rows)
            if (arguments[i] == row.name) found = &row;
        if (!found) {
            error = "unknown argument: " + arguments[i];
            return false;
        }
        if (found->hasValue && i + 1 == arguments.size()) {
            error = arguments[i] + " lacks its value";
            return false;
        }
        std::string const value = found->hasValue ? arguments[++i] : std::string();
        if (!found->take(value)) {
            error = std::string(found->name) + " cannot be \"" + value + "\"";
            return false;
        }
    }
    return options.help || CheckWhole(options, error);
}
} // namespace view
