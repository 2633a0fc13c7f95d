// TraceCall.h: one operation that reached the recording back-end, in the two forms that readers want.
#pragma once

#include "QK3DTypes.h"
#include <cstddef>
#include <string_view>

namespace qk3d {
struct Matrix44;

/// An operation with its arguments by name. The same description makes two lines:
///   {"frame":2,"op":"SetCullMode","value":"COUNTERCLOCKWISE"}      for programs and for keeping
///   SetCullMode 3                                                  for the eyes, and for what a test expects
/// Texts are narrow text of the engine; the JSON line escapes whatever is not ASCII, so it is valid in any encoding.
class CTraceCall {
public:
    /// Forgets the last call and begins another; the storage stays.
    void Start(unsigned long long frame, char const* operation, bool keepBlobs);

    void AddNumber(char const* name, unsigned long long value);
    void AddInteger(char const* name, long long value);
    void AddBool(char const* name, bool value);
    void AddFloat(char const* name, float value);
    void AddFloats(char const* name, float const* values, std::size_t count);

    /// Sixteen numbers, by row; the short line says "identity" for the identity.
    void AddMatrix(char const* name, Matrix44 const& matrix);

    /// Text in double quotes in JSON, and bare in the short line.
    void AddText(char const* name, std::string_view narrow);

    /// What a number means: the word in JSON, the number in the short line. A null word leaves the number.
    void AddWord(char const* name, unsigned long long value, char const* word);

    /// "#AARRGGBB" in both.
    void AddColour(char const* name, unsigned int argb);

    /// Size and hash (64 bit FNV-1a) in both; the bytes in hexadecimal too in JSON, if blobs are kept. A null pointer is
    /// told as such.
    void AddBlob(char const* name, void const* data, std::size_t size);

    void AddNull(char const* name);

    /// For what has a form of its own: `json` is a whole JSON value, `brief` what the short line shows (nothing if empty).
    void AddRaw(char const* name, std::string_view json, std::string_view brief);

    unsigned long long GetFrame() const { return m_frame; }
    char const* GetOperation() const { return m_operation; }

    /// The JSON object, without a line end.
    string GetJson() const { return m_json + '}'; }
    /// The operation and its arguments with single blanks between them, without a line end.
    string const& GetBrief() const { return m_brief; }

private:
    void _AddName(char const* name);

    unsigned long long m_frame = 0;
    char const* m_operation = "";
    bool m_keepBlobs = false;
    string m_json; // still open at its end
    string m_brief;
};

/// 64 bit FNV-1a: tells blocks of bytes apart, quickly and the same on every machine. Not for keeping secrets.
unsigned long long HashBytes(void const* data, std::size_t size);

/// `narrow` as a JSON string with its quotes. What is not text in the code page shows as U+FFFD.
string QuoteJson(std::string_view narrow);
} // namespace qk3d
