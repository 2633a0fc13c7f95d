// GLPipeline.cpp: records what the engine sets, and brings shaders, blocks and textures to the device before a draw.
#include "GLPipeline.h"

#include "GLBuffers.h"
#include "GLLog.h"
#include "GLPixelBuffer.h"
#include "GLRenderTarget.h"
#include "GLVertexLayout.h"

#include "QK3DMatrix.h"
#include "QK3DRenderOperation.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <optional>
#include <type_traits>

namespace qk3d::gl {
namespace {
constexpr std::size_t kRingSize = std::size_t{1} << 20;

constexpr auto kUses = [] {
    std::array<std::uint32_t, CRenderState::LAST_STATE + 1> uses = {};
#define ROW(name, part) uses[CRenderState::name] = kUse##part;
#include "GLStateUse.inl"
    return uses;
}();

// A row for each state, and each state once.
constexpr int kUseRows[] = {
#define ROW(name, part) CRenderState::name,
#include "GLStateUse.inl"
};
constexpr bool IsEveryStateThere() {
    for (int state = 1; state <= CRenderState::LAST_STATE; ++state)
        if (std::count(std::begin(kUseRows), std::end(kUseRows), state) != 1) return false;
    return std::size(kUseRows) == CRenderState::LAST_STATE;
}
static_assert(IsEveryStateThere());

Matrix Multiply(Matrix const& a, Matrix const& b) {
    Matrix result;
    for (std::size_t row = 0; row < 4; ++row)
        for (std::size_t column = 0; column < 4; ++column) {
            float sum = 0;
            for (std::size_t k = 0; k < 4; ++k) sum += a[4 * row + k] * b[4 * k + column];
            result[4 * row + column] = sum;
        }
    return result;
}

Float4 UnpackArgb(std::uint32_t argb) {
    auto const channel = [argb](int shift) { return static_cast<float>(argb >> shift & 255) / 255.0f; };
    return {channel(16), channel(8), channel(0), channel(24)};
}

// Points are 0 for OpenGL, so nothing stands for no primitive but none.
std::optional<GLenum> PrimitiveOf(EShapeType shape) {
    switch (shape) {
    case ST_POINTLIST: return GL_POINTS;
    case ST_LINELIST: return GL_LINES;
    case ST_LINESTRIP: return GL_LINE_STRIP;
    case ST_TRIANGLELIST: return GL_TRIANGLES;
    case ST_TRIANGLESTRIP: return GL_TRIANGLE_STRIP;
    case ST_TRIANGLEFAN: return GL_TRIANGLE_FAN;
    }
    return std::nullopt;
}

std::uint64_t CountPrimitives(EShapeType shape, std::uint64_t vertices) {
    switch (shape) {
    case ST_POINTLIST: return vertices;
    case ST_LINELIST: return vertices / 2;
    case ST_LINESTRIP: return vertices > 1 ? vertices - 1 : 0;
    case ST_TRIANGLELIST: return vertices / 3;
    default: return vertices > 2 ? vertices - 2 : 0;
    }
}
} // namespace

GLPipeline::GLPipeline(GLDevice& device) : GLObject(device, Order::Contents) {
    Reset();
    _RestoreNames();
    device.SetPipeline(this);
}

void GLPipeline::Reset() {
    m_fixed = {};
    for (auto& unit : m_units) {
        unit.buffer = nullptr;
        unit.samplerDirty = true;
    }
    m_targets = {};
    m_programs = {};
    m_hasViewport = false;
    m_scissor = kEverything;
    m_dirty = kUseAll;
    m_engineValuesOld = true;
}

GLPipeline::~GLPipeline() {
    if (m_device) m_device->SetPipeline(nullptr);
    if (UseDevice()) _DropNames();
}

void GLPipeline::_DropNames() {
    glBindProgramPipeline(0);
    glDeleteProgramPipelines(1, &m_pipeline);
    glDeleteFramebuffers(1, &m_multiFramebuffer);
    glDeleteBuffers(1, &m_ring.buffer);
    for (auto& unit : m_units) {
        glDeleteSamplers(1, &unit.sampler);
        unit.sampler = unit.bound = 0;
    }
    m_pipeline = m_multiFramebuffer = m_ring.buffer = 0;
    m_shaders.Clear();
}

bool GLPipeline::_RestoreNames() {
    if (!UseDevice()) return false;
    glCreateProgramPipelines(1, &m_pipeline);
    glBindProgramPipeline(m_pipeline);
    glCreateBuffers(1, &m_ring.buffer);
    glNamedBufferData(m_ring.buffer, kRingSize, nullptr, GL_STREAM_DRAW);
    m_ring.used = 0;
    GLint alignment = 256;
    glGetIntegerv(GL_UNIFORM_BUFFER_OFFSET_ALIGNMENT, &alignment);
    m_blockAlignment = static_cast<std::size_t>(std::max(alignment, 16));
    for (GLuint i = 0; i < m_units.size(); ++i) {
        Unit& unit = m_units[i];
        glCreateSamplers(1, &unit.sampler);
        glBindSampler(i, unit.sampler);
        unit.samplerDirty = true;
        unit.bound = 0;
    }
    m_usedPrograms = {};
    m_depthStep = MeasureDepthStep();
    m_dirty = kUseAll;
    ++m_engineValues.version;
    m_engineValuesOld = true;
    return true;
}

float GLPipeline::RenderFloat(CRenderState::EState state) const { return std::bit_cast<float>(Render(state)); }

void GLPipeline::SetRender(CRenderState::EState state, std::uint32_t value) {
    auto& kept = m_fixed.render[static_cast<std::size_t>(state)];
    if (kept == value) return;
    kept = value;
    m_dirty |= kUses[static_cast<std::size_t>(state)];
    if (state == CRenderState::TEXTUREFACTOR || state == CRenderState::AMBIENT) m_engineValuesOld = true;
}

void GLPipeline::SetStage(unsigned stage, CTextureState::EState state, void* value) {
    if (stage >= kFixedStages) return; // accepted, but the fixed function ends before
    auto& kept = m_fixed.stages[stage];
    switch (state) {
    case CTextureState::TRANSFORMMATRIX: {
        auto const* const matrix = static_cast<Matrix44 const*>(value);
        if (matrix)
            std::copy(std::begin(matrix->m), std::end(matrix->m), kept.transform.begin());
        else
            kept.transform = kIdentity;
        m_dirty |= kUseMaterial;
        return;
    }
    case CTextureState::CONSTANT:
    case CTextureState::BUMPENVMAT00:
    case CTextureState::BUMPENVMAT01:
    case CTextureState::BUMPENVMAT10:
    case CTextureState::BUMPENVMAT11:
    case CTextureState::BUMPENVLSCALE:
    case CTextureState::BUMPENVLOFFSET: m_dirty |= kUseMaterial; break;
    default: m_dirty |= kUseShaders; break;
    }
    kept.values[static_cast<std::size_t>(state)] = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(value));
}

void GLPipeline::SetSampler(unsigned stage, CSamplerState::EState state, std::uint32_t value) {
    if (stage >= m_units.size()) return;
    m_units[stage].values[static_cast<std::size_t>(state)] = value;
    m_units[stage].samplerDirty = true;
}

void GLPipeline::SetTexture(unsigned stage, GLPixelBuffer* buffer) {
    if (stage >= m_units.size()) return;
    m_units[stage].buffer = buffer;
    if (stage >= kFixedStages) return;
    SamplerKind const kind = buffer ? SamplerKind::Flat : SamplerKind::None;
    if (m_fixed.stages[stage].sampler == kind) return;
    m_fixed.stages[stage].sampler = kind;
    m_dirty |= kUseShaders;
}

void GLPipeline::SetWorld(Matrix const& matrix) {
    m_fixed.world = matrix;
    m_dirty |= kUseObject;
    m_engineValuesOld = true;
}

void GLPipeline::SetView(Matrix const& matrix) {
    m_fixed.view = matrix;
    m_dirty |= kUseObject | kUseFrame; // clip planes are tested in camera space
    m_engineValuesOld = true;
}

void GLPipeline::SetProjection(Matrix const& matrix) {
    m_fixed.projection = matrix;
    // Whether a projection is affine decides what pixel fog uses.
    m_dirty |= kUseObject | kUseShaders;
    m_engineValuesOld = true;
}

void GLPipeline::SetViewport(PixelRange const* range) {
    m_hasViewport = range != nullptr;
    if (range) m_viewport = *range;
    m_dirty |= kUseViewport;
}

void GLPipeline::SetTarget(unsigned index, GLTarget* target) {
    if (index >= kMaxTargets || m_targets[index] == target) return;
    m_targets[index] = target;
    MarkTargetChanged();
}

void GLPipeline::SetProgram(Stage stage, GLProgram* program) {
    auto& kept = m_programs[static_cast<std::size_t>(stage)];
    if (kept == program) return;
    kept = program;
    m_dirty |= kUseShaders | kUseClipPlanes;
}

void GLPipeline::SetSurface(Surface const& surface) {
    m_fixed.surface = surface;
    m_dirty |= kUseMaterial;
}

void GLPipeline::SetLight(unsigned index, Light const& light) {
    m_fixed.lights[index] = light;
    m_dirty |= kUseObject | kUseShaders;
}

void GLPipeline::SetClipPlane(unsigned index, Float4 const& plane) {
    m_fixed.clipPlanes[index] = plane;
    m_dirty |= kUseFrame;
}

void GLPipeline::SetScissor(PixelRange const& range) {
    m_scissor = range;
    m_dirty |= kUseScissor;
}

void GLPipeline::Forget(GLPixelBuffer const* buffer) {
    for (unsigned i = 0; i < m_units.size(); ++i)
        if (m_units[i].buffer == buffer) SetTexture(i, nullptr);
}

void GLPipeline::Forget(GLTarget const* target) {
    for (auto& kept : m_targets)
        if (kept == target) {
            kept = nullptr;
            MarkTargetChanged();
        }
}

void GLPipeline::Forget(GLProgram const* program) {
    for (auto& kept : m_programs)
        if (kept == program) {
            kept = nullptr;
            m_dirty |= kUseShaders | kUseClipPlanes;
        }
}

void GLPipeline::UseStage(Stage stage, GLuint program) {
    constexpr GLbitfield kBits[] = {GL_VERTEX_SHADER_BIT, GL_FRAGMENT_SHADER_BIT, GL_GEOMETRY_SHADER_BIT};
    auto const index = static_cast<std::size_t>(stage);
    if (m_usedPrograms[index] == program) return;
    m_usedPrograms[index] = program;
    glUseProgramStages(m_pipeline, kBits[index], program);
    ++m_device->Count().programBinds;
}

void GLPipeline::ApplyShaders(VertexFeatures const& features) {
    if (!(m_dirty & kUseShaders) && m_features == features) return;
    if (m_features.preTransformed != features.preTransformed) m_dirty |= kUseClipPlanes | kUseRaster;
    m_features = features;
    m_dirty &= ~kUseShaders;
    auto const& [vertex, pixel, geometry] = m_programs;
    unsigned const before = m_shaders.GetCompileCount();
    UseStage(Stage::Vertex,
             vertex ? vertex->GetName() : m_shaders.GetVertexProgram(m_fixed, features, pixel == nullptr));
    UseStage(Stage::Pixel,
             pixel ? pixel->GetName() : m_shaders.GetFragmentProgram(m_fixed, features, vertex == nullptr));
    UseStage(Stage::Geometry, geometry ? geometry->GetName() : 0);
    unsigned const compiled = m_shaders.GetCompileCount() - before;
    m_device->Count().compilations += compiled;
    if (m_device->IsInFrame()) m_device->Count().lateCompilations += compiled;
}

template <class Block>
void GLPipeline::SendBlock(BlockBinding binding) {
    static_assert(std::is_trivially_copyable_v<Block> && sizeof(Block) % 16 == 0);
    Block block;
    Fill(block, m_fixed);
    if (m_ring.used + sizeof(Block) > kRingSize) {
        glNamedBufferData(m_ring.buffer, kRingSize, nullptr, GL_STREAM_DRAW);
        m_ring.used = 0;
        // The blocks in force lay in the memory that was just given back.
        m_dirty |= kUseFrame | kUseObject | kUseMaterial;
    }
    glNamedBufferSubData(m_ring.buffer, static_cast<GLintptr>(m_ring.used), sizeof(Block), &block);
    glBindBufferRange(GL_UNIFORM_BUFFER, binding, m_ring.buffer, static_cast<GLintptr>(m_ring.used), sizeof(Block));
    m_ring.used += (sizeof(Block) + m_blockAlignment - 1) / m_blockAlignment * m_blockAlignment;
    m_device->Count().uploadedBytes += sizeof(Block);
}

void GLPipeline::ApplyBlocks(VertexFeatures const& features) {
    auto const& programs = m_programs;
    if (programs[0] && programs[1]) return; // nothing of the fixed function is in use
    // One pass as a rule; a second one after the ring began anew, which then has room for all three.
    for (int pass = 0; pass < 2; ++pass) {
        if (m_dirty & kUseFrame) {
            m_dirty &= ~kUseFrame;
            SendBlock<FrameBlock>(kFrameBinding);
        }
        if ((m_dirty & kUseObject) && !features.preTransformed) {
            m_dirty &= ~kUseObject;
            SendBlock<ObjectBlock>(kObjectBinding);
        }
        if (m_dirty & kUseMaterial) {
            m_dirty &= ~kUseMaterial;
            SendBlock<MaterialBlock>(kMaterialBinding);
        }
    }
}

void GLPipeline::ApplyTextures() {
    // A deleted texture's name may be in use again for another one, so nothing is taken as bound then.
    if (m_deletions != m_device->GetDeletionCount()) {
        m_deletions = m_device->GetDeletionCount();
        for (auto& unit : m_units) unit.bound = ~0u;
    }
    for (GLuint i = 0; i < m_units.size(); ++i) {
        Unit& unit = m_units[i];
        if (unit.samplerDirty) ApplySampler(unit);
        bool const srgb = unit.values[CSamplerState::SRGBTEXTURE] != 0;
        GLuint const texture = unit.buffer ? unit.buffer->GetTexture(srgb) : 0;
        if (unit.bound == texture) continue;
        unit.bound = texture;
        glBindTextureUnit(i, texture);
        ++m_device->Count().textureBinds;
    }
}

void GLPipeline::UpdateEngineValues() {
    m_engineValuesOld = false;
    ++m_engineValues.version;
    auto const viewProjection = Multiply(m_fixed.view, m_fixed.projection);
    m_engineValues.matrices = {m_fixed.world,      m_fixed.view,
                               m_fixed.projection, Multiply(m_fixed.world, m_fixed.view),
                               viewProjection,     Multiply(m_fixed.world, viewProjection)};
    Matrix44 view;
    std::copy(m_fixed.view.begin(), m_fixed.view.end(), std::begin(view.m));
    Matrix44 const inverse = view.GetInverse();
    m_engineValues.cameraPosition = {inverse.m[12], inverse.m[13], inverse.m[14], 1};
    m_engineValues.viewport = m_fixed.viewport;
    m_engineValues.textureFactor = UnpackArgb(Render(CRenderState::TEXTUREFACTOR));
    m_engineValues.ambient = UnpackArgb(Render(CRenderState::AMBIENT));
}

void GLPipeline::UpdatePrograms() {
    if (!m_programs[0] && !m_programs[1] && !m_programs[2]) return;
    if (m_engineValuesOld) UpdateEngineValues();
    for (GLProgram* const program : m_programs)
        if (program) program->Update(m_engineValues);
}

bool GLPipeline::Prepare(VertexFeatures const& features) {
    if (!UseDevice()) return false;
    unsigned const before = m_shaders.GetCompileCount();
    bool const complete = (m_programs[0] || m_shaders.GetVertexProgram(m_fixed, features, m_programs[1] == nullptr)) &&
                          (m_programs[1] || m_shaders.GetFragmentProgram(m_fixed, features, m_programs[0] == nullptr));
    m_device->Count().compilations += m_shaders.GetCompileCount() - before;
    return complete;
}

void GLPipeline::Draw(CRenderOperation const& operation, GLVertexLayout& layout) {
    auto const primitive = PrimitiveOf(operation.m_shapeType);
    CVertexData const& vertices = *operation.m_vertexData;
    CVertexBufferBinding const* const binding = vertices.GetVertexBufferBinding();
    if (!primitive || !binding) return;

    // Everything that makes a draw impossible comes before anything is sent.
    layout.BeginBinding();
    std::uint64_t vertexNum = ~std::uint64_t{0};
    auto const& streams = layout.GetStreams();
    for (std::size_t i = 0; i < streams.size(); ++i) {
        auto* const buffer = dynamic_cast<GLVertexBuffer const*>(
            static_cast<CHardwareVertexBuffer const*>(binding->GetSource(streams[i].source)));
        if (!buffer || !buffer->GetName() || streams[i].stride == 0) return;
        vertexNum = std::min<std::uint64_t>(vertexNum, buffer->GetRequestMemSizeInBytes() /
                                                           static_cast<unsigned>(streams[i].stride));
        layout.SetStreamBuffer(i, buffer->GetName());
    }
    if (streams.empty()) vertexNum = vertices.GetVertexStart() + std::uint64_t{vertices.GetVertexNum()};
    if (vertices.GetVertexStart() >= vertexNum) return;

    std::uint64_t count = std::min<std::uint64_t>(vertices.GetVertexNum(), vertexNum - vertices.GetVertexStart());
    GLIndexBuffer const* indices = nullptr;
    if (operation.m_useIndices) {
        if (!operation.m_indexData) return;
        auto const pointer = operation.m_indexData->GetIndexBuffer();
        indices = dynamic_cast<GLIndexBuffer const*>(static_cast<CHardwareIndexBuffer const*>(pointer));
        if (!indices || !indices->GetName() || operation.m_indexData->GetIndexStart() >= indices->GetIndexNum()) return;
        count = std::min<std::uint64_t>(operation.m_indexData->GetIndexNum(),
                                        indices->GetIndexNum() - operation.m_indexData->GetIndexStart());
        layout.SetIndexBuffer(indices->GetName());
    }
    if (count == 0 || !ApplyTarget()) return;

    bool const points = *primitive == GL_POINTS;
    if (m_fixed.points != points) {
        m_fixed.points = points;
        m_dirty |= kUseShaders;
    }
    // Where pixel centres meet those of OpenGL: in our own shaders, where they draw surfaces in space. A viewport that is moved instead, as
    // other programs need it, cuts them off half a pixel inside, and several samples show that as a line along two edges.
    bool const isShifted = m_programs[static_cast<std::size_t>(Stage::Vertex)] ||
                           m_programs[static_cast<std::size_t>(Stage::Geometry)] || layout.GetFeatures().preTransformed;
    if (m_isViewportShifted != isShifted) {
        m_isViewportShifted = isShifted;
        m_dirty |= kUseViewport;
    }
    if (m_dirty & kUseViewport) ApplyViewport();
    ApplyShaders(layout.GetFeatures());
    ApplyBlocks(layout.GetFeatures());
    ApplyTextures();
    ApplyState();
    UpdatePrograms();
    if (!m_usedPrograms[0]) return; // its compiler has said why

    glBindVertexArray(layout.GetName());
    auto const number = static_cast<GLsizei>(count);
    if (indices) {
        bool const wide = indices->GetIndexType() == CHardwareIndexBuffer::IT_32BIT;
        auto const offset = static_cast<std::uintptr_t>(operation.m_indexData->GetIndexStart()) * (wide ? 4 : 2);
        glDrawElementsBaseVertex(*primitive, number, wide ? GL_UNSIGNED_INT : GL_UNSIGNED_SHORT,
                                 reinterpret_cast<void const*>(offset), static_cast<GLint>(vertices.GetVertexStart()));
    } else {
        glDrawArrays(*primitive, static_cast<GLint>(vertices.GetVertexStart()), number);
    }
    for (GLTarget* const target : m_targets)
        if (target) target->MarkDrawn();
    ++m_device->Count().draws;
    m_device->Count().primitives += CountPrimitives(operation.m_shapeType, count);
}
} // namespace qk3d::gl
