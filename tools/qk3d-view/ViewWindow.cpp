// ViewWindow.cpp: what mouse and keys do.
#include "ViewWindow.h"

#include "QK3DRenderWindow.h"
#include "QKJson.h"
#include "ViewHud.h"
#include "ViewPicture.h"
#include "ViewScene.h"
#include <algorithm>
#include <cmath>
#include <cstdio>

namespace view {
using namespace qk3d;

namespace {
constexpr unsigned int kLeftButton = 1, kRightButton = 2;
constexpr float kDegreesPerPixel = 0.35f;
} // namespace

CViewWindow::CViewWindow(CViewEngine& engine, CViewScene& scene, CViewHud* hud, std::string screenshot)
    : m_engine(engine), m_scene(scene), m_hud(hud), m_screenshot(std::move(screenshot)) {}

bool CViewWindow::Follow() {
    Json::Value in(Json::objectValue), state;
    in["Name"] = m_engine.Target().GetName();
    if (!m_engine.Call("GetWindowState", in, &state)) throw Failure("the device shows no window");

    bool isClosed = false;
    qklib::ReadBool(state, "Closed", isClosed);
    unsigned int width = 0, height = 0;
    qklib::ReadUInt(state, "Width", width);
    qklib::ReadUInt(state, "Height", height);
    CRenderWindow& window = m_engine.Target();
    if (width && height && (width != window.GetWidth() || height != window.GetHeight()))
        window.Reset(width, height, window.GetPixelFormat());

    MoveCamera(state);
    TakeKeys(state);
    m_scene.ReloadMaterials(true);
    return !isClosed && !m_isClosing;
}

void CViewWindow::MoveCamera(Json::Value const& state) {
    float x = m_cursorX, y = m_cursorY, wheel = 0;
    unsigned int buttons = 0;
    qklib::ReadFloat(qklib::JsonElement(qklib::JsonMember(state, "Cursor"), 0), x);
    qklib::ReadFloat(qklib::JsonElement(qklib::JsonMember(state, "Cursor"), 1), y);
    qklib::ReadFloat(state, "Wheel", wheel);
    qklib::ReadUInt(state, "Buttons", buttons);
    float const dx = x - m_cursorX, dy = y - m_cursorY;
    m_cursorX = x;
    m_cursorY = y;

    Orbit& orbit = m_scene.View();
    if (buttons & kLeftButton) {
        orbit.turn = 0; // a hand on the camera stops its own turning
        orbit.yaw += dx * kDegreesPerPixel;
        orbit.pitch = std::clamp(orbit.pitch + dy * kDegreesPerPixel, -89.0f, 89.0f);
    } else if (buttons & kRightButton) {
        // So far that the point under the cursor stays under it.
        float const perPixel = 2 * orbit.distance * std::tan(orbit.fov / 2 * 3.14159265f / 180) /
                               static_cast<float>(std::max(m_engine.Target().GetHeight(), 1u));
        float const yaw = orbit.yaw * 3.14159265f / 180;
        orbit.target = orbit.target + Vector3(-std::cos(yaw), 0, std::sin(yaw)) * (dx * perPixel) +
                       Vector3::UNIT_Y * (dy * perPixel);
    }
    orbit.distance = std::clamp(orbit.distance * std::pow(0.9f, wheel), orbit.nearest * 2, orbit.farthest / 2);
}

void CViewWindow::TakeKeys(Json::Value const& state) {
    std::set<std::string> keys;
    for (Json::Value const& key : qklib::JsonMember(state, "Keys")) {
        string name;
        if (qklib::ReadString(key, name)) keys.insert(name);
    }
    auto const isPressed = [&](char const* key) { return keys.count(key) && !m_keys.count(key); };
    if (isPressed("ESCAPE")) m_isClosing = true;
    if (isPressed("H") && m_hud) m_hud->SetVisible(!m_hud->IsVisible());
    if (isPressed("R")) m_scene.ReloadMaterials(false);
    if (isPressed("W")) m_scene.SetWireframe(m_isWireframe = !m_isWireframe);
    if (isPressed("S")) {
        SavePicture(m_engine, m_screenshot);
        std::printf("%s\n", m_screenshot.c_str());
        std::fflush(stdout);
    }
    m_keys = std::move(keys);
}
} // namespace view
