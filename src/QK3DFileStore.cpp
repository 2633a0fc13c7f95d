// QK3DFileStore.cpp: processors, and the way from stored bytes to a reader. The narrow forms are in a file of their own.
#include "QK3DFileStore.h"

#include "QK3DFileDataProcessor.h"
#include "QK3DText.h"
#include <algorithm>
#include <cstring>

namespace qk3d {
namespace {
using Size = unsigned long long;

// What a processor throws ends here: its data could not be decoded.
Size AskDecodedSize(CFileDataProcessor& processor, void const* in, Size inSize) try {
    return processor.GetDecodedSize(in, inSize);
} catch (...) { return 0; }

bool AskSizeFromData(CFileDataProcessor& processor) try { return processor.IsDecodedSizeFromData(); } catch (...) {
    return true;
}

// A count above the room that there was is cut, so that nobody reads on the strength of it.
Size Decode(CFileDataProcessor& processor, void const* in, Size inSize, void* out, Size outSize) try {
    return std::min(processor.DecodeData(in, inSize, out, outSize), outSize);
} catch (...) { return 0; }

wstring ToKey(wstring const& extension) {
    wstring key = extension;
    ToLowerWide(key);
    return key;
}
} // namespace

CFileStore::CFileStore() = default;
CFileStore::~CFileStore() = default;

void CFileStore::AddFileDataProcessor(wstring const& extension, qklib::CSharePtr<CFileDataProcessor> const& processor) {
    m_processors[ToKey(extension)] = processor;
}

void CFileStore::RemoveFileDataProcessor(wstring const& extension) { m_processors.erase(ToKey(extension)); }

void CFileStore::RemoveAllFileDataProcessor() { m_processors.clear(); }

bool CFileStore::DeleteFileA(wstring const&) { return false; }

bool CFileStore::ReadFileAsString(wstring const& path, wstring& out) const {
    out.clear();
    Size size = 0;
    Block const text = _ReadReadable(path, size);
    if (text) out = DecodeTextToWide(text.get(), size);
    return text != nullptr;
}

bool CFileStore::ReadFileAsString(wstring const& path, string& out) const {
    out.clear();
    Size size = 0;
    Block const text = _ReadReadable(path, size);
    if (text) out = DecodeTextToAnsi(text.get(), size);
    return text != nullptr;
}

unsigned long long CFileStore::ReadFileAsBinary(wstring const& path, unsigned char* buffer,
                                                unsigned long long size) const {
    if (auto const processor = _FindProcessor(path); !processor.IsNull())
        return _DecodeIntoBuffer(path, *processor.GetPointer(), buffer, size);
    Size const whole = _GetStoredSize(path);
    if (!buffer || size == 0) return whole;
    Size const wanted = std::min(whole, size);
    return _CopyStored(path, buffer, wanted) == wanted ? whole : 0;
}

unsigned long long CFileStore::ReadFileAsBinary(wstring const& path, unsigned char** out) const {
    if (!out) return _GetReadableSize(path);
    *out = nullptr;
    Size size = 0;
    Block block = _ReadReadable(path, size);
    if (block && size > 0) *out = block.release();
    return size;
}

bool CFileStore::WriteStringToNewFile(wstring const&, wstring const&) { return false; }
bool CFileStore::WriteStringToNewFile(wstring const&, string const&) { return false; }
bool CFileStore::WriteDataToNewFile(wstring const&, unsigned char const*, unsigned long long) { return false; }
bool CFileStore::AppendStringToFile(wstring const&, wstring const&) { return false; }
bool CFileStore::AppendStringToFile(wstring const&, string const&) { return false; }
bool CFileStore::AppendDataToFile(wstring const&, unsigned char const*, unsigned long long) { return false; }

CFileStore::Block CFileStore::_ReadStored(wstring const& path, unsigned long long& size,
                                          unsigned long long spare) const {
    size = _GetStoredSize(path);
    Block block = size > 0 ? _AllocateBlock(size, spare) : nullptr;
    if (block && _CopyStored(path, block.get(), size) == size) return block;
    size = 0;
    return nullptr;
}

CFileStore::Block CFileStore::_AllocateBlock(unsigned long long size, unsigned long long spare) {
    Size const whole = size + spare;
    if (whole < size || whole > PTRDIFF_MAX) return nullptr;
    return Block(static_cast<unsigned char*>(std::calloc(static_cast<std::size_t>(std::max<Size>(whole, 1)), 1)));
}

qklib::CSharePtr<CFileDataProcessor> CFileStore::_FindProcessor(wstring const& path) const {
    if (m_processors.empty()) return {};
    auto const found = m_processors.find(ToKey(GetFileExtension(path, false)));
    return found != m_processors.end() ? found->second : qklib::CSharePtr<CFileDataProcessor>();
}

unsigned long long CFileStore::_GetReadableSize(wstring const& path) const {
    auto const processor = _FindProcessor(path);
    if (processor.IsNull()) return _GetStoredSize(path);
    return _DecodeIntoBuffer(path, *processor.GetPointer(), nullptr, 0);
}

CFileStore::Block CFileStore::_ReadReadable(wstring const& path, unsigned long long& size) const {
    auto const held = _FindProcessor(path); // held, since a processor may take itself out of the table
    if (held.IsNull()) return _ReadStored(path, size, 0);
    CFileDataProcessor& processor = *held.GetPointer();
    size = 0;

    Block readable;
    if (AskSizeFromData(processor)) {
        Size storedSize = 0;
        Block const stored = _ReadStored(path, storedSize, 0);
        Size const decoded = stored ? AskDecodedSize(processor, stored.get(), storedSize) : 0;
        readable = decoded > 0 ? _AllocateBlock(decoded, 0) : nullptr;
        if (readable) size = Decode(processor, stored.get(), storedSize, readable.get(), decoded);
    } else {
        // In place, so that a large file is in memory once.
        Size const expected = _GetStoredSize(path);
        Size const decoded = expected > 0 ? AskDecodedSize(processor, nullptr, expected) : 0;
        if (decoded == 0) return nullptr;
        Size const room = std::max(decoded, expected);
        Size storedSize = 0;
        readable = _ReadStored(path, storedSize, room - expected);
        if (!readable || storedSize != expected) return nullptr; // it changed under our hands
        size = Decode(processor, readable.get(), storedSize, readable.get(), room);
    }
    return readable;
}

unsigned long long CFileStore::_DecodeIntoBuffer(wstring const& path, CFileDataProcessor& processor,
                                                 unsigned char* buffer, unsigned long long size) const {
    Size storedSize = 0;
    Block stored;
    if (AskSizeFromData(processor))
        stored = _ReadStored(path, storedSize, 0);
    else
        storedSize = _GetStoredSize(path);
    Size const decoded = storedSize > 0 ? AskDecodedSize(processor, stored.get(), storedSize) : 0;
    if (decoded == 0 || !buffer || size == 0) return decoded;

    if (size < decoded) {
        Size written = 0;
        Block const whole = _ReadReadable(path, written);
        if (whole) std::memcpy(buffer, whole.get(), static_cast<std::size_t>(std::min(size, written)));
        return written;
    }
    if (!stored) stored = _ReadStored(path, storedSize, 0);
    return stored ? Decode(processor, stored.get(), storedSize, buffer, size) : 0;
}
} // namespace qk3d
