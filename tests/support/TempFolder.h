// TempFolder.h: a folder of its own for a test, gone with everything in it at the end.
#pragma once

#include "PlatformCodePage.h"
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

class TempFolder {
public:
    TempFolder() {
        static std::atomic<unsigned> count = 0;
        auto const now = std::chrono::steady_clock::now().time_since_epoch().count();
        auto const name = "qk3d-test-" + std::to_string(now) + '-' + std::to_string(count++);
        m_path = std::filesystem::canonical(std::filesystem::temp_directory_path()) / name;
        std::filesystem::create_directories(m_path);
    }
    TempFolder(TempFolder const&) = delete;
    TempFolder& operator=(TempFolder const&) = delete;
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    /// The path of something in the folder; `name` is UTF-8 with "/".
    std::string Path(std::string const& name = "") const { return (name.empty() ? m_path : m_path / name).string(); }

    std::wstring WidePath(std::string const& name = "") const { return Wide(Path(name)); }

    static std::wstring Wide(std::string const& utf8) {
        std::wstring wide;
        qklib::platform::Utf8ToUtf16(utf8, wide);
        return wide;
    }

    /// Makes a file, and the folders on its way.
    std::string Write(std::string const& name, std::string const& bytes) const {
        std::filesystem::path const path = m_path / name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << bytes;
        return path.string();
    }

    /// The number of files and folders directly inside.
    std::size_t Count() const {
        auto const entries = std::filesystem::directory_iterator(m_path);
        return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    }

    static std::string Read(std::filesystem::path const& path) {
        std::ifstream file(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

private:
    std::filesystem::path m_path;
};
