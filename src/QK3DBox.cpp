// QK3DBox.cpp: the integer rectangle.
#include "QK3DBox.h"
#include <algorithm>

namespace qk3d {
namespace {
// Sums and differences of sides wrap at 32 bits instead of being undefined.
int Add(int a, int b) { return static_cast<int>(static_cast<unsigned int>(a) + static_cast<unsigned int>(b)); }
int Subtract(int a, int b) { return static_cast<int>(static_cast<unsigned int>(a) - static_cast<unsigned int>(b)); }

int LargerUnsigned(int a, int b) { return static_cast<unsigned int>(a) > static_cast<unsigned int>(b) ? a : b; }
} // namespace

CBox::CBox(int x_, int y_, int width_, int height_) : x(x_), y(y_), width(width_), height(height_) {}
CBox::CBox(CBox const& other) = default;
CBox::~CBox() = default;

void CBox::operator=(CBox const& other) { x = other.x, y = other.y, width = other.width, height = other.height; }

bool CBox::operator==(CBox const& other) const {
    return x == other.x && y == other.y && width == other.width && height == other.height;
}

void CBox::SetBoxEmpty() { *this = CBox(); }

void CBox::MoveToPoint(int newX, int newY) { x = newX, y = newY; }

void CBox::Offset(int dx, int dy) { x = Add(x, dx), y = Add(y, dy); }

void CBox::InflateBox(int dx, int dy) {
    x = Subtract(x, dx), y = Subtract(y, dy);
    width = Add(width, Add(dx, dx)), height = Add(height, Add(dy, dy));
}

void CBox::UnionBox(CBox const& other) {
    int const farX = LargerUnsigned(right(), other.right());
    int const farY = LargerUnsigned(bottom(), other.bottom());
    x = std::min(x, other.x), y = std::min(y, other.y);
    width = Subtract(farX, x), height = Subtract(farY, y);
}

CBox CBox::operator+(CBox const& other) const {
    CBox result(*this);
    result.UnionBox(other);
    return result;
}

int CBox::right() const { return Add(x, width); }
int CBox::bottom() const { return Add(y, height); }

Vector2 CBox::CenterPoint() const {
    return {static_cast<float>(width * 0.5 + x), static_cast<float>(height * 0.5 + y)};
}

bool CBox::IsBoxEmpty() const { return width == 0 || height == 0; }

bool CBox::IsPointInBox(Vector2 const& p) const {
    return p.x >= static_cast<float>(x) && p.y >= static_cast<float>(y) && static_cast<float>(right()) >= p.x &&
           static_cast<float>(bottom()) >= p.y;
}
} // namespace qk3d
