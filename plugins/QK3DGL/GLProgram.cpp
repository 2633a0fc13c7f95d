// GLProgram.cpp: compiles programs, finds their parameters and sends values.
#include "GLProgram.h"

#include "GLLog.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>

namespace qk3d::gl {
namespace {
struct StageInfo {
    GLenum type;
    char const* word;
    char const* preamble; // a separable program has to declare the built-in blocks it uses
};

constexpr StageInfo kStages[] = {
    {GL_VERTEX_SHADER, "vertex",
     "out gl_PerVertex { vec4 gl_Position; float gl_PointSize; float gl_ClipDistance[6]; };\n"},
    {GL_FRAGMENT_SHADER, "pixel", ""},
    {GL_GEOMETRY_SHADER, "geometry",
     "in gl_PerVertex { vec4 gl_Position; float gl_PointSize; float gl_ClipDistance[6]; } gl_in[];\n"
     "out gl_PerVertex { vec4 gl_Position; float gl_PointSize; float gl_ClipDistance[6]; };\n"},
};

constexpr char const* kEngineNames[] = {
#define X(id, name) name,
    QK3D_ENGINE_UNIFORMS(X)
#undef X
};

constexpr struct {
    char const* name;
    GLuint location;
} kAttributeNames[] = {
    {"qk3dPosition", kPositionLocation},         {"qk3dBlendWeights", kBlendWeightsLocation},
    {"qk3dBlendIndices", kBlendIndicesLocation}, {"qk3dNormal", kNormalLocation},
    {"qk3dDiffuse", kDiffuseLocation},           {"qk3dSpecular", kSpecularLocation},
    {"qk3dPointSize", kPointSizeLocation},       {"qk3dTangent", kTangentLocation},
    {"qk3dTexCoord0", kTexCoordLocation},        {"qk3dTexCoord1", kTexCoordLocation + 1},
    {"qk3dTexCoord2", kTexCoordLocation + 2},    {"qk3dTexCoord3", kTexCoordLocation + 3},
    {"qk3dTexCoord4", kTexCoordLocation + 4},    {"qk3dTexCoord5", kTexCoordLocation + 5},
    {"qk3dTexCoord6", kTexCoordLocation + 6},    {"qk3dTexCoord7", kTexCoordLocation + 7},
};

// The form of one element of a uniform type: how many 32-bit numbers, and which of the calls takes them.
struct TypeForm {
    enum Kind { Float, Int, UInt, Matrix } kind = Int;
    int size = 1;
    int columns = 1; // of a matrix; `size` is all its numbers
};

TypeForm FindForm(GLenum type) {
    switch (type) {
    case GL_FLOAT: return {TypeForm::Float, 1};
    case GL_FLOAT_VEC2: return {TypeForm::Float, 2};
    case GL_FLOAT_VEC3: return {TypeForm::Float, 3};
    case GL_FLOAT_VEC4: return {TypeForm::Float, 4};
    case GL_INT_VEC2:
    case GL_BOOL_VEC2: return {TypeForm::Int, 2};
    case GL_INT_VEC3:
    case GL_BOOL_VEC3: return {TypeForm::Int, 3};
    case GL_INT_VEC4:
    case GL_BOOL_VEC4: return {TypeForm::Int, 4};
    case GL_UNSIGNED_INT: return {TypeForm::UInt, 1};
    case GL_UNSIGNED_INT_VEC2: return {TypeForm::UInt, 2};
    case GL_UNSIGNED_INT_VEC3: return {TypeForm::UInt, 3};
    case GL_UNSIGNED_INT_VEC4: return {TypeForm::UInt, 4};
    case GL_FLOAT_MAT2: return {TypeForm::Matrix, 4, 2};
    case GL_FLOAT_MAT3: return {TypeForm::Matrix, 9, 3};
    case GL_FLOAT_MAT4: return {TypeForm::Matrix, 16, 4};
    case GL_DOUBLE:
    case GL_DOUBLE_VEC2:
    case GL_DOUBLE_VEC3:
    case GL_DOUBLE_VEC4: return {TypeForm::Float, 0}; // not offered
    default: return {};                               // int, bool and samplers
    }
}

void SendUniform(GLuint program, GLint location, GLenum type, GLsizei count, void const* data) {
    auto const form = FindForm(type);
    auto const* const floats = static_cast<GLfloat const*>(data);
    auto const* const ints = static_cast<GLint const*>(data);
    auto const* const uints = static_cast<GLuint const*>(data);
    switch (form.kind) {
    case TypeForm::Float:
        if (form.size == 1) glProgramUniform1fv(program, location, count, floats);
        if (form.size == 2) glProgramUniform2fv(program, location, count, floats);
        if (form.size == 3) glProgramUniform3fv(program, location, count, floats);
        if (form.size == 4) glProgramUniform4fv(program, location, count, floats);
        break;
    case TypeForm::Int:
        if (form.size == 1) glProgramUniform1iv(program, location, count, ints);
        if (form.size == 2) glProgramUniform2iv(program, location, count, ints);
        if (form.size == 3) glProgramUniform3iv(program, location, count, ints);
        if (form.size == 4) glProgramUniform4iv(program, location, count, ints);
        break;
    case TypeForm::UInt:
        if (form.size == 1) glProgramUniform1uiv(program, location, count, uints);
        if (form.size == 2) glProgramUniform2uiv(program, location, count, uints);
        if (form.size == 3) glProgramUniform3uiv(program, location, count, uints);
        if (form.size == 4) glProgramUniform4uiv(program, location, count, uints);
        break;
    case TypeForm::Matrix: // as it stands in memory: the engine's rows become columns
        if (form.columns == 2) glProgramUniformMatrix2fv(program, location, count, GL_FALSE, floats);
        if (form.columns == 3) glProgramUniformMatrix3fv(program, location, count, GL_FALSE, floats);
        if (form.columns == 4) glProgramUniformMatrix4fv(program, location, count, GL_FALSE, floats);
        break;
    }
}

void ReadUniform(GLuint program, GLint location, GLenum type, std::byte* out, std::size_t size) {
    auto const form = FindForm(type);
    auto const bytes = static_cast<GLsizei>(size);
    if (form.kind == TypeForm::Float || form.kind == TypeForm::Matrix)
        glGetnUniformfv(program, location, bytes, reinterpret_cast<GLfloat*>(out));
    else if (form.kind == TypeForm::Int)
        glGetnUniformiv(program, location, bytes, reinterpret_cast<GLint*>(out));
    else
        glGetnUniformuiv(program, location, bytes, reinterpret_cast<GLuint*>(out));
}

std::size_t ElementBytes(GLenum type) { return static_cast<std::size_t>(FindForm(type).size) * 4; }

/// The source with a version line, our preamble, and lines counted as in the file. A main function of another name is
/// called from main.
std::string CompleteSource(StageInfo const& stage, std::string const& code, std::string const& version,
                           std::string const& mainFunction) {
    std::string digits;
    for (char const c : version)
        if (c >= '0' && c <= '9') digits += c;
    if (digits.size() != 3) digits = "450";

    std::string source;
    std::size_t rest = 0;
    auto const at = code.find("#version");
    if (at == code.npos) {
        source = "#version " + digits + " core\n";
    } else {
        rest = std::min(code.find('\n', at), code.size() - 1) + 1;
        source = code.substr(0, rest);
        if (source.back() != '\n') source += '\n';
    }
    if (code.find("gl_PerVertex") == code.npos) source += stage.preamble;
    source += "#line " + std::to_string(1 + std::count(code.begin(), code.begin() + static_cast<long>(rest), '\n')) +
              "\n" + code.substr(rest);
    if (!mainFunction.empty() && mainFunction != "main") source += "\nvoid main() { " + mainFunction + "(); }\n";
    return source;
}

void LogMessages(std::string const& origin, std::string_view text) {
    while (!text.empty()) {
        auto const end = std::min(text.find('\n'), text.size());
        if (end > 0 && text[0] != '\0')
            GL_LOG(LOG_ERROR, "%s", LocateMessage(origin, std::string(text.substr(0, end))).c_str());
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}
} // namespace

std::string LocateMessage(std::string const& origin, std::string const& line) {
    // "0:12(3): error: text" (Mesa), "0(12) : error C1: text", "ERROR: 0:12: text": string, line, perhaps a column.
    std::string_view rest = line;
    for (std::string_view const word : {"ERROR: ", "WARNING: "})
        if (rest.substr(0, word.size()) == word) rest.remove_prefix(word.size());
    auto const skipNumber = [&rest](unsigned& number) {
        auto const [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
        if (error != std::errc()) return false;
        rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
        return true;
    };
    unsigned string = 0, number = 0;
    if (!skipNumber(string) || rest.empty() || (rest[0] != ':' && rest[0] != '(')) return line;
    rest.remove_prefix(1);
    if (!skipNumber(number)) return line;
    auto const text = rest.find_first_of(':');
    rest.remove_prefix(text == rest.npos ? rest.size() : text + 1);
    while (!rest.empty() && rest[0] == ' ') rest.remove_prefix(1);
    return origin + ":" + std::to_string(number) + ": " + std::string(rest);
}

GLProgram::GLProgram(GLDevice& device, Stage stage) : GLObject(device, Order::Contents), m_stage(stage) {}

GLProgram::~GLProgram() {
    if (UseDevice()) _DropNames();
}

bool GLProgram::Compile(std::string const& origin, std::string const& code, std::string const& version,
                        std::string const& mainFunction) {
    m_origin = origin;
    m_source = CompleteSource(kStages[static_cast<int>(m_stage)], code, version, mainFunction);
    m_writesClipDistances = code.find("gl_ClipDistance") != code.npos;
    if (!Link()) return false;
    FindUniforms();
    return true;
}

bool GLProgram::Link() {
    GLDevice* const device = UseDevice();
    if (!device) return false;
    auto const& stage = kStages[static_cast<int>(m_stage)];
    ++device->Count().compilations;
    if (device->IsInFrame()) ++device->Count().lateCompilations;

    GLuint const shader = glCreateShader(stage.type);
    char const* const text = m_source.c_str();
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    GLint good = 0, length = 0;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &good);
    if (good) {
        m_name = glCreateProgram();
        glProgramParameteri(m_name, GL_PROGRAM_SEPARABLE, GL_TRUE);
        if (m_stage == Stage::Vertex)
            for (auto const& [name, location] : kAttributeNames) glBindAttribLocation(m_name, location, name);
        glAttachShader(m_name, shader);
        glLinkProgram(m_name);
        glDetachShader(m_name, shader);
        glGetProgramiv(m_name, GL_LINK_STATUS, &good);
        glGetProgramiv(m_name, GL_INFO_LOG_LENGTH, &length);
    } else {
        glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &length);
    }
    if (!good) {
        std::string messages(static_cast<std::size_t>(std::max(length, 1)), '\0');
        if (m_name)
            glGetProgramInfoLog(m_name, length, nullptr, messages.data());
        else
            glGetShaderInfoLog(shader, length, nullptr, messages.data());
        GL_LOG(LOG_ERROR, "The %s program does not compile : %s", stage.word, m_origin.c_str());
        LogMessages(m_origin, messages);
        glDeleteProgram(m_name);
        m_name = 0;
    }
    glDeleteShader(shader);
    m_version = 0;
    return good != 0;
}

void GLProgram::FindUniforms() {
    m_engineLocations.fill(-1);
    GLint number = 0;
    glGetProgramInterfaceiv(m_name, GL_UNIFORM, GL_ACTIVE_RESOURCES, &number);
    for (GLint i = 0; i < number; ++i) {
        constexpr GLenum kQuestions[] = {GL_TYPE, GL_ARRAY_SIZE, GL_LOCATION, GL_NAME_LENGTH};
        GLint answers[4] = {};
        glGetProgramResourceiv(m_name, GL_UNIFORM, static_cast<GLuint>(i), 4, kQuestions, 4, nullptr, answers);
        if (answers[2] < 0) continue; // a member of a block
        std::string name(static_cast<std::size_t>(std::max(answers[3], 1)), '\0');
        glGetProgramResourceName(m_name, GL_UNIFORM, static_cast<GLuint>(i), answers[3], nullptr, name.data());
        name.resize(std::strlen(name.c_str()));
        if (name.size() > 3 && name.compare(name.size() - 3, 3, "[0]") == 0) name.resize(name.size() - 3);

        auto const engine = std::find(std::begin(kEngineNames), std::end(kEngineNames), name);
        if (engine != std::end(kEngineNames)) {
            m_engineLocations[static_cast<std::size_t>(engine - std::begin(kEngineNames))] = answers[2];
            continue;
        }
        constexpr std::string_view kTexture = "qk3dTexture";
        GLint unit = 0;
        if (name.compare(0, kTexture.size(), kTexture) == 0 &&
            std::from_chars(name.data() + kTexture.size(), name.data() + name.size(), unit).ec == std::errc()) {
            glProgramUniform1i(m_name, answers[2], std::clamp(unit, 0, static_cast<int>(GLDevice::kMaxUnits) - 1));
            continue;
        }

        auto param = std::make_unique<Param>();
        param->name = name;
        param->type = static_cast<GLenum>(answers[0]);
        param->count = std::max(answers[1], 1);
        param->location = answers[2];
        auto const element = ElementBytes(param->type);
        if (element == 0) continue;
        param->initial.resize(element * static_cast<std::size_t>(param->count));
        for (GLint k = 0; k < param->count; ++k) {
            GLint const location =
                k == 0 ? answers[2] : glGetUniformLocation(m_name, (name + "[" + std::to_string(k) + "]").c_str());
            if (location >= 0)
                ReadUniform(m_name, location, param->type,
                            param->initial.data() + element * static_cast<std::size_t>(k), element);
        }
        param->value = param->initial;
        m_params.push_back(std::move(param));
    }
}

void GLProgram::SetParam(Param& param, void const* data, std::size_t size) {
    auto const element = ElementBytes(param.type);
    auto const count = std::min(size / element, param.value.size() / element);
    if (!data || count == 0 || std::memcmp(param.value.data(), data, count * element) == 0) return;
    std::memcpy(param.value.data(), data, count * element);
    if (m_name && UseDevice())
        SendUniform(m_name, param.location, param.type, static_cast<GLsizei>(count), param.value.data());
}

void GLProgram::ApplyDefaults() {
    for (auto& param : m_params) SetParam(*param, param->initial.data(), param->initial.size());
}

void GLProgram::Update(EngineValues const& values) {
    if (m_version == values.version) return;
    m_version = values.version;
    for (unsigned i = 0; i < values.matrices.size(); ++i)
        if (m_engineLocations[i] >= 0)
            glProgramUniformMatrix4fv(m_name, m_engineLocations[i], 1, GL_FALSE, values.matrices[i].data());
    if (m_engineLocations[kUniformCameraPosition] >= 0)
        glProgramUniform3fv(m_name, m_engineLocations[kUniformCameraPosition], 1, values.cameraPosition.data());
    constexpr std::pair<EngineUniform, Float4 EngineValues::*> kVectors[] = {
        {kUniformViewport, &EngineValues::viewport},
        {kUniformTextureFactor, &EngineValues::textureFactor},
        {kUniformAmbient, &EngineValues::ambient},
    };
    for (auto const& [uniform, member] : kVectors)
        if (m_engineLocations[uniform] >= 0)
            glProgramUniform4fv(m_name, m_engineLocations[uniform], 1, (values.*member).data());
}

void GLProgram::_DropNames() {
    glDeleteProgram(m_name);
    m_name = 0;
}

bool GLProgram::_RestoreNames() {
    if (m_source.empty()) return true;
    if (!Link()) return false;
    // The same source in a new context: names are what binds old handles to it.
    for (auto& param : m_params) {
        param->location = glGetUniformLocation(m_name, param->name.c_str());
        if (param->location >= 0) SendUniform(m_name, param->location, param->type, param->count, param->value.data());
    }
    for (unsigned i = 0; i < kEngineUniformNum; ++i)
        m_engineLocations[i] = glGetUniformLocation(m_name, kEngineNames[i]);
    for (unsigned unit = 0; unit < GLDevice::kMaxUnits; ++unit) {
        GLint const location = glGetUniformLocation(m_name, ("qk3dTexture" + std::to_string(unit)).c_str());
        if (location >= 0) glProgramUniform1i(m_name, location, static_cast<GLint>(unit));
    }
    return true;
}
} // namespace qk3d::gl
