// QK3DPackageDirectory.cpp: the directory of a ZIP archive by minizip, believed only as far as it can be checked.
#include "QK3DPackageDirectoryInternal.h"

#include "PlatformCodePage.h"
#include "PlatformFile.h"
#include "QK3DText.h"
#include <algorithm>
#include <minizip/unzip.h>
#include <string_view>

namespace qk3d {
namespace {
namespace platform = qklib::platform;
using FileInfo = CPackageFileSystem::FileInfo;

constexpr unsigned kEncryptedFlag = 1u << 0;
constexpr unsigned kUtf8NameFlag = 1u << 11;
constexpr unsigned kDeflateMethod = 8;

// Deflate makes 258 bytes of two bits at best, so a file that is said to be larger is a trap.
constexpr unsigned long long kMostInflation = 1032;

// The archive as minizip reads it: an open file of ours, for which it gets no name and which it does not close. It reads
// byte by byte, now from the directory and now from the head of a file, so a window is kept over each of the two.
class Archive {
public:
    Archive(std::FILE* file, unsigned long long size) : m_file(file), m_size(size) {}

    unsigned long long GetSize() const { return m_size; }
    unsigned long long Tell() const { return m_position; }
    bool WasShort() const { return m_wasShort; }

    bool Seek(unsigned long long position) {
        if (position > m_size) return false;
        m_position = position;
        return true;
    }

    std::size_t Read(unsigned char* out, std::size_t size) {
        std::size_t done = 0;
        while (done < size && m_position < m_size) {
            Window const* const window = Show(m_position);
            if (!window) break;
            auto const at = static_cast<std::size_t>(m_position - window->start);
            std::size_t const count = std::min(size - done, window->count - at);
            std::copy_n(window->bytes + at, count, out + done);
            done += count;
            m_position += count;
        }
        m_wasShort = m_wasShort || done < size;
        return done;
    }

private:
    struct Window {
        unsigned long long start = 0;
        std::size_t count = 0;
        unsigned char bytes[16384];

        bool Has(unsigned long long position) const { return position >= start && position - start < count; }
    };

    // The window over `position`, read anew if neither has it; null if the file cannot be read there.
    Window const* Show(unsigned long long position) {
        if (!m_windows[m_last].Has(position)) m_last = 1 - m_last;
        Window& window = m_windows[m_last];
        if (window.Has(position)) return &window;
        window.start = position;
        window.count =
            platform::SeekOpenFile(m_file, position) ? std::fread(window.bytes, 1, sizeof window.bytes, m_file) : 0;
        return window.count > 0 ? &window : nullptr;
    }

    std::FILE* m_file;
    unsigned long long m_size;
    unsigned long long m_position = 0;
    bool m_wasShort = false;
    Window m_windows[2];
    int m_last = 0;
};

voidpf Open(voidpf archive, void const*, int) { return archive; }

uLong Read(voidpf, voidpf archive, void* buffer, uLong size) {
    return static_cast<uLong>(static_cast<Archive*>(archive)->Read(static_cast<unsigned char*>(buffer), size));
}

ZPOS64_T Tell(voidpf, voidpf archive) { return static_cast<Archive*>(archive)->Tell(); }

long Seek(voidpf, voidpf stream, ZPOS64_T offset, int origin) {
    auto& archive = *static_cast<Archive*>(stream);
    unsigned long long const base = origin == ZLIB_FILEFUNC_SEEK_SET   ? 0
                                    : origin == ZLIB_FILEFUNC_SEEK_CUR ? archive.Tell()
                                                                       : archive.GetSize();
    return base + offset >= base && archive.Seek(base + offset) ? 0 : -1;
}

int Close(voidpf, voidpf) { return 0; }

// Without this minizip takes what lies behind the end of a file for zeros.
int Error(voidpf, voidpf archive) { return static_cast<Archive*>(archive)->WasShort() ? 1 : 0; }

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

// An archive without files is its end record and nothing else. Minizip takes that for none.
bool IsEmptyArchive(Archive& archive) {
    constexpr std::size_t kEndRecord = 22;
    unsigned char bytes[kEndRecord];
    if (archive.GetSize() != kEndRecord || archive.Read(bytes, kEndRecord) != kEndRecord) return false;
    constexpr std::string_view kStart("PK\5\6\0\0\0\0\0\0\0\0", 12); // on no other disk, with no files
    return std::equal(kStart.begin(), kStart.end(), bytes);
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
    if (file.m_type == CPackageFileSystem::FT_OTHER) return nullptr; // minizip does not go to its start
    if (!FindStart(archive, file.m_offset)) return "a file is not where the directory says";
    if (file.m_offset > bytes.GetSize() || file.m_packedSize > bytes.GetSize() - file.m_offset)
        return "a file is cut off";
    bool const isRight = file.m_type == CPackageFileSystem::FT_STORED
                             ? file.m_size == file.m_packedSize
                             : file.m_size / kMostInflation <= file.m_packedSize;
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
    unsigned long long size = 0;
    if (!platform::GetOpenFileSize(file, size)) return "it cannot be read";
    Archive bytes(file, size);
    if (IsEmptyArchive(bytes)) return nullptr;
    zlib_filefunc64_def functions{Open, Read, nullptr, Tell, Seek, Close, Error, &bytes};
    ArchivePointer const archive(unzOpen2_64("", &functions));
    unz_global_info64 global;
    if (!archive || unzGetGlobalInfo64(archive.get(), &global) != UNZ_OK) return "it is no archive, or not whole";

    int status = global.number_entry > 0 ? unzGoToFirstFile(archive.get()) : UNZ_END_OF_LIST_OF_FILE;
    for (; status == UNZ_OK; status = unzGoToNextFile(archive.get())) {
        auto entry = std::make_unique<FileInfo>();
        if (char const* const fault = ReadEntry(archive.get(), bytes, *entry)) return fault;
        wstring key = MakePackageKey(entry->m_name);
        if (key.empty()) return "a name leads out of it, or is none";
        if (!files.try_emplace(std::move(key), std::move(entry)).second) return "two names in it make one key";
    }
    return status == UNZ_END_OF_LIST_OF_FILE ? nullptr : "the directory is broken";
}
} // namespace qk3d
