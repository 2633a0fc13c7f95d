// Reads an encoded text from a package.
#include "QK3DFileDataProcessor.h"
#include "QK3DPackageFileSystem.h"

#include <cstdio>

// Turns every letter round by half the alphabet, in place or into another block.
class RotProcessor : public qk3d::CFileDataProcessor {
public:
    unsigned long long DecodeData(void const* in, unsigned long long inSize, void* out,
                                  unsigned long long outSize) override {
        if (outSize < inSize) return 0;
        auto const* from = static_cast<char const*>(in);
        auto* to = static_cast<char*>(out);
        for (unsigned long long i = 0; i < inSize; ++i) {
            char const c = from[i];
            char const first = c >= 'a' && c <= 'z' ? 'a' : c >= 'A' && c <= 'Z' ? 'A' : 0;
            to[i] = first ? static_cast<char>(first + (c - first + 13) % 26) : c;
        }
        return inSize;
    }
    bool IsDecodedSizeFromData() override { return false; } // as many bytes out as in
    unsigned long long GetDecodedSize(void const*, unsigned long long inSize) override { return inSize; }
};

int main() {
    qk3d::CPackageFileSystem package;
    if (!package.OpenPackage("game.pak")) return 1; // the log says what is wrong with a package that is refused
    package.AddFileDataProcessor("rot", {new RotProcessor, qklib::PRM_DELETE});

    qk3d::string text;
    if (!package.ReadFileAsString("texts\\hello.rot", text)) return 1;
    std::printf("%s", text.c_str());
    return text == "Hello from a package.\n" ? 0 : 1;
}
