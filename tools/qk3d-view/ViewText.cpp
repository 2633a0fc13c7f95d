// ViewText.cpp: texts, paths and log lines of a host whose system speaks UTF-8.
#include "ViewText.h"

#include "QK3DText.h"
#include "QKJson.h"
#include "QKLog.h"
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace view {
namespace {
std::filesystem::path ToPath(std::string const& utf8) { return std::u8string(utf8.begin(), utf8.end()); }

std::string FromPath(std::filesystem::path const& path) {
    std::u8string const text = path.u8string();
    return {text.begin(), text.end()};
}

void PrintWarning(qklib::LogRecord const& record, void*) {
    if (record.level < qklib::LOG_WARNING) return;
    std::string const text = ToUtf8(record.message);
    std::fprintf(stderr, "qk3d-view: %s: %s\n", record.category.c_str(),
                 text.empty() ? record.message.c_str() : text.c_str());
}
} // namespace

string ToNarrow(std::string const& utf8) {
    auto const* bytes = reinterpret_cast<unsigned char const*>(utf8.data());
    string const narrow = qk3d::WideToAnsi(qk3d::Utf8ToWide(bytes, utf8.size()), "chs");
    if (narrow.empty() && !utf8.empty())
        throw Failure("a name has characters that the engine's text (GBK) lacks: " + utf8);
    return narrow;
}

std::string ToUtf8(string const& narrow) {
    std::string out;
    for (wchar_t const wide : qk3d::AnsiToWide(narrow, "chs")) {
        // GBK has characters of the basic plane only, so each unit stands for itself.
        auto const unit = static_cast<unsigned int>(wide) & 0xFFFF;
        if (unit < 0x80)
            out += static_cast<char>(unit);
        else if (unit < 0x800)
            out += {static_cast<char>(0xC0 | unit >> 6), static_cast<char>(0x80 | (unit & 0x3F))};
        else
            out += {static_cast<char>(0xE0 | unit >> 12), static_cast<char>(0x80 | (unit >> 6 & 0x3F)),
                    static_cast<char>(0x80 | (unit & 0x3F))};
    }
    return out;
}

std::string MakeAbsolute(std::string const& utf8) {
    std::error_code error;
    std::filesystem::path const path = std::filesystem::absolute(ToPath(utf8), error);
    return error ? utf8 : FromPath(path.lexically_normal());
}

string FindFile(std::string const& utf8) {
    std::error_code error;
    std::string const path = MakeAbsolute(utf8);
    if (!std::filesystem::is_regular_file(ToPath(path), error)) throw Failure("no such file: " + utf8);
    return ToNarrow(path);
}

std::string Beside(std::string const& besides, std::string const& file) {
    return FromPath((ToPath(besides).parent_path() / ToPath(file)).lexically_normal());
}

std::string StemOf(std::string const& utf8) { return FromPath(ToPath(utf8).stem()); }

Json::Value ReadJsonFile(std::string const& utf8) {
    std::ifstream in(ToPath(utf8), std::ios::binary);
    if (!in) throw Failure("no such file: " + utf8);
    std::string bytes(std::istreambuf_iterator<char>(in), {});
    bytes.append(2, '\0'); // the decoder looks for an end
    return ParseJsonObject(qk3d::DecodeTextToAnsi(bytes.data(), bytes.size() - 2), utf8);
}

Json::Value ParseJsonObject(string const& text, std::string const& file) {
    Json::Value root;
    if (!qklib::ParseJson(text, root) || !root.isObject()) throw Failure("not a JSON object: " + file);
    return root;
}

void ShowWarnings() { qklib::CLoger::SetSink(&PrintWarning, nullptr); }
} // namespace view
