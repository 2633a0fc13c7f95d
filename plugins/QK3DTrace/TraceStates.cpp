// TraceStates.cpp: the state setters, made from the engine's state tables. A value that a script gives as a word is told as
// that word.
#include "TraceRenderSystem.h"

#include "QK3DMatrix.h"
#include "QK3DStateWords.h"
#include <bit>
#include <cstdint>

namespace qk3d {
namespace {
// A state travels as 32 bits, whatever the width of the argument.
std::uint32_t Bits(unsigned long value) { return static_cast<std::uint32_t>(value); }
unsigned long FromPointer(void* value) { return static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(value)); }

// A boolean state can carry any number; only 0 and 1 are told as what they mean.
void PrintBool(CTraceCall& call, unsigned long value) {
    string const number = std::to_string(Bits(value));
    call.AddRaw("value", Bits(value) == 0 ? "false" : Bits(value) == 1 ? "true" : number, number);
}

void PrintUnsigned(CTraceCall& call, unsigned long value) { call.AddNumber("value", Bits(value)); }
void PrintFloat(CTraceCall& call, unsigned long value) { call.AddFloat("value", std::bit_cast<float>(Bits(value))); }
void PrintColour(CTraceCall& call, unsigned long value) { call.AddColour("value", Bits(value)); }

template <auto const& words>
void PrintWord(CTraceCall& call, unsigned long value) {
    for (StateWord const& row : words)
        if (row.value == Bits(value)) return call.AddWord("value", Bits(value), row.word.data());
    call.AddNumber("value", Bits(value));
}

// Words joined as in a script; a bit without a word leaves the number.
template <auto const& words>
void PrintFlags(CTraceCall& call, unsigned long value) {
    string text;
    std::uint32_t rest = Bits(value);
    for (StateWord const& row : words) {
        if (!row.value || (Bits(value) & row.value) != row.value) continue;
        text.append(text.empty() ? "" : "|").append(row.word);
        rest &= ~row.value;
    }
    call.AddWord("value", Bits(value), rest || text.empty() ? nullptr : text.c_str());
}

void PrintWrap(CTraceCall& call, unsigned long value) { PrintWord<kWrapWords>(call, value); }

void PrintMatrix(CTraceCall& call, Matrix44 const* matrix) {
    if (matrix)
        call.AddMatrix("value", *matrix);
    else
        call.AddNull("value");
}

// Only one stage state is no number, and it is told by what it points at.
template <auto print>
void PrintStage(CTraceCall& call, unsigned int stage, void* value) {
    call.AddNumber("stage", stage);
    if constexpr (std::is_same_v<decltype(print), void (*)(CTraceCall&, Matrix44 const*)>)
        print(call, static_cast<Matrix44 const*>(value));
    else
        print(call, FromPointer(value));
}
} // namespace

#define ROW(number, name, setter, reader)                                                                              \
    void CTraceRenderSystem::Set##setter(unsigned long value) {                                                        \
        m_journal->Record(ETraceOperation::Set##setter, [&](CTraceCall& call) { Print##reader(call, value); });        \
    }
#include "QK3DRenderStateTable.inl"

#define ROW(number, name, setter, reader)                                                                              \
    void CTraceRenderSystem::Set##setter(unsigned int stage, void* value) {                                            \
        m_journal->Record(ETraceOperation::Set##setter,                                                                \
                          [&](CTraceCall& call) { PrintStage<Print##reader>(call, stage, value); });                   \
    }
#include "QK3DTextureStateTable.inl"

#define ROW(number, name, setter, reader)                                                                              \
    void CTraceRenderSystem::Set##setter(unsigned int stage, unsigned long value) {                                    \
        m_journal->Record(ETraceOperation::Set##setter, [&](CTraceCall& call) {                                        \
            call.AddNumber("stage", stage);                                                                            \
            Print##reader(call, value);                                                                                \
        });                                                                                                            \
    }
#include "QK3DSamplerStateTable.inl"
} // namespace qk3d
