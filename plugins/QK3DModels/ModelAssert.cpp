// ModelAssert.cpp: broken models must not end the process.
#include <assimp/ai_assert.h>
#include <stdexcept>
#include <string>

// Distributions ship the importer with its assertions on, broken files do violate them, and its own answer is to abort.
// The loader of shared libraries finds this definition before the importer's, since the plug-in stands before it. What is
// thrown here is caught by the importer, which then refuses the file.
[[gnu::visibility("default")]] void Assimp::aiAssertViolation(char const* expression, char const*, int) {
    throw std::runtime_error(std::string("the importer stumbled: ") + expression);
}
