// GLContextWindow.cpp: a context by GLFW with windows beside it that share its objects.
#include "GLContext.h"

#include "GLLog.h"

#include <GLFW/glfw3.h>

namespace qk3d::gl {
namespace {
void SetContextHints(Options const& options) {
    glfwDefaultWindowHints();
    glfwWindowHint(GLFW_CONTEXT_CREATION_API, GLFW_EGL_CONTEXT_API); // one way to functions, as without windows
    glfwWindowHint(GLFW_CLIENT_API, GLFW_OPENGL_API);
    glfwWindowHint(GLFW_CONTEXT_VERSION_MAJOR, 4);
    glfwWindowHint(GLFW_CONTEXT_VERSION_MINOR, 5);
    glfwWindowHint(GLFW_OPENGL_PROFILE, GLFW_OPENGL_CORE_PROFILE);
    glfwWindowHint(GLFW_OPENGL_DEBUG_CONTEXT, options.debug ? GLFW_TRUE : GLFW_FALSE);
    glfwWindowHint(GLFW_DEPTH_BITS, 0);
    glfwWindowHint(GLFW_STENCIL_BITS, 0);
}

struct NamedKey {
    int key;
    char const* name;
};

constexpr NamedKey kNamedKeys[] = {
    {GLFW_KEY_SPACE, "SPACE"},
    {GLFW_KEY_ESCAPE, "ESCAPE"},
    {GLFW_KEY_ENTER, "ENTER"},
    {GLFW_KEY_TAB, "TAB"},
    {GLFW_KEY_BACKSPACE, "BACKSPACE"},
    {GLFW_KEY_INSERT, "INSERT"},
    {GLFW_KEY_DELETE, "DELETE"},
    {GLFW_KEY_RIGHT, "RIGHT"},
    {GLFW_KEY_LEFT, "LEFT"},
    {GLFW_KEY_DOWN, "DOWN"},
    {GLFW_KEY_UP, "UP"},
    {GLFW_KEY_PAGE_UP, "PAGEUP"},
    {GLFW_KEY_PAGE_DOWN, "PAGEDOWN"},
    {GLFW_KEY_HOME, "HOME"},
    {GLFW_KEY_END, "END"},
    {GLFW_KEY_LEFT_SHIFT, "SHIFT"},
    {GLFW_KEY_RIGHT_SHIFT, "SHIFT"},
    {GLFW_KEY_LEFT_CONTROL, "CONTROL"},
    {GLFW_KEY_RIGHT_CONTROL, "CONTROL"},
    {GLFW_KEY_LEFT_ALT, "ALT"},
    {GLFW_KEY_RIGHT_ALT, "ALT"},
    {GLFW_KEY_F1, "F1"},
    {GLFW_KEY_F2, "F2"},
    {GLFW_KEY_F3, "F3"},
    {GLFW_KEY_F4, "F4"},
    {GLFW_KEY_F5, "F5"},
    {GLFW_KEY_F6, "F6"},
    {GLFW_KEY_F7, "F7"},
    {GLFW_KEY_F8, "F8"},
    {GLFW_KEY_F9, "F9"},
    {GLFW_KEY_F10, "F10"},
    {GLFW_KEY_F11, "F11"},
    {GLFW_KEY_F12, "F12"},
};

class Window final : public GLWindow {
public:
    Window(GLFWwindow* window, bool verticalSync) : m_window(window) {
        glfwSetWindowUserPointer(window, this);
        glfwSetScrollCallback(window, [](GLFWwindow* which, double, double y) {
            static_cast<Window*>(glfwGetWindowUserPointer(which))->m_wheel += y;
        });
        glfwMakeContextCurrent(window);
        glfwSwapInterval(verticalSync ? 1 : 0);
        glCreateFramebuffers(1, &m_framebuffer);
    }

    ~Window() override {
        glfwMakeContextCurrent(m_window);
        glDeleteFramebuffers(1, &m_framebuffer);
        glfwDestroyWindow(m_window);
    }

    void Present(GLuint texture, unsigned width, unsigned height) override {
        glFlush(); // in the main context, so that this one sees what was drawn
        glfwMakeContextCurrent(m_window);
        // The attachment is renewed each time: that is what makes another context's changes visible here.
        glNamedFramebufferTexture(m_framebuffer, GL_COLOR_ATTACHMENT0, texture, 0);
        int shownWidth = 0, shownHeight = 0;
        glfwGetFramebufferSize(m_window, &shownWidth, &shownHeight);
        // Our row 0 is on top, that of a window at the bottom.
        glBlitNamedFramebuffer(
            m_framebuffer, 0, 0, 0, static_cast<GLint>(width), static_cast<GLint>(height), 0, shownHeight, shownWidth,
            0, GL_COLOR_BUFFER_BIT,
            static_cast<int>(width) == shownWidth && static_cast<int>(height) == shownHeight ? GL_NEAREST : GL_LINEAR);
        glfwSwapBuffers(m_window);
        glNamedFramebufferTexture(m_framebuffer, GL_COLOR_ATTACHMENT0, 0, 0);
    }

    bool SetSize(unsigned width, unsigned height, bool fullScreen) override {
        GLFWmonitor* const monitor = fullScreen ? glfwGetPrimaryMonitor() : nullptr;
        if (fullScreen && !monitor) return false;
        if (monitor || glfwGetWindowMonitor(m_window))
            glfwSetWindowMonitor(m_window, monitor, 0, 0, static_cast<int>(width), static_cast<int>(height),
                                 GLFW_DONT_CARE);
        else
            glfwSetWindowSize(m_window, static_cast<int>(width), static_cast<int>(height));
        return true;
    }

    WindowState TakeState() override {
        WindowState state;
        int width = 0, height = 0;
        glfwGetFramebufferSize(m_window, &width, &height);
        state.width = static_cast<unsigned>(width);
        state.height = static_cast<unsigned>(height);
        state.closed = glfwWindowShouldClose(m_window);
        glfwGetCursorPos(m_window, &state.cursorX, &state.cursorY);
        state.wheel = m_wheel;
        m_wheel = 0;
        for (int button = 0; button < 3; ++button)
            if (glfwGetMouseButton(m_window, button) == GLFW_PRESS) state.buttons |= 1u << button;
        // Letters and digits have their own character as number.
        for (int key = '0'; key <= 'Z'; ++key)
            if ((key <= '9' || key >= 'A') && glfwGetKey(m_window, key) == GLFW_PRESS)
                state.keys.emplace_back(1, static_cast<char>(key));
        for (auto const& [key, name] : kNamedKeys)
            if (glfwGetKey(m_window, key) == GLFW_PRESS) state.keys.emplace_back(name);
        return state;
    }

private:
    GLFWwindow* m_window;
    GLuint m_framebuffer = 0;
    double m_wheel = 0;
};

class WindowContext final : public GLContext {
public:
    WindowContext(GLFWwindow* hidden, Options const& options, bool ownsGlfw)
        : m_hidden(hidden), m_options(options), m_ownsGlfw(ownsGlfw) {}

    ~WindowContext() override {
        glfwDestroyWindow(m_hidden);
        if (m_ownsGlfw) glfwTerminate();
    }

    bool MakeCurrent() override {
        if (glfwGetCurrentContext() != m_hidden) glfwMakeContextCurrent(m_hidden);
        return true;
    }

    std::unique_ptr<GLWindow> OpenWindow(std::string const& title, unsigned width, unsigned height,
                                         bool fullScreen) override {
        SetContextHints(m_options);
        glfwWindowHint(GLFW_VISIBLE, m_options.visible ? GLFW_TRUE : GLFW_FALSE);
        glfwWindowHint(GLFW_RESIZABLE, GLFW_FALSE); // the size is the target's; the host changes it through Reset
        GLFWmonitor* const monitor = fullScreen ? glfwGetPrimaryMonitor() : nullptr;
        GLFWwindow* const window =
            glfwCreateWindow(static_cast<int>(width), static_cast<int>(height), title.c_str(), monitor, m_hidden);
        std::unique_ptr<GLWindow> result;
        if (window) result = std::make_unique<Window>(window, m_options.verticalSync);
        MakeCurrent();
        return result;
    }

    bool HasWindows() const override { return true; }
    void PollEvents() override { glfwPollEvents(); }

private:
    GLFWwindow* m_hidden;
    Options m_options;
    bool m_ownsGlfw;
};
} // namespace

std::unique_ptr<GLContext> CreateWindowContext(Options const& options) {
    // GLFW is one for the process. If the host uses it too, ending it is the host's affair.
    glfwGetError(nullptr);
    glfwGetTime();
    bool const ownsGlfw = glfwGetError(nullptr) == GLFW_NOT_INITIALIZED;

    char const* reason = nullptr;
    if (!glfwInit()) {
        glfwGetError(&reason);
        GL_LOG(LOG_DEBUG, "No windows : %s", reason ? reason : "unknown");
        return nullptr;
    }
    SetContextHints(options);
    glfwWindowHint(GLFW_VISIBLE, GLFW_FALSE);
    GLFWwindow* const hidden = glfwCreateWindow(16, 16, "QK3DGL", nullptr, nullptr);
    if (!hidden) {
        glfwGetError(&reason);
        GL_LOG(LOG_WARNING, "No OpenGL 4.5 core context in a window : %s", reason ? reason : "unknown");
        if (ownsGlfw) glfwTerminate();
        return nullptr;
    }
    auto context = std::make_unique<WindowContext>(hidden, options, ownsGlfw);
    context->MakeCurrent();
    return context;
}
} // namespace qk3d::gl
