// EmitterSettings.h: settings from scripts, brought into range.
#pragma once

#include "QK3DEmitters.h"

namespace qk3d {
/// Take over what `value`, an object, says. Keys that are not there, and values of the wrong type, change nothing.
void ReadSettings(Json::Value const& value, ParticleEmitterSettings& settings);
void ReadSettings(Json::Value const& value, EmitterEmitterSettings& settings);

/// Make every value one that can be computed with.
void BringIntoRange(ParticleEmitterSettings& settings);
void BringIntoRange(EmitterEmitterSettings& settings);

/// Hands the common settings to the emitter, but for the flag that binds: the emitters here bind in their own way.
void Apply(EmitSettings const& settings, CEmitter& emitter);

/// Look a name up in the default resource system. Null for an empty name, and, with a log line, when there is none.
_ResourceSharePtr<CMesh> FindMesh(string const& name);
_ResourceSharePtr<CMaterial> FindMaterial(string const& name);
} // namespace qk3d
