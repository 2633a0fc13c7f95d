// GLDeviceTest.cpp: what reaches the screen: pixels covered, winding, depth, blending, stencil, ranges, loss.
#include "GLTestDevice.h"

using namespace qk3d;

namespace {
class GLDevice : public GLTest {
protected:
    void DrawAll(std::uint32_t colour, float z = 0) { DrawQuad(ScreenQuad(0, 0, kSize, kSize, colour, z)); }

    using S = CRenderState;
    void Set(std::initializer_list<std::pair<S::EState, unsigned long>> states) {
        for (auto const& [state, value] : states) (System().*S::GetDeviceSetter(state))(value);
    }

    /// The upper left half of the screen.
    static std::vector<ScreenVertex> Half(bool clockwise, std::uint32_t colour) {
        float const right = clockwise ? 64 : 0, left = 64 - right;
        return {{0, 0, 0, 1, colour, 0, 0}, {right, left, 0, 1, colour, 0, 0}, {left, right, 0, 1, colour, 0, 0}};
    }
};
} // namespace

TEST_F(GLDevice, CoversExactlyThePixelsOfLinesAndOfWhatIsInSpace) {
    Draw(ST_LINELIST, std::vector<ScreenVertex>{{4, 7, 0, 1, kRed, 0, 0}, {20, 7, 0, 1, kRed, 0, 0}});
    // Whole numbers are pixel centres, and the far sides stay out. In space the same rule holds: -1 is the left side of
    // pixel 0's centre line, y points up, depth from 0 to 1.
    DrawQuad(SpaceQuad(0, 0, 0.5f, -1, kBlue, 1.0f));
    DrawQuad(SpaceQuad(0, 1, 1, 0, kRed, 1.01f)); // beyond the far plane
    Picture expected(kSize, kSize, kBlack);
    expected.Fill(4, 7, 20, 8, kRed);
    expected.Fill(32, 32, 48, 64, kBlue);
    EXPECT_TRUE(Matches(Read(), expected));
    System().SetClipping(0);
    DrawQuad(SpaceQuad(-1, 1, 1, -1, kRed, 1.5f));
    EXPECT_TRUE(IsAll(kRed)) << "without clipping nothing is beyond";
}

TEST_F(GLDevice, DrawsEveryShapeWithAndWithoutIndicesFromAnyStart) {
    // Three vertices that must not be drawn stand before the ones that are.
    std::vector<ScreenVertex> corners;
    for (int const at : {5050, 6050, 5060, 404, 412, 1204, 1212})
        corners.push_back({static_cast<float>(at / 100), static_cast<float>(at % 100), 0, 1, kRed, 0, 0});
    struct {
        EShapeType type;
        unsigned x, y; // where it is seen
    } const rows[] = {{ST_POINTLIST, 12, 12},  {ST_LINELIST, 4, 8},        {ST_LINESTRIP, 8, 8},
                      {ST_TRIANGLELIST, 5, 5}, {ST_TRIANGLESTRIP, 10, 10}, {ST_TRIANGLEFAN, 10, 7}};
    for (auto const& row : rows) {
        Shape shape(System(), row.type, corners);
        shape.vertices.SetVertexStart(3);
        shape.vertices.SetVertexNum(4);
        for (int const indexBytes : {0, 2, 4}) {
            if (indexBytes == 2) shape.SetIndices(std::vector<std::uint16_t>{2, 2, 2, 0, 1, 2, 3});
            if (indexBytes == 4) shape.SetIndices(std::vector<std::uint32_t>{2, 2, 2, 0, 1, 2, 3});
            shape.indices.SetIndexStart(3);
            shape.indices.SetIndexNum(4);
            Clear();
            shape.Draw();
            EXPECT_EQ(ReadAt(row.x, row.y), kRed) << row.type << " by " << indexBytes;
            EXPECT_EQ(ReadAt(52, 52), kBlack) << row.type << " by " << indexBytes;
        }
    }
}

TEST_F(GLDevice, RefusesDrawsThatWouldReadWhatIsNotThere) {
    Shape wild(System(), ST_TRIANGLELIST, std::vector<ScreenVertex>(3, ScreenVertex{0, 0, 0, 1, kRed, 0, 0}));
    wild.vertices.SetVertexNum(4'000'000'000u);
    wild.Draw();
    wild.vertices.SetVertexStart(4'000'000'000u);
    wild.Draw();
    wild.vertices.SetVertexStart(0);
    wild.SetIndices(std::vector<std::uint32_t>{0, 70'000, 0xFFFFFFFF});
    wild.Draw();
    wild.indices.SetIndexNum(0xFFFFFFFF);
    wild.indices.SetIndexStart(0xFFFFFFFF);
    wild.Draw();
    wild.operation.m_indexData = nullptr;
    wild.Draw();
    wild.vertices.Clear();
    wild.Draw();
    EXPECT_TRUE(IsAll(kBlack));
}

TEST_F(GLDevice, TestsWritesAndBiasesDepth) {
    System().SetZEnable(1);
    Screen().SetInitDepth(0.5f);
    for (unsigned long function = 1; function <= 8; ++function)
        for (int const side : {-1, 0, 1}) {
            Clear(kRed);
            System().SetZFunc(function);
            DrawAll(kGreen, 0.5f + 0.25f * static_cast<float>(side));
            bool const passes[] = {false, side<0, side == 0, side <= 0, side> 0, side != 0, side >= 0, true};
            EXPECT_EQ(ReadAt(9, 9), passes[function - 1] ? kGreen : kRed) << function << " at " << side;
        }

    struct {
        char const* what;
        unsigned long test, write;
        float bias, z;
        bool seen;
    } const rows[] = {
        {"a first one", 1, 0, 0, 0.2f, true},
        {"behind one that wrote no depth", 1, 1, 0, 0.4f, true},
        {"biased behind it", 1, 1, 0.1f, 0.35f, false},
        {"without the test", 0, 1, 0, 0.1f, true},
        {"which wrote nothing either", 1, 1, 0, 0.3f, true},
        {"biased before it", 1, 1, -0.1f, 0.35f, true},
    };
    Clear();
    System().SetZFunc(2);
    std::uint32_t colour = kBlack;
    for (auto const& row : rows) {
        // A bias is in units of depth.
        Set({{S::ZENABLE, row.test}, {S::ZWRITEENABLE, row.write}, {S::DEPTHBIAS, FloatBits(row.bias)}});
        DrawAll(++colour, row.z);
        EXPECT_EQ(ReadAt(9, 9) == colour, row.seen) << row.what;
    }
}

TEST_F(GLDevice, BlendsByFactorsAndOperations) {
    struct {
        unsigned long source, dest, operation;
        std::uint32_t seen;
    } const rows[] = {
        {5, 6, 1, 0x88666272},  {3, 9, 1, 0x899A5961},   {2, 4, 2, 0x00B45800},  {1, 10, 1, 0x3C27373F},
        {7, 8, 1, 0x788A6E5E},  {11, 7, 1, 0xC4666272},  {12, 1, 1, 0x88666272}, // which settles the other, too
        {13, 1, 1, 0x788A6E5E}, {14, 15, 1, 0x90426854}, {8, 2, 3, 0x7C002078},  {2, 2, 4, 0x60305040},
        {1, 1, 5, 0xA0C08090}, // the largest asks no factor
    };
    Set({{S::ALPHABLENDENABLE, 1}, {S::BLENDFACTOR, 0x40207FC0}});
    for (auto const& row : rows) {
        Clear(0xA0305090);
        Set({{S::SRCBLEND, row.source}, {S::DESTBLEND, row.dest}, {S::BLENDOP, row.operation}});
        DrawAll(0x60C08040);
        // Devices round products differently by one step.
        EXPECT_TRUE(IsAll(row.seen, 1)) << row.source << " " << row.dest;
    }
    Set({{S::SRCBLEND, 5}, {S::DESTBLEND, 6}, {S::BLENDOP, 1}, {S::COLORWRITEENABLE, 2 | 4 | 8}});
    Set({{S::SEPARATEALPHABLENDENABLE, 1}, {S::SRCBLENDALPHA, 2}, {S::DESTBLENDALPHA, 2}, {S::BLENDOPALPHA, 3}});
    Clear(0xA0305090);
    DrawAll(0x60C08040);
    EXPECT_TRUE(IsAll(0x40306272, 1)) << "alpha by its own rules, red masked";
}

TEST_F(GLDevice, CountsInTheStencilOnEitherSideOfAFace) {
    // Each operation on a value with reference 9; the result is found by drawing where the stencil equals it.
    struct {
        unsigned long operation;
        unsigned start, result;
    } const rows[] = {{1, 5, 5}, {2, 5, 0}, {3, 5, 9},   {4, 5, 6},   {4, 255, 255},
                      {5, 5, 4}, {5, 0, 0}, {6, 5, 250}, {7, 255, 0}, {8, 0, 255}};
    System().SetStencilEnable(1);
    for (bool const twoSided : {false, true})
        for (auto const& row : rows) {
            Screen().SetInitStencil(row.start);
            Clear();
            Set({{S::STENCILFUNC, 8}, {S::CCWSTENCILFUNC, 8}, {S::STENCILREF, 9}, {S::TWOSIDEDSTENCILMODE, twoSided}});
            Set({{S::STENCILPASS, twoSided ? 1 : row.operation}, {S::CCWSTENCILPASS, row.operation}});
            Draw(ST_TRIANGLELIST, Half(!twoSided, kRed)); // the side whose operation is under test
            Set({{S::STENCILFUNC, 3}, {S::STENCILREF, row.result}, {S::STENCILPASS, 1}, {S::TWOSIDEDSTENCILMODE, 0}});
            Draw(ST_TRIANGLELIST, Half(true, kGreen));
            EXPECT_EQ(ReadAt(5, 5), kGreen) << row.operation << " on " << row.start << (twoSided ? " two-sided" : "");
        }

    Screen().SetInitStencil(0xF0);
    Clear();
    // Only the bits of the first mask are compared, and only those of the other written.
    Set({{S::STENCILMASK, 0x0F}, {S::STENCILWRITEMASK, 0x03}, {S::STENCILPASS, 6}, {S::STENCILREF, 0xA0}});
    DrawAll(kRed);
    Set({{S::STENCILMASK, 0xFF}, {S::STENCILREF, 0xF3}});
    DrawAll(kBlue);
    EXPECT_EQ(ReadAt(5, 5), kBlue);
}

TEST_F(GLDevice, CutsToScissorViewportAndPlanes) {
    ASSERT_TRUE(Call("SetScissorRect", R"({"Rect": [10, 20, 15, 5]})"));
    System().SetScissorTestEnable(1);
    DrawAll(kRed);
    Picture expected(kSize, kSize, kBlack);
    expected.Fill(10, 20, 25, 25, kRed);
    EXPECT_TRUE(Matches(Read(), expected)) << "a scissor rectangle has no half pixel in it";

    CCamera camera("camera");
    camera.SetViewMatrix(Matrix44::IDENTITY);
    camera.SetProjectionMatrix(Matrix44::IDENTITY);
    EXPECT_TRUE(System().SetActiveViewport(Screen().AddViewport(&camera, 0, 32u, 8u, 16u, 40u)));
    System().SetColorWriteEnable(0); // which counts for a clear no more than the scissor
    Clear(0x80402010);
    Set({{S::COLORWRITEENABLE, 15}, {S::SCISSORTESTENABLE, 0}});
    DrawQuad(SpaceQuad(-1, 1, 0, -1, kGreen));   // the left half of the viewport
    DrawQuad(ScreenQuad(0, 44, 64, 64, kWhite)); // pixels are those of the target, cut to the viewport
    Draw(ST_POINTLIST, std::vector<ScreenVertex>{{48, 20, 0, 1, kWhite, 0, 0}}); // the first pixel outside
    expected.Fill(32, 8, 48, 48, 0x80402010);
    expected.Fill(32, 8, 40, 48, kGreen);
    expected.Fill(32, 44, 48, 48, kWhite);
    EXPECT_TRUE(Matches(Read(), expected));

    Activate(Screen());
    Screen().RemoveAllViewport();
    ASSERT_TRUE(Call("SetClipPlane", R"({"Index": 2, "Plane": [-1, 0, 0, 0.5]})")); // x up to 0.5, in the world
    System().SetViewMatrix(MatBuildTranslation(-0.25f, 0, 0));
    System().SetClipPlaneEnable(1 << 2);
    Clear();
    DrawQuad(SpaceQuad(-0.75f, 1, 1.25f, -1, kRed));
    DrawQuad(ScreenQuad(0, 0, 64, 8, kBlue)); // pixels have no place in the world
    expected.Fill(0, 0, 64, 64, kBlack);
    expected.Fill(0, 0, 40, 64, kRed);
    expected.Fill(0, 0, 64, 8, kBlue);
    EXPECT_TRUE(Matches(Read(), expected));
}

TEST_F(GLDevice, FillsShadesAndEncodesAsTold) {
    auto corners = Half(true, kRed);
    corners[1].colour = kGreen;
    System().SetFillMode(2);
    Draw(ST_TRIANGLELIST, corners);
    EXPECT_TRUE(ReadAt(0, 0) == kRed && ReadAt(10, 10) == kBlack) << "only the border as lines";
    Set({{S::FILLMODE, 3}, {S::SHADEMODE, 1}});
    Draw(ST_TRIANGLELIST, corners);
    EXPECT_EQ(ReadAt(40, 10), kRed) << "flat by the first vertex";
    System().SetSRGBWriteEnable(1);
    DrawAll(0x80808080);
    // 128/255 linear is 188 in sRGB; alpha stays.
    EXPECT_TRUE(IsAll(0x80BCBCBC, 1));
}

TEST_F(GLDevice, AnswersCommandsAndOptionsItCannotUseWithFalse) {
    char const* const commands[][2] = {
        {"NoSuchCommand", "{}"},
        {"SetLight", R"({"Index": 0, "Type": "MOON"})"},
        {"SetClipPlane", R"({"Index": -1, "Plane": [1, 0, 0, 0]})"},
        {"GetWindowState", R"({"Name": "screen"})"}, // it has no screen
    };
    for (auto const& [command, json] : commands) EXPECT_FALSE(Call(command, json)) << command << " " << json;

    DropSystem();
    for (char const* const options : {"[]", "{", R"({"Windows": "SOMETIMES"})", "\xff\xfe"}) {
        EXPECT_FALSE(Start(options)) << options;
        EXPECT_EQ(TakeErrors().size(), 1u) << options;
    }
    RestartWith(kHeadless);
}

TEST_F(GLDevice, IsLostAndComesBackAsOftenAsItTakes) {
    auto const image = MakeTexture(Picture(8, 8, 0x8000FF00)), copy = MakeTexture(8, 8, PF_A8R8G8B8);
    ASSERT_TRUE(copy->GetPixelBuffer()->BlitEx(image->GetPixelBuffer(), nullptr, 0, nullptr));
    Shape shape(System(), ST_TRIANGLESTRIP, ScreenQuad(0, 0, 64, 64, 0x80FFFFFF));
    // Set once and never again: what comes back has to be what the device has on record.
    Set({{S::ALPHABLENDENABLE, 1}, {S::SRCBLEND, 5}, {S::DESTBLEND, 6}});
    System().SetTexture(0, true, copy.get());
    auto const draw = [&] {
        Clear(kBlue);
        shape.Draw();
        return Read();
    };
    Picture const before = draw();
    EXPECT_EQ(before.At(9, 9) & 0xFFFFFF, 0x00807Fu) << "green over blue";
    ASSERT_TRUE(Call("LoseDevice"));
    draw(); // nowhere to draw to, and nothing happens
    EXPECT_FALSE(MakeTexture(4, 4, PF_A8R8G8B8));
    auto buffer = shape.vertices.GetVertexBufferBinding()->GetSource(0);
    buffer->Lock(0, 0, CHardwareBuffer::LM_NORMAL);
    buffer->Unlock(); // the same bytes
    EXPECT_TRUE(System().UpdateAllRenderTarget(1)) << "the frame restores the device by itself";
    for (int i = 0; i < 3; ++i) {
        Activate(Screen());
        EXPECT_TRUE(Matches(draw(), before)) << i;
        ASSERT_TRUE(LoseAndRestore());
    }
}

TEST_F(GLDevice, DrawsTheSameAfterEverythingWasTakenDown) {
    auto const draw = [this] {
        auto const texture = MakeTexture(Picture(4, 4, 0xFF8040C0));
        System().SetTexture(0, true, texture.get());
        DrawQuad(SpaceQuad(-0.7f, 0.6f, 0.8f, -0.5f, 0xFFFFFF80));
        System().SetTexture(0, false, nullptr);
        return Read();
    };
    Picture const first = draw();
    EXPECT_NE(first.At(32, 32), kBlack);
    for (int i = 0; i < 2; ++i) {
        CQK3DMain::GetQK3DMain().Clear();      // which unloads the plug-in
        TearDownTestSuite();                   // which does so again
        std::ifstream maps("/proc/self/maps"); // where the system tells what is mapped
        for (std::string line; std::getline(maps, line);)
            EXPECT_EQ(line.find("/QK3DGL."), line.npos) << "the library stays in the process";
        RestartWith(kHeadless);
        EXPECT_TRUE(Matches(draw(), first));
    }
}

TEST_F(GLDevice, SmoothsEdgesWithSeveralSamplesAndNothingElse) {
    RestartWith(R"({"Windows": "NONE", "Debug": true, "Multisample": 4})");
    Draw(ST_TRIANGLELIST,
         std::vector<SpaceVertex>{{-1, 1, 0, kWhite, 0, 0}, {0.9f, 1, 0, kWhite, 0, 0}, {-1, -0.2f, 0, kWhite, 0, 0}});
    auto const pixels = Read().pixels;
    auto const between = std::count_if(pixels.begin(), pixels.end(),
                                       [](std::uint32_t argb) { return argb != kWhite && argb != kBlack; });
    EXPECT_TRUE(between > 20 && between < 200) << between;
    DrawQuad(SpaceQuad(-2, 2, 2, -2, kRed));
    EXPECT_TRUE(IsAll(kRed)) << "no line along an edge";
}
