// GLWindowTest.cpp: what is seen of a window on a screen is what was drawn. Needs a display; the build gives it one.
#include "GLTestDevice.h"

#include <chrono>

using namespace qk3d;

namespace {
constexpr char kOptions[] = R"({"Windows": "ALWAYS", "Debug": true})";

class GLWindow : public GLTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(std::getenv("DISPLAY")) << "there is no display; xvfb-run makes one";
        RestartWith(kOptions);
    }

    /// Draws, and presents frames until the screen shows it: the server takes its time.
    testing::AssertionResult Shows(std::string const& title, CRenderTarget& target, std::uint32_t background) {
        Activate(target);
        Clear(background);
        DrawQuad(ScreenQuad(0, 0, 10, 6, kRed));
        DrawQuad(ScreenQuad(30, 20, 64, 64, kGreen));
        Picture const drawn = ReadTarget(target);
        Picture seen;
        auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (seen != drawn && std::chrono::steady_clock::now() < deadline) {
            System().PresentFrame();
            std::string const command = "import -silent -window " + title + " PNG32:window.png";
            if (std::system(command.c_str()) == 0) gltest::LoadPicture("window.png", seen);
        }
        return Matches(seen, drawn);
    }
};
} // namespace

TEST_F(GLWindow, ShowsWhatWasDrawnAndNothingElse) {
    EXPECT_TRUE(Shows("screen", Screen(), 0xFF203040));
    CRenderWindow* const other = System().CreateRenderWindow("other", 100, 80, PF_X8R8G8B8, false); // lies over it
    ASSERT_TRUE(other);
    EXPECT_TRUE(Shows("other", *other, kBlue));
    ASSERT_TRUE(other->Reset(70, 90, PF_X8R8G8B8));
    EXPECT_TRUE(Shows("other", *other, kGreen));
    System().DestroyRenderWindow("other");
    EXPECT_TRUE(Shows("screen", Screen(), kRed)) << "a window that goes takes nothing along";
    ASSERT_TRUE(LoseAndRestore());
    EXPECT_TRUE(Shows("screen", Screen(), kBlue));

    TearDownTestSuite();
    RestartWith(kOptions);
    EXPECT_TRUE(Shows("screen", Screen(), kGreen)) << "begun anew with the plug-in";
}
