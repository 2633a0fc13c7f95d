// TestZip.h: writes ZIP archives byte by byte, so that a test can make any of the bytes wrong.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct TestZipEntry {
    std::string name;
    std::string data; // as it lies in the archive
    std::uint16_t method = 0;
    std::uint16_t flags = 1u << 11; // the name is UTF-8
    std::int64_t size = -1;         // of the file itself; below 0: that of `data`
    std::int64_t crc = -1;
    std::int64_t offset = -1; // of the file's own header, as the directory tells it
};

inline std::uint32_t TestCrc(std::string const& bytes) {
    std::uint32_t crc = ~0u;
    for (unsigned char const byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320u : 0);
    }
    return ~crc;
}

/// An entry whose file is `text` in one uncompressed block of a deflate stream.
inline TestZipEntry Deflated(std::string const& name, std::string const& text) {
    auto const length = static_cast<std::uint16_t>(text.size());
    std::string const data = {1, static_cast<char>(length), static_cast<char>(length >> 8), static_cast<char>(~length),
                              static_cast<char>(~length >> 8)};
    TestZipEntry entry{name, data + text, 8};
    entry.size = length;
    entry.crc = TestCrc(text);
    return entry;
}

inline std::string MakeZip(std::vector<TestZipEntry> const& entries) {
    auto const number = [](std::uint64_t value, int bytes) {
        std::string text;
        for (; bytes > 0; --bytes, value >>= 8) text += static_cast<char>(value);
        return text;
    };
    auto const given = [](std::int64_t value, std::uint64_t otherwise) {
        return value < 0 ? otherwise : static_cast<std::uint64_t>(value);
    };
    std::string zip;
    std::string directory;
    for (TestZipEntry const& entry : entries) {
        std::uint64_t const crc = given(entry.crc, TestCrc(entry.data));
        std::string const common = number(20, 2) + number(entry.flags, 2) + number(entry.method, 2) +
                                   number(0x210000, 4) + number(crc, 4) + number(entry.data.size(), 4) +
                                   number(given(entry.size, entry.data.size()), 4) + number(entry.name.size(), 2) +
                                   number(0, 2);
        directory +=
            "PK\1\2" + number(20, 2) + common + number(0, 10) + number(given(entry.offset, zip.size()), 4) + entry.name;
        zip += "PK\3\4" + common + entry.name + entry.data;
    }
    std::uint64_t const start = zip.size();
    std::uint64_t const count = entries.size();
    zip += directory;
    if (count > 0xFFFE) { // the long form of the end
        std::uint64_t const end = zip.size();
        zip += "PK\6\6" + number(44, 8) + number(45, 2) + number(45, 2) + number(0, 8) + number(count, 8) +
               number(count, 8) + number(directory.size(), 8) + number(start, 8);
        zip += "PK\6\7" + number(0, 4) + number(end, 8) + number(1, 4);
    }
    std::uint64_t const shortCount = count > 0xFFFE ? 0xFFFF : count;
    return zip + "PK\5\6" + number(0, 4) + number(shortCount, 2) + number(shortCount, 2) + number(directory.size(), 4) +
           number(count > 0xFFFE ? 0xFFFFFFFF : start, 4) + number(0, 2);
}
