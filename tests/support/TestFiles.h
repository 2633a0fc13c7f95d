// TestFiles.h: bytes as files of a store, and what resources and scripts of a test are made with.
#pragma once

#include "QK3DFileSystem.h"
#include "QK3DSharePtr.h"
#include "QKJson.h"
#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>

namespace qk3d {
class CResourceLoader;

/// A block of malloc, as stores of memory take them over.
inline unsigned char* NewBlock(string const& bytes) {
    auto* const block = static_cast<unsigned char*>(std::malloc(bytes.size() + 1));
    std::copy(bytes.begin(), bytes.end(), block);
    return block;
}

/// Makes a file of just these bytes in a store of memory, over what was there.
inline void WriteFile(CFileSystem& store, string const& path, string const& bytes) {
    ASSERT_TRUE(store.WriteDataToNewFile(path, NewBlock(bytes), bytes.size())) << path;
}

/// All that a store gives for a path, or "none".
inline string ReadAll(CFileSystem const& store, wstring const& path) {
    unsigned char* block = nullptr;
    unsigned long long const size = store.ReadFileAsBinary(path, &block);
    string const bytes = block ? string(block, block + size) : "none";
    std::free(block);
    return bytes;
}

inline CSharePtr<CResourceLoader>& NoLoader() { return CSharePtr<CResourceLoader>::GetNullSharePtr(); }

inline Json::Value Parse(string const& text) {
    Json::Value value;
    EXPECT_TRUE(qklib::ParseJson(text, value)) << text;
    return value;
}
} // namespace qk3d
