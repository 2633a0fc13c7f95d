// ViewTest.cpp: the viewer as a user runs it: pictures, traces, exit codes and names of files.
#include "ImageDecoder.h"
#include "TestFiles.h"
#include "TestShell.h"
#include <set>
#include <sstream>

namespace {
namespace fs = std::filesystem;

// The test programs lie beside the tools.
std::string Tool(std::string const& name) {
    return '\'' + (fs::canonical("/proc/self/exe").parent_path() / name).string() + '\'';
}

class View : public testing::Test {
protected:
    ShellResult Run(std::string const& arguments) {
        return Shell(m_folder, "env -u DISPLAY -u WAYLAND_DISPLAY " + Tool("qk3d-view") + ' ' + arguments);
    }
    void RunWell(std::string const& arguments) {
        ShellResult const result = Run(arguments);
        ASSERT_EQ(result.code, 0) << arguments << ": " << result.output;
    }

    // False if the models are not installed.
    bool CopyDemo() {
        fs::copy(fs::path(QK3D_SOURCE_DIR) / "demo", m_folder.Path("demo"), fs::copy_options::recursive);
        EXPECT_EQ(Shell(m_folder, Tool("qk3d-maketex") + " out/textures").code, 0);
        return fs::exists("/usr/share/assimp/models/MS3D/jeep1.ms3d");
    }

    std::string File(std::string const& name) { return TempFolder::Read(m_folder.Path(name)); }
    std::size_t CountColours(std::string const& name, unsigned int width, unsigned int height) {
        std::string const png = File(name);
        qk3d::image::DecodedImage picture;
        if (!qk3d::image::DecodeImage(png.data(), png.size(), picture) || picture.width != width ||
            picture.height != height || !qk3d::image::ConvertToArgb(picture))
            return 0;
        auto const* pixels = reinterpret_cast<std::uint32_t const*>(picture.bytes.data());
        return std::set<std::uint32_t>(pixels, pixels + width * height).size();
    }

    TempFolder const m_folder;
};

constexpr char kBox[] = "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\nf 1 3 2\nf 1 2 4\nf 2 3 4\nf 1 4 3\n";
} // namespace

TEST_F(View, TheSameDemoDrawsTheSamePictureFromFoldersAndFromAPackage) {
    ASSERT_TRUE(CopyDemo()) << "the demo's models are not installed";
    std::string const size = " --size 320x180 --frames 3 --out ";
    for (char const* name : {"one.png", "two.png", "three.png --time-step 0.5"})
        RunWell("--scene demo/demo.json" + size + name);
    EXPECT_GT(CountColours("one.png", 320, 180), 2000u) << "a picture of something";
    EXPECT_EQ(File("one.png"), File("two.png"));
    EXPECT_NE(File("one.png"), File("three.png")) << "later, things have moved";

    ASSERT_EQ(Shell(m_folder, "demo/pack " + Tool("qk3d-pack") + " demo.qkpack && rm -r demo out").code, 0);
    for (std::string const scene : {"demo/demo.json", "/DEMO/demo.json"}) {
        RunWell("--package demo.qkpack --scene " + scene + size + "package.png");
        EXPECT_EQ(File("package.png"), File("one.png")) << scene;
    }
    // A model that lies on the disk is not to be found in the package.
    ShellResult const result = Run("--package demo.qkpack --model /usr/share/assimp/models/MS3D/twospheres.ms3d");
    EXPECT_EQ(result.code, 1);
    EXPECT_NE(result.output.find("no such file in demo.qkpack"), std::string::npos) << result.output;
}

TEST_F(View, SaysWhatIsWrongAndWithWhichFile) {
    std::string const bare = "PK\5\6" + std::string(18, '\0'); // an archive of nothing
    std::pair<char const*, std::string> const files[] = {
        {"box.obj", kBox},
        {"broken.gltf", "{\"asset\": "},
        {"broken.json", "{ not json"},
        {"texture.json", R"({"Technique": [{"Pass": [{"Texture": [{"Type": "CTexture", "Path": "broken.png"}]}]}]})"},
        {"broken.png", "no picture"},
        {"cut.qkpack", bare.substr(0, 20)},
        {"bare.qkpack", bare},
        {"scene.json", R"({"Folders": ["."], "Materials": ["texture.json"],
                           "Objects": [{"Shape": "BALL", "Material": "texture"}]})"},
        {"panel.json", R"({"Range": [0, 0, 9, 9]})"},
        {"panel-line.json", R"({"Panels": [{"Script": "panel.json", "Lines": [{"Item": "title"}]}]})"},
        {"emitter.json", R"({"Emitters": [{"Type": "Volcano", "Shape": "CROSS"}]})"},
    };
    for (auto const& [name, bytes] : files) m_folder.Write(name, bytes);
    struct {
        char const* arguments;
        int code;
        char const* says;
    } const rows[] = {
        {"--help", 0, "usage: qk3d-view"},
        {"", 2, "nothing to show"},
        {"--model box.obj --modle x", 2, "--modle"},
        {"--model box.obj --size 10by10", 2, "10by10"},
        {"--model box.obj --trace t --out p.png", 2, "--trace"}, // a trace draws nothing
        {"--model none.obj", 1, "none.obj"},
        {"--model broken.gltf", 1, "broken.gltf"},
        {"--material broken.json", 1, "broken.json"},
        {"--scene broken.json", 1, "broken.json"},
        {"--scene scene.json", 1, "broken.png"},
        {"--package cut.qkpack --model box.obj", 1, "cut.qkpack"},
        {"--package bare.qkpack --model box.obj", 1, "bare.qkpack: box.obj"}, // that lies beside it
        {"--scene panel-line.json", 1, "title"},                              // has no such item
        {"--scene emitter.json", 1, "Volcano"},
        {"--model box.obj --hud --frames 2 --font none.ttf", 1, "none.ttf"},
        {"--model box.obj --backend None", 1, "None"},
        {"--model box.obj --out no/such/p.png", 1, "no/such/p.png"},
    };
    for (auto const& row : rows) {
        ShellResult const result = Run(row.arguments);
        EXPECT_EQ(result.code, row.code) << row.arguments << ": " << result.output;
        EXPECT_NE(result.output.find(row.says), std::string::npos) << row.arguments << ": " << result.output;
        EXPECT_TRUE(row.code != 2 || std::ranges::count(result.output, '\n') == 1) << row.arguments << result.output;
    }
}

TEST_F(View, FileNamesBeyondAsciiWork) {
    m_folder.Write("\u573a\u666f/\u6a21\u578b \u00fc.obj", kBox);
    m_folder.Write("\u573a\u666f/\u6750.json", R"({"Technique": [{"Pass": [{"RenderState": {"LIGHTING": false}}]}]})");
    RunWell("--model '\u573a\u666f/\u6a21\u578b \u00fc.obj' --material '\u573a\u666f/\u6750.json' --size 64x48 "
            "--out '\u573a\u666f/\u56fe.png'");
    EXPECT_GT(CountColours("\u573a\u666f/\u56fe.png", 64, 48), 1u);
}

TEST_F(View, ATraceOfTheDemoDiffersFromFrameToFrameInWhatMovesOnly) {
    ASSERT_TRUE(CopyDemo()) << "the demo's models are not installed";
    // All of the demo but its emitters, whose particles come and go.
    Json::Value demo = qk3d::Parse(File("demo/demo.json"));
    demo.removeMember("Emitters");
    m_folder.Write("demo/still.json", demo.toStyledString());
    RunWell("--scene demo/still.json --size 320x180 --frames 4 --trace trace.jsonl");
    std::vector<Json::Value> frames[5]; // the last one also has what the end lets go of
    std::istringstream lines(File("trace.jsonl"));
    for (std::string line; std::getline(lines, line);) {
        Json::Value call = qk3d::Parse(line);
        Json::Value frame;
        call.removeMember("frame", &frame);
        ASSERT_LE(frame.asUInt(), 4u);
        frames[frame.asUInt()].push_back(call);
    }
    ASSERT_EQ(frames[2].size(), frames[3].size());
    std::size_t draws = 0;
    std::set<std::string> different;
    for (std::size_t i = 0; i < frames[2].size(); ++i) {
        ASSERT_EQ(frames[2][i]["op"], frames[3][i]["op"]) << "line " << i;
        draws += frames[2][i]["op"] == "Render";
        if (frames[2][i] != frames[3][i]) different.insert(frames[2][i]["op"].asString());
    }
    EXPECT_GT(draws, 40u) << "the scene is drawn twice, once for its screen";
    // The camera turns, the plasma ball spins, and its programs have a clock.
    EXPECT_EQ(different, (std::set<std::string>{"SetPixelShaderParam", "SetVertexShaderParam", "SetViewMatrix",
                                                "SetWorldMatrix"}));
    RunWell("--scene demo/demo.json --frames 2 --trace whole.jsonl");
    for (char const* texture : {"drop.png", "panel.png"}) // of the fountain and the panel
        EXPECT_NE(File("whole.jsonl").find(texture), std::string::npos) << texture;
}

TEST_F(View, AWindowShowsWhatThePictureShowsAndFollowsMouseAndKeys) {
    ASSERT_EQ(Shell(m_folder, "command -v Xvfb && command -v xdotool").code, 0) << "not both are installed";
    m_folder.Write("box.obj", kBox);
    RunWell("--model box.obj --size 320x240 --frames 3 --out picture.png");
    EXPECT_GT(CountColours("picture.png", 320, 240), 3u);
    // At the end of a window Mesa's software driver leaves a few blocks behind that no suppression can name. The commands
    // without windows look for leaks, under the sanitizers.
    ShellResult const result =
        Shell(m_folder, "export ASAN_OPTIONS=detect_leaks=0; bash '" QK3D_SOURCE_DIR "/tests/view/window-session.sh' " +
                            Tool("qk3d-view"));
    EXPECT_EQ(result.code, 0) << result.output;
}
