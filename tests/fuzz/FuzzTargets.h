// FuzzTargets.h: the targets, each a function that takes any bytes: what the fuzzers and the replay of the corpus call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace qk3d::fuzz {
using Bytes = std::span<std::uint8_t const>;

#define TARGET(name) void Fuzz##name(Bytes input);
#include "FuzzTargetTable.inl"

/// Ends the process, so that a fuzzer keeps the input, with `what` on standard error unless it holds.
void Require(bool holds, char const* what);
} // namespace qk3d::fuzz
