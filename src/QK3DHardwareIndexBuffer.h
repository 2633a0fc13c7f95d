// QK3DHardwareIndexBuffer.h: a hardware buffer of indices.
#pragma once

#include "QK3DHardwareBuffer.h"

namespace qk3d {

class QK3D_API CHardwareIndexBuffer : public CHardwareBuffer {
public:
    enum EIndexType : unsigned int { IT_16BIT = 101, IT_32BIT = 102 };

    CHardwareIndexBuffer(CHardwareBufferManager* manager, EIndexType type, unsigned long long indexNum, EUsage usage,
                         bool useSystemMemory, bool useBakBuffer);

    /// 2 or 4; 0 for a type that is neither, and such a buffer asks for no memory.
    unsigned long long GetUnitSizeInBytes() const override;
    EIndexType GetIndexType() const { return m_indexType; }
    unsigned long long GetIndexNum() const { return m_indexNum; }

protected:
    EIndexType m_indexType;
    unsigned long long m_indexNum;
};
} // namespace qk3d
