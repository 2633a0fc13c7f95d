// GLContextHeadless.cpp: a context by EGL that needs no display, no window and no surface.
#include "GLContext.h"

#include "GLLog.h"

#include <cstring>

#include <epoxy/egl.h>

namespace qk3d::gl {
namespace {
class HeadlessContext final : public GLContext {
public:
    HeadlessContext(EGLDisplay display, EGLContext context) : m_display(display), m_context(context) {}

    // The display stays initialised: it is one for the whole process, so ending it would take the host's contexts on
    // it along, and software drivers leak a little at every end and new beginning.
    ~HeadlessContext() override {
        if (eglGetCurrentContext() == m_context)
            eglMakeCurrent(m_display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        eglDestroyContext(m_display, m_context);
        eglReleaseThread();
    }

    bool MakeCurrent() override {
        return eglGetCurrentContext() == m_context ||
               eglMakeCurrent(m_display, EGL_NO_SURFACE, EGL_NO_SURFACE, m_context);
    }

    std::unique_ptr<GLWindow> OpenWindow(std::string const&, unsigned, unsigned, bool) override { return nullptr; }
    bool HasWindows() const override { return false; }

private:
    EGLDisplay m_display;
    EGLContext m_context;
};

bool HasWord(char const* list, char const* word) {
    if (!list) return false;
    auto const length = std::strlen(word);
    for (char const* at = list; (at = std::strstr(at, word)); at += length)
        if ((at == list || at[-1] == ' ') && (at[length] == ' ' || at[length] == 0)) return true;
    return false;
}

std::unique_ptr<GLContext> CreateOn(EGLDisplay display, Options const& options) {
    if (display == EGL_NO_DISPLAY || !eglInitialize(display, nullptr, nullptr)) return nullptr;
    char const* const extensions = eglQueryString(display, EGL_EXTENSIONS);
    if (!HasWord(extensions, "EGL_KHR_surfaceless_context") || !HasWord(extensions, "EGL_KHR_no_config_context") ||
        !HasWord(extensions, "EGL_KHR_create_context") || !eglBindAPI(EGL_OPENGL_API))
        return nullptr;

    // Robust access keeps wild indices of a model inside the buffers. Not every driver has it, so it is asked for
    // first and done without.
    for (bool const robust : {true, false}) {
        EGLint const attributes[] = {EGL_CONTEXT_MAJOR_VERSION,
                                     4,
                                     EGL_CONTEXT_MINOR_VERSION,
                                     5,
                                     EGL_CONTEXT_OPENGL_PROFILE_MASK,
                                     EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT,
                                     EGL_CONTEXT_OPENGL_DEBUG,
                                     options.debug ? EGL_TRUE : EGL_FALSE,
                                     robust ? EGL_CONTEXT_OPENGL_ROBUST_ACCESS : EGL_NONE,
                                     EGL_TRUE,
                                     EGL_CONTEXT_OPENGL_RESET_NOTIFICATION_STRATEGY,
                                     EGL_LOSE_CONTEXT_ON_RESET,
                                     EGL_NONE};
        EGLContext const handle = eglCreateContext(display, EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT, attributes);
        if (handle == EGL_NO_CONTEXT) continue;
        auto context = std::make_unique<HeadlessContext>(display, handle);
        if (context->MakeCurrent()) return context;
    }
    return nullptr;
}

/// Devices of the one kind or the other, as EGL lists them.
std::unique_ptr<GLContext> CreateOnDevice(Options const& options, bool software) {
    if (!epoxy_has_egl_extension(EGL_NO_DISPLAY, "EGL_EXT_platform_device") ||
        !epoxy_has_egl_extension(EGL_NO_DISPLAY, "EGL_EXT_device_enumeration"))
        return nullptr;
    EGLDeviceEXT devices[16];
    EGLint count = 0;
    if (!eglQueryDevicesEXT(16, devices, &count)) return nullptr;
    for (EGLint i = 0; i < count; ++i) {
        if (HasWord(eglQueryDeviceStringEXT(devices[i], EGL_EXTENSIONS), "EGL_MESA_device_software") != software)
            continue;
        if (auto context = CreateOn(eglGetPlatformDisplayEXT(EGL_PLATFORM_DEVICE_EXT, devices[i], nullptr), options))
            return context;
    }
    return nullptr;
}
} // namespace

std::unique_ptr<GLContext> CreateHeadlessContext(Options const& options) {
    if (!options.software)
        if (auto context = CreateOnDevice(options, false)) return context;
    if (epoxy_has_egl_extension(EGL_NO_DISPLAY, "EGL_MESA_platform_surfaceless"))
        if (auto context = CreateOn(
                eglGetPlatformDisplayEXT(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr), options))
            return context;
    if (auto context = CreateOnDevice(options, true)) return context;
    GL_LOG(LOG_ERROR, "No device gives an OpenGL 4.5 core context without a display (EGL error 0x%x)",
           static_cast<unsigned>(eglGetError()));
    return nullptr;
}
} // namespace qk3d::gl
