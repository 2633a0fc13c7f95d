// QK3DParticle.cpp: what differs between the particles of an emitter.
#include "QK3DParticle.h"

namespace qk3d {
namespace {
std::vector<std::unique_ptr<Matrix44>> Copies(std::vector<std::unique_ptr<Matrix44>> const& matrices) {
    std::vector<std::unique_ptr<Matrix44>> copies(matrices.size());
    for (std::size_t i = 0; i < matrices.size(); ++i)
        if (matrices[i]) copies[i] = std::make_unique<Matrix44>(*matrices[i]);
    return copies;
}
} // namespace

CParticle::CParticle(CEmitter* emitter) : CEmitableObject(emitter, "") {}

CParticle::CParticle(CParticle const& other)
    : CEmitableObject(other), m_color(other.m_color), m_textureMatrices(Copies(other.m_textureMatrices)) {}

CParticle& CParticle::operator=(CParticle const& other) {
    CEmitableObject::operator=(other);
    m_color = other.m_color;
    m_textureMatrices = Copies(other.m_textureMatrices);
    return *this;
}

CParticle::~CParticle() = default;

string CParticle::GetTypeName() { return "CParticle"; }

Matrix44* CParticle::GetTextureTransform(unsigned int index) const {
    return index < m_textureMatrices.size() ? m_textureMatrices[index].get() : nullptr;
}

void CParticle::SetTextureTransform(unsigned int index, Matrix44 const& matrix) {
    if (index >= MAX_TEXTURE_MATRIX_NUM) return;
    if (index >= m_textureMatrices.size()) m_textureMatrices.resize(index + 1);
    if (m_textureMatrices[index])
        *m_textureMatrices[index] = matrix;
    else
        m_textureMatrices[index] = std::make_unique<Matrix44>(matrix);
}

void CParticle::_UpdateImpl(bool changed) { _FollowEmitter(changed); }

void CreateCParticle(CEmitter* emitter, CEmitableObject** out) {
    if (out) *out = new CParticle(emitter);
}
} // namespace qk3d
