// ViewSceneFile.cpp: the form of a scene file.
//
// A JSON object with these keys, all optional. Paths are as seen from the scene file; colours are [red, green, blue] from 0
// to 1, angles in degrees, places [x, y, z].
//   "Background"  colour behind everything
//   "Folders"     array of folders in which scripts find textures and programs
//   "Materials"   array of material scripts; a material is known by its file name without the extension
//   "Lights"      array of objects for the device's command "SetLight"; "Index" is the place in the array
//   "Surface"     object for the device's command "SetMaterial"
//   "Camera"      the window's: "LookAt", "Distance", "Yaw", "Pitch", "Fov", "Near", "Far", "Turn" (degrees a second)
//   "Screens"     array of objects: "Texture" (the name under which materials use it), "Size" [width, height], "Camera"
//   "Objects"     array of objects: "Model" (a file) or "Shape" (PLANE, QUAD, CROSS, BOX, BALL, DOME) with "Size" and "Repeat";
//                 "Material", "Position", "Rotation" [about x, about y, about z], "Scale" or "Fit" (the length of its
//                 largest side; it stands on its position then), "Spin" (degrees a second), "Transparent",
//                 "HideFromScreens"
//   "Emitters"    array of objects: "Type" (ParticleEmitter or EmitterEmitter of the plug-in QK3DEmitters), "Shape" with
//                 "Size" (of each particle), "Material", "Position", "Rotation", "RunningFor" (seconds before the start)
//                 and "Settings", the emitter's own script
//   "Panels"      array of objects: "Script" (an overlay script) and "Lines", array of texts for sub-items whose texture
//                 is "Blank": "Item" (names joined by "."), "Left", "Right", "Size" (pixels), "Colour"
#include "ViewSceneFile.h"

#include "QK3DOverlayItem.h"
#include "QK3DRenderWindow.h"
#include "QK3DText.h"
#include "QKJson.h"
#include "ViewOverlay.h"
#include "ViewScene.h"
#include <algorithm>
#include <cmath>

namespace view {
using namespace qk3d;
using qklib::JsonElement;
using qklib::JsonMember;
using qklib::ReadBool;
using qklib::ReadFloat;
using qklib::ReadUInt;

namespace {
std::string ReadText(Json::Value const& object, char const* key) { return ToUtf8(JsonToAnsi(JsonMember(object, key))); }

void ReadFloats(Json::Value const& object, char const* key, float* out, unsigned int count) {
    Json::Value const& list = JsonMember(object, key);
    for (unsigned int i = 0; i < count; ++i) ReadFloat(JsonElement(list, i), out[i]);
}

Orbit ReadOrbit(Json::Value const& value) {
    Orbit orbit;
    ReadFloats(value, "LookAt", &orbit.target.x, 3);
    ReadFloat(value, "Distance", orbit.distance);
    ReadFloat(value, "Yaw", orbit.yaw);
    ReadFloat(value, "Pitch", orbit.pitch);
    ReadFloat(value, "Fov", orbit.fov);
    ReadFloat(value, "Near", orbit.nearest);
    ReadFloat(value, "Far", orbit.farthest);
    ReadFloat(value, "Turn", orbit.turn);
    return orbit;
}

color ReadColour(Json::Value const& object, char const* key, color fallback) {
    if (!JsonMember(object, key).isArray()) return fallback;
    float channels[3] = {};
    ReadFloats(object, key, channels, 3);
    ColorInt const packed(255, static_cast<int>(std::lround(channels[0] * 255)),
                          static_cast<int>(std::lround(channels[1] * 255)),
                          static_cast<int>(std::lround(channels[2] * 255)));
    return packed;
}

ObjectPlan ReadObject(Json::Value const& value, std::string const& file) {
    ObjectPlan plan;
    std::string const model = ReadText(value, "Model");
    if (!model.empty()) plan.model = Beside(file, model);
    plan.shape.kind = ReadText(value, "Shape");
    if (model.empty() && !IsShape(plan.shape.kind))
        throw Failure("an object has neither a model nor a known shape: " + file);
    ReadFloats(value, "Size", &plan.shape.size.x, 3);
    ReadFloats(value, "Repeat", &plan.shape.repeat.x, 2);
    plan.material = ReadText(value, "Material");
    ReadFloats(value, "Position", &plan.position.x, 3);
    ReadFloats(value, "Rotation", &plan.rotation.x, 3);
    ReadFloat(value, "Scale", plan.scale);
    float fit = 0;
    if (ReadFloat(value, "Fit", fit) && fit > 0) plan.scale = -fit;
    ReadFloat(value, "Spin", plan.spin);
    ReadBool(value, "Transparent", plan.isTransparent);
    ReadBool(value, "HideFromScreens", plan.isHiddenFromScreens);
    return plan;
}

EmitterPlan ReadEmitter(Json::Value const& value, std::string const& file) {
    EmitterPlan plan;
    plan.type = ReadText(value, "Type");
    plan.shape.kind = ReadText(value, "Shape");
    if (!IsShape(plan.shape.kind)) throw Failure("an emitter has no known shape: " + file);
    ReadFloats(value, "Size", &plan.shape.size.x, 3);
    plan.material = ReadText(value, "Material");
    ReadFloats(value, "Position", &plan.position.x, 3);
    ReadFloats(value, "Rotation", &plan.rotation.x, 3);
    float runningFor = 0;
    if (ReadFloat(value, "RunningFor", runningFor)) plan.runningFor = std::clamp(runningFor, 0.0f, 1e6f);
    plan.settings = JsonMember(value, "Settings");
    return plan;
}

void AddPanel(CViewOverlay& overlay, Json::Value const& value, std::string const& file) {
    std::string const script = Beside(file, ReadText(value, "Script"));
    COverlayItem& panel = overlay.AddPanel(script);
    for (Json::Value const& entry : JsonMember(value, "Lines")) {
        COverlayItem* const item = panel.GetSubItem(JsonToAnsi(JsonMember(entry, "Item")));
        if (!item) throw Failure("the panel has no item " + ReadText(entry, "Item") + ": " + script);
        TextLine line;
        line.left = ReadText(entry, "Left");
        line.right = ReadText(entry, "Right");
        ReadUInt(entry, "Size", line.size);
        line.size = std::clamp(line.size, 1u, 512u);
        line.colour = static_cast<unsigned int>(ReadColour(entry, "Colour", color(line.colour)));
        overlay.SetLine(*item, line);
    }
}

ScreenPlan ReadScreen(Json::Value const& value) {
    ScreenPlan plan;
    plan.texture = ReadText(value, "Texture");
    ReadUInt(JsonElement(JsonMember(value, "Size"), 0), plan.width);
    ReadUInt(JsonElement(JsonMember(value, "Size"), 1), plan.height);
    plan.camera = ReadOrbit(JsonMember(value, "Camera"));
    return plan;
}

Json::Value MakeVector(float x, float y, float z) {
    Json::Value list(Json::arrayValue);
    for (float const element : {x, y, z}) list.append(element);
    return list;
}

// A key light from the upper left behind the viewer, and a weak one from the other side.
void AddDefaultLights(CViewScene& scene) {
    Json::Value key(Json::objectValue);
    key["Index"] = 0;
    key["Enable"] = true;
    key["Type"] = "DIRECTIONAL";
    key["Direction"] = MakeVector(0.5f, -0.8f, 0.6f);
    key["Diffuse"] = MakeVector(0.95f, 0.93f, 0.88f);
    key["Ambient"] = MakeVector(0.28f, 0.30f, 0.34f);
    scene.SetLight(key);
    Json::Value fill = key;
    fill["Index"] = 1;
    fill["Direction"] = MakeVector(-0.7f, -0.2f, -0.3f);
    fill["Diffuse"] = MakeVector(0.25f, 0.28f, 0.34f);
    fill["Ambient"] = MakeVector(0, 0, 0);
    scene.SetLight(fill);
}
} // namespace

void FillFromFile(CViewEngine& engine, CViewScene& scene, CViewOverlay& overlay, std::string const& file) {
    Json::Value const root = engine.Files().ReadJson(file);
    engine.Target().SetBackgroundColor(ReadColour(root, "Background", color(255, 60, 70, 85)));
    for (Json::Value const& folder : JsonMember(root, "Folders"))
        engine.Files().AddFolder(Beside(file, ToUtf8(JsonToAnsi(folder))));

    unsigned int index = 0;
    for (Json::Value light : JsonMember(root, "Lights")) {
        if (!light.isObject()) throw Failure("a light is no object: " + file);
        light["Index"] = index++;
        light["Enable"] = true;
        scene.SetLight(light);
    }
    if (JsonMember(root, "Surface").isObject()) scene.SetSurface(root["Surface"]);

    // Screens first: materials refer to their textures by name.
    for (Json::Value const& screen : JsonMember(root, "Screens")) scene.AddScreen(ReadScreen(screen));
    for (Json::Value const& material : JsonMember(root, "Materials"))
        scene.AddMaterial(Beside(file, ToUtf8(JsonToAnsi(material))));
    for (Json::Value const& object : JsonMember(root, "Objects")) scene.AddObject(ReadObject(object, file));
    for (Json::Value const& emitter : JsonMember(root, "Emitters")) scene.AddEmitter(ReadEmitter(emitter, file));
    for (Json::Value const& panel : JsonMember(root, "Panels")) AddPanel(overlay, panel, file);
    scene.SetView(ReadOrbit(JsonMember(root, "Camera")));
}

void FillFromModels(CViewEngine& engine, CViewScene& scene, Options const& options) {
    engine.Target().SetBackgroundColor(color(255, 58, 66, 80));
    AddDefaultLights(scene);
    float place = 0;
    for (ModelOption const& option : options.models) {
        ObjectPlan plan;
        if (!option.material.empty()) {
            scene.AddMaterial(option.material);
            plan.material = StemOf(option.material);
        }
        plan.model = option.file;
        plan.shape.kind = "BALL";
        plan.position = Vector3(place, 0, 0);
        plan.scale = -1; // all of one size, whatever the units of their files
        scene.AddObject(plan);
        place += 1.25f;
    }

    Orbit orbit;
    float radius = 1;
    scene.GetBounds(orbit.target, radius);
    orbit.distance = radius * 2.9f;
    orbit.nearest = radius * 0.01f;
    orbit.farthest = radius * 20;
    orbit.yaw = 30;
    orbit.pitch = 20;
    orbit.turn = 30;
    scene.SetView(orbit);
}
} // namespace view
