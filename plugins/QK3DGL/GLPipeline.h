// GLPipeline.h: the state of a device as the engine set it, and how it gets to OpenGL before a draw.
#pragma once

#include "GLDevice.h"
#include "GLFixedFunction.h"
#include "GLProgram.h"

#include "QK3DRenderState.h"
#include "QK3DSamplerState.h"
#include "QK3DTextureState.h"

#include <array>

namespace qk3d {
class CRenderOperation;
}

namespace qk3d::gl {
class GLPixelBuffer;
class GLTarget;
class GLVertexLayout;

/// What has to be sent to the device again. Setters only record and mark; a draw sends what is marked.
enum Use : std::uint32_t {
    kUseNone = 0,
    kUseShaders = 1u << 0, // which generated programs are needed
    kUseFrame = 1u << 1,   // the uniform block of that name, and so on
    kUseObject = 1u << 2,
    kUseMaterial = 1u << 3,
    kUseDepth = 1u << 4,
    kUseBlend = 1u << 5,
    kUseStencil = 1u << 6,
    kUseRaster = 1u << 7,
    kUseColorMask = 1u << 8,
    kUseScissor = 1u << 9,
    kUseClipPlanes = 1u << 10,
    kUseTarget = 1u << 11,
    kUseViewport = 1u << 12,
    kUseClipping = kUseClipPlanes | kUseShaders, // programs write no more distances than planes are on
    kUseAll = (1u << 13) - 1,
};

/// A rectangle in pixels of a target, from its top left corner.
struct PixelRange {
    int left = 0, top = 0, width = 0, height = 0;
    bool operator==(PixelRange const&) const = default;
};

class GLPipeline final : public GLObject {
public:
    static constexpr unsigned kMaxTargets = 4;

    /// The scissor rectangle until one is set.
    static constexpr PixelRange kEverything = {0, 0, 1 << 30, 1 << 30};

    explicit GLPipeline(GLDevice& device);
    ~GLPipeline() override;

    // Recording. No context is needed for these.
    void SetRender(CRenderState::EState state, std::uint32_t value);
    void SetStage(unsigned stage, CTextureState::EState state, void* value);
    void SetSampler(unsigned stage, CSamplerState::EState state, std::uint32_t value);
    void SetTexture(unsigned stage, GLPixelBuffer* buffer);
    void SetWorld(Matrix const& matrix);
    void SetView(Matrix const& matrix);
    void SetProjection(Matrix const& matrix);
    void SetViewport(PixelRange const* range); // null: the whole target
    void SetTarget(unsigned index, GLTarget* target);
    void SetProgram(Stage stage, GLProgram* program); // null: fixed function, or no geometry stage
    void SetSurface(Surface const& surface);
    void SetLight(unsigned index, Light const& light);
    void SetClipPlane(unsigned index, Float4 const& plane);
    void SetScissor(PixelRange const& range);

    /// Nothing bound, and lights, material, planes and matrices as at the start. States stay: the engine's baseline is
    /// sent by its owner.
    void Reset();

    /// Nothing keeps these alive while they are bound.
    void Forget(GLPixelBuffer const* buffer);
    void Forget(GLTarget const* target);
    void Forget(GLProgram const* program);

    /// The surface of a target was made anew.
    void MarkTargetChanged() { m_dirty |= kUseTarget | kUseViewport | kUseShaders | kUseRaster; }

    /// Draws, with everything that was recorded in force.
    void Draw(CRenderOperation const& operation, GLVertexLayout& layout);

    /// Clears the active viewport, or all of the target without one. The current scissor and masks do not count.
    void Clear(bool colour, std::uint32_t argb, bool depth, float depthValue, bool stencil, unsigned stencilValue);

    /// Makes the generated programs for vertices like these and what is recorded, so that the first draw finds them.
    bool Prepare(VertexFeatures const& features);

    FixedState const& GetFixedState() const { return m_fixed; }

private:
    struct Unit {
        GLPixelBuffer* buffer = nullptr; // not owned
        GLuint bound = 0;
        GLuint sampler = 0;
        bool samplerDirty = true;
        std::array<std::uint32_t, CSamplerState::LAST_STATE + 1> values = {};
    };

    // A uniform buffer that is written front to back, so that the device never waits for a block in use.
    struct BlockRing {
        GLuint buffer = 0;
        std::size_t used = 0;
    };

    void _DropNames() override;
    bool _RestoreNames() override;

    bool ApplyTarget();
    void ApplyShaders(VertexFeatures const& features);
    void ApplyBlocks(VertexFeatures const& features);
    void ApplyTextures();
    void ApplySampler(Unit& unit);
    void ApplyState();
    void ApplyDepth();
    void ApplyBlend();
    void ApplyStencil();
    void ApplyRaster();
    void ApplyColorMasks();
    void ApplyScissor();
    void ApplyClipPlanes();
    void ApplyViewport();
    void UpdateEngineValues();
    void UpdatePrograms();
    float MeasureDepthStep();
    void UseStage(Stage stage, GLuint program);
    template <class Block>
    void SendBlock(BlockBinding binding);

    std::uint32_t Render(CRenderState::EState state) const { return m_fixed.render[static_cast<std::size_t>(state)]; }
    float RenderFloat(CRenderState::EState state) const;
    PixelRange GetViewportRange() const;
    void GetTargetSize(unsigned& width, unsigned& height) const;

    FixedState m_fixed;
    std::uint32_t m_dirty = kUseAll;
    std::array<Unit, GLDevice::kMaxUnits> m_units;
    std::uint64_t m_deletions = 0;                     // of textures, when `bound` was true last
    std::array<GLTarget*, kMaxTargets> m_targets = {}; // not owned
    bool m_hasViewport = false;
    PixelRange m_viewport;
    bool m_isViewportShifted = false;
    PixelRange m_scissor = kEverything;
    std::array<GLProgram*, 3> m_programs = {}; // by Stage; not owned
    std::array<GLuint, 3> m_usedPrograms = {}; // in the pipeline object
    VertexFeatures m_features;                 // of the last draw
    FixedFunctionShaders m_shaders;
    EngineValues m_engineValues;
    bool m_engineValuesOld = true;
    GLuint m_pipeline = 0;
    GLuint m_multiFramebuffer = 0; // for several targets at once
    BlockRing m_ring;
    std::size_t m_blockAlignment = 256;
    float m_depthStep = 0; // what one unit of polygon offset moves a depth by
};

} // namespace qk3d::gl
