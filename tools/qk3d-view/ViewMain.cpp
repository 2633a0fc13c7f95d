// ViewMain.cpp: the program qk3d-view: shows models, materials and scenes.
#include "QK3DCalculagraph.h"
#include "QK3DRenderSystem.h"
#include "QKJson.h"
#include "ViewHud.h"
#include "ViewOverlay.h"
#include "ViewPicture.h"
#include "ViewScene.h"
#include "ViewSceneFile.h"
#include "ViewWindow.h"
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>

namespace {
using namespace view;

// The device's time value of a frame: never twice the same, or the frame would not be drawn.
long long FrameTime(unsigned long long frame) { return static_cast<long long>(frame) + 1; }

// The time that the scene shows, in seconds. Where frames are counted or stepped it is the same in every run; a window that
// stays open shows it as it passes.
class CSceneClock {
public:
    explicit CSceneClock(Options const& options)
        : m_isStepped(!options.window || options.frames != 0 || options.timeStep.has_value()),
          m_step(options.timeStep.value_or(1.0 / 60)) {
        if (!m_isStepped) m_stopwatch.Start();
    }
    double At(unsigned long long frame) {
        return m_isStepped ? static_cast<double>(frame) * m_step : m_stopwatch.GetTimeAsSecond();
    }

private:
    bool m_isStepped;
    double m_step;
    qk3d::CWin32Calculagraph m_stopwatch;
};

class CFrameTimes {
public:
    void Begin() { m_start = std::chrono::steady_clock::now(); }
    void End() {
        std::chrono::duration<double, std::milli> const passed = std::chrono::steady_clock::now() - m_start;
        m_times.push_back(passed.count());
    }
    double Last() const { return m_times.back(); }
    void Print(CViewEngine& engine, CDrawCounter const& counter) {
        if (m_times.empty()) return;
        std::sort(m_times.begin(), m_times.end());
        std::printf("%zu frames: %.2f ms in the middle, %.2f ms at most\n", m_times.size(), m_times[m_times.size() / 2],
                    m_times.back());
        auto const perFrame = [&](unsigned long long count) {
            return static_cast<double>(count) / static_cast<double>(m_times.size());
        };
        std::printf("a frame: %.1f draws, whose passes set %.1f states", perFrame(counter.GetDraws()),
                    perFrame(counter.GetStates()));
        Json::Value statistics;
        unsigned int sent = 0;
        if (engine.Call("GetStatistics", Json::Value(Json::objectValue), &statistics) &&
            qklib::ReadUInt(statistics, "StateSetters", sent))
            std::printf(": %.1f state calls, of which %.1f are saved by the filter", perFrame(counter.GetStateCalls()),
                        std::max(perFrame(counter.GetStateCalls()) - perFrame(sent), 0.0));
        std::printf("\n");
    }

private:
    std::chrono::steady_clock::time_point m_start;
    std::vector<double> m_times;
};

void Run(Options const& options) {
    CViewEngine engine(options);
    CViewScene scene(engine);
    CViewOverlay overlay(engine, scene.Counter(), options.font);
    if (options.scene.empty())
        FillFromModels(engine, scene, options);
    else
        FillFromFile(engine, scene, overlay, options.scene);
    std::optional<CViewHud> hud;
    if (options.hud || options.window) { // in a window a key shows it, too
        hud.emplace(engine, overlay, scene.Counter());
        hud->SetVisible(options.hud);
    }

    CViewWindow window(engine, scene, hud ? &*hud : nullptr, options.output.empty() ? "qk3d-view.png" : options.output);
    CFrameTimes times;
    CSceneClock clock(options);
    bool const isEndless = options.window && options.frames == 0;
    unsigned int const frames = std::max(options.frames, 1u);
    for (unsigned long long frame = 0; isEndless || frame < frames; ++frame) {
        if (options.window && !window.Follow()) break;
        times.Begin();
        scene.Advance(clock.At(frame));
        overlay.Advance();
        if (!engine.Device().UpdateAllRenderTarget(FrameTime(frame))) throw Failure("the device is lost");
        times.End();
        if (hud) hud->TakeFrame(times.Last());
        if (frame == 0) scene.CheckMaterials();
    }
    // From an endless window a picture comes at a keystroke only.
    if (!options.output.empty() && !isEndless) SavePicture(engine, options.output);
    times.Print(engine, scene.Counter());
}
} // namespace

int main(int argc, char** argv) {
    ShowWarnings();
    Options options;
    std::string error;
    if (!ReadOptions({argv + 1, argv + argc}, options, error)) {
        std::fprintf(stderr, "qk3d-view: %s (--help tells more)\n", error.c_str());
        return 2;
    }
    if (options.help) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    try {
        Run(options);
    } catch (std::exception const& failure) {
        std::fprintf(stderr, "qk3d-view: %s\n", failure.what());
        return 1;
    }
    return 0;
}
