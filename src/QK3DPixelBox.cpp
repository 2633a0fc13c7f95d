// QK3DPixelBox.cpp: a block of pixels in memory, and parts of it.
#include "QK3DPixelBox.h"

namespace qk3d {

CPixelBox::CPixelBox(int left, int top, int width, int height, EPixelFormat format, void* data, unsigned int rowPitch,
                     unsigned int slicePitch)
    : CBox(left, top, width, height),
      m_rowPitch(rowPitch),
      m_slicePitch(slicePitch),
      m_bitsPerPixel(static_cast<unsigned int>(GetPixelFormatBits(format))),
      m_format(format),
      m_data(data) {}

void CPixelBox::operator=(CPixelBox const& other) {
    CBox::operator=(other);
    m_rowPitch = other.m_rowPitch;
    m_slicePitch = other.m_slicePitch;
    m_bitsPerPixel = other.m_bitsPerPixel;
    m_format = other.m_format;
    m_data = other.m_data;
}

void CPixelBox::operator=(CBox const& range) { CBox::operator=(range); }

CPixelBox CPixelBox::GetSubBox(CBox const& range) const {
    CPixelBox part(*this);
    part = range;
    if (!m_data || range == *this) return part;
    part.m_data = nullptr;

    // In 64 bits: the sums below leave 32 for boxes that nobody means but that scripts can name.
    long long const left = static_cast<long long>(range.x) - x;
    long long const top = static_cast<long long>(range.y) - y;
    bool const isInside = left >= 0 && top >= 0 && range.width >= 0 && range.height >= 0 &&
                          left + range.width <= width && top + range.height <= height;
    unsigned int const bytes = m_bitsPerPixel / 8;
    if (!isInside || bytes == 0) return part;
    part.m_data = static_cast<unsigned char*>(m_data) + top * m_rowPitch + left * bytes;
    return part;
}
} // namespace qk3d
