// EmitterRandom.h: random numbers that depend on nothing but what they are for.
#pragma once

#include "QK3DEmitters.h"
#include <cstdint>

namespace qk3d {
/// The numbers of one emitted object. Each call gives the next one of the sequence that seed and index fix, so an object comes
/// out the same however often, and in whatever order, objects are made.
class CEmitRandom {
public:
    CEmitRandom(unsigned int seed, unsigned int index) : m_state(static_cast<std::uint64_t>(seed) << 32 | index) {}

    /// From 0 to below 1.
    float Next() { return static_cast<float>(NextBits() >> 40) * (1.0f / 16777216); }
    float Next(float from, float to) { return from + (to - from) * Next(); }
    float Next(EmitRange const& range) { return Next(range.from, range.to); }
    Vector3 Next(Vector3 const& a, Vector3 const& b) {
        float const x = Next(a.x, b.x), y = Next(a.y, b.y);
        return {x, y, Next(a.z, b.z)};
    }

    /// SplitMix64, by Guy Steele, Doug Lea and Christine Flood ("Fast splittable pseudorandom number generators", 2014).
    std::uint64_t NextBits() {
        std::uint64_t z = m_state += 0x9E3779B97F4A7C15u;
        z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9u;
        z = (z ^ z >> 27) * 0x94D049BB133111EBu;
        return z ^ z >> 31;
    }

private:
    std::uint64_t m_state;
};
} // namespace qk3d
