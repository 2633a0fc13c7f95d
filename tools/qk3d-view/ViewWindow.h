// ViewWindow.h: hands on mouse and keyboard that move the camera.
#pragma once

#include "ViewEngine.h"
#include <set>

namespace view {
class CViewHud;
class CViewScene;

/// Follows the window's input from frame to frame.
class CViewWindow {
public:
    /// `hud` may be null.
    CViewWindow(CViewEngine& engine, CViewScene& scene, CViewHud* hud, std::string screenshot);

    /// Takes what happened since the last frame. False once the window is to close.
    bool Follow();

private:
    void MoveCamera(Json::Value const& state);
    void TakeKeys(Json::Value const& state);

    CViewEngine& m_engine;
    CViewScene& m_scene;
    CViewHud* m_hud;              // not owned
    std::string m_screenshot;     // where a screenshot goes; UTF-8
    std::set<std::string> m_keys; // held down in the last frame
    float m_cursorX = 0, m_cursorY = 0;
    bool m_isWireframe = false;
    bool m_isClosing = false;
};
} // namespace view
