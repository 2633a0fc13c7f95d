// QK3DGenName.cpp: makes names out of the calendar time.
#include "QK3DGenName.h"
#include <chrono>
#include <cstdint>

namespace qk3d {
namespace {
std::uint16_t g_narrowCount = 0;
std::uint16_t g_wideCount = 0;

void AppendHex(string& out, unsigned value, int digits) {
    while (digits-- > 0) out += "0123456789ABCDEF"[value >> (4 * digits) & 0xF];
}

// The digits of the year, the month and the second in the month; the year takes more than two digits from 2156 on. A
// script makes thousands of names within a second, so they are kept for as long as it lasts.
string const& SecondDigits() {
    using namespace std::chrono;
    static sys_seconds kept{};
    static string digits;
    auto const now = floor<seconds>(system_clock::now());
    if (now == kept && !digits.empty()) return digits;
    // The calendar of the standard library keeps no state that threads would share.
    auto const day = floor<days>(now);
    year_month_day const date(day);
    unsigned const year = static_cast<unsigned>(static_cast<int>(date.year()) - 1900);
    digits.clear();
    AppendHex(digits, year, year > 0xFF ? 3 : 2);
    AppendHex(digits, static_cast<unsigned>(date.month()) - 1, 1);
    AppendHex(digits, static_cast<unsigned>(date.day()) * 86400 + static_cast<unsigned>((now - day).count()), 6);
    kept = now;
    return digits;
}

// All in ASCII, so narrow and wide names share it.
string TimeDigits(std::uint16_t count) {
    string digits = SecondDigits();
    AppendHex(digits, count, 4);
    return digits;
}
} // namespace

unsigned int CGenHandle::m_handle = 0;

unsigned int CGenHandle::GenHandel() { return ++m_handle; }

string CGenName::GenNameByTime_ansi(string const& prefix, string const& suffix) {
    return prefix + TimeDigits(g_narrowCount++) + suffix;
}

wstring CGenName::GenNameByTime_ucs2(wstring const& prefix, wstring const& suffix) {
    string const digits = TimeDigits(g_wideCount++);
    return prefix + wstring(digits.begin(), digits.end()) + suffix;
}
} // namespace qk3d
