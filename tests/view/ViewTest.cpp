// ViewTest.cpp: the viewer as a user runs it: pictures, traces, exit codes and names of files.
#include "ImageDecoder.h"
#include "TempFolder.h"
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <json/reader.h>
#include <set>
#include <sstream>

namespace {
namespace fs = std::filesystem;

std::string ReadAll(fs::path const& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void WriteAll(fs::path const& path, std::string const& bytes) { std::ofstream(path, std::ios::binary) << bytes; }

// The test programs lie beside the tools.
fs::path Tool(char const* name) { return fs::canonical("/proc/self/exe").parent_path() / name; }

struct Result {
    int code;
    std::string output; // both streams
};

// A scratch folder with a copy of the demo, gone with the test.
class View : public testing::Test {
protected:
    // Through the shell, in the scratch folder, without a display unless `prefix` brings one.
    Result Shell(std::string const& command) {
        fs::path const code = m_folder / ".code", output = m_folder / ".output";
        std::string const line = "cd '" + m_folder.string() + "' && { " + command + "; } >'" + output.string() +
                                 "' 2>&1; echo $? >'" + code.string() + "'";
        EXPECT_EQ(std::system(line.c_str()), 0);
        return {std::atoi(ReadAll(code).c_str()), ReadAll(output)};
    }
    Result Run(std::string const& arguments) {
        return Shell("env -u DISPLAY -u WAYLAND_DISPLAY '" + Tool("qk3d-view").string() + "' " + arguments);
    }

    // False if the models are not installed.
    bool CopyDemo() {
        fs::copy(fs::path(QK3D_SOURCE_DIR) / "demo", m_folder / "demo", fs::copy_options::recursive);
        EXPECT_EQ(Shell("'" + Tool("qk3d-maketex").string() + "' out/textures").code, 0);
        return fs::exists("/usr/share/assimp/models/MS3D/jeep1.ms3d");
    }

    void WriteBox(fs::path const& path) {
        WriteAll(path, "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\nf 1 3 2\nf 1 2 4\nf 2 3 4\nf 1 4 3\n");
    }

    // At the end of a window Mesa's software driver leaves a few blocks behind that no suppression can name. The commands
    // without windows look for leaks, under the sanitizers.
    std::string const m_windowLeaks = "export ASAN_OPTIONS=detect_leaks=0; ";

    TempFolder const m_temp;
    fs::path const m_folder = m_temp.Path();
};

// Row after row; empty if it is no picture of the given size.
std::vector<std::uint32_t> ReadPixels(std::string const& png, unsigned int width, unsigned int height) {
    qk3d::image::DecodedImage picture;
    if (!qk3d::image::DecodeImage(png.data(), png.size(), picture) || picture.width != width ||
        picture.height != height || !qk3d::image::ConvertToArgb(picture))
        return {};
    auto const* pixels = reinterpret_cast<std::uint32_t const*>(picture.bytes.data());
    return {pixels, pixels + width * height};
}

std::size_t CountColours(std::string const& png, unsigned int width, unsigned int height) {
    auto const pixels = ReadPixels(png, width, height);
    return std::set<std::uint32_t>(pixels.begin(), pixels.end()).size();
}
} // namespace

TEST_F(View, TheSameCommandDrawsTheSamePicture) {
    if (!CopyDemo()) GTEST_SKIP() << "the demo's models are not installed";
    for (char const* name : {"one.png", "two.png"}) {
        Result const result = Run("--scene demo/demo.json --size 320x180 --frames 3 --out " + std::string(name));
        ASSERT_EQ(result.code, 0) << result.output;
    }
    std::string const picture = ReadAll(m_folder / "one.png");
    EXPECT_GT(CountColours(picture, 320, 180), 2000u) << "a picture of something";
    EXPECT_EQ(picture, ReadAll(m_folder / "two.png"));

    ASSERT_EQ(Run("--scene demo/demo.json --size 320x180 --frames 3 --time-step 0.5 --out three.png").code, 0);
    EXPECT_NE(picture, ReadAll(m_folder / "three.png")) << "later, things have moved";
}

TEST_F(View, APackageShowsWhatTheFoldersShow) {
    if (!CopyDemo()) GTEST_SKIP() << "the demo's models are not installed";
    ASSERT_EQ(Run("--scene demo/demo.json --size 320x180 --frames 3 --out folders.png").code, 0);
    Result result = Shell("demo/pack '" + Tool("qk3d-pack").string() + "' demo.qkpack");
    ASSERT_EQ(result.code, 0) << result.output;
    fs::remove_all(m_folder / "demo");
    fs::remove_all(m_folder / "out");
    for (char const* scene : {"demo/demo.json", "/DEMO/demo.json"}) {
        result =
            Run("--package demo.qkpack --scene " + std::string(scene) + " --size 320x180 --frames 3 --out package.png");
        ASSERT_EQ(result.code, 0) << scene << ": " << result.output;
        EXPECT_EQ(ReadAll(m_folder / "package.png"), ReadAll(m_folder / "folders.png")) << scene;
    }

    // Models lie on the disk, too, where they are not to be found.
    std::string const model = " --size 64x48 --model /usr/share/assimp/models/MS3D/";
    EXPECT_EQ(Run("--package demo.qkpack" + model + "jeep1.ms3d").code, 0);
    EXPECT_EQ(Run(model + "twospheres.ms3d").code, 0);
    result = Run("--package demo.qkpack" + model + "twospheres.ms3d");
    EXPECT_EQ(result.code, 1);
    EXPECT_NE(result.output.find("no such file in demo.qkpack"), std::string::npos) << result.output;
}

TEST_F(View, SaysWhatIsWrongAndWithWhichFile) {
    WriteBox(m_folder / "box.obj");
    WriteAll(m_folder / "broken.gltf", "{\"asset\": ");
    WriteAll(m_folder / "broken.json", "{ not json");
    WriteAll(m_folder / "texture.json",
             R"({"Technique": [{"Pass": [{"Texture": [{"Type": "CTexture", "Path": "broken.png"}]}]}]})");
    WriteAll(m_folder / "broken.png", "no picture");
    std::string const bare = std::string("PK\5\6") + std::string(18, '\0'); // an archive of nothing
    WriteAll(m_folder / "broken.qkpack", "no package");
    WriteAll(m_folder / "cut.qkpack", bare.substr(0, 20));
    WriteAll(m_folder / "void.qkpack", "");
    WriteAll(m_folder / "bare.qkpack", bare);
    WriteAll(
        m_folder / "scene.json",
        R"({"Folders": ["."], "Materials": ["texture.json"], "Objects": [{"Shape": "BALL", "Material": "texture"}]})");
    WriteAll(m_folder / "panel.json", R"({"Range": [0, 0, 9, 9]})");
    WriteAll(m_folder / "panel-none.json", R"({"Panels": [{"Script": "none.json"}]})");
    WriteAll(m_folder / "panel-broken.json", R"({"Panels": [{"Script": "broken.json"}]})");
    WriteAll(m_folder / "panel-line.json", R"({"Panels": [{"Script": "panel.json", "Lines": [{"Item": "title"}]}]})");
    WriteAll(m_folder / "emitter-type.json", R"({"Emitters": [{"Type": "Volcano", "Shape": "CROSS"}]})");
    WriteAll(m_folder / "emitter-material.json",
             R"({"Emitters": [{"Type": "ParticleEmitter", "Shape": "CROSS", "Material": "lava"}]})");
    struct {
        char const* what;
        char const* arguments;
        int code;
        char const* says;
    } const rows[] = {
        {"help", "--help", 0, "usage: qk3d-view"},
        {"nothing to show", "", 2, "nothing to show"},
        {"an unknown argument", "--model box.obj --modle x", 2, "--modle"},
        {"a value that is missing", "--model", 2, "--model lacks its value"},
        {"a size that is none", "--model box.obj --size 10by10", 2, "10by10"},
        {"no frames", "--model box.obj --frames 0", 2, "--frames"},
        {"a trace draws nothing", "--model box.obj --trace t --out p.png", 2, "--trace"},
        {"a missing model", "--model none.obj", 1, "none.obj"},
        {"a broken model", "--model broken.gltf", 1, "broken.gltf"},
        {"a missing material", "--material none.json", 1, "none.json"},
        {"a broken material", "--material broken.json", 1, "broken.json"},
        {"a missing scene", "--scene none.json", 1, "none.json"},
        {"a broken scene", "--scene broken.json", 1, "broken.json"},
        {"a broken texture", "--scene scene.json", 1, "broken.png"},
        {"a package without a name", "--package '' --model box.obj", 2, "--package"},
        {"a missing package", "--package none.qkpack --model box.obj", 1, "none.qkpack"},
        {"a folder as a package", "--package . --model box.obj", 1, "no such file: ."},
        {"a broken package", "--package broken.qkpack --model box.obj", 1, "broken.qkpack"},
        {"a package that is cut off", "--package cut.qkpack --model box.obj", 1, "cut.qkpack"},
        {"an empty file as a package", "--package void.qkpack --model box.obj", 1, "void.qkpack"},
        {"a model that is beside the package", "--package bare.qkpack --model box.obj", 1, "bare.qkpack: box.obj"},
        {"a scene that is beside it", "--package bare.qkpack --scene scene.json", 1, "bare.qkpack: scene.json"},
        {"a missing panel", "--scene panel-none.json", 1, "none.json"},
        {"a broken panel", "--scene panel-broken.json", 1, "broken.json"},
        {"a line for an item that is not there", "--scene panel-line.json", 1, "title"},
        {"an unknown emitter", "--scene emitter-type.json", 1, "Volcano"},
        {"an emitter of an unknown material", "--scene emitter-material.json", 1, "lava"},
        {"a missing font", "--model box.obj --hud --frames 2 --font none.ttf", 1, "none.ttf"},
        {"an unknown back-end", "--model box.obj --backend None", 1, "None"},
        {"a picture that cannot be written", "--model box.obj --out no/such/folder/p.png", 1, "no/such/folder/p.png"},
        {"a trace that cannot be written", "--model box.obj --trace no/such/folder/t", 1, "QK3DTrace"},
    };
    for (auto const& row : rows) {
        Result const result = Run(row.arguments);
        EXPECT_EQ(result.code, row.code) << row.what << ": " << result.output;
        EXPECT_NE(result.output.find(row.says), std::string::npos) << row.what << ": " << result.output;
        if (row.code == 2) { EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), 1) << row.what; }
    }
}

TEST_F(View, FileNamesBeyondAsciiWork) {
    fs::path const folder = m_folder / fs::path(u8"\u573a\u666f");
    fs::create_directories(folder);
    WriteBox(folder / fs::path(u8"\u6a21\u578b \u00fc.obj"));
    WriteAll(folder / fs::path(u8"\u6750\u8d28.json"),
             R"({"Technique": [{"Pass": [{"RenderState": {"LIGHTING": false}}]}]})");
    Result const result =
        Run("--model '\u573a\u666f/\u6a21\u578b \u00fc.obj' --material '\u573a\u666f/\u6750\u8d28.json' --size 64x48 "
            "--out '\u573a\u666f/\u56fe.png'");
    ASSERT_EQ(result.code, 0) << result.output;
    EXPECT_GT(CountColours(ReadAll(folder / fs::path(u8"\u56fe.png")), 64, 48), 1u);
}

TEST_F(View, ATraceOfTheDemoDiffersFromFrameToFrameInWhatMovesOnly) {
    if (!CopyDemo()) GTEST_SKIP() << "the demo's models are not installed";
    // All of the demo but its emitters, whose particles come and go.
    Json::Value demo;
    std::istringstream script(ReadAll(m_folder / "demo/demo.json"));
    std::string wrong;
    ASSERT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), script, &demo, &wrong)) << wrong;
    demo.removeMember("Emitters");
    WriteAll(m_folder / "demo/still.json", demo.toStyledString());
    Result const result = Run("--scene demo/still.json --size 320x180 --frames 4 --trace trace.jsonl");
    ASSERT_EQ(result.code, 0) << result.output;

    std::vector<Json::Value> frames[5]; // the last one also has what the end lets go of
    std::istringstream lines(ReadAll(m_folder / "trace.jsonl"));
    for (std::string line; std::getline(lines, line);) {
        Json::Value value;
        std::string errors;
        std::istringstream text(line);
        ASSERT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), text, &value, &errors)) << line << errors;
        int const frame = value["frame"].asInt();
        ASSERT_GE(frame, 0);
        ASSERT_LE(frame, 4);
        value.removeMember("frame");
        frames[frame].push_back(value);
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
    std::set<std::string> const moving = {"SetViewMatrix", "SetWorldMatrix", "SetVertexShaderParam",
                                          "SetPixelShaderParam"};
    EXPECT_EQ(different, moving);
}

TEST_F(View, TheFramePanelCoversItsPlaceAndNothingElse) {
    WriteBox(m_folder / "box.obj");
    ASSERT_EQ(Run("--model box.obj --size 400x300 --frames 3 --out plain.png").code, 0);
    Result const result = Run("--model box.obj --size 400x300 --frames 3 --hud --out hud.png");
    ASSERT_EQ(result.code, 0) << result.output;
    auto const plain = ReadPixels(ReadAll(m_folder / "plain.png"), 400, 300);
    auto const hud = ReadPixels(ReadAll(m_folder / "hud.png"), 400, 300);
    ASSERT_TRUE(!plain.empty() && !hud.empty());
    int left = 400, top = 300, right = 0, bottom = 0;
    std::size_t bright = 0;
    for (int y = 0; y < 300; ++y)
        for (int x = 0; x < 400; ++x) {
            auto const at = static_cast<std::size_t>(y * 400 + x);
            if (plain[at] == hud[at]) continue;
            left = std::min(left, x), right = std::max(right, x + 1);
            top = std::min(top, y), bottom = std::max(bottom, y + 1);
            bright += (hud[at] & 0xFF) > 200; // of the letters
        }
    EXPECT_EQ(std::vector<int>({left, top, right, bottom}), std::vector<int>({16, 16, 16 + 248, 16 + 184}));
    EXPECT_GT(bright, 500u) << "six lines of text";
}

TEST_F(View, TheDemoShowsItsPanelAndItsFountain) {
    if (!CopyDemo()) GTEST_SKIP() << "the demo's models are not installed";
    Result const result = Run("--scene demo/demo.json --size 320x180 --frames 2 --trace trace.jsonl");
    ASSERT_EQ(result.code, 0) << result.output;
    std::string const trace = ReadAll(m_folder / "trace.jsonl");
    auto const count = [&](std::string const& text) {
        std::size_t number = 0;
        for (auto at = trace.find(text); at != std::string::npos; at = trace.find(text, at + 1)) ++number;
        return number;
    };
    EXPECT_GT(count("\"op\":\"SetTextureFactor\""), 1000u) << "each drop has its colour";
    for (char const* texture : {"drop.png", "panel.png", "badge.png"}) EXPECT_GT(count(texture), 0u) << texture;
}

TEST_F(View, AWindowShowsWhatThePictureShows) {
    if (Shell("command -v Xvfb").code != 0) GTEST_SKIP() << "there is no Xvfb";
    WriteBox(m_folder / "box.obj");
    ASSERT_EQ(Run("--model box.obj --size 320x240 --frames 3 --out picture.png").code, 0);
    std::string const viewer = "'" + Tool("qk3d-view").string() + "'";
    Result const result =
        Shell(m_windowLeaks +
              "Xvfb -displayfd 3 -screen 0 800x600x24 -nolisten tcp 3>display 2>/dev/null & server=$!; "
              "for i in $(seq 100); do [ -s display ] && break; sleep 0.1; done; "
              "DISPLAY=:$(cat display) timeout 60 " +
              viewer +
              " --window --model box.obj --size 320x240 --frames 3 --out window.png; "
              "code=$?; kill $server; wait $server 2>/dev/null; (exit $code)");
    ASSERT_EQ(result.code, 0) << result.output;
    EXPECT_GT(CountColours(ReadAll(m_folder / "window.png"), 320, 240), 3u);
    EXPECT_EQ(ReadAll(m_folder / "window.png"), ReadAll(m_folder / "picture.png"));
}

TEST_F(View, AWindowFollowsMouseAndKeys) {
    if (Shell("command -v Xvfb && command -v xdotool").code != 0) GTEST_SKIP() << "there is no Xvfb or no xdotool";
    Result const result = Shell(m_windowLeaks + "bash '" QK3D_SOURCE_DIR "/tests/view/window-session.sh' '" +
                                Tool("qk3d-view").string() + "'");
    EXPECT_EQ(result.code, 0) << result.output;
}
