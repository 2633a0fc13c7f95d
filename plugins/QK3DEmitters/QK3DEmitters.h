// QK3DEmitters.h: what hosts see of the plug-in "QK3DEmitters": two types of emitters and their settings.
//
//     CQK3DMain::GetQK3DMain().LoadPlugin("QK3DEmitters.so", nullptr, 0);
//     auto* fire = dynamic_cast<CParticleEmitter*>(CQK3DMain::GetFactory().CreateEmitter("ParticleEmitter", "fire"));
//     fire->SetFromScript(R"({"Rate": 200, "Life": [0.5, 1.5], "Direction": [0, 1, 0], "Material": "fire"})");
//     node->AttachMovableObject(fire);
//
// Both types can also be made by CSceneManager::CreateMovableObject, and belong to the scene then.
#pragma once

#include "QK3DColor.h"
#include "QK3DEmitter.h"
#include "QKSerial.h"
#include <vector>

namespace qk3d {
/// Two bounds that a random number is drawn between, in either order.
struct EmitRange {
    float from = 0;
    float to = 0;
};

/// What all emitters of the plug-in have. In a script every member has the key named beside it.
struct EmitSettings {
    float rate = 10;                 ///< "Rate": objects a second, at most 1,000,000
    unsigned int total = 0xFFFFFFFF; ///< "Total": in all
    unsigned int max = 100;          ///< "Max": at a time, at most 1,000,000
    Vector3 rangeMin;                ///< "Range": [[x, y, z], [x, y, z]], two corners of the box of birth places
    Vector3 rangeMax;
    EmitRange life = {1, 1}; ///< "Life": seconds; a number or [from, to], as for all ranges
    bool isBound = false;    ///< "Bound": what is emitted moves along with the emitter
    unsigned int seed = 1;   ///< "Seed": emitters of one seed emit the same, whatever the order of updates
};

/// The colour at some point of a life.
struct ColorKey {
    float age = 0; ///< from 0, the birth, to 1, the end
    color value = 0xFFFFFFFFu;
};

/// Particles are thrown in a cone, fly freely, and change size and colour. Lengths are those of the emitter's space at
/// the time of birth; a bound emitter's particles fly in its space.
struct ParticleEmitterSettings : EmitSettings {
    Vector3 direction = {0, 1, 0}; ///< "Direction"
    float spread = 0;              ///< "Spread": radians between the direction and the side of the cone, up to pi
    EmitRange speed = {1, 1};      ///< "Speed": length a second
    Vector3 gravity;               ///< "Gravity": length a second, a second; not turned with the emitter
    EmitRange size = {1, 1};       ///< "Size": scale at birth and at the end
    EmitRange spin;                ///< "Spin": radians a second about z
    std::vector<ColorKey> colors;  ///< "Colors": [[age, colour], ...]; between two of them the colour goes evenly
    string mesh; ///< "Mesh", "Material": names in the default resource system; empty leaves what is set
    string material;
};

/// Emitters of particles. "Life" is how long each of them emits.
struct EmitterEmitterSettings : EmitSettings {
    ParticleEmitterSettings child; ///< "Emitter": an object with the settings of the emitters that are emitted
};

/// The type "ParticleEmitter". It starts when it is first updated, unless a time of birth was set, and a clock that goes
/// back shows the particles where they were. Values that make no sense (a NaN, a negative life) are brought into range.
/// A script leaves alone what it does not name.
class CParticleEmitter : public CEmitter, public qklib::ISerial {
public:
    virtual void SetSettings(ParticleEmitterSettings const& settings) = 0;
    /// As set last, in range.
    virtual ParticleEmitterSettings const& GetSettings() const = 0;

protected:
    using CEmitter::CEmitter;
};

/// The type "EmitterEmitter": for fireworks, or sparks that smoke. Each emitter is drawn with the mesh and the material of
/// this one, unless its own settings name others.
class CEmitterEmitter : public CEmitter, public qklib::ISerial {
public:
    virtual void SetSettings(EmitterEmitterSettings const& settings) = 0;
    virtual EmitterEmitterSettings const& GetSettings() const = 0;

protected:
    using CEmitter::CEmitter;
};
} // namespace qk3d
