// QKJson.cpp: a strict reading of scripts on top of a lenient parser, and values without exceptions.
#include "QKJson.h"
#include "PlatformCodePage.h"
#include <algorithm>
#include <cmath>
#include <json/reader.h>
#include <limits>
#include <memory>
#include <string_view>

namespace qklib {
namespace {
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsPlainAscii(string const& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Checks what the parser is lenient about, and writes the text again in a form that it reads in the same way whatever
// the C++ locale of the host: without comments, and with numbers that have no decimal point.
class CScriptCleaner {
public:
    explicit CScriptCleaner(std::string_view text) : m_text(text) { m_clean.reserve(text.size()); }

    bool Run() {
        while (m_at < m_text.size()) {
            char const c = m_text[m_at];
            bool const good = c == '"'                 ? CopyString()
                              : c == '/'               ? SkipComment()
                              : c == '-' || IsDigit(c) ? CopyNumber()
                                                       : CopyOther();
            if (!good) return false;
        }
        return true;
    }

    std::string const& GetText() const { return m_clean; }

private:
    char Peek(std::size_t offset = 0) const { return m_at + offset < m_text.size() ? m_text[m_at + offset] : '\0'; }

    // A whole stretch at a time: most of a script is blanks, commas and words.
    bool CopyOther() {
        std::size_t end = m_at;
        for (; end < m_text.size(); ++end) {
            char const c = m_text[end];
            if (c == '"' || c == '/' || c == '-' || IsDigit(c)) break;
            if (c == '\0' || c == '+' || c == '.') return false;
        }
        m_clean.append(m_text, m_at, end - m_at);
        m_at = end;
        return true;
    }

    bool CopyString() {
        std::size_t end = m_at + 1;
        while (end < m_text.size() && m_text[end] != '"') {
            if (m_text[end] == '\0') return false;
            end += m_text[end] == '\\' ? 2 : 1;
        }
        if (end >= m_text.size()) return false;
        m_clean.append(m_text, m_at, end + 1 - m_at);
        m_at = end + 1;
        return true;
    }

    bool SkipComment() {
        bool const isLine = Peek(1) == '/';
        if (!isLine && Peek(1) != '*') return false;
        std::size_t const end = m_text.find(isLine ? "\n" : "*/", m_at + 2);
        if (end == m_text.npos && !isLine) return false;
        m_at = end == m_text.npos ? m_text.size() : end + (isLine ? 1 : 2);
        m_clean += ' ';
        return true;
    }

    void CopyDigits() {
        while (IsDigit(Peek())) m_clean += m_text[m_at++];
    }

    // 1.25e3 becomes 125e1, which is the same number to the last bit.
    bool CopyNumber() {
        if (Peek() == '-') m_clean += m_text[m_at++];
        if (!IsDigit(Peek()) || (Peek() == '0' && IsDigit(Peek(1)))) return false;
        CopyDigits();
        long long fractionDigits = 0;
        bool const hasPoint = Peek() == '.';
        if (hasPoint) {
            ++m_at;
            std::size_t const first = m_at;
            CopyDigits();
            fractionDigits = static_cast<long long>(m_at - first);
            if (fractionDigits == 0) return false;
        }
        long long exponent = 0;
        bool const hasExponent = Peek() == 'e' || Peek() == 'E';
        if (hasExponent && !ReadExponent(exponent)) return false;
        if (hasPoint || hasExponent) m_clean += 'e' + std::to_string(exponent - fractionDigits);
        return true;
    }

    bool ReadExponent(long long& exponent) {
        ++m_at;
        bool const isNegative = Peek() == '-';
        if (isNegative || Peek() == '+') ++m_at;
        if (!IsDigit(Peek())) return false;
        // Held at a size that no mantissa of a text in memory can make up for.
        for (; IsDigit(Peek()); ++m_at) exponent = std::min(exponent * 10 + (Peek() - '0'), 1'000'000'000'000'000LL);
        if (isNegative) exponent = -exponent;
        return true;
    }

    std::string_view m_text;
    std::string m_clean;
    std::size_t m_at = 0;
};

bool NarrowToUtf8(string const& text, string& utf8) {
    std::wstring wide;
    return platform::CodePageToUtf16(text, wide) && platform::Utf16ToUtf8(wide, utf8);
}

std::unique_ptr<Json::CharReader> MakeReader() {
    Json::CharReaderBuilder builder; // comments are gone by the time it looks
    builder["collectComments"] = false;
    builder["allowComments"] = false;
    builder["allowTrailingCommas"] = false;
    builder["failIfExtra"] = true;
    builder["rejectDupKeys"] = true;
    builder["strictRoot"] = true;
    builder["stackLimit"] = kMaxJsonDepth;
    return std::unique_ptr<Json::CharReader>(builder.newCharReader());
}

// Also false for values that are no numbers. An integer value is looked at as such: a double has not all of them.
bool IsBetween(Json::Value const& value, double low, double high) {
    switch (value.type()) {
    case Json::intValue: return value.asLargestInt() >= low && value.asLargestInt() <= high;
    case Json::uintValue: return value.asLargestUInt() <= high;
    case Json::realValue: return value.asDouble() >= low && value.asDouble() <= high;
    case Json::booleanValue: return true;
    default: return false;
    }
}
} // namespace

bool ParseJson(string const& text, Json::Value& root) {
    root = Json::Value();
    string utf8;
    if (!IsPlainAscii(text) && !NarrowToUtf8(text, utf8)) return false;
    CScriptCleaner cleaner(utf8.empty() ? text : utf8);
    if (!cleaner.Run()) return false;

    try {
        static std::unique_ptr<Json::CharReader> const reader = MakeReader(); // made once: its settings are JSON too
        Json::Value parsed;
        string const& clean = cleaner.GetText();
        if (!reader->parse(clean.data(), clean.data() + clean.size(), &parsed, nullptr)) return false;
        root.swap(parsed);
        return true;
    } catch (Json::Exception const&) { return false; }
}

Json::Value const& JsonMember(Json::Value const& value, char const* key) {
    return value.isObject() ? value[key] : Json::Value::nullSingleton();
}

Json::Value const& JsonElement(Json::Value const& value, unsigned int index) {
    return value.isArray() && index < value.size() ? value[index] : Json::Value::nullSingleton();
}

bool ReadInt(Json::Value const& value, int& out) {
    if (!IsBetween(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max())) return false;
    out = value.asInt();
    return true;
}

bool ReadUInt(Json::Value const& value, unsigned int& out) {
    if (!IsBetween(value, 0, std::numeric_limits<unsigned int>::max())) return false;
    out = value.asUInt();
    return true;
}

bool ReadFloat(Json::Value const& value, float& out) {
    constexpr double kLargest = std::numeric_limits<float>::max();
    if (!IsBetween(value, -kLargest, kLargest)) return false;
    out = value.asFloat();
    return true;
}

bool ReadBool(Json::Value const& value, bool& out) {
    if (!value.isBool() && !value.isNumeric()) return false;
    out = value.asBool();
    return true;
}

bool ReadString(Json::Value const& value, string& out) {
    if (!value.isString()) return false;
    char const* begin = nullptr;
    char const* end = nullptr;
    value.getString(&begin, &end);
    out.assign(begin, end);
    return true;
}
} // namespace qklib
