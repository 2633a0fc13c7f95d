// QK3DHardwareVertexBuffer.h: a hardware buffer of vertices.
#pragma once

#include "QK3DHardwareBuffer.h"

namespace qk3d {

class QK3D_API CHardwareVertexBuffer : public CHardwareBuffer {
public:
    /// `unitSize` is one vertex in bytes. A product that does not fit 64 bits asks for no memory at all.
    CHardwareVertexBuffer(CHardwareBufferManager* manager, unsigned long long unitSize, unsigned long long vertexNum,
                          EUsage usage, bool useSystemMemory, bool useBakBuffer);

    unsigned long long GetUnitSizeInBytes() const override { return m_unitSize; }
    unsigned long long GetVertexNum() const { return m_vertexNum; }

protected:
    unsigned long long m_vertexNum;
    unsigned long long m_unitSize;
};
} // namespace qk3d
