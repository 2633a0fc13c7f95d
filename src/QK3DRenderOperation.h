// QK3DRenderOperation.h: what one draw draws.
#pragma once

#include "QK3DIndexData.h"
#include "QK3DVertexData.h"

namespace qk3d {
class CRenderableObject;

enum EShapeType : unsigned int {
    ST_POINTLIST = 1,
    ST_LINELIST = 2,
    ST_LINESTRIP = 3,
    ST_TRIANGLELIST = 4,
    ST_TRIANGLESTRIP = 5,
    ST_TRIANGLEFAN = 6
};

/// Points at the geometry of one draw and owns none of it.
class CRenderOperation {
public:
    EShapeType m_shapeType = ST_TRIANGLELIST;
    CVertexData* m_vertexData = nullptr;
    bool m_useIndices = false;
    CIndexData* m_indexData = nullptr;
    CRenderableObject const* m_renderable = nullptr; ///< who made this operation
};
} // namespace qk3d
