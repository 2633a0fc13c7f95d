// QK3DGPUProgram.h: the source of a shader program with the handle that a back-end gives for it, and its parameters.
#pragma once

#include "QK3DResource.h"
#include <map>
#include <memory>

namespace qk3d {
class CRenderSystem;

/// One vertex, pixel or comm program. The library moves its text to the back-end and keeps the handle; what the code
/// type, shader version and main function mean is the back-end's affair. Without a render system a Load stops at
/// prepared, and CPass::PrepareForRender tries again with one.
class QK3D_API CGPUProgram : public CResource {
public:
    enum EType : unsigned int {
        GPT_NONE = 0,
        GPT_VERTEX = 1,
        GPT_PIXEL = 2,
        GPT_COMM = 3,
    };

    struct ParamDesc {
        void* handle = nullptr;
        unsigned int regIndex = 0;
    };

    CGPUProgram(CResourceManager* manager, string const& path, string const& name, bool isManual,
                CSharePtr<CResourceLoader>& loader);
    CGPUProgram(CGPUProgram const&) = delete; // the handle has one owner
    CGPUProgram& operator=(CGPUProgram const&) = delete;
    ~CGPUProgram() override;

    /// Code that is set is not read from the file.
    string const& GetCode() const { return m_code; }
    void SetCode(string const& code) { m_code = code; }
    string const& GetCodeType() const { return m_codeType; }
    void SetCodeType(string const& codeType) { m_codeType = codeType; }
    string const& GetShaderVer() const { return m_shaderVer; }
    void SetShaderVer(string const& shaderVer) { m_shaderVer = shaderVer; }
    string const& GetMainFunName() const { return m_mainFunName; }
    void SetMainFunName(string const& mainFunName) { m_mainFunName = mainFunName; }
    EType GetType() const { return m_type; }
    void SetType(EType type) { m_type = type; }

    /// Null while the program is not compiled.
    void* GetGPUShader() const { return m_gpuShader; }
    CRenderSystem* GetRenderSystem() const { return m_renderSystem; }

    /// A loaded program is released at the old render system and compiled at the new one; any other only keeps the
    /// pointer. Null is allowed.
    void SetRenderSystem(CRenderSystem* system);

    /// What the back-end registered while it compiled: nothing before that.
    unsigned int GetParamNum() const { return static_cast<unsigned int>(m_params.size()); }
    ParamDesc* GetParamDesc(string const& name);
    void* GetParamHandle(string const& name);

    /// 0xFFFFFFFF for a parameter that there is not.
    unsigned int GetParamRegIndex(string const& name);

    /// Reads nothing and says true: the settings of a program stand in the pass that refers to it.
    bool SetFromParameter(Json::Value const& value) override;
    bool FormatToParameter(Json::Value& out) const override;

protected:
    friend class CRenderSystem;

    /// Adds a parameter or replaces what is known of it. For CRenderSystem::AddGPUProgramParamDec.
    void _AddParamDesc(string const& name, void* handle, unsigned int regIndex);

    void _CopyImpl(CResource* target) override;
    bool _PrepareImpl() override;
    bool _UnPrepareImpl() override;
    bool _LoadImpl() override;
    bool _UnloadImpl() override;

    CRenderSystem* m_renderSystem = nullptr; // not owned
    void* m_gpuShader = nullptr;             // the back-end's, released through it
    EType m_type = GPT_NONE;
    string m_codeType;
    string m_shaderVer;
    string m_code;
    string m_mainFunName;
    std::map<string, std::unique_ptr<ParamDesc>> m_params;

private:
    void _ReleaseShader();

    EType m_compiledType = GPT_NONE;
};

/// The values that a pass has for the parameters of one program. They are raw bytes, kept by parameter handle, and are
/// sent to the device each time the pass is applied. Names can be used once the program is compiled.
class QK3D_API CGPUProgramParamTable {
public:
    class QK3D_API ParamValue {
    public:
        explicit ParamValue(unsigned int size);
        ParamValue(ParamValue const&) = delete;
        ParamValue& operator=(ParamValue const&) = delete;
        ~ParamValue();

        void* buffer = nullptr; // owned, from malloc
        unsigned int size = 0;  // in bytes
    };
    using ParamValueMap = std::map<void*, std::unique_ptr<ParamValue>>;

    CGPUProgramParamTable() = default;
    explicit CGPUProgramParamTable(_ResourceSharePtr<CGPUProgram> const& program);

    /// A copy has values of its own for the same program.
    CGPUProgramParamTable(CGPUProgramParamTable const& other);
    CGPUProgramParamTable& operator=(CGPUProgramParamTable const& other);
    virtual ~CGPUProgramParamTable();

    /// Another program than before drops all values: handles belong to a program.
    void SetGPUProgram(_ResourceSharePtr<CGPUProgram> const& program);
    CGPUProgram* GetGPUProgram() { return m_program; }
    CGPUProgram const* GetGPUProgram() const { return m_program; }

    /// Whether the back-end loads the program's default values before those of the table. False at first.
    void FirstSetDefault(bool value) { m_firstSetDefault = value; }
    bool IsFirstSetDefault() const { return m_firstSetDefault; }

    /// A buffer of `size` bytes to write the value into, each frame if need be. A value that is there already keeps
    /// its buffer and its size, whatever `size` is. It stays where it is until SetParamValue changes the size of this
    /// value or the table is cleared. Null for a null handle or a name that the program does not know.
    void* BindParam(string const& name, unsigned int size);
    void* BindParam(void* handle, unsigned int size);

    /// Copies `size` bytes. Nothing happens for a null handle, an unknown name, or null `data` with a size.
    void SetParamValue(string const& name, void const* data, unsigned int size);
    void SetParamValue(void* handle, void const* data, unsigned int size);

    /// The size of the value, and its buffer in `*data`; 0 and null if there is none.
    unsigned int GetParamValue(string const& name, void** data);
    unsigned int GetParamValue(void* handle, void** data);

    void Clear();

    ParamValueMap::iterator EnumParamValuesBegin() { return m_values.begin(); }
    ParamValueMap::iterator EnumParamValuesEnd() { return m_values.end(); }
    ParamValueMap::const_iterator EnumParamValuesBegin() const { return m_values.begin(); }
    ParamValueMap::const_iterator EnumParamValuesEnd() const { return m_values.end(); }

protected:
    void* _FindHandle(string const& name);

    _ResourceSharePtr<CGPUProgram> m_program;
    bool m_firstSetDefault = false;
    ParamValueMap m_values;
};
} // namespace qk3d
