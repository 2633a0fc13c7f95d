// QKJson.cpp: a strict reading of scripts on top of a lenient parser, and values without exceptions.
#include "QKJson.h"
#include "PlatformCodePage.h"
#include <algorithm>
#include <array>
#include <json/reader.h>
#include <limits>
#include <locale>
#include <memory>
#include <string_view>

namespace qklib {
namespace {
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The characters that end a stretch of nothing in particular, outside strings and inside.
constexpr auto EndsOf(std::string_view characters) {
    std::array<bool, 256> ends{};
    ends[0] = true;
    for (char const c : characters) ends[static_cast<unsigned char>(c)] = true;
    return ends;
}
constexpr auto kStretchEnds = EndsOf("\"/-+.0123456789"), kStringEnds = EndsOf("\"\\");

bool IsPlainAscii(string const& text) {
    unsigned int all = 0; // no early end, so that compilers make vectors of it
    for (char const c : text) all |= static_cast<unsigned char>(c);
    return all < 0x80;
}

// Checks what the parser is lenient about. Where it has to, it writes the text again in a form that the parser reads in the
// same way whatever the C++ locale of the host: without comments, and with numbers that have no decimal point.
class CScriptCleaner {
public:
    explicit CScriptCleaner(std::string const& text) : m_text(text) {}

    bool Run() {
        while (m_at < m_text.size()) {
            char const c = m_text[m_at];
            bool const good = c == '"'                 ? SkipString()
                              : c == '/'               ? DropComment()
                              : c == '-' || IsDigit(c) ? CheckNumber()
                                                       : SkipOther();
            if (!good) return false;
        }
        if (m_copied) m_clean.append(m_text, m_copied);
        return true;
    }

    std::string const& GetText() const { return m_copied ? m_clean : m_text; }

private:
    char Peek(std::size_t offset = 0) const { return m_at + offset < m_text.size() ? m_text[m_at + offset] : '\0'; }

    // What stands between there and here becomes something else.
    void Replace(std::size_t from, std::string const& by) {
        m_clean.append(m_text, m_copied, from - m_copied).append(by);
        m_copied = m_at;
    }

    // The zero behind the text ends a stretch, too.
    void SkipUntil(std::array<bool, 256> const& ends) {
        char const* const text = m_text.c_str();
        while (!ends[static_cast<unsigned char>(text[m_at])]) ++m_at;
    }

    // Most of a script is blanks, commas and words.
    bool SkipOther() {
        SkipUntil(kStretchEnds);
        return m_at == m_text.size() || (m_text[m_at] != '\0' && m_text[m_at] != '+' && m_text[m_at] != '.');
    }

    bool SkipString() {
        for (++m_at; SkipUntil(kStringEnds), Peek() == '\\'; m_at += 2)
            if (Peek(1) == '\0') return false;
        return Peek() == '"' && ++m_at;
    }

    bool DropComment() {
        bool const isLine = Peek(1) == '/';
        if (!isLine && Peek(1) != '*') return false;
        std::size_t const start = m_at, end = m_text.find(isLine ? "\n" : "*/", m_at + 2);
        if (end == m_text.npos && !isLine) return false;
        m_at = end == m_text.npos ? m_text.size() : end + (isLine ? 1 : 2);
        Replace(start, " ");
        return true;
    }

    std::size_t SkipDigits() {
        std::size_t const start = m_at;
        while (IsDigit(Peek())) ++m_at;
        return m_at - start;
    }

    // Where the host has a locale of its own, 1.25e3 becomes 125e1, which is the same number to the last bit.
    bool CheckNumber() {
        std::size_t const start = m_at;
        if (Peek() == '-') ++m_at;
        if (!IsDigit(Peek()) || (Peek() == '0' && IsDigit(Peek(1)))) return false;
        SkipDigits();
        std::size_t const point = m_at;
        std::size_t fractionDigits = 0;
        if (Peek() == '.') {
            ++m_at;
            fractionDigits = SkipDigits();
            if (fractionDigits == 0) return false;
        }
        std::size_t const end = m_at;
        long long exponent = 0;
        bool const hasExponent = Peek() == 'e' || Peek() == 'E';
        if (hasExponent && !ReadExponent(exponent)) return false;
        if (m_isPlainLocale || m_at == point) return true;
        std::string const fraction = fractionDigits ? m_text.substr(point + 1, end - point - 1) : std::string();
        Replace(start, m_text.substr(start, point - start) + fraction + 'e' +
                           std::to_string(exponent - static_cast<long long>(fractionDigits)));
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

    std::string const& m_text;
    bool const m_isPlainLocale = std::locale() == std::locale::classic();
    std::string m_clean;
    std::size_t m_copied = 0; // up to here the text went into m_clean
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
