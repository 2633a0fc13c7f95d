// MakeTex.cpp: writes the textures of the demo scene into a folder.
#include "Pictures.h"
#include <cstdio>
#include <filesystem>

int main(int argc, char** argv) {
    if (argc != 2 || argv[1][0] == '-') {
        bool const isAsked = argc == 2 && std::string(argv[1]) == "--help";
        std::fprintf(isAsked ? stdout : stderr,
                     "usage: qk3d-maketex FOLDER    writes the textures of the demo scene into FOLDER\n");
        return isAsked ? 0 : 2;
    }
    std::string const folder = argv[1];
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    for (Picture const* picture = kPictures; picture->name; ++picture) {
        std::string const path = folder + "/" + picture->name + ".png";
        if (!picture->paint().Save(path)) {
            std::fprintf(stderr, "qk3d-maketex: cannot write %s\n", path.c_str());
            return 1;
        }
        std::printf("%s\n", path.c_str());
    }
    return 0;
}
