// TracePrograms.cpp: GPU programs that compile without being understood.
#include "TraceRenderSystem.h"

#include "QK3DGPUProgram.h"
#include <algorithm>
#include <deque>
#include <sstream>

namespace qk3d {
/// One compiled program; its address is the handle that the engine keeps.
struct TraceProgram {
    /// The address of a parameter is its handle, so parameters must not move.
    struct Param {
        string name;
        bool isFloat; // float, vec2, mat4 and their like
    };

    string name;
    std::deque<Param> params;
};

namespace {
TraceProgram& ProgramOf(void* handle) { return *static_cast<TraceProgram*>(handle); }

// "uniform vec4 colour;" declares a parameter; so does "uniform mat4 bones[4];", under the name "bones". What begins with
// "qk3d" is fed by the device itself.
void ReadParams(string const& code, std::deque<TraceProgram::Param>& params) {
    std::istringstream lines(code);
    for (string line; std::getline(lines, line);) {
        std::istringstream words(line);
        string uniform, type, name;
        if (!(words >> uniform >> type >> name) || uniform != "uniform") continue;
        name.erase(std::min(name.find_first_of(";[="), name.size()));
        bool const isFloat = type == "float" || type.starts_with("vec") || type.starts_with("mat");
        if (!name.empty() && !name.starts_with("qk3d")) params.push_back({name, isFloat});
    }
}
} // namespace

bool CTraceRenderSystem::_CreateProgram(ETraceOperation operation, CGPUProgram* program, void** gpuShader) {
    bool const accepted = m_journal->Record(operation, [&](CTraceCall& call) {
        call.AddText("program", program->GetName());
        call.AddRaw("codeType", QuoteJson(program->GetCodeType()), {});
        call.AddRaw("version", QuoteJson(program->GetShaderVer()), {});
        call.AddRaw("main", QuoteJson(program->GetMainFunName()), {});
        call.AddBlob("code", program->GetCode().data(), program->GetCode().size());
    });
    if (!accepted || program->GetCode().find("#error") != string::npos) return false;

    auto const compiled = std::make_shared<TraceProgram>();
    compiled->name = program->GetName();
    ReadParams(program->GetCode(), compiled->params);
    unsigned int place = 0;
    for (auto& param : compiled->params) AddGPUProgramParamDec(program, param.name, &param, place++);
    m_programs[compiled.get()] = compiled;
    *gpuShader = compiled.get();
    return true;
}

void CTraceRenderSystem::_ReleaseProgram(ETraceOperation operation, void* gpuShader) {
    auto const found = m_programs.find(gpuShader);
    if (found == m_programs.end()) return;
    m_journal->Record(operation, [&](CTraceCall& call) { call.AddText("program", found->second->name); });
    m_programs.erase(found);
}

bool CTraceRenderSystem::_SetProgram(ETraceOperation operation, void* gpuShader) {
    return m_journal->Record(operation, [&](CTraceCall& call) {
        if (gpuShader)
            call.AddText("program", ProgramOf(gpuShader).name);
        else
            call.AddNull("program");
    });
}

void CTraceRenderSystem::_SetParam(ETraceOperation operation, void* gpuShader, void* paramHandle, void const* data,
                                   unsigned int size) {
    m_journal->Record(operation, [&](CTraceCall& call) {
        call.AddText("program", ProgramOf(gpuShader).name);
        auto const& param = *static_cast<TraceProgram::Param*>(paramHandle);
        call.AddText("param", param.name);
        if (param.isFloat && data && size % sizeof(float) == 0)
            call.AddFloats("value", static_cast<float const*>(data), size / sizeof(float));
        else
            call.AddBlob("value", data, size);
    });
}

void CTraceRenderSystem::_ApplyDefaultParams(CGPUProgram* program) {
    m_journal->Record(ETraceOperation::ApplyDefaultParams, [&](CTraceCall& call) {
        if (program)
            call.AddText("program", program->GetName());
        else
            call.AddNull("program");
    });
}

bool CTraceRenderSystem::_CreateVertexShaderImpl(CGPUProgram* program, void** gpuShader) {
    return _CreateProgram(ETraceOperation::CreateVertexShader, program, gpuShader);
}
bool CTraceRenderSystem::_CreatePixelShaderImpl(CGPUProgram* program, void** gpuShader) {
    return _CreateProgram(ETraceOperation::CreatePixelShader, program, gpuShader);
}
bool CTraceRenderSystem::_CreateCommShaderImpl(CGPUProgram* program, void** gpuShader) {
    return _CreateProgram(ETraceOperation::CreateCommShader, program, gpuShader);
}
void CTraceRenderSystem::_ReleaseVertexShaderImpl(void* gpuShader) {
    _ReleaseProgram(ETraceOperation::ReleaseVertexShader, gpuShader);
}
void CTraceRenderSystem::_ReleasePixelShaderImpl(void* gpuShader) {
    _ReleaseProgram(ETraceOperation::ReleasePixelShader, gpuShader);
}
void CTraceRenderSystem::_ReleaseCommShaderImpl(void* gpuShader) {
    _ReleaseProgram(ETraceOperation::ReleaseCommShader, gpuShader);
}
bool CTraceRenderSystem::_SetVertexShaderImpl(void* gpuShader) {
    return _SetProgram(ETraceOperation::SetVertexShader, gpuShader);
}
bool CTraceRenderSystem::_SetPixelShaderImpl(void* gpuShader) {
    return _SetProgram(ETraceOperation::SetPixelShader, gpuShader);
}
bool CTraceRenderSystem::_SetCommShaderImpl(void* gpuShader) {
    return _SetProgram(ETraceOperation::SetCommShader, gpuShader);
}
void CTraceRenderSystem::_SetVertexShaderParam(void* gpuShader, void* paramHandle, void* data, unsigned int size) {
    _SetParam(ETraceOperation::SetVertexShaderParam, gpuShader, paramHandle, data, size);
}
void CTraceRenderSystem::_SetPixelShaderParam(void* gpuShader, void* paramHandle, void* data, unsigned int size) {
    _SetParam(ETraceOperation::SetPixelShaderParam, gpuShader, paramHandle, data, size);
}
void CTraceRenderSystem::_SetCommShaderParam(void* gpuShader, void* paramHandle, void* data, unsigned int size) {
    _SetParam(ETraceOperation::SetCommShaderParam, gpuShader, paramHandle, data, size);
}
} // namespace qk3d
