// QKJsonParse.cpp: reads the text of a script into JSON values, strictly.
#include "PlatformCodePage.h"
#include "QKJson.h"
#include <charconv>
#include <string_view>
#include <type_traits>

namespace qklib {
namespace {
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsPlainAscii(string const& text) {
    unsigned int all = 0; // no early end, so that compilers make vectors of it
    for (char const c : text) all |= static_cast<unsigned char>(c);
    return all < 0x80;
}

bool NarrowToUtf8(string const& text, string& utf8) {
    std::wstring wide;
    return platform::CodePageToUtf16(text, wide) && platform::Utf16ToUtf8(wide, utf8);
}

// Whether a number, known to be out of a double's range, is too small and not too large for it. `number` has JSON form.
bool IsTiny(std::string_view number) {
    long long power = 0; // of ten, of the first digit that is not 0
    bool isBehindPoint = false, isBehindZeros = false;
    std::size_t at = number.front() == '-';
    for (; at < number.size() && (IsDigit(number[at]) || number[at] == '.'); ++at) {
        if (number[at] == '.')
            isBehindPoint = true;
        else if (number[at] != '0')
            isBehindZeros = true;
        if (IsDigit(number[at]) && isBehindZeros != isBehindPoint) power += isBehindZeros ? 1 : -1;
    }
    if (at == number.size()) return power < 0;
    number.remove_prefix(at + 1 + (number[at + 1] == '+'));
    long long exponent = 0;
    if (std::from_chars(number.data(), number.data() + number.size(), exponent).ec != std::errc())
        return number.front() == '-';
    return exponent < -power;
}

// Goes down the text once and makes each value where it belongs. What is not expected where it stands is an error, and so the
// zero behind the text ends every loop.
class CScriptReader {
public:
    explicit CScriptReader(string const& text) : m_at(text.c_str()), m_end(m_at + text.size()) {}

    bool Run(Json::Value& root) {
        SkipBlanks();
        if ((*m_at != '{' && *m_at != '[') || !ReadValue(root, 1)) return false;
        SkipBlanks();
        return m_at == m_end;
    }

private:
    // Also comments. One without an end stays, and nothing can be read from there.
    void SkipBlanks() {
        while (*m_at == ' ' || *m_at == '\n' || *m_at == '\r' || *m_at == '\t' || (*m_at == '/' && SkipComment()))
            ++m_at;
    }

    // To the last character of it.
    bool SkipComment() {
        bool const isLine = m_at[1] == '/';
        if (!isLine && m_at[1] != '*') return false;
        std::string_view const behind(m_at + 2, m_end);
        std::size_t const length = behind.find(isLine ? "\n" : "*/");
        if (length == behind.npos && !isLine) return false;
        m_at = length == behind.npos ? m_end - 1 : behind.data() + length + (isLine ? 0 : 1);
        return true;
    }

    bool Take(char wanted) {
        SkipBlanks();
        if (*m_at != wanted) return false;
        ++m_at;
        return true;
    }

    bool ReadValue(Json::Value& out, int depth) {
        if (depth > kMaxJsonDepth) return false;
        SkipBlanks();
        switch (*m_at) {
        case '{': return ReadObject(out, depth);
        case '[': return ReadArray(out, depth);
        case '"': return ReadString(out);
        case 't': return ReadWord("true", out, true);
        case 'f': return ReadWord("false", out, false);
        case 'n': return ReadWord("null", out, Json::Value());
        default: return ReadNumber(out);
        }
    }

    bool ReadObject(Json::Value& out, int depth) {
        ++m_at;
        out = Json::Value(Json::objectValue);
        if (Take('}')) return true;
        do {
            std::string_view key;
            SkipBlanks();
            if (*m_at != '"' || !ReadText(key)) return false;
            Json::ArrayIndex const before = out.size();
            Json::Value* const member = out.demand(key.data(), key.data() + key.size());
            if (out.size() == before) return false; // it was there
            if (!Take(':') || !ReadValue(*member, depth + 1)) return false;
        } while (Take(','));
        return Take('}');
    }

    bool ReadArray(Json::Value& out, int depth) {
        ++m_at;
        out = Json::Value(Json::arrayValue);
        if (Take(']')) return true;
        do
            if (!ReadValue(out[out.size()], depth + 1)) return false;
        while (Take(','));
        return Take(']');
    }

    bool ReadString(Json::Value& out) {
        std::string_view text;
        if (!ReadText(text)) return false;
        out = Json::Value(text.data(), text.data() + text.size());
        return true;
    }

    bool ReadWord(std::string_view word, Json::Value& out, Json::Value value) {
        if (!std::string_view(m_at, m_end).starts_with(word)) return false;
        m_at += word.size();
        out.swap(value);
        return true;
    }

    // The text stays good until the next is read.
    bool ReadText(std::string_view& text) {
        char const* const begin = ++m_at;
        while (*m_at != '"' && *m_at != '\\' && *m_at != '\0') ++m_at;
        text = {begin, m_at};
        if (*m_at == '"') {
            ++m_at;
            return true;
        }
        m_decoded = text;
        while (*m_at != '"') {
            if (*m_at == '\\') {
                if (!ReadEscape()) return false;
            } else {
                if (*m_at == '\0') return false;
                m_decoded += *m_at++;
            }
        }
        ++m_at;
        text = m_decoded;
        return true;
    }

    bool ReadEscape() {
        constexpr std::string_view kLetters = "\"\\/bfnrt", kMeanings = "\"\\/\b\f\n\r\t";
        if (m_at[1] == 'u') return ReadUnicode();
        std::size_t const which = kLetters.find(m_at[1]);
        if (which == kLetters.npos) return false;
        m_decoded += kMeanings[which];
        m_at += 2;
        return true;
    }

    // One unit of UTF-16, or two that belong together.
    bool ReadUnicode() {
        std::wstring units;
        do {
            unsigned int unit = 0;
            if (m_at[0] != '\\' || m_at[1] != 'u' || m_end - m_at < 6) return false;
            if (std::from_chars(m_at + 2, m_at + 6, unit, 16).ptr != m_at + 6) return false;
            m_at += 6;
            units += static_cast<wchar_t>(unit);
        } while (units.size() == 1 && (units[0] & 0xFC00) == 0xD800);
        string utf8;
        if (!platform::Utf16ToUtf8(units, utf8)) return false;
        m_decoded += utf8;
        return true;
    }

    bool ReadNumber(Json::Value& out) {
        char const* const begin = m_at;
        if (*m_at == '-') ++m_at;
        if (*m_at == '0' && IsDigit(m_at[1])) return false;
        if (!SkipDigits()) return false;
        bool isInteger = true;
        if (*m_at == '.') {
            isInteger = false;
            ++m_at;
            if (!SkipDigits()) return false;
        }
        if (*m_at == 'e' || *m_at == 'E') {
            isInteger = false;
            ++m_at;
            if (*m_at == '-' || *m_at == '+') ++m_at;
            if (!SkipDigits()) return false;
        }
        return (isInteger && (ReadAs<Json::Int64>(begin, out) || ReadAs<Json::UInt64>(begin, out))) ||
               ReadAs<double>(begin, out);
    }

    bool SkipDigits() {
        char const* const begin = m_at;
        while (IsDigit(*m_at)) ++m_at;
        return m_at != begin;
    }

    template <class T>
    bool ReadAs(char const* begin, Json::Value& out) {
        T number = 0;
        if (auto const error = std::from_chars(begin, m_at, number).ec; error != std::errc()) {
            if constexpr (!std::is_same_v<T, double>) return false;
            if (!IsTiny({begin, m_at})) return false;
            number = *begin == '-' ? -T(0) : T(0);
        }
        out = Json::Value(number);
        return true;
    }

    char const* m_at;
    char const* m_end; // there stands a zero
    string m_decoded;
};
} // namespace

bool ParseJson(string const& text, Json::Value& root) {
    root = Json::Value();
    string utf8;
    if (!IsPlainAscii(text) && !NarrowToUtf8(text, utf8)) return false;
    Json::Value read;
    if (!CScriptReader(utf8.empty() ? text : utf8).Run(read)) return false;
    root.swap(read);
    return true;
}
} // namespace qklib
