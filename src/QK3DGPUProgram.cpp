// QK3DGPUProgram.cpp: programs, their way to the back-end, and the values of their parameters.
#include "QK3DGPUProgram.h"

#include "QK3DFileSystem.h"
#include "QK3DRenderSystem.h"
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace qk3d {
CGPUProgram::CGPUProgram(CResourceManager* manager, string const& path, string const& name, bool isManual,
                         CSharePtr<CResourceLoader>& loader)
    : CResource(manager, path, name, isManual, loader) {}

CGPUProgram::~CGPUProgram() { _ReleaseShader(); }

void CGPUProgram::SetRenderSystem(CRenderSystem* system) {
    if (system == m_renderSystem) return;
    bool const wasLoaded = m_loadingState == LOADSTATE_LOADED;
    if (m_renderSystem && m_gpuShader) Unload();
    m_renderSystem = system;
    if (wasLoaded) Load();
}

CGPUProgram::ParamDesc* CGPUProgram::GetParamDesc(string const& name) {
    auto const found = m_params.find(name);
    return found == m_params.end() ? nullptr : found->second.get();
}

void* CGPUProgram::GetParamHandle(string const& name) {
    ParamDesc const* const param = GetParamDesc(name);
    return param ? param->handle : nullptr;
}

unsigned int CGPUProgram::GetParamRegIndex(string const& name) {
    ParamDesc const* const param = GetParamDesc(name);
    return param ? param->regIndex : 0xFFFFFFFF;
}

bool CGPUProgram::SetFromParameter(Json::Value const&) { return true; }
bool CGPUProgram::FormatToParameter(Json::Value&) const { return true; }

void CGPUProgram::_AddParamDesc(string const& name, void* handle, unsigned int regIndex) {
    auto& param = m_params[name];
    if (!param) param = std::make_unique<ParamDesc>();
    param->handle = handle;
    param->regIndex = regIndex;
}

void CGPUProgram::_CopyImpl(CResource*) {}

bool CGPUProgram::_PrepareImpl() {
    if (!m_code.empty()) return true;
    if (!m_path.empty()) _Locate();
    if (!m_fileSystem) return false;
    if (m_fileSystem->ReadFileAsString(m_path, m_code)) return true;
    m_code.clear();
    return false;
}

bool CGPUProgram::_UnPrepareImpl() {
    m_code.clear();
    return true;
}

bool CGPUProgram::_LoadImpl() {
    if (!m_renderSystem || m_code.empty()) return false;
    bool compiled = false;
    m_compiledType = m_type;
    switch (m_type) {
    case GPT_VERTEX: compiled = m_renderSystem->_CreateVertexShaderImpl(this, &m_gpuShader); break;
    case GPT_PIXEL: compiled = m_renderSystem->_CreatePixelShaderImpl(this, &m_gpuShader); break;
    case GPT_COMM: compiled = m_renderSystem->_CreateCommShaderImpl(this, &m_gpuShader); break;
    case GPT_NONE: break;
    }
    if (!compiled) {
        // What a refusal leaves behind belongs to no program: the next try starts from nothing.
        m_gpuShader = nullptr;
        m_params.clear();
    }
    return compiled;
}

bool CGPUProgram::_UnloadImpl() {
    _ReleaseShader();
    return true;
}

void CGPUProgram::_ReleaseShader() {
    if (!m_renderSystem || !m_gpuShader) return;
    switch (m_compiledType) { // the type may have been set anew since
    case GPT_VERTEX: m_renderSystem->ReleaseVertexShader(this); break;
    case GPT_PIXEL: m_renderSystem->ReleasePixelShader(this); break;
    case GPT_COMM: m_renderSystem->ReleaseCommShader(this); break;
    case GPT_NONE: break;
    }
    m_gpuShader = nullptr;
    m_params.clear();
}

CGPUProgramParamTable::ParamValue::ParamValue(unsigned int size)
    : buffer(std::calloc(std::max(size, 1u), 1)), size(size) {
    if (!buffer) throw std::bad_alloc();
}

CGPUProgramParamTable::ParamValue::~ParamValue() {
    std::free(buffer);
    size = 0;
}

CGPUProgramParamTable::CGPUProgramParamTable(_ResourceSharePtr<CGPUProgram> const& program) : m_program(program) {}

CGPUProgramParamTable::CGPUProgramParamTable(CGPUProgramParamTable const& other)
    : m_program(other.m_program), m_firstSetDefault(other.m_firstSetDefault) {
    for (auto const& [handle, value] : other.m_values) SetParamValue(handle, value->buffer, value->size);
}

CGPUProgramParamTable& CGPUProgramParamTable::operator=(CGPUProgramParamTable const& other) {
    if (this == &other) return *this;
    CGPUProgramParamTable copy(other);
    m_program.Swap(copy.m_program);
    m_firstSetDefault = copy.m_firstSetDefault;
    m_values.swap(copy.m_values);
    return *this;
}

CGPUProgramParamTable::~CGPUProgramParamTable() = default;

void CGPUProgramParamTable::SetGPUProgram(_ResourceSharePtr<CGPUProgram> const& program) {
    if (m_program == program) return;
    if (m_program) Clear();
    m_program = program;
}

void* CGPUProgramParamTable::BindParam(string const& name, unsigned int size) {
    return BindParam(_FindHandle(name), size);
}

void* CGPUProgramParamTable::BindParam(void* handle, unsigned int size) {
    if (!handle) return nullptr;
    auto found = m_values.find(handle);
    if (found == m_values.end()) found = m_values.emplace(handle, std::make_unique<ParamValue>(size)).first;
    return found->second->buffer;
}

void CGPUProgramParamTable::SetParamValue(string const& name, void const* data, unsigned int size) {
    SetParamValue(_FindHandle(name), data, size);
}

void CGPUProgramParamTable::SetParamValue(void* handle, void const* data, unsigned int size) {
    if (!handle || (!data && size)) return;
    std::unique_ptr<ParamValue> previous; // `data` may lie in the buffer that is replaced
    auto const found = m_values.find(handle);
    ParamValue* value = found == m_values.end() ? nullptr : found->second.get();
    if (!value || value->size != size) {
        auto made = std::make_unique<ParamValue>(size);
        value = made.get();
        previous = std::exchange(m_values[handle], std::move(made));
    }
    if (size) std::memmove(value->buffer, data, size);
}

unsigned int CGPUProgramParamTable::GetParamValue(string const& name, void** data) {
    if (data) *data = nullptr;
    return GetParamValue(_FindHandle(name), data);
}

unsigned int CGPUProgramParamTable::GetParamValue(void* handle, void** data) {
    if (!handle || !data) return 0;
    *data = nullptr;
    auto const found = m_values.find(handle);
    if (found == m_values.end()) return 0;
    *data = found->second->buffer;
    return found->second->size;
}

void CGPUProgramParamTable::Clear() { m_values.clear(); }

void* CGPUProgramParamTable::_FindHandle(string const& name) {
    return m_program ? m_program->GetParamHandle(name) : nullptr;
}
} // namespace qk3d
