// FuzzCorpusTest.cpp: the seeds of the fuzzers, and what once broke us, in every build.
#include "FuzzTargets.h"
#include "TempFolder.h"
#include <gtest/gtest.h>
#include <iostream>

namespace {
void Replay(std::string const& target, void (*run)(qk3d::fuzz::Bytes)) {
    int inputs = 0;
    for (auto const& file : std::filesystem::directory_iterator(QK3D_SOURCE_DIR "/tests/fuzz/corpus/" + target)) {
        std::cout << file.path().filename() << std::endl; // before the run: what does not hold ends the process
        std::string const bytes = TempFolder::Read(file.path());
        run({reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size()});
        ++inputs;
    }
    EXPECT_GT(inputs, 0);
}
} // namespace

#define TARGET(name)                                                                                                   \
    TEST(FuzzCorpus, name) { Replay(#name, &qk3d::fuzz::Fuzz##name); }
#include "FuzzTargetTable.inl"
