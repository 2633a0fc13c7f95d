// GLFixedFunction.cpp: keeps the programs that stand in for the fixed-function pipeline.
#include "GLFixedFunctionKey.h"

#include "GLLog.h"

#include <unordered_map>

namespace qk3d::gl {
namespace {
// FNV-1a over the bytes of a key.
struct KeyHash {
    template <class Key>
    std::size_t operator()(Key const& key) const {
        unsigned char bytes[sizeof(Key)];
        std::memcpy(bytes, &key, sizeof(Key));
        std::uint64_t hash = 14695981039346656037ull;
        for (unsigned char const byte : bytes) hash = (hash ^ byte) * 1099511628211ull;
        return static_cast<std::size_t>(hash);
    }
};

struct KeyEqual {
    template <class Key>
    bool operator()(Key const& a, Key const& b) const {
        return IsSameKey(a, b);
    }
};

template <class Key>
using Programs = std::unordered_map<Key, GLuint, KeyHash, KeyEqual>;

GLuint Compile(GLenum type, std::string const& text) {
    char const* const source = text.c_str();
    GLuint const program = glCreateShaderProgramv(type, 1, &source);
    GLint linked = GL_FALSE;
    if (program) glGetProgramiv(program, GL_LINK_STATUS, &linked);
    if (linked) return program;
    char message[2048] = "";
    if (program) glGetProgramInfoLog(program, sizeof(message), nullptr, message);
    GL_LOG(LOG_ERROR, "A fixed-function shader does not compile : %s\n%s", message, source);
    glDeleteProgram(program);
    return 0;
}

void DeleteAll(auto& programs) {
    for (auto const& [key, program] : programs) {
        if (program) glDeleteProgram(program);
    }
    programs.clear();
}
} // namespace

struct FixedFunctionShaders::Cache {
    Programs<VertexKey> vertex;
    Programs<FragmentKey> fragment; // 0 stands for a program that failed, so that it fails once
    unsigned compileCount = 0;

    template <class Key>
    GLuint Get(Programs<Key>& programs, Key const& key, GLenum type, std::string (*write)(Key const&)) {
        if (auto const found = programs.find(key); found != programs.end()) return found->second;
        GLuint& slot = programs[key];
        ++compileCount;
        return slot = Compile(type, write(key));
    }
};

FixedFunctionShaders::FixedFunctionShaders() : m_cache(std::make_unique<Cache>()) {}

FixedFunctionShaders::~FixedFunctionShaders() { Clear(); }

GLuint FixedFunctionShaders::GetVertexProgram(FixedState const& state, VertexFeatures const& features,
                                              bool fixedFragment) {
    return m_cache->Get(m_cache->vertex, MakeVertexKey(state, features, fixedFragment), GL_VERTEX_SHADER,
                        WriteVertexShader);
}

GLuint FixedFunctionShaders::GetFragmentProgram(FixedState const& state, VertexFeatures const& features,
                                                bool fixedVertex) {
    return m_cache->Get(m_cache->fragment, MakeFragmentKey(state, features, fixedVertex), GL_FRAGMENT_SHADER,
                        WriteFragmentShader);
}

unsigned FixedFunctionShaders::GetCompileCount() const { return m_cache->compileCount; }

void FixedFunctionShaders::Clear() {
    DeleteAll(m_cache->vertex);
    DeleteAll(m_cache->fragment);
}
} // namespace qk3d::gl
