// QK3DPackageFileSystem.cpp: paths into a package, and fetching and inflating what they lead to.
#include "QK3DPackageFileSystem.h"

#include "PlatformFile.h"
#include "QK3DFileDataProcessor.h"
#include "QK3DLogInternal.h"
#include "QK3DPackageDirectoryInternal.h"
#include "QK3DText.h"
#include "QKText.h"
#include <algorithm>
#include <cstring>
#include <zlib.h>

namespace qk3d {
namespace {
namespace platform = qklib::platform;
using FileInfo = CPackageFileSystem::FileInfo;
using FileStream = qklib::_qkfstream<char>;
using Size = unsigned long long;

// zlib counts in 32 bits, so long blocks pass it in pieces.
constexpr Size kMostPerCall = 1u << 30;

bool IsSeparator(wchar_t unit) { return unit == L'\\' || unit == L'/'; }

// Inflates what lies at the position of `file` into exactly `file.m_size` bytes.
bool Inflate(std::FILE* package, FileInfo const& file, unsigned char* out) {
    z_stream stream{};
    if (inflateInit2(&stream, -MAX_WBITS) != Z_OK) return false;
    std::unique_ptr<z_stream, int (*)(z_stream*)> const end(&stream, inflateEnd);

    unsigned char input[16384];
    Size inputLeft = file.m_packedSize;
    Size outputLeft = file.m_size;
    stream.next_out = out;
    for (int status = Z_OK; status != Z_STREAM_END;) {
        if (stream.avail_in == 0 && inputLeft > 0) {
            auto const wanted = static_cast<std::size_t>(std::min<Size>(inputLeft, sizeof input));
            if (std::fread(input, 1, wanted, package) != wanted) return false;
            inputLeft -= wanted;
            stream.next_in = input;
            stream.avail_in = static_cast<uInt>(wanted);
        }
        auto const room = static_cast<uInt>(std::min(outputLeft, kMostPerCall));
        stream.avail_out = room;
        status = inflate(&stream, Z_NO_FLUSH);
        outputLeft -= room - stream.avail_out;
        // Without progress (Z_BUF_ERROR) either side has run out: the size was a lie, or the stream is cut off.
        if (status != Z_OK && status != Z_STREAM_END) return false;
    }
    return outputLeft == 0;
}

unsigned int Checksum(unsigned char const* bytes, Size size) {
    uLong crc = crc32(0, nullptr, 0);
    for (Size done = 0; done < size;) {
        auto const piece = static_cast<uInt>(std::min(size - done, kMostPerCall));
        crc = crc32(crc, bytes + done, piece);
        done += piece;
    }
    return static_cast<unsigned int>(crc);
}

bool IsReadable(FileInfo const& file) {
    return file.m_type == CPackageFileSystem::FT_STORED || file.m_type == CPackageFileSystem::FT_DEFLATED;
}

// All bytes of `file` as its reader sees them; false if they cannot be had or are not those that were packed.
bool ReadWhole(std::FILE* package, FileInfo const& file, unsigned char* out) {
    if (!package || !platform::SeekOpenFile(package, file.m_offset)) return false;
    bool const isRead = file.m_type == CPackageFileSystem::FT_DEFLATED ? Inflate(package, file, out)
                        : file.m_type == CPackageFileSystem::FT_STORED
                            ? std::fread(out, 1, static_cast<std::size_t>(file.m_size), package) == file.m_size
                            : false;
    return isRead && Checksum(out, file.m_size) == file.m_crc;
}
} // namespace

CPackageFileSystem::CPackageFileSystem() = default;

CPackageFileSystem::~CPackageFileSystem() {
    ClosePackage();
    RemoveAllFileDataProcessor();
}

bool CPackageFileSystem::OpenPackage(string const& path) { return OpenPackage(AnsiToWide(path, "chs")); }

bool CPackageFileSystem::OpenPackage(wstring const& path) {
    ClosePackage();
    auto package = std::make_unique<FileStream>(platform::OpenFileForReading(path));
    if (!package->m_file) return false;

    PackageFiles files;
    char const* fault = ReadPackageDirectory(package->m_file, files);
    wstring root;
    if (!fault && !platform::MakeAbsolute(path, root)) fault = "its own path is no text";
    if (fault) {
        QK_LOG(LOG_WARNING, "The Package File Error : %s, %s", WideToAnsi(path, "chs").c_str(), fault);
        return false;
    }

    for (auto& [key, file] : files) m_files.emplace(key, nullptr).first->second = file.release();
    m_rootPath = std::move(root);
    m_packageFile = package.release();
    return true;
}

void CPackageFileSystem::ClosePackage() {
    for (auto const& [key, file] : m_files) delete file;
    m_files.clear();
    m_rootPath.clear();
    delete m_packageFile;
    m_packageFile = nullptr;
}

string CPackageFileSystem::GetFileSystemTypeName() const { return "PackageFileSystem"; }

bool CPackageFileSystem::IsFileExist(wstring const& path) const { return _FindFile(path) != nullptr; }

unsigned long long CPackageFileSystem::GetFileSize(wstring const& path) const {
    FileInfo const* const file = _FindFile(path);
    return file ? file->m_size : 0;
}

bool CPackageFileSystem::MakeResourceAbsolutePath(wstring& path) const {
    path = wstring(qklib::TrimBlanks(path));
    if (!_FindFile(path)) return false;
    if (IsAbsolutePath(path)) return true;
    wchar_t const separator = m_rootPath.starts_with(L'/') ? L'/' : L'\\';
    wstring absolute = m_rootPath;
    if (!IsSeparator(path.front())) absolute += separator;
    absolute += path;
    if (separator == L'/') std::replace(absolute.begin(), absolute.end(), L'\\', L'/');
    path = std::move(absolute);
    return true;
}

CPackageFileSystem::FileInfo* CPackageFileSystem::GetFileInfo(wstring const& path) {
    return const_cast<FileInfo*>(static_cast<CPackageFileSystem const*>(this)->GetFileInfo(path));
}

CPackageFileSystem::FileInfo const* CPackageFileSystem::GetFileInfo(wstring const& path) const {
    wstring key;
    if (!_MakeKey(path, key)) return nullptr;
    auto const found = m_files.find(key);
    return found != m_files.end() ? found->second : nullptr;
}

unsigned long long CPackageFileSystem::GetFileData(wstring const& path, unsigned char** out) const {
    if (!m_packageFile) return 0;
    FileInfo const* const file = _FindFile(path);
    if (!file) return 0;
    if (!out) return file->m_size;
    *out = nullptr;
    if (file->m_type != FT_STORED || file->m_size == 0) return 0;
    Block block = _AllocateBlock(file->m_size, 0);
    if (!block || !ReadWhole(m_packageFile->m_file, *file, block.get())) return 0;
    *out = block.release();
    return file->m_size;
}

// 0 for a file that cannot be read: no memory is asked for on the word of such an entry.
unsigned long long CPackageFileSystem::_GetStoredSize(wstring const& path) const {
    FileInfo const* const file = _FindFile(path);
    return file && IsReadable(*file) ? file->m_size : 0;
}

unsigned long long CPackageFileSystem::_CopyStored(wstring const& path, unsigned char* buffer,
                                                   unsigned long long size) const {
    FileInfo const* const file = _FindFile(path);
    if (!file || !m_packageFile || !IsReadable(*file)) return 0;
    if (size >= file->m_size) return ReadWhole(m_packageFile->m_file, *file, buffer) ? file->m_size : 0;

    // A part of a file is checked with the whole of it.
    Block const whole = _AllocateBlock(file->m_size, 0);
    if (!whole || !ReadWhole(m_packageFile->m_file, *file, whole.get())) return 0;
    std::memcpy(buffer, whole.get(), static_cast<std::size_t>(size));
    return size;
}

bool CPackageFileSystem::_MakeKey(wstring const& path, wstring& key) const {
    key = wstring(qklib::TrimBlanks(path));
    bool const isAbsolute = IsAbsolutePath(key);
    ToLowerWide(key);
    std::replace(key.begin(), key.end(), L'/', L'\\');
    if (!isAbsolute) return !key.empty();

    wstring root = m_rootPath;
    ToLowerWide(root);
    std::replace(root.begin(), root.end(), L'/', L'\\');
    if (root.empty() || !key.starts_with(root) || key.size() <= root.size() || key[root.size()] != L'\\') return false;
    key.erase(0, root.size() + 1);
    return true;
}

CPackageFileSystem::FileInfo const* CPackageFileSystem::_FindFile(wstring const& path) const {
    FileInfo const* const file = GetFileInfo(path);
    return file && file->m_type != FT_NONE ? file : nullptr;
}
} // namespace qk3d
