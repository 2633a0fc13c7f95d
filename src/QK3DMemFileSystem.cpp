// QK3DMemFileSystem.cpp: files in memory.
#include "QK3DMemFileSystem.h"

#include "QK3DFileDataProcessor.h"
#include "QK3DLogInternal.h"
#include "QK3DText.h"
#include <algorithm>
#include <cstdint>
#include <cstring>

namespace qk3d {
CMemFileSystem::CMemFileSystem() = default;

CMemFileSystem::~CMemFileSystem() {
    for (auto const& [name, file] : m_files) _Destroy(file);
    m_files.clear();
    RemoveAllFileDataProcessor();
    QK_LOG(LOG_INFO, "CMemFileSystem Destroy");
}

string CMemFileSystem::GetFileSystemTypeName() const { return "MemFileSystem"; }

bool CMemFileSystem::IsFileExist(wstring const& path) const { return _FindFile(path) != nullptr; }

unsigned long long CMemFileSystem::GetFileSize(wstring const& path) const { return _GetStoredSize(path); }

bool CMemFileSystem::MakeResourceAbsolutePath(string& path) const { return IsFileExist(path); }

bool CMemFileSystem::MakeResourceAbsolutePath(wstring& path) const { return IsFileExist(path); }

bool CMemFileSystem::DeleteFileA(wstring const& path) {
    auto const found = m_files.find(path);
    if (found == m_files.end()) return false;
    _Destroy(found->second);
    m_files.erase(found);
    return true;
}

bool CMemFileSystem::ReadFileAsString(wstring const& path, wstring& out) const {
    return _ReadWideText(path, out) || CFileStore::ReadFileAsString(path, out);
}

bool CMemFileSystem::ReadFileAsString(wstring const& path, string& out) const {
    wstring wide;
    if (!_ReadWideText(path, wide)) return CFileStore::ReadFileAsString(path, out);
    out = WideToAnsi(wide, "chs");
    return true;
}

bool CMemFileSystem::WriteStringToNewFile(wstring const& path, wstring const& text) {
    if (std::any_of(text.begin(), text.end(), [](wchar_t unit) { return static_cast<std::uint32_t>(unit) > 0xFFFF; }))
        return false;
    if (text.empty()) return false;
    unsigned char* to = _PrepareBlock(path, (text.size() + 1) * 2);
    if (!to) return false;
    for (wchar_t const unit : text) {
        *to++ = static_cast<unsigned char>(unit & 0xFF); // little-endian, as a file would have it
        *to++ = static_cast<unsigned char>(unit >> 8 & 0xFF);
    }
    to[0] = to[1] = 0;
    m_files[path]->m_isWide = true;
    return true;
}

bool CMemFileSystem::WriteStringToNewFile(wstring const& path, string const& text) {
    if (text.empty()) return false;
    unsigned char* const to = _PrepareBlock(path, text.size() + 1);
    if (!to) return false;
    std::memcpy(to, text.c_str(), text.size() + 1);
    m_files[path]->m_isWide = false;
    return true;
}

bool CMemFileSystem::WriteDataToNewFile(wstring const& path, unsigned char const* data, unsigned long long size) {
    if (path.empty() || !data || size == 0) return false;
    auto entry = m_files.find(path);
    if (entry == m_files.end()) {
        auto made = std::make_unique<MemFileInfo>();
        entry = m_files.emplace(path, made.get()).first;
        made.release();
    }
    MemFileInfo* const file = entry->second;
    if (file->m_data != data) std::free(file->m_data);
    file->m_data = const_cast<unsigned char*>(data); // ours from here on
    file->m_size = size;
    file->m_isWide = false;
    return true;
}

unsigned long long CMemFileSystem::_GetStoredSize(wstring const& path) const {
    MemFileInfo const* const file = _FindFile(path);
    return file && file->m_data ? file->m_size : 0;
}

unsigned long long CMemFileSystem::_CopyStored(wstring const& path, unsigned char* buffer,
                                               unsigned long long size) const {
    unsigned long long const count = std::min(size, _GetStoredSize(path));
    if (count > 0) std::memcpy(buffer, _FindFile(path)->m_data, static_cast<std::size_t>(count));
    return count;
}

MemFileInfo const* CMemFileSystem::_FindFile(wstring const& path) const {
    auto const found = m_files.find(path);
    return found != m_files.end() ? found->second : nullptr;
}

// False, with `out` as it was, for a file that is not known to be wide text as its reader sees it.
bool CMemFileSystem::_ReadWideText(wstring const& path, wstring& out) const {
    MemFileInfo const* const file = _FindFile(path);
    if (!file || !file->m_isWide || !_FindProcessor(path).IsNull()) return false;
    out.clear();
    for (unsigned long long i = 0; i + 3 < file->m_size; i += 2) // all but the terminator
        out += static_cast<wchar_t>(file->m_data[i] | file->m_data[i + 1] << 8);
    return true;
}

// The block of a file that is to have `size` bytes: the one it has if that fits exactly, else a new one in its place.
// Null, with the file as it was, if there is no memory for it.
unsigned char* CMemFileSystem::_PrepareBlock(wstring const& path, unsigned long long size) {
    if (MemFileInfo const* const file = _FindFile(path); file && file->m_data && file->m_size == size)
        return file->m_data;
    Block block = _AllocateBlock(size, 0);
    if (!block || !WriteDataToNewFile(path, block.get(), size)) return nullptr;
    return block.release();
}

void CMemFileSystem::_Destroy(MemFileInfo* file) {
    if (file) std::free(file->m_data);
    delete file;
}
} // namespace qk3d
