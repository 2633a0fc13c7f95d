// QK3DGenName.cpp: makes names out of the calendar time.
#include "QK3DGenName.h"
#include <chrono>
#include <cstdio>

namespace qk3d {
namespace {
std::uint16_t g_narrowCount = 0;
std::uint16_t g_wideCount = 0;

// All in ASCII, so narrow and wide names share it.
string TimeDigits(std::uint16_t count) {
    using namespace std::chrono;
    // The calendar of the standard library keeps no state that threads would share.
    auto const now = floor<seconds>(system_clock::now());
    auto const day = floor<days>(now);
    year_month_day const date(day);
    unsigned const year = static_cast<unsigned>(static_cast<int>(date.year()) - 1900);
    unsigned const month = static_cast<unsigned>(date.month()) - 1;
    unsigned const second = static_cast<unsigned>(date.day()) * 86400 + static_cast<unsigned>((now - day).count());

    char digits[32];
    std::snprintf(digits, sizeof digits, "%02X%01X%06X%04X", year, month, second, static_cast<unsigned>(count));
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
