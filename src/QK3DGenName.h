// QK3DGenName.h: names and numbers for things that nobody named.
#pragma once

#include "QK3DExport.h"
#include "QK3DTypes.h"

namespace qk3d {
/// Hands out running numbers to hosts, from 1 on; after 4294967295 comes 0.
class QK3D_API CGenHandle {
public:
    static unsigned int GenHandel();

private:
    static unsigned int m_handle;
};

/// Makes names from the calendar time in UTC: the prefix, 13 hexadecimal digits in upper case, the suffix. The digits
/// are the year from 1900, the month from 0, the second in the month and a 16-bit counter, so at most 65536 names of
/// one second differ. Narrow and wide names count apart.
class QK3D_API CGenName {
public:
    static string GenNameByTime_ansi(string const& prefix, string const& suffix);
    static wstring GenNameByTime_ucs2(wstring const& prefix, wstring const& suffix);
};
} // namespace qk3d
