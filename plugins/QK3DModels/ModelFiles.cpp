// ModelFiles.cpp: files of a store as streams of the importer.
#include "ModelFiles.h"

#include "QK3DText.h"
#include <algorithm>
#include <assimp/IOStream.hpp>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string_view>

namespace qk3d::models {
namespace {
constexpr unsigned long long kMaxFileSize = 1ULL << 30;
constexpr int kMaxEmptyReads = 1000;

class CModelStream : public Assimp::IOStream {
public:
    explicit CModelStream(FileBytes bytes) : m_bytes(std::move(bytes)) {}

    size_t Read(void* buffer, size_t size, size_t count) override {
        if (size == 0) return 0;
        size_t const whole = std::min(count, (m_bytes->size() - m_position) / size);
        if (whole) std::memcpy(buffer, m_bytes->data() + m_position, whole * size);
        m_position += whole * size;
        // There are readers in the importer that look for a line behind the end of a cut file for ever.
        m_emptyReads = whole ? 0 : m_emptyReads + 1;
        if (m_emptyReads > kMaxEmptyReads) throw std::runtime_error("the file is cut off");
        return whole;
    }
    size_t Write(void const*, size_t, size_t) override { return 0; }
    aiReturn Seek(size_t offset, aiOrigin origin) override {
        size_t const base = origin == aiOrigin_SET ? 0 : origin == aiOrigin_CUR ? m_position : m_bytes->size();
        if (origin == aiOrigin_END ? offset > base : offset > m_bytes->size() - base) return aiReturn_FAILURE;
        m_position = origin == aiOrigin_END ? base - offset : base + offset;
        return aiReturn_SUCCESS;
    }
    size_t Tell() const override { return m_position; }
    size_t FileSize() const override { return m_bytes->size(); }
    void Flush() override {}

private:
    FileBytes m_bytes;
    size_t m_position = 0;
    int m_emptyReads = 0; // on end
};

std::uint32_t NumberAt(std::string_view file, std::size_t at) {
    std::uint32_t number = 0;
    for (std::size_t i = 4; i-- > 0;) number = number << 8 | static_cast<unsigned char>(file[at + i]);
    return number;
}

// Whether the importer may see the file. Two of its readers believe what these files say of themselves and read beyond
// their end: that of binary glTF its lengths, and that of PLY that texts have lines without zeros.
bool IsSafe(std::string_view file) {
    if (file.starts_with("glTF")) {
        if (file.size() < 20 || NumberAt(file, 8) > file.size()) return false;
        for (std::size_t at = 12; at < file.size();) { // chunk by chunk: length, type, contents
            if (file.size() - at < 8 || NumberAt(file, at) > file.size() - at - 8) return false;
            at += 8 + NumberAt(file, at);
        }
    }
    if (file.starts_with("ply")) {
        std::size_t const end = file.find("\nend_header");
        bool const isText = file.substr(0, end).find("format ascii") != file.npos;
        return end != file.npos && file.substr(0, isText ? file.npos : end).find('\0') == file.npos;
    }
    return true;
}

// The spellings under which a store may know a file: as it is, and with either separator throughout. Stores of memory
// compare their names letter for letter, and a model names its side files as its author liked.
std::vector<wstring> Spellings(wstring const& path) {
    std::vector<wstring> spellings(3, WithoutDot(path));
    std::replace(spellings[1].begin(), spellings[1].end(), L'/', L'\\');
    std::replace(spellings[2].begin(), spellings[2].end(), L'\\', L'/');
    return spellings;
}

bool Locate(CFileSystem const& store, wstring const& path, wstring& located) {
    for (wstring const& spelling : Spellings(path)) {
        located = spelling;
        if (store.MakeResourceAbsolutePath(located)) return true;
    }
    return false;
}
} // namespace

std::string WideToUtf8(wstring const& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto unit = static_cast<std::uint32_t>(text[i]) & 0xFFFF;
        if (unit >= 0xD800 && unit < 0xDC00 && i + 1 < text.size())
            unit = 0x10000 + ((unit - 0xD800) << 10) + ((static_cast<std::uint32_t>(text[++i]) & 0xFFFF) - 0xDC00);
        if (unit < 0x80) {
            out += static_cast<char>(unit);
            continue;
        }
        int const tail = unit < 0x800 ? 1 : unit < 0x10000 ? 2 : 3;
        out += static_cast<char>((tail == 1 ? 0xC0 : tail == 2 ? 0xE0 : 0xF0) | unit >> 6 * tail);
        for (int shift = tail - 1; shift >= 0; --shift) out += static_cast<char>(0x80 | (unit >> 6 * shift & 0x3F));
    }
    return out;
}

wstring Utf8ToWide(std::string const& text) {
    return qk3d::Utf8ToWide(reinterpret_cast<unsigned char const*>(text.data()), text.size());
}

string Utf8ToNarrow(std::string const& text) { return WideToAnsi(Utf8ToWide(text), "chs"); }

wstring WithoutDot(wstring path) {
    while (path.size() > 2 && path[0] == L'.' && (path[1] == L'/' || path[1] == L'\\')) path.erase(0, 2);
    return path;
}

FileBytes ReadFile(CFileSystem const& store, wstring const& path) {
    wstring located;
    if (!Locate(store, path, located)) return nullptr;
    unsigned char* block = nullptr;
    unsigned long long const size = store.ReadFileAsBinary(located, &block);
    std::unique_ptr<unsigned char, decltype(&std::free)> const owner(block, std::free);
    if (!block || size == 0 || size > kMaxFileSize) return nullptr;
    return std::make_unique<std::vector<unsigned char>>(block, block + size);
}

wstring FolderOf(wstring const& path) {
    auto const separator = path.find_last_of(L"/\\");
    return separator == wstring::npos ? wstring() : path.substr(0, separator + 1);
}

bool CModelFiles::Exists(char const* file) const {
    wstring located;
    return Locate(m_store, Utf8ToWide(file), located);
}

Assimp::IOStream* CModelFiles::Open(char const* file, char const* mode) {
    if (!mode || mode[0] != 'r') return nullptr;
    FileBytes bytes = ReadFile(m_store, Utf8ToWide(file));
    if (!bytes || !IsSafe({reinterpret_cast<char const*>(bytes->data()), bytes->size()})) return nullptr;
    return std::make_unique<CModelStream>(std::move(bytes)).release();
}

void CModelFiles::Close(Assimp::IOStream* file) { delete file; }
} // namespace qk3d::models
