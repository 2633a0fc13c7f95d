// PackRead.cpp: lists, unpacks and checks a package, with the reader that the engine has.
#include "Pack.h"

#include "PlatformCodePage.h"
#include "QK3DPackageFileSystem.h"
#include <cstdio>
#include <filesystem>
#include <memory>

namespace {
namespace fs = std::filesystem;

std::string ToUtf8(std::wstring const& text) {
    std::string bytes;
    qklib::platform::Utf16ToUtf8(text, bytes);
    return bytes;
}

// The store of the engine, with its directory in view.
class Package : public qk3d::CPackageFileSystem {
public:
    using Bytes = Block;

    /// False after a complaint.
    bool Open(std::string const& path) {
        std::wstring wide;
        if (!qklib::platform::Utf8ToUtf16(path, wide)) wide.clear();
        unsigned int const before = GetComplaintCount();
        bool const isOpen = OpenPackage(wide);
        // The engine has nothing to say of a file that is not there.
        if (!isOpen && GetComplaintCount() == before) Complain("cannot open %s", path.c_str());
        return isOpen;
    }

    auto const& GetFiles() const { return m_files; }

    static bool IsFolder(FileInfo const& file) { return file.m_name.ends_with(L'/'); }

    /// False if the bytes cannot be had or are not those that were packed. No bytes and true for an empty file.
    bool Read(std::wstring const& key, FileInfo const& file, Bytes& bytes) const {
        bool const isKnown = file.m_type == FT_STORED || file.m_type == FT_DEFLATED;
        unsigned long long size = 0;
        if (isKnown && file.m_size > 0) bytes = _ReadStored(key, size, 0);
        return isKnown && size == file.m_size;
    }
};

char const* DescribeType(qk3d::CPackageFileSystem::FileInfo const& file) {
    switch (file.m_type) {
    case qk3d::CPackageFileSystem::FT_STORED: return "stored";
    case qk3d::CPackageFileSystem::FT_DEFLATED: return "deflated";
    case qk3d::CPackageFileSystem::FT_OTHER: return "unknown";
    default: return "encrypted";
    }
}

bool WriteFile(fs::path const& path, unsigned char const* bytes, std::size_t size) {
    std::error_code error;
    fs::create_directories(path.parent_path(), error);
    std::FILE* const file = error ? nullptr : std::fopen(path.c_str(), "wb");
    if (!file) return false;
    bool const isWritten = size == 0 || std::fwrite(bytes, 1, size, file) == size;
    return (std::fclose(file) == 0) && isWritten;
}

// Reads every file and hands it on; the number of files that could not be read or that `take` refused.
template <class Take>
std::size_t ForEachFile(Package const& package, char const* doing, Take take) {
    std::size_t faults = 0;
    Progress progress(doing, package.GetFiles().size());
    for (auto const& [key, file] : package.GetFiles()) {
        if (Package::IsFolder(*file)) continue;
        Package::Bytes bytes;
        if (!package.Read(key, *file, bytes)) {
            Complain("cannot read %s (%s)", ToUtf8(file->m_name).c_str(), DescribeType(*file));
            ++faults;
        } else if (!take(*file, bytes.get())) {
            ++faults;
        }
        progress.Step();
    }
    return faults;
}
} // namespace

int ListPackage(std::string const& path) {
    Package package;
    if (!package.Open(path)) return 1;
    for (auto const& [key, file] : package.GetFiles())
        if (!Package::IsFolder(*file))
            std::printf("%12llu %12llu  %-9s  %s\n", file->m_size, file->m_packedSize, DescribeType(*file),
                        ToUtf8(file->m_name).c_str());
    return 0;
}

int ExtractPackage(std::string const& path, std::string const& folder) {
    Package package;
    if (!package.Open(path)) return 1;
    std::size_t count = 0;
    std::size_t const faults = ForEachFile(package, "unpacking", [&](auto const& file, unsigned char const* bytes) {
        fs::path const target = fs::path(folder) / ToUtf8(file.m_name); // the name was checked when it was opened
        bool const isWritten = WriteFile(target, bytes, static_cast<std::size_t>(file.m_size));
        if (isWritten)
            ++count;
        else
            Complain("cannot write %s", target.c_str());
        return isWritten;
    });
    std::printf("%s: %zu files\n", folder.c_str(), count);
    return faults == 0 ? 0 : 1;
}

int VerifyPackage(std::string const& path) {
    Package package;
    if (!package.Open(path)) return 1;
    std::size_t count = 0;
    std::size_t const faults = ForEachFile(package, "reading", [&](auto const&, unsigned char const*) {
        ++count;
        return true;
    });
    std::printf("%s: %zu files are good, %zu are not\n", path.c_str(), count, faults);
    return faults == 0 ? 0 : 1;
}
