// QK3DIndexData.h: the indices of a draw: their buffer and the range in use.
#pragma once

#include "QK3DExport.h"
#include "QK3DSharePtr.h"

namespace qk3d {

class QK3D_API CIndexData {
public:
    CIndexData();
    CIndexData(CIndexData const&);
    CIndexData& operator=(CIndexData const&);
    virtual ~CIndexData();

    qklib::CSharePtr<CHardwareIndexBuffer> GetIndexBuffer() const;
    void SetIndexBuffer(qklib::CSharePtr<CHardwareIndexBuffer> const& buffer);

    unsigned int GetIndexStart() const { return m_indexStart; }
    void SetIndexStart(unsigned int indexStart) { m_indexStart = indexStart; }
    unsigned int GetIndexNum() const { return m_indexNum; }
    void SetIndexNum(unsigned int indexNum) { m_indexNum = indexNum; }

protected:
    qklib::CSharePtr<CHardwareIndexBuffer> m_indexBuffer;
    unsigned int m_indexStart = 0;
    unsigned int m_indexNum = 0;
};
} // namespace qk3d
