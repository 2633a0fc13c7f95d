// QK3DVertexData.cpp: what holds the buffers of a draw.
#include "QK3DVertexData.h"

#include "QK3DHardwareIndexBuffer.h"
#include "QK3DHardwareVertexBuffer.h"
#include "QK3DIndexData.h"
#include "QK3DShareInternal.h"
#include <stdexcept>

namespace qk3d {

CVertexBufferBinding::CVertexBufferBinding() = default;
CVertexBufferBinding::CVertexBufferBinding(CVertexBufferBinding const&) = default;
CVertexBufferBinding& CVertexBufferBinding::operator=(CVertexBufferBinding const&) = default;
CVertexBufferBinding::~CVertexBufferBinding() = default;

void CVertexBufferBinding::SetSource(unsigned int source, CSharePtr<CHardwareVertexBuffer>& buffer) {
    if (source >= kMaxSourceNum) return;
    if (source >= m_sourceNum) {
        m_sources.resize(source + 1);
        m_sourceNum = source + 1;
    }
    m_sources[source] = buffer;
}

CSharePtr<CHardwareVertexBuffer>& CVertexBufferBinding::GetSource(unsigned int source) {
    if (source >= m_sourceNum) throw std::runtime_error("CVertexBufferBinding::GetSource out of bound");
    return m_sources[source];
}

CSharePtr<CHardwareVertexBuffer> const& CVertexBufferBinding::GetSource(unsigned int source) const {
    return source < m_sourceNum ? m_sources[source] : CSharePtr<CHardwareVertexBuffer>::GetNullSharePtr();
}

CVertexData::CVertexData()
    : m_declaration(Share(std::make_unique<CVertexDeclaration>())),
      m_binding(Share(std::make_unique<CVertexBufferBinding>())) {}

CVertexData::CVertexData(CSharePtr<CVertexDeclaration> const& declaration,
                         CSharePtr<CVertexBufferBinding> const& binding)
    : m_declaration(declaration), m_binding(binding) {}

CVertexData::~CVertexData() = default;

void CVertexData::Clear() {
    m_declaration.Release();
    m_binding.Release();
}

CIndexData::CIndexData() = default;
CIndexData::CIndexData(CIndexData const&) = default;
CIndexData& CIndexData::operator=(CIndexData const&) = default;
CIndexData::~CIndexData() = default;

CSharePtr<CHardwareIndexBuffer> CIndexData::GetIndexBuffer() const { return m_indexBuffer; }
void CIndexData::SetIndexBuffer(CSharePtr<CHardwareIndexBuffer> const& buffer) { m_indexBuffer = buffer; }
} // namespace qk3d
