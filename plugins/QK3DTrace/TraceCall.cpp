// TraceCall.cpp: writing the two forms of a recorded operation.
#include "TraceCall.h"

#include "QK3DMatrix.h"
#include "QK3DText.h"
#include <charconv>
#include <cmath>
#include <cstdio>

namespace qk3d {
namespace {
// The shortest digits that read back as the same float. JSON has no infinities and no NaN; they go as words.
string FormatFloat(float value, bool json) {
    if (!std::isfinite(value)) {
        char const* const word = std::isnan(value) ? "nan" : value > 0 ? "inf" : "-inf";
        return json ? '"' + string(word) + '"' : word;
    }
    char digits[32];
    auto const end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    return string(digits, end);
}

template <typename Number>
string FormatNumber(Number value) {
    char digits[24];
    return string(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

string FormatHex(unsigned long long value, int digits) {
    char text[20];
    std::snprintf(text, sizeof text, "%0*llx", digits, value);
    return text;
}

void AppendEscaped(string& out, unsigned int unit) {
    switch (unit) {
    case '"': out += "\\\""; return;
    case '\\': out += "\\\\"; return;
    case '\n': out += "\\n"; return;
    case '\t': out += "\\t"; return;
    default: break;
    }
    if (unit >= 0x20 && unit < 0x7F)
        out += static_cast<char>(unit);
    else
        out += "\\u" + FormatHex(unit & 0xFFFF, 4);
}

// The short line is one line whatever a name holds.
void AppendBrief(string& out, std::string_view text) {
    for (char const c : text) out += c == '\n' || c == '\r' ? '?' : c;
}
} // namespace

unsigned long long HashBytes(void const* data, std::size_t size) {
    unsigned long long hash = 14695981039346656037ULL;
    auto const* bytes = static_cast<unsigned char const*>(data);
    for (std::size_t i = 0; i < size; ++i) hash = (hash ^ bytes[i]) * 1099511628211ULL;
    return hash;
}

string QuoteJson(std::string_view narrow) {
    string out = "\"";
    bool ascii = true;
    for (char const c : narrow) ascii = ascii && static_cast<unsigned char>(c) < 0x80;
    if (ascii) {
        for (char const c : narrow) AppendEscaped(out, static_cast<unsigned char>(c));
    } else {
        wstring const wide = AnsiToWide(string(narrow), "chs");
        if (wide.empty()) out += "\\ufffd";
        for (wchar_t const unit : wide) AppendEscaped(out, static_cast<unsigned int>(unit));
    }
    return out += '"';
}

void CTraceCall::Start(unsigned long long frame, char const* operation, bool keepBlobs) {
    m_frame = frame;
    m_operation = operation;
    m_keepBlobs = keepBlobs;
    m_json.assign("{\"frame\":").append(FormatNumber(frame)).append(",\"op\":\"").append(operation).append("\"");
    m_brief.assign(operation);
}

void CTraceCall::_AddName(char const* name) { m_json.append(",\"").append(name).append("\":"); }

void CTraceCall::AddRaw(char const* name, std::string_view json, std::string_view brief) {
    _AddName(name);
    m_json.append(json);
    if (brief.empty()) return;
    m_brief += ' ';
    AppendBrief(m_brief, brief);
}

void CTraceCall::AddNumber(char const* name, unsigned long long value) {
    string const text = FormatNumber(value);
    AddRaw(name, text, text);
}

void CTraceCall::AddInteger(char const* name, long long value) {
    string const text = FormatNumber(value);
    AddRaw(name, text, text);
}

void CTraceCall::AddBool(char const* name, bool value) {
    AddRaw(name, value ? "true" : "false", value ? "true" : "false");
}

void CTraceCall::AddFloat(char const* name, float value) {
    AddRaw(name, FormatFloat(value, true), FormatFloat(value, false));
}

void CTraceCall::AddFloats(char const* name, float const* values, std::size_t count) {
    string json = "[";
    string brief;
    for (std::size_t i = 0; i < count; ++i) {
        json.append(i ? "," : "").append(FormatFloat(values[i], true));
        brief.append(i ? " " : "").append(FormatFloat(values[i], false));
    }
    AddRaw(name, json += ']', brief);
}

void CTraceCall::AddMatrix(char const* name, Matrix44 const& matrix) {
    float const* const first = &matrix.m[0];
    if (!matrix.IsIdentity()) return AddFloats(name, first, 16);
    string const brief = m_brief + " identity";
    AddFloats(name, first, 16);
    m_brief = brief;
}

void CTraceCall::AddText(char const* name, std::string_view narrow) { AddRaw(name, QuoteJson(narrow), narrow); }

void CTraceCall::AddWord(char const* name, unsigned long long value, char const* word) {
    string const number = FormatNumber(value);
    AddRaw(name, word ? QuoteJson(word) : number, number);
}

void CTraceCall::AddColour(char const* name, unsigned int argb) {
    char text[12];
    std::snprintf(text, sizeof text, "#%08X", argb);
    AddRaw(name, QuoteJson(text), text);
}

void CTraceCall::AddBlob(char const* name, void const* data, std::size_t size) {
    if (!data) return AddNull(name);
    string const hash = FormatHex(HashBytes(data, size), 16);
    string json = "{\"size\":" + FormatNumber(size) + ",\"hash\":\"" + hash + '"';
    if (m_keepBlobs) {
        json += ",\"data\":\"";
        auto const* bytes = static_cast<unsigned char const*>(data);
        for (std::size_t i = 0; i < size; ++i) {
            json += "0123456789abcdef"[bytes[i] >> 4];
            json += "0123456789abcdef"[bytes[i] & 15];
        }
        json += '"';
    }
    AddRaw(name, json += '}', FormatNumber(size) + ':' + hash);
}

void CTraceCall::AddNull(char const* name) { AddRaw(name, "null", "null"); }
} // namespace qk3d
