// TestProcessor.h: file processors for tests, good and bad.
#pragma once

#include "QK3DFileDataProcessor.h"
#include "TestFiles.h"
#include <functional>
#include <stdexcept>

/// Writes every byte twice, but for one fault. It works in place too, from the end.
class DoublingProcessor : public qk3d::CFileDataProcessor {
public:
    enum Fault { Sound, ThrowsInSize, ThrowsInDecode, WroteTooMuch, Huge, Nothing };

    explicit DoublingProcessor(bool fromData, Fault fault = Sound) : m_fromData(fromData), m_fault(fault) {}

    unsigned long long DecodeData(void const* in, unsigned long long inSize, void* out,
                                  unsigned long long outSize) override {
        ++m_decodes;
        if (m_onDecode) m_onDecode();
        if (m_fault == ThrowsInDecode) throw std::runtime_error("cannot decode");
        if (outSize < inSize * 2) return m_fault == WroteTooMuch ? ~0ull : 0;
        auto const from = static_cast<unsigned char const*>(in);
        auto const to = static_cast<unsigned char*>(out);
        for (unsigned long long i = inSize; i-- > 0;) to[2 * i] = to[2 * i + 1] = from[i];
        return m_fault == WroteTooMuch ? ~0ull : inSize * 2;
    }
    bool IsDecodedSizeFromData() override { return m_fromData; }
    unsigned long long GetDecodedSize(void const* in, unsigned long long inSize) override {
        if (m_fault == ThrowsInSize) throw 1;
        if (m_fault == Huge) return ~0ull - 1;
        return m_fault != Nothing && (in != nullptr) == m_fromData ? inSize * 2 : 0; // the bytes come if asked for
    }

    int m_decodes = 0;
    std::function<void()> m_onDecode;

private:
    bool m_fromData;
    Fault m_fault;
};

/// Every kind of read gives "aabbccdd" for a file of "abcd" while a doubling processor stands before it.
inline void ExpectDoubled(qk3d::CFileSystem const& store, qk3d::wstring const& path) {
    unsigned char buffer[16] = {};
    EXPECT_EQ(store.ReadFileAsBinary(path, buffer, 3), 8u) << "cut off, with the size that it needs";
    EXPECT_STREQ(reinterpret_cast<char*>(buffer), "aab");
    EXPECT_EQ(store.ReadFileAsBinary(path, buffer, 16), 8u);
    EXPECT_STREQ(reinterpret_cast<char*>(buffer), "aabbccdd");
    EXPECT_EQ(qk3d::ReadAll(store, path), "aabbccdd");
    qk3d::string narrow;
    EXPECT_TRUE(store.ReadFileAsString(path, narrow));
    EXPECT_EQ(narrow, "aabbccdd");
}
