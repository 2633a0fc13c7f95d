// GLContext.h: an OpenGL context without a window, or with windows that share its objects.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <epoxy/gl.h>

namespace qk3d::gl {

enum class WindowMode { Auto, None, Windows };

/// What the host may choose when it loads the plug-in. See GLPlugin.cpp for the text form.
struct Options {
    WindowMode windows = WindowMode::Auto;
    unsigned multisample = 0; // samples of a window's surface; 0 and 1 mean none
    bool debug = false;       // a debug context, whose messages go to the log
    bool verticalSync = false;
    bool visible = true;   // false opens windows that nobody sees
    bool software = false; // prefer a software device where there is a choice
};

/// What a window has to tell, as of the last poll.
struct WindowState {
    bool closed = false; // somebody asked for it to be closed
    unsigned width = 0, height = 0;
    double cursorX = 0, cursorY = 0; // pixels from the top left corner
    double wheel = 0;                // turned since the state was last taken
    unsigned buttons = 0;            // bit 0 left, 1 right, 2 middle
    std::vector<std::string> keys;   // names of the keys held down: "A", "5", "UP", "ESCAPE", ...
};

/// A window on a screen. It shows textures of the main context; nothing is drawn into it otherwise.
class GLWindow {
public:
    virtual ~GLWindow() = default;

    /// Shows a texture of the given size, row 0 on top, scaled to the window. The main context has to be made
    /// current again afterwards.
    virtual void Present(GLuint texture, unsigned width, unsigned height) = 0;
    virtual bool SetSize(unsigned width, unsigned height, bool fullScreen) = 0;
    virtual WindowState TakeState() = 0;
};

/// The context that owns all objects of one device.
class GLContext {
public:
    virtual ~GLContext() = default;

    /// Cheap if it is current already, so it opens every entry from the outside.
    virtual bool MakeCurrent() = 0;

    /// Null where there are no windows; the caller then has an off-screen target only.
    virtual std::unique_ptr<GLWindow> OpenWindow(std::string const& title, unsigned width, unsigned height,
                                                 bool fullScreen) = 0;
    virtual bool HasWindows() const = 0;

    /// Handles what the window system has to say. Once a frame.
    virtual void PollEvents() {}
};

/// Makes a context of OpenGL 4.5 or newer, current on return; null, with a line in the log, if there is none.
std::unique_ptr<GLContext> CreateContext(Options const& options);

/// The two kinds that CreateContext chooses from. Null, with a reason in the log, if it cannot be had.
std::unique_ptr<GLContext> CreateHeadlessContext(Options const& options);
std::unique_ptr<GLContext> CreateWindowContext(Options const& options);

} // namespace qk3d::gl
