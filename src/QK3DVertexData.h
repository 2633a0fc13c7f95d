// QK3DVertexData.h: the vertices of a draw: their layout, their buffers, and the range in use.
#pragma once

#include "QK3DExport.h"
#include "QK3DSharePtr.h"
#include "QK3DVertexBufferBinding.h"
#include "QK3DVertexDeclaration.h"

namespace qk3d {

class QK3D_API CVertexData {
public:
    /// With an empty declaration and an empty binding of its own.
    CVertexData();

    /// Shares both, so that many vertex data can use one declaration.
    CVertexData(qklib::CSharePtr<CVertexDeclaration> const& declaration,
                qklib::CSharePtr<CVertexBufferBinding> const& binding);
    virtual ~CVertexData();

    /// Lets go of declaration and binding. The range stays.
    void Clear();

    qklib::CSharePtr<CVertexDeclaration>& GetVertexDeclaration() { return m_declaration; }
    qklib::CSharePtr<CVertexDeclaration> const& GetVertexDeclaration() const { return m_declaration; }
    void SetVertexDeclaration(qklib::CSharePtr<CVertexDeclaration> const& declaration) { m_declaration = declaration; }
    qklib::CSharePtr<CVertexBufferBinding>& GetVertexBufferBinding() { return m_binding; }
    qklib::CSharePtr<CVertexBufferBinding> const& GetVertexBufferBinding() const { return m_binding; }
    void SetVertexBufferBinding(qklib::CSharePtr<CVertexBufferBinding> const& binding) { m_binding = binding; }

    unsigned int GetVertexStart() const { return m_vertexStart; }
    void SetVertexStart(unsigned int vertexStart) { m_vertexStart = vertexStart; }
    unsigned int GetVertexNum() const { return m_vertexNum; }
    void SetVertexNum(unsigned int vertexNum) { m_vertexNum = vertexNum; }

protected:
    qklib::CSharePtr<CVertexDeclaration> m_declaration;
    qklib::CSharePtr<CVertexBufferBinding> m_binding;
    unsigned int m_vertexStart = 0;
    unsigned int m_vertexNum = 0;
};
} // namespace qk3d
