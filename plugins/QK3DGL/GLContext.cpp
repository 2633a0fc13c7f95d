// GLContext.cpp: picks the kind of context and checks what it can do.
#include "GLContext.h"

#include "GLLog.h"

namespace qk3d::gl {
namespace {
constexpr int kNeededVersion = 45; // as epoxy counts: direct state access and clip control are core from here on

void APIENTRY OnMessage(GLenum source, GLenum type, GLuint, GLenum severity, GLsizei length, GLchar const* text,
                        void const*) {
    if (source == GL_DEBUG_SOURCE_SHADER_COMPILER) return; // programs report their own errors, and better
    int const shown = static_cast<int>(length);
    if (type == GL_DEBUG_TYPE_ERROR || type == GL_DEBUG_TYPE_UNDEFINED_BEHAVIOR)
        GL_LOG(LOG_ERROR, "OpenGL : %.*s", shown, text);
    else if (severity == GL_DEBUG_SEVERITY_HIGH)
        GL_LOG(LOG_WARNING, "OpenGL : %.*s", shown, text);
    else if (severity == GL_DEBUG_SEVERITY_MEDIUM)
        GL_LOG(LOG_DEBUG, "OpenGL : %.*s", shown, text);
}
} // namespace

std::unique_ptr<GLContext> CreateContext(Options const& options) {
    std::unique_ptr<GLContext> context;
    if (options.windows != WindowMode::None) context = CreateWindowContext(options);
    if (!context) {
        if (options.windows == WindowMode::Windows) {
            GL_LOG(LOG_ERROR, "Windows were asked for and cannot be opened");
            return nullptr;
        }
        context = CreateHeadlessContext(options);
    }
    if (!context) return nullptr;

    int const version = epoxy_gl_version();
    auto const text = [](GLenum name) { return reinterpret_cast<char const*>(glGetString(name)); };
    if (version < kNeededVersion) {
        GL_LOG(LOG_ERROR, "OpenGL 4.5 is needed, %s offers %d.%d", text(GL_RENDERER), version / 10, version % 10);
        return nullptr;
    }
    GL_LOG(LOG_DEBUG, "OpenGL %s on %s, %s", text(GL_VERSION), text(GL_RENDERER),
           context->HasWindows() ? "with windows" : "without a display");
    if (options.debug) {
        glEnable(GL_DEBUG_OUTPUT);
        glEnable(GL_DEBUG_OUTPUT_SYNCHRONOUS);
        glDebugMessageCallback(OnMessage, nullptr);
    }
    return context;
}
} // namespace qk3d::gl
