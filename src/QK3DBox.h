// QK3DBox.h: the integer rectangle of the 2D layer and of pixel regions.
#pragma once

#include "QK3DExport.h"
#include "QK3DVector.h"

namespace qk3d {
/// A rectangle by its upper left corner and its size, never by two corners. Nothing repairs a negative size.
class QK3D_API CBox {
public:
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    CBox(int x = 0, int y = 0, int width = 0, int height = 0);
    CBox(CBox const& other);
    virtual ~CBox();

    void operator=(CBox const& other);
    bool operator==(CBox const& other) const;

    void SetBoxEmpty();
    /// Moves the upper left corner to the point; the size stays.
    void MoveToPoint(int x, int y);
    void Offset(int dx, int dy);
    /// Moves all four sides outwards.
    void InflateBox(int dx, int dy);
    /// Grows to the smallest box around both. An empty box takes part with its position. The far sides are compared as
    /// unsigned numbers, so a box that ends below zero counts as ending far to the right.
    void UnionBox(CBox const& other);
    CBox operator+(CBox const& other) const;

    int right() const;
    int bottom() const;
    Vector2 CenterPoint() const;
    bool IsBoxEmpty() const;
    /// All four sides count as inside.
    bool IsPointInBox(Vector2 const& point) const;
};
} // namespace qk3d
