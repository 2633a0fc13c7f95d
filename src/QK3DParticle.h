// QK3DParticle.h: the emitable object that an emitter can draw.
#pragma once

#include "QK3DColor.h"
#include "QK3DEmitableObject.h"
#include <memory>
#include <vector>

namespace qk3d {
/// A colour and texture matrices on top of place and life; mesh and material are the emitter's. It moves only when a
/// derived class or a listener moves it, and follows its emitter if that is set so.
class QK3D_API CParticle : public CEmitableObject {
public:
    /// Texture stages from here on are ignored.
    static constexpr unsigned int MAX_TEXTURE_MATRIX_NUM = 256;

    explicit CParticle(CEmitter* emitter);
    /// With copies of the texture matrices.
    CParticle(CParticle const& other);
    CParticle& operator=(CParticle const& other);
    ~CParticle() override;

    string GetTypeName() override;

    /// Sent as the texture factor.
    color GetColor() const { return m_color; }
    void SetColor(color c) { m_color = c; }
    /// One more than the highest stage that was set.
    unsigned int GetTextureMatrixNum() const { return static_cast<unsigned int>(m_textureMatrices.size()); }
    /// Null for a stage that was not set. The pointer stays for the life of the particle.
    Matrix44* GetTextureTransform(unsigned int index) const;
    void SetTextureTransform(unsigned int index, Matrix44 const& matrix);

protected:
    void _UpdateImpl(bool changed) override;

    color m_color = 0xFFFFFFFFu;
    std::vector<std::unique_ptr<Matrix44>> m_textureMatrices; // by stage; null where none was set
};

/// For `CEmitter::SetEmitableObjectCreateFun`. A null `out` is ignored.
QK3D_API void CreateCParticle(CEmitter* emitter, CEmitableObject** out);
} // namespace qk3d
