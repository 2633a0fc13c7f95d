// Reads texts from a folder and from memory through one interface.
#include "QK3DMemFileSystem.h"
#include "QK3DOSFileSystem.h"

#include <cstdio>
#include <fstream>

// Any store will do here, and it may not have the file.
static bool Show(qk3d::CFileSystem const& store, qk3d::string path) {
    qk3d::string text;
    if (!store.MakeResourceAbsolutePath(path) || !store.ReadFileAsString(path, text)) return false;
    std::printf("%s: %s (%s)\n", store.GetFileSystemTypeName().c_str(), text.c_str(), path.c_str());
    return true;
}

int main() {
    std::ofstream("Greeting.txt") << "hello from the disk";

    qk3d::COSFileSystem disk;
    disk.AddResourceDirPath("no such folder"); // folders are searched in the order of their names
    disk.AddResourceDirPath(".");

    qk3d::CMemFileSystem memory;
    memory.WriteStringToNewFile("greeting.txt", qk3d::string("hello from memory"));

    bool const isShown = Show(disk, "GREETING.txt") && Show(memory, "greeting.txt");
    bool const isMissing = !Show(disk, "farewell.txt") && !Show(memory, "GREETING.txt"); // memory takes names exactly
    return isShown && isMissing ? 0 : 1;
}
