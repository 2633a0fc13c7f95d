// GLWindowTest.cpp: what is seen of a window on a screen is what was drawn. Needs a display; the build gives it one.
#include "GLTestDevice.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <chrono>
#include <cstdlib>
#include <thread>

using namespace qk3d;

namespace {
constexpr std::uint32_t kRed = 0xFFFF0000, kGreen = 0xFF00FF00, kBlue = 0xFF0000FF;
constexpr char kOptions[] = R"({"Windows": "ALWAYS", "Debug": true})";

/// The window of that title under `parent`, as X knows it.
Window FindByTitle(Display* display, Window parent, std::string const& title) {
    char* name = nullptr;
    bool const found = XFetchName(display, parent, &name) && name && title == name;
    if (name) XFree(name);
    if (found) return parent;
    Window root, above, *children = nullptr, result = 0;
    unsigned count = 0;
    if (!XQueryTree(display, parent, &root, &above, &children, &count)) return 0;
    for (unsigned i = 0; i < count && !result; ++i) result = FindByTitle(display, children[i], title);
    if (children) XFree(children);
    return result;
}

/// What the screen shows of it.
Picture ReadScreen(std::string const& title) {
    Display* const display = XOpenDisplay(nullptr);
    if (!display) return {};
    // A window that goes or is not mapped yet is an error for X, which ends the program unless told otherwise.
    auto const oldHandler = XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
    Picture picture;
    if (Window const window = FindByTitle(display, DefaultRootWindow(display), title)) {
        XWindowAttributes attributes;
        XGetWindowAttributes(display, window, &attributes);
        auto const width = static_cast<unsigned>(attributes.width), height = static_cast<unsigned>(attributes.height);
        if (XImage* const image = XGetImage(display, window, 0, 0, width, height, AllPlanes, ZPixmap)) {
            picture = Picture(width, height);
            for (unsigned y = 0; y < height; ++y)
                for (unsigned x = 0; x < width; ++x)
                    picture.At(x, y) = 0xFF000000 | static_cast<std::uint32_t>(
                                                        XGetPixel(image, static_cast<int>(x), static_cast<int>(y)));
            XDestroyImage(image);
        }
    }
    XCloseDisplay(display);
    XSetErrorHandler(oldHandler);
    return picture;
}

class GLWindow : public GLTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(std::getenv("DISPLAY")) << "there is no display; xvfb-run makes one";
        ASSERT_TRUE(Start(kOptions));
        MakeSystem();
    }

    Picture DrawCorners(CRenderTarget& target, std::uint32_t background) {
        Activate(target);
        Clear(background);
        DrawQuad(ScreenQuad(0, 0, 10, 6, kRed));
        DrawQuad(ScreenQuad(30, 20, 64, 64, kGreen));
        return ReadTarget(target);
    }

    /// Frames until the screen shows the picture: the window manager and the server take their time.
    testing::AssertionResult Shows(std::string const& title, Picture const& picture) {
        Picture seen;
        auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (std::chrono::steady_clock::now() < deadline) {
            System().PresentFrame();
            seen = ReadScreen(title);
            if (seen == picture) return testing::AssertionSuccess();
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return Matches(seen, picture);
    }
};
} // namespace

TEST_F(GLWindow, ShowsWhatWasDrawnAndNothingElse) {
    Picture const first = DrawCorners(Screen(), 0xFF203040);
    EXPECT_EQ(first.At(2, 2), kRed);
    EXPECT_TRUE(Shows("screen", first));
    CRenderWindow* const other = System().CreateRenderWindow("other", 100, 80, PF_X8R8G8B8, false); // lies over it
    ASSERT_TRUE(other);
    EXPECT_TRUE(Shows("other", DrawCorners(*other, kBlue)));

    Json::Value out;
    ASSERT_TRUE(Call("GetWindowState", R"({"Name": "other"})", &out));
    EXPECT_FALSE(out["Closed"].asBool());
    EXPECT_EQ(out["Width"].asUInt(), 100u);

    ASSERT_TRUE(other->Reset(70, 90, PF_X8R8G8B8));
    EXPECT_TRUE(Shows("other", DrawCorners(*other, kGreen)));
    System().DestroyRenderWindow("other");
    Activate(Screen());
    EXPECT_TRUE(Shows("screen", first)) << "a window that goes takes nothing along";
    EXPECT_EQ(ReadScreen("other").width, 0u);

    ASSERT_TRUE(LoseAndRestore());
    EXPECT_TRUE(Shows("screen", DrawCorners(Screen(), kBlue)));
}

TEST_F(GLWindow, DrawsAsWithoutADisplay) {
    Picture const shown = DrawCorners(Screen(), 0xFF203040);
    RestartWith(kHeadless);
    EXPECT_TRUE(Matches(DrawCorners(Screen(), 0xFF203040), shown));
    for (int i = 0; i < 2; ++i) { // GLFW ends and begins anew with the plug-in
        DropSystem();
        Stop();
        RestartWith(kOptions);
        EXPECT_TRUE(Shows("screen", DrawCorners(Screen(), kGreen)));
    }
}
