// PackCreate.cpp: packs a folder, in an order and with dates that depend on nothing but the files.
#include "Pack.h"

#include "PlatformCodePage.h"
#include "QK3DText.h"
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <minizip/zip.h>
#include <vector>

namespace {
namespace fs = std::filesystem;

constexpr unsigned long kFirstDosDay = 1u << 21 | 1u << 16; // 1980-01-01, at 00:00
constexpr unsigned long kMadeOnUnix = 3u << 8 | 20;         // with attributes as Unix has them
constexpr unsigned long kReadableFile = 0100644ul << 16;    // else other tools unpack files that nobody may read
constexpr unsigned long kUtf8Name = 1u << 11;
constexpr unsigned long long kLargeFile = 0xFFF00000; // from here on the sizes take the long form

struct CloseZip {
    void operator()(void* zip) const { zipClose(zip, nullptr); }
};
using Zip = std::unique_ptr<void, CloseZip>;
using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

// Files by key, which is also their order in the package.
using Files = std::map<std::wstring, fs::path>;

// The name of a file in the package; the empty text, after a complaint, if it can have none.
std::string NameInPackage(fs::path const& path, fs::path const& folder, std::wstring& key) {
    std::string const name = path.lexically_relative(folder).generic_string();
    if (!qklib::platform::Utf8ToUtf16(name, key)) {
        Complain("the name is not UTF-8: %s", path.c_str());
        return {};
    }
    if (key.find_first_of(L":\\") != std::wstring::npos) {
        Complain("a name in a package has no \":\" and no \"\\\": %s", path.c_str());
        return {};
    }
    qk3d::ToLowerWide(key);
    return name;
}

bool CollectFiles(fs::path const& folder, fs::path const& package, Files& files) {
    if (!fs::is_directory(folder)) {
        Complain("no such folder: %s", folder.c_str());
        return false;
    }
    for (fs::directory_entry const& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_directory()) continue;
        if (!entry.is_regular_file()) {
            Complain("neither a file nor a folder: %s", entry.path().c_str());
            return false;
        }
        if (std::error_code none; fs::equivalent(entry.path(), package, none)) continue; // an older one of ourselves
        std::wstring key;
        if (NameInPackage(entry.path(), folder, key).empty()) return false;
        auto const [other, isNew] = files.emplace(key, entry.path());
        if (!isNew) {
            Complain("names that differ in case only: %s and %s", other->second.c_str(), entry.path().c_str());
            return false;
        }
    }
    return true;
}

bool AddFile(zipFile zip, std::string const& name, fs::path const& path, bool isDeflated) {
    File const file(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!file) return false;
    zip_fileinfo info{};
    info.dosDate = kFirstDosDay;
    info.external_fa = kReadableFile;
    int const method = isDeflated ? Z_DEFLATED : 0;
    int const isLarge = fs::file_size(path) >= kLargeFile;
    if (zipOpenNewFileInZip4_64(zip, name.c_str(), &info, nullptr, 0, nullptr, 0, nullptr, method, Z_BEST_COMPRESSION,
                                0, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY, nullptr, 0, kMadeOnUnix, kUtf8Name,
                                isLarge) != ZIP_OK)
        return false;

    std::vector<char> block(1 << 16);
    bool isGood = true;
    while (std::size_t const got = std::fread(block.data(), 1, block.size(), file.get()))
        isGood = isGood && zipWriteInFileInZip(zip, block.data(), static_cast<unsigned>(got)) == ZIP_OK;
    isGood = isGood && !std::ferror(file.get());
    return (zipCloseFileInZip(zip) == ZIP_OK) && isGood;
}

bool WriteZip(std::string const& path, fs::path const& folder, Files const& files, bool isDeflated) {
    Zip zip(zipOpen64(path.c_str(), APPEND_STATUS_CREATE));
    if (!zip) {
        Complain("cannot write %s", path.c_str());
        return false;
    }
    Progress progress("packing", files.size());
    for (auto const& [key, file] : files) {
        if (!AddFile(zip.get(), file.lexically_relative(folder).generic_string(), file, isDeflated)) {
            Complain("cannot pack %s", file.c_str());
            return false;
        }
        progress.Step();
    }
    if (zipClose(zip.release(), nullptr) == ZIP_OK) return true;
    Complain("cannot finish %s", path.c_str());
    return false;
}
} // namespace

int CreatePackage(std::string const& package, std::string const& folder, bool isDeflated) {
    Files files;
    if (!CollectFiles(folder, package, files)) return 1;

    // Written beside and renamed when it is whole, so that a failure leaves what was there.
    std::string const unfinished = package + ".part";
    bool isDone = WriteZip(unfinished, folder, files, isDeflated);
    std::error_code error;
    if (isDone) fs::rename(unfinished, package, error);
    if (error) {
        Complain("cannot write %s: %s", package.c_str(), error.message().c_str());
        isDone = false;
    }
    if (!isDone) {
        fs::remove(unfinished, error);
        return 1;
    }
    std::printf("%s: %zu files\n", package.c_str(), files.size());
    return 0;
}
