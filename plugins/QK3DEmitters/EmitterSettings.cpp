// EmitterSettings.cpp: settings from scripts, brought into range.
#include "EmitterSettings.h"
#include "QK3DMain.h"
#include "QK3DMaterial.h"
#include "QK3DMesh.h"
#include "QK3DResourceSystem.h"
#include "QKJson.h"
#include "QKLog.h"
#include <algorithm>
#include <cmath>

namespace qk3d {
namespace {
using qklib::JsonElement;
using qklib::JsonMember;

constexpr unsigned int kMostAtATime = 1'000'000;
constexpr float kHighestRate = 1'000'000;
constexpr float kLongestLife = 1e9f; // seconds, which still fit the ticks of the clock
constexpr float kLargest = 1e18f;    // whose square is still finite
constexpr std::size_t kMostColors = 64;

bool ReadVector(Json::Value const& value, Vector3& out) {
    Vector3 v;
    if (value.size() != 3 || !qklib::ReadFloat(JsonElement(value, 0), v.x) ||
        !qklib::ReadFloat(JsonElement(value, 1), v.y) || !qklib::ReadFloat(JsonElement(value, 2), v.z))
        return false;
    out = v;
    return true;
}

// A number stands for both ends.
void ReadRange(Json::Value const& value, EmitRange& out) {
    EmitRange range;
    if (qklib::ReadFloat(value, range.from))
        out = {range.from, range.from};
    else if (value.size() == 2 && qklib::ReadFloat(JsonElement(value, 0), range.from) &&
             qklib::ReadFloat(JsonElement(value, 1), range.to))
        out = range;
}

// A packed number, or [alpha, red, green, blue].
bool ReadColor(Json::Value const& value, color& out) {
    unsigned int packed = 0;
    if (qklib::ReadUInt(value, packed)) {
        out = packed;
        return true;
    }
    int channels[4];
    if (value.size() != 4) return false;
    for (unsigned int i = 0; i < 4; ++i)
        if (!qklib::ReadInt(JsonElement(value, i), channels[i])) return false;
    out = ColorInt(channels[0], channels[1], channels[2], channels[3]);
    return true;
}

void ReadColors(Json::Value const& value, std::vector<ColorKey>& out) {
    if (!value.isArray()) return;
    std::vector<ColorKey> keys;
    for (unsigned int i = 0; i < value.size() && keys.size() < kMostColors; ++i) {
        Json::Value const& element = JsonElement(value, i);
        ColorKey key;
        if (element.size() == 2 && qklib::ReadFloat(JsonElement(element, 0), key.age) &&
            ReadColor(JsonElement(element, 1), key.value))
            keys.push_back(key);
    }
    out = std::move(keys);
}

void ReadCommon(Json::Value const& value, EmitSettings& settings) {
    qklib::ReadFloat(value, "Rate", settings.rate);
    qklib::ReadUInt(value, "Total", settings.total);
    qklib::ReadUInt(value, "Max", settings.max);
    qklib::ReadUInt(value, "Seed", settings.seed);
    qklib::ReadBool(value, "Bound", settings.isBound);
    ReadRange(JsonMember(value, "Life"), settings.life);
    Json::Value const& range = JsonMember(value, "Range");
    Vector3 low, high;
    if (ReadVector(JsonElement(range, 0), low) && ReadVector(JsonElement(range, 1), high))
        settings.rangeMin = low, settings.rangeMax = high;
}

ResourceSharePtr Find(char const* type, string const& name) {
    if (name.empty()) return nullptr;
    ResourceSharePtr resource = CQK3DMain::GetResourceSystem().GetResource(type, name);
    if (!resource)
        QK_LOG_TO(qklib::CLoger::GetLoger().GetCategory("QK3DEmitters"), LOG_WARNING,
                  "There is no %s of this name : %s", type, name.c_str());
    return resource;
}

void Clamp(float& value, float low, float high) { value = std::isnan(value) ? low : std::clamp(value, low, high); }

void ClampNumber(float& value) { value = std::isnan(value) ? 0.0f : std::clamp(value, -kLargest, kLargest); }

void Clamp(Vector3& v) {
    for (float* element : {&v.x, &v.y, &v.z}) ClampNumber(*element);
}

void Clamp(EmitSettings& settings) {
    Clamp(settings.rate, 0, kHighestRate);
    settings.max = std::min(settings.max, kMostAtATime);
    Clamp(settings.rangeMin);
    Clamp(settings.rangeMax);
    Clamp(settings.life.from, 0, kLongestLife);
    Clamp(settings.life.to, 0, kLongestLife);
    if (settings.life.from > settings.life.to) std::swap(settings.life.from, settings.life.to);
}
} // namespace

void ReadSettings(Json::Value const& value, ParticleEmitterSettings& settings) {
    ReadCommon(value, settings);
    ReadVector(JsonMember(value, "Direction"), settings.direction);
    qklib::ReadFloat(value, "Spread", settings.spread);
    ReadRange(JsonMember(value, "Speed"), settings.speed);
    ReadVector(JsonMember(value, "Gravity"), settings.gravity);
    ReadRange(JsonMember(value, "Size"), settings.size);
    ReadRange(JsonMember(value, "Spin"), settings.spin);
    ReadColors(JsonMember(value, "Colors"), settings.colors);
    qklib::ReadString(value, "Mesh", settings.mesh);
    qklib::ReadString(value, "Material", settings.material);
}

void ReadSettings(Json::Value const& value, EmitterEmitterSettings& settings) {
    ReadCommon(value, settings);
    if (Json::Value const& child = JsonMember(value, "Emitter"); child.isObject()) ReadSettings(child, settings.child);
}

void BringIntoRange(ParticleEmitterSettings& settings) {
    Clamp(settings);
    Clamp(settings.direction);
    settings.direction.Normalize();
    Clamp(settings.spread, 0, 3.14159265f);
    Clamp(settings.gravity);
    for (EmitRange* range : {&settings.speed, &settings.size, &settings.spin}) {
        ClampNumber(range->from);
        ClampNumber(range->to);
    }
    if (settings.colors.size() > kMostColors) settings.colors.resize(kMostColors);
    for (ColorKey& key : settings.colors) Clamp(key.age, 0, 1);
    std::stable_sort(settings.colors.begin(), settings.colors.end(),
                     [](ColorKey const& a, ColorKey const& b) { return a.age < b.age; });
}

void BringIntoRange(EmitterEmitterSettings& settings) {
    Clamp(settings);
    BringIntoRange(settings.child);
}

void Apply(EmitSettings const& settings, CEmitter& emitter) {
    emitter.SetEmitSpeed(settings.rate);
    emitter.SetTotalEmitNum(settings.total);
    emitter.SetMaxParticleNum(settings.max);
    emitter.SetRange(settings.rangeMin, settings.rangeMax);
}

_ResourceSharePtr<CMesh> FindMesh(string const& name) { return Find("CMesh", name); }
_ResourceSharePtr<CMaterial> FindMaterial(string const& name) { return Find("CMaterial", name); }
} // namespace qk3d
