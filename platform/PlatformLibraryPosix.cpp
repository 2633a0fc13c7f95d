// PlatformLibraryPosix.cpp: libraries by dlopen, made to load what lies on disk now, and to survive broken files.
#include "PlatformLibrary.h"
#include "PlatformPathPosix.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qklib::platform {
namespace {
class Descriptor {
public:
    explicit Descriptor(int value) : m_value(value) {}
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;
    ~Descriptor() {
        if (m_value >= 0) close(m_value);
    }

    int Get() const { return m_value; }
    explicit operator bool() const { return m_value >= 0; }

private:
    int m_value;
};

bool ReadAt(int descriptor, void* buffer, std::size_t size, std::uint64_t offset) {
    return pread(descriptor, buffer, size, static_cast<off_t>(offset)) == static_cast<ssize_t>(size);
}

bool IsInside(std::uint64_t offset, std::uint64_t length, std::uint64_t size) {
    return offset <= size && length <= size - offset;
}

// Whether all that the file's headers speak of is in the file. The loader maps a file that was cut off without a word,
// and the first touch of a missing page kills the process. All other faults it tells by itself.
bool IsWholeLibrary(std::string const& disk) {
    Descriptor const file(open(disk.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status;
    if (!file || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
    auto const size = static_cast<std::uint64_t>(status.st_size);

    ElfW(Ehdr) header;
    if (!ReadAt(file.Get(), &header, sizeof header, 0) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0)
        return false;
    if (header.e_ident[EI_CLASS] != (sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32)) return false;
    if (header.e_type != ET_DYN || header.e_phentsize != sizeof(ElfW(Phdr))) return false;
    std::uint64_t const sections = std::uint64_t{header.e_shnum} * header.e_shentsize;
    if (!IsInside(header.e_shoff, sections, size)) return false;

    for (unsigned i = 0; i < header.e_phnum; ++i) {
        ElfW(Phdr) part;
        if (!ReadAt(file.Get(), &part, sizeof part, header.e_phoff + i * sizeof part)) return false;
        if (part.p_type != PT_NULL && !IsInside(part.p_offset, part.p_filesz, size)) return false;
    }
    return true;
}

LibraryHandle Open(std::string const& disk) { return dlopen(disk.c_str(), RTLD_NOW | RTLD_LOCAL); }

// Whether the loader would take `disk` for a library that it has already: it compares names first, then files.
bool IsTakenForLoaded(std::string const& disk) {
    void* const loaded = dlopen(disk.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (loaded) dlclose(loaded);
    return loaded != nullptr;
}

bool CopyInto(int target, std::string const& disk) {
    Descriptor const source(open(disk.c_str(), O_RDONLY | O_CLOEXEC));
    if (!source) return false;
    std::array<char, 65536> block;
    for (;;) {
        ssize_t const got = read(source.Get(), block.data(), block.size());
        if (got <= 0) return got == 0;
        for (ssize_t done = 0; done < got;) {
            ssize_t const put = write(target, block.data() + done, static_cast<std::size_t>(got - done));
            if (put <= 0) return false;
            done += put;
        }
    }
}

// Loads a copy made in `folder` under a name that nothing else has, and takes the copy away at once.
LibraryHandle OpenCopyIn(std::string const& folder, std::string const& disk, bool& couldWrite) {
    std::string const name = disk.substr(disk.rfind('/') + 1, 100); // a long one would leave no room for our addition
    std::string copy = folder + '/' + '.' + name + ".XXXXXX.so";
    Descriptor const target(mkostemps(copy.data(), 3, O_CLOEXEC));
    couldWrite = static_cast<bool>(target);
    if (!target) return nullptr;
    couldWrite = CopyInto(target.Get(), disk);
    // The original is looked at before, but may have been cut off since; nobody changes the copy.
    LibraryHandle const library = couldWrite && IsWholeLibrary(copy) ? Open(copy) : nullptr;
    unlink(copy.c_str());
    return library;
}

// Loads a second instance beside one that the loader has. The copy goes beside the original, where its dependencies
// are; where we may not write, to the folder for temporary files, which serves a library whose dependencies are in use
// already or lie in the system's folders.
LibraryHandle OpenCopy(std::string const& disk) {
    std::size_t const separator = disk.rfind('/');
    bool couldWrite = false;
    LibraryHandle const library =
        OpenCopyIn(separator == std::string::npos ? "." : disk.substr(0, separator), disk, couldWrite);
    if (couldWrite) return library;
    char const* const temporary = std::getenv("TMPDIR");
    return OpenCopyIn(temporary && *temporary ? temporary : "/tmp", disk, couldWrite);
}

bool IsLoadedAs(std::string const& name) {
    auto const compare = [](dl_phdr_info* info, std::size_t, void* wanted) {
        return *static_cast<std::string const*>(wanted) == info->dlpi_name ? 1 : 0;
    };
    return dl_iterate_phdr(compare, const_cast<std::string*>(&name)) != 0;
}
} // namespace

LibraryHandle OpenLibrary(std::string const& path) {
    std::string disk = FindOnDisk(path);
    if (disk.empty() || !IsWholeLibrary(disk)) return nullptr;
    if (disk.find('/') == std::string::npos) disk.insert(0, "./"); // a bare name would be searched in system folders

    // A file that was replaced while its earlier version is loaded is new to the loader under another spelling, and is
    // then loaded as it lies there, which leaves debuggers their symbols. Versions in use at once are few.
    constexpr int kSpellings = 4;
    std::string spelling = disk;
    for (int i = 0; i < kSpellings; ++i) {
        if (!IsTakenForLoaded(spelling)) return Open(spelling);
        spelling.insert(spelling.rfind('/'), "/.");
    }
    return OpenCopy(disk);
}

LibraryFunction FindFunction(LibraryHandle library, char const* name) {
    return library && name ? reinterpret_cast<LibraryFunction>(dlsym(library, name)) : nullptr;
}

bool CloseLibrary(LibraryHandle library) {
    if (!library) return true;
    link_map* entry = nullptr;
    std::string const name = dlinfo(library, RTLD_DI_LINKMAP, &entry) == 0 ? entry->l_name : "";
    return dlclose(library) == 0 && !IsLoadedAs(name);
}
} // namespace qklib::platform
