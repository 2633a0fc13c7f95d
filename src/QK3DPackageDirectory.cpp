// QK3DPackageDirectory.cpp: the directory of a ZIP archive by minizip, believed only as far as it can be checked.
#include "QK3DPackageDirectoryInternal.h"

#include "PlatformCodePage.h"
#include "PlatformFile.h"
#include "QK3DText.h"
#include <algorithm>
#include <minizip/unzip.h>

namespace qk3d {
namespace {
namespace platform = qklib::platform;
using FileInfo = CPackageFileSystem::FileInfo;

constexpr unsigned kEncryptedFlag = 1u << 0;
constexpr unsigned kUtf8NameFlag = 1u << 11;
constexpr unsigned kDeflateMethod = 8;

// Deflate makes 258 bytes of two bits at best, so a file that is said to be larger is a trap.
constexpr unsigned long long kMostInflation = 1032;

// The archive as minizip reads it: an open file of ours, for which it gets no name and which it does not close.
struct Archive {
    std::FILE* file;
    unsigned long long size;
    unsigned long long position = 0;
};

voidpf Open(voidpf archive, void const*, int) { return archive; }

uLong Read(voidpf, voidpf stream, void* buffer, uLong size) {
    auto& archive = *static_cast<Archive*>(stream);
    std::size_t const got = std::fread(buffer, 1, size, archive.file);
    archive.position += got;
    return static_cast<uLong>(got);
}

ZPOS64_T Tell(voidpf, voidpf stream) { return static_cast<Archive*>(stream)->position; }

long Seek(voidpf, voidpf stream, ZPOS64_T offset, int origin) {
    auto& archive = *static_cast<Archive*>(stream);
    unsigned long long const base = origin == ZLIB_FILEFUNC_SEEK_SET   ? 0
                                    : origin == ZLIB_FILEFUNC_SEEK_CUR ? archive.position
                                                                       : archive.size;
    if (offset > archive.size - std::min(base, archive.size)) return -1;
    if (base + offset == archive.position) return 0; // keeps what stdio has read ahead
    if (!platform::SeekOpenFile(archive.file, base + offset)) return -1;
    archive.position = base + offset;
    return 0;
}

int Close(voidpf, voidpf) { return 0; }

int Error(voidpf, voidpf stream) { return std::ferror(static_cast<Archive*>(stream)->file); }

struct CloseArchive {
    void operator()(void* archive) const { unzClose(archive); }
};
using ArchivePointer = std::unique_ptr<void, CloseArchive>;

// The name of the current entry as text; false if its bytes are none in the encoding that its flag tells.
bool ReadName(unzFile archive, unz_file_info64 const& info, wstring& name) {
    string bytes(info.size_filename, '\0');
    if (unzGetCurrentFileInfo64(archive, nullptr, bytes.data(), info.size_filename, nullptr, 0, nullptr, 0) != UNZ_OK)
        return false;
    if (bytes.find('\0') != string::npos) return false;
    bool const isText =
        info.flag & kUtf8NameFlag ? platform::Utf8ToUtf16(bytes, name) : platform::CodePageToUtf16(bytes, name);
    std::replace(name.begin(), name.end(), L'\\', L'/');
    return isText && !name.empty();
}

// Where the bytes of the current entry start. Minizip compares the entry's own header with the directory for this.
bool FindStart(unzFile archive, unsigned long long& start) {
    int method = 0;
    int level = 0;
    if (unzOpenCurrentFile2(archive, &method, &level, 1) != UNZ_OK) return false;
    start = unzGetCurrentFileZStreamPos64(archive);
    return unzCloseCurrentFile(archive) == UNZ_OK && start > 0;
}

char const* ReadEntry(unzFile archive, Archive const& bytes, FileInfo& file) {
    unz_file_info64 info;
    if (unzGetCurrentFileInfo64(archive, &info, nullptr, 0, nullptr, 0, nullptr, 0) != UNZ_OK)
        return "the directory is broken";
    if (!ReadName(archive, info, file.m_name)) return "a name is no text";
    bool const isFolder = file.m_name.back() == L'/';
    if (isFolder || (info.flag & kEncryptedFlag)) return nullptr; // FT_NONE

    file.m_type = info.compression_method == 0                ? CPackageFileSystem::FT_STORED
                  : info.compression_method == kDeflateMethod ? CPackageFileSystem::FT_DEFLATED
                                                              : CPackageFileSystem::FT_OTHER;
    file.m_size = info.uncompressed_size;
    file.m_packedSize = info.compressed_size;
    file.m_crc = static_cast<unsigned int>(info.crc);
    if (!FindStart(archive, file.m_offset)) return "a file is not where the directory says";
    if (file.m_offset > bytes.size || file.m_packedSize > bytes.size - file.m_offset) return "a file is cut off";
    bool const isRight = file.m_type == CPackageFileSystem::FT_STORED ? file.m_size == file.m_packedSize
                         : file.m_type == CPackageFileSystem::FT_DEFLATED
                             ? file.m_size / kMostInflation <= file.m_packedSize
                             : true;
    return isRight ? nullptr : "the size of a file cannot be right";
}
} // namespace

wstring MakePackageKey(wstring const& name) {
    wstring key = name;
    std::replace(key.begin(), key.end(), L'/', L'\\');
    ToLowerWide(key);
    if (key.find(L':') != wstring::npos) return {};
    wstring const folder = key.back() == L'\\' ? key.substr(0, key.size() - 1) : key;
    for (std::size_t start = 0; start <= folder.size();) {
        std::size_t const end = std::min(folder.find(L'\\', start), folder.size());
        wstring const part = folder.substr(start, end - start);
        if (part.empty() || part == L"." || part == L"..") return {};
        start = end + 1;
    }
    return key;
}

char const* ReadPackageDirectory(std::FILE* file, PackageFiles& files) {
    Archive bytes{file, 0};
    if (!platform::GetOpenFileSize(file, bytes.size) || !platform::SeekOpenFile(file, 0)) return "it cannot be read";
    zlib_filefunc64_def functions{Open, Read, nullptr, Tell, Seek, Close, Error, &bytes};
    ArchivePointer const archive(unzOpen2_64("", &functions));
    unz_global_info64 global;
    if (!archive || unzGetGlobalInfo64(archive.get(), &global) != UNZ_OK) return "it is no archive, or not whole";

    unsigned long long count = 0;
    int status = global.number_entry > 0 ? unzGoToFirstFile(archive.get()) : UNZ_END_OF_LIST_OF_FILE;
    for (; status == UNZ_OK; status = unzGoToNextFile(archive.get()), ++count) {
        auto entry = std::make_unique<FileInfo>();
        if (char const* const fault = ReadEntry(archive.get(), bytes, *entry)) return fault;
        wstring key = MakePackageKey(entry->m_name);
        if (key.empty()) return "a name leads out of it, or is none";
        if (!files.try_emplace(std::move(key), std::move(entry)).second) return "two names in it make one key";
    }
    bool const isWhole = status == UNZ_END_OF_LIST_OF_FILE && count == global.number_entry;
    return isWhole ? nullptr : "the directory is broken";
}
} // namespace qk3d
