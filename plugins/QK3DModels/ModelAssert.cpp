// ModelAssert.cpp: broken models must not end the process.
#include <stdexcept>
#include <string>

// Distributions ship the importer with its assertions on, broken files do violate them, and its own answer is to abort.
// The loader of shared libraries finds this definition before the importer's, since the plug-in stands before it. What is
// thrown here is caught by the importer, which then refuses the file. Declared here, as the importer's header has it only
// in builds that are not optimised.
namespace Assimp {
[[gnu::visibility("default")]] void aiAssertViolation(char const* expression, char const* file, int line);

void aiAssertViolation(char const* expression, char const*, int) {
    throw std::runtime_error(std::string("the importer stumbled: ") + expression);
}
} // namespace Assimp
