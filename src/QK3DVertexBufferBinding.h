// QK3DVertexBufferBinding.h: which vertex buffer feeds which stream.
#pragma once

#include "QK3DExport.h"
#include "QK3DSharePtr.h"
#include <vector>

namespace qk3d {

class QK3D_API CVertexBufferBinding {
public:
    /// More streams than this are ignored: the number may come from a file, and room up to it is kept.
    static constexpr unsigned int kMaxSourceNum = 65536;

    CVertexBufferBinding();
    CVertexBufferBinding(CVertexBufferBinding const&);
    CVertexBufferBinding& operator=(CVertexBufferBinding const&);
    virtual ~CVertexBufferBinding();

    /// Binds `buffer` to stream `source`. Streams below it that have none yet are empty.
    void SetSource(unsigned int source, qklib::CSharePtr<CHardwareVertexBuffer>& buffer);

    /// Throws std::runtime_error for a stream past the count.
    qklib::CSharePtr<CHardwareVertexBuffer>& GetSource(unsigned int source);

    /// An empty pointer for a stream past the count.
    qklib::CSharePtr<CHardwareVertexBuffer> const& GetSource(unsigned int source) const;
    unsigned int GetSourceNum() const { return m_sourceNum; }

protected:
    std::vector<qklib::CSharePtr<CHardwareVertexBuffer>> m_sources;
    unsigned int m_sourceNum = 0;
};
} // namespace qk3d
