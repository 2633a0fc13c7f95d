// QK3DPass.h: one drawing configuration: states, textures and programs, as CRenderSystem::SetPass takes them.
#pragma once

#include "QK3DExport.h"
#include "QK3DResourceSharePtr.h"
#include "QK3DTypes.h"
#include "QKSerial.h"
#include <memory>
#include <vector>

namespace qk3d {
class CGPUProgram;
class CGPUProgramParamTable;
class CRenderState;
class CRenderSystem;
class CSamplerState;
class CTechnique;
class CTexture;
class CTextureState;

/// A pass holds one render state block, a list of textures with a list of stage blocks and one of sampler blocks to go
/// with them (the index is the stage, slots may be empty, the three grow independently), and up to three programs with
/// a table of parameter values each. All of these may be shared with other passes, but for the tables. A technique owns
/// its passes; CTechnique::CreatePass makes them.
class QK3D_API CPass : public qklib::ISerial {
public:
    using TextureList = std::vector<_ResourceSharePtr<CTexture>>;
    using TextureStateList = std::vector<_ResourceSharePtr<CTextureState>>;
    using SamplerStateList = std::vector<_ResourceSharePtr<CSamplerState>>;

    /// Stages at or beyond this number are no stages: setters ignore them.
    static constexpr unsigned int MAX_STAGE_NUM = 65536;

    CPass(CTechnique* parent, string const& name, unsigned int index);

    /// The name is the index in decimal.
    CPass(CTechnique* parent, unsigned int index);

    /// A copy shares the resources and has parameter tables of its own with the same values. Assignment leaves parent
    /// and index as they are: they tell where this pass stands.
    CPass(CPass const& other);
    CPass& operator=(CPass const& other);
    virtual ~CPass();

    string const& GetName() const { return m_name; }
    void SetName(string const& name) { m_name = name; }
    CTechnique* GetParent() const { return m_parent; }

    /// Whether the render queue sorts what is drawn with this pass as transparent. Nothing in this library sets it.
    bool IsAlpha() const { return m_isAlpha; }

    /// How many states the pass sets itself: those of its render state and of its texture states.
    unsigned int GetStateNum() const;

    /// The lengths of the three lists.
    unsigned int GetMaxTextureLevel() const { return static_cast<unsigned int>(m_textures.size()); }
    unsigned int GetMaxTextureStateLevel() const { return static_cast<unsigned int>(m_textureStates.size()); }
    unsigned int GetMaxSamplerStateLevel() const { return static_cast<unsigned int>(m_samplerStates.size()); }

    /// Empty leaves all render states at the baseline.
    _ResourceSharePtr<CRenderState>& GetRenderState() { return m_renderState; }
    _ResourceSharePtr<CRenderState> const& GetRenderState() const { return m_renderState; }
    void SetRenderState(_ResourceSharePtr<CRenderState> const& renderState);

    /// Beyond the end of the list these throw std::runtime_error; the const forms give an empty handle.
    _ResourceSharePtr<CTexture>& GetTexture(unsigned int stage);
    _ResourceSharePtr<CTexture> const& GetTexture(unsigned int stage) const;
    _ResourceSharePtr<CTextureState>& GetTextureState(unsigned int stage);
    _ResourceSharePtr<CTextureState> const& GetTextureState(unsigned int stage) const;
    _ResourceSharePtr<CSamplerState>& GetSamplerState(unsigned int stage);
    _ResourceSharePtr<CSamplerState> const& GetSamplerState(unsigned int stage) const;

    /// Beyond the end of the list these make it longer with empty slots.
    void SetTexture(unsigned int stage, _ResourceSharePtr<CTexture> const& texture);
    void SetTextureState(unsigned int stage, _ResourceSharePtr<CTextureState> const& state);
    void SetSamplerState(unsigned int stage, _ResourceSharePtr<CSamplerState> const& state);

    TextureList::iterator EnumTextureBegin() { return m_textures.begin(); }
    TextureList::iterator EnumTextureEnd() { return m_textures.end(); }
    TextureList::const_iterator EnumTextureBegin() const { return m_textures.begin(); }
    TextureList::const_iterator EnumTextureEnd() const { return m_textures.end(); }
    TextureStateList::iterator EnumTextureStateBegin() { return m_textureStates.begin(); }
    TextureStateList::iterator EnumTextureStateEnd() { return m_textureStates.end(); }
    TextureStateList::const_iterator EnumTextureStateBegin() const { return m_textureStates.begin(); }
    TextureStateList::const_iterator EnumTextureStateEnd() const { return m_textureStates.end(); }
    SamplerStateList::iterator EnumSamplerStateBegin() { return m_samplerStates.begin(); }
    SamplerStateList::iterator EnumSamplerStateEnd() { return m_samplerStates.end(); }
    SamplerStateList::const_iterator EnumSamplerStateBegin() const { return m_samplerStates.begin(); }
    SamplerStateList::const_iterator EnumSamplerStateEnd() const { return m_samplerStates.end(); }

    _ResourceSharePtr<CGPUProgram> GetVertexShader() const { return m_vertexProgram.program; }
    _ResourceSharePtr<CGPUProgram> GetPixelShader() const { return m_pixelProgram.program; }
    _ResourceSharePtr<CGPUProgram> GetCommShader() const { return m_commProgram.program; }

    /// The same without counting, for the walk of a render system.
    _ResourceSharePtr<CGPUProgram> const& PeekVertexShader() const { return m_vertexProgram.program; }
    _ResourceSharePtr<CGPUProgram> const& PeekPixelShader() const { return m_pixelProgram.program; }
    _ResourceSharePtr<CGPUProgram> const& PeekCommShader() const { return m_commProgram.program; }

    /// Another program than before empties the parameter table of the slot; none destroys it.
    void SetVertexShader(_ResourceSharePtr<CGPUProgram> program);
    void SetPixelShader(_ResourceSharePtr<CGPUProgram> program);
    void SetCommShader(_ResourceSharePtr<CGPUProgram> program);

    /// The table of the slot's program, made on first use; owned by the pass. Null as long as there is no program
    /// or it has no parameters, which are known once it is compiled: after the first PrepareForRender.
    CGPUProgramParamTable* GetVertexShaderParamTable();
    CGPUProgramParamTable const* GetVertexShaderParamTable() const;
    CGPUProgramParamTable* GetPixelShaderParamTable();
    CGPUProgramParamTable const* GetPixelShaderParamTable() const;
    CGPUProgramParamTable* GetCommShaderParamTable();
    CGPUProgramParamTable const* GetCommShaderParamTable() const;

    /// Loads all resources of the pass, in the order in which they are sent to a device.
    void Load();

    /// Nothing: resources go away with their last holder.
    void Unload();

    /// Before a draw: draws the render textures that the pass reads, and compiles programs that are not loaded yet.
    void PrepareForRender(CRenderSystem* system, long long time);

    /// Reads one pass object of a material script. A reference that cannot be resolved leaves its slot as it was. False
    /// only if `value` is no object.
    bool SetFromParameter(Json::Value const& value) override;
    bool FormatToParameter(Json::Value& out) const override;

protected:
    friend class CTechnique;

    struct ProgramSlot {
        ProgramSlot();
        ProgramSlot(ProgramSlot const& other);
        ProgramSlot& operator=(ProgramSlot const& other);
        ~ProgramSlot();

        void Set(_ResourceSharePtr<CGPUProgram> const& newProgram);
        void Load();
        void PrepareForRender(CRenderSystem* system);
        CGPUProgramParamTable* NeedTable() const;

        _ResourceSharePtr<CGPUProgram> program;
        mutable std::unique_ptr<CGPUProgramParamTable> table;
    };

    void _ReadStages(Json::Value const& value);
    void _ReadStage(unsigned int stage, Json::Value const& value);

    CTechnique* m_parent; // not owned
    string m_name;
    unsigned int m_index; // place in the technique at creation
    bool m_isAlpha = false;
    _ResourceSharePtr<CRenderState> m_renderState;
    TextureList m_textures;
    TextureStateList m_textureStates;
    SamplerStateList m_samplerStates;
    ProgramSlot m_vertexProgram;
    ProgramSlot m_pixelProgram;
    ProgramSlot m_commProgram;

private:
    friend class CQueueRenderableCollection;

    // Worked out once a sort: the number of the sort that asked last, and what it was told.
    mutable unsigned long long m_sort = 0;
    mutable unsigned int m_sortStateNum = 0;
};
} // namespace qk3d
