// FuzzMain.cpp: what libFuzzer calls; one program a target.
#include "FuzzTargets.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    qk3d::fuzz::QK3D_FUZZ_TARGET({data, size});
    return 0;
}
