// GLProgramTest.cpp: programs of the host: parameters, engine uniforms, mixtures with the fixed function, error lines.
#include "GLTestDevice.h"
#include "TestFiles.h"

using namespace qk3d;

namespace {
char const kVertexCode[] = R"(#version 450 core
in vec4 qk3dPosition;
in vec4 qk3dDiffuse;
in vec4 qk3dTexCoord0;
uniform mat4 qk3dWorldViewProjection;
uniform vec2 shift = vec2(0.0, 0.0);
layout(location = 0) out vec4 colour;
layout(location = 3) out vec4 texCoord;
void main() {
    gl_Position = qk3dWorldViewProjection * qk3dPosition + vec4(shift, 0, 0);
    colour = qk3dDiffuse, texCoord = qk3dTexCoord0;
}
)";

char const kPixelCode[] = R"(#version 450 core
layout(location = 0) in vec4 colour;
layout(location = 0) out vec4 result;
uniform float weights[3] = float[](1.0, 1.0, 1.0);
uniform mat4 mix4 = mat4(1.0);
uniform int steps = 1;
uniform bool off;
void main() {
    result = mix4 * (colour * vec4(weights[0], weights[1], weights[2], 1.0) * float(steps));
    if (off) result = vec4(0, 0, 0, 1);
}
)";

class GLProgram : public GLTest {
protected:
    using Program = _ResourceSharePtr<CGPUProgram>;

    Program Make(CGPUProgram::EType type, std::string const& code, std::string const& main = "",
                 std::string const& codeType = "GLSL") {
        static int number = 0;
        Program program = CQK3DMain::GetResourceSystem().CreateResource(
            "CGPUProgram", "", "program " + std::to_string(++number), false, NoLoader());
        program->SetType(type);
        program->SetCode(code);
        program->SetCodeType(codeType);
        program->SetMainFunName(main);
        program->SetRenderSystem(m_system);
        program->Load();
        return program;
    }

    void Use(Program const& vertexProgram, Program const& pixelProgram) {
        EXPECT_TRUE(System().SetVertexShader(vertexProgram) && System().SetPixelShader(pixelProgram));
    }

    Picture DrawFull(std::uint32_t colour) {
        Clear();
        DrawQuad(SpaceQuad(-1, 1, 1, -1, colour));
        return Read();
    }

    void SetUp() override {
        GLTest::SetUp();
        vertex = Make(CGPUProgram::GPT_VERTEX, kVertexCode);
        pixel = Make(CGPUProgram::GPT_PIXEL, kPixelCode);
    }
    void TearDown() override {
        vertex = pixel = {};
        System().SetPass(nullptr);
        GLTest::TearDown();
    }

    Program vertex, pixel;
};
} // namespace

TEST_F(GLProgram, TakesParametersByNameAndKeepsThemOverALoss) {
    EXPECT_EQ(vertex->GetParamNum(), 1u) << "engine uniforms are no parameters";
    Use(vertex, pixel);
    CGPUProgramParamTable shifted(vertex), table(pixel), partial(pixel);
    float const weights[] = {0, 0.2f, 0.4f}, shift[] = {1, 0};
    // Rows of the engine are columns of GLSL: row r says what channel r becomes.
    Matrix44 swap;
    swap(0, 1) = swap(1, 2) = swap(2, 0) = swap(3, 3) = 1; // red to green, green to blue, blue to red
    int const steps = 2, off = 1;
    shifted.SetParamValue("shift", shift, sizeof shift);
    table.SetParamValue("weights", weights, sizeof weights);
    table.SetParamValue("mix4", &swap, sizeof swap);
    table.SetParamValue("steps", &steps, sizeof steps);
    System().SetVertexShaderParamTable(&shifted);
    System().SetPixelShaderParamTable(&table);
    // (1, 1, 1) by the weights (0, 0.2, 0.4), doubled, then moved round: green 0, blue 0.4, red 0.8; from the middle on.
    Picture expected(kSize, kSize, kBlack);
    expected.Fill(32, 0, 64, 64, 0xFFCC0066);
    EXPECT_TRUE(Matches(DrawFull(kWhite), expected));
    ASSERT_TRUE(LoseAndRestore());
    EXPECT_TRUE(Matches(DrawFull(kWhite), expected));

    partial.FirstSetDefault(true);
    partial.SetParamValue("weights", weights, sizeof(float)); // only the first of three
    System().SetPixelShaderParamTable(&partial);
    expected.Fill(32, 0, 64, 64, 0xFF00FFFF);
    EXPECT_TRUE(Matches(DrawFull(kWhite), expected)) << "by handles from before, the others back at their defaults";
    partial.SetParamValue("off", &off, sizeof off);
    partial.SetParamValue("steps", &steps, 2); // fewer bytes than one element
    System().SetPixelShaderParamTable(&partial);
    EXPECT_TRUE(DrawFull(kWhite) == Picture(kSize, kSize, kBlack));
}

TEST_F(GLProgram, GoesWithTheFixedFunctionOnEitherSide) {
    auto const texture = MakeTexture(Picture(2, 2, 0xFF80FF00));
    System().SetTexture(0, true, texture.get());
    Use(vertex, {});
    EXPECT_EQ(DrawFull(kRed).At(9, 9), 0xFF800000) << "fixed stages, modulating what the program hands them";
    Use({}, pixel);
    EXPECT_EQ(DrawFull(0xFF2040FF).At(9, 9), 0xFF2040FFu) << "the fixed side hands the program a vertex colour";
}

TEST_F(GLProgram, FeedsEngineUniformsAndTexturesByName) {
    pixel = Make(CGPUProgram::GPT_PIXEL, R"(
        layout(location = 0) out vec4 result;
        uniform mat4 qk3dWorld, qk3dView, qk3dProjection, qk3dWorldView, qk3dViewProjection;
        uniform vec3 qk3dCameraPosition;
        uniform vec4 qk3dViewport, qk3dTextureFactor, qk3dAmbient;
        uniform sampler2D qk3dTexture3;
        void main() {
            bool good = qk3dWorldView == qk3dView * qk3dWorld && qk3dViewProjection == qk3dProjection * qk3dView
                && qk3dWorld[3] == vec4(0.25, 0, 0, 1) && qk3dCameraPosition == vec3(0, 0, -0.5)
                && qk3dViewport == vec4(0, 0, 64, 64) && qk3dAmbient == vec4(0, 0, 1, 0);
            result = good ? texelFetch(qk3dTexture3, ivec2(0), 0) + qk3dTextureFactor : vec4(0);
        })");
    auto const texture = MakeTexture(Picture(1, 1, kGreen));
    System().SetWorldMatrix(MatBuildTranslation(0.25f, 0, 0));
    System().SetViewMatrix(MatBuildTranslation(0, 0, 0.5f));
    System().SetAmbient(0x000000FF);
    System().SetTexture(3, true, texture.get());
    Use(vertex, pixel);
    for (std::uint32_t const factor : {0x000000FF, 0x00FF0000}) { // a change is seen
        System().SetTextureFactor(factor);
        EXPECT_EQ(DrawFull(kRed).At(32, 32), kGreen | factor);
    }
}

TEST_F(GLProgram, SaysWhereItDoesNotCompileAndOnlyOnce) {
    pixel = Make(CGPUProgram::GPT_PIXEL, "#version 450 core\nout vec4 result;\n\nvoid main() {\n    result = none;\n}");
    EXPECT_NE(pixel->GetLoadingState(), LOADSTATE_LOADED);
    EXPECT_NE(TakeErrors().at(1).find(pixel->GetName() + ":5: "), std::string::npos);
    pixel->Load(); // what a pass does at each draw
    EXPECT_TRUE(TakeErrors().empty());
    // Without a version line the count is the same, and so it is behind our own words for a vertex program.
    vertex = Make(CGPUProgram::GPT_VERTEX, "\nvoid main() { gl_Position = vec4(lost); }");
    EXPECT_NE(TakeErrors().at(1).find(vertex->GetName() + ":2: "), std::string::npos);

    EXPECT_EQ(Make(CGPUProgram::GPT_PIXEL, "float4 main() : COLOR { return 1; }", "", "HLSL")->GetGPUShader(), nullptr);
    EXPECT_EQ(TakeErrors().size(), 1u);
    Make(CGPUProgram::GPT_PIXEL, std::string("#version", 8)); // ends in the middle of it
    EXPECT_FALSE(TakeErrors().empty());
}

TEST_F(GLProgram, RunsAGeometryStageAndAMainFunctionOfAnotherName) {
    auto geometry = Make(CGPUProgram::GPT_COMM, R"(
        layout(triangles) in;
        layout(triangle_strip, max_vertices = 3) out;
        layout(location = 0) in vec4 colourIn[];
        layout(location = 0) out vec4 colour;
        void Shrink() {
            for (int i = 0; i < 3; ++i) {
                gl_Position = gl_in[i].gl_Position * vec4(0.5, 0.5, 1, 1);
                colour = colourIn[i].gbra;
                EmitVertex();
            }
            EndPrimitive();
        })",
                         "Shrink");
    Use(vertex, pixel);
    ASSERT_TRUE(System().SetCommShader(geometry));
    Picture expected(kSize, kSize, kBlack);
    expected.Fill(16, 16, 48, 48, kBlue);
    EXPECT_TRUE(Matches(DrawFull(kRed), expected));
}

TEST_F(GLProgram, DrawsIntoSeveralTargetsAtOnce) {
    pixel = Make(CGPUProgram::GPT_PIXEL, R"(
        layout(location = 0) out vec4 first;
        layout(location = 1) out vec4 second;
        void main() { first = vec4(1, 0, 0, 1); second = vec4(0, 1, 0, 1); })");
    auto one = MakeTargetTexture("one", 32, 32, PF_A8R8G8B8), two = MakeTargetTexture("two", 32, 32, PF_A8R8G8B8);
    Activate(*one->GetRenderTexture());
    ASSERT_TRUE(System().SetActiveRenderTarget(1, two->GetRenderTexture()));
    EXPECT_FALSE(System().SetActiveRenderTarget(9, two->GetRenderTexture()));
    Use({}, pixel);
    System().SetColorWriteEnable1(2 | 8);
    Clear(kBlue);
    DrawQuad(SpaceQuad(-1, 1, 0, -1, kRed));
    System().SetActiveRenderTarget(1, nullptr);
    DrawQuad(SpaceQuad(0, 1, 1, -1, kRed)); // into the first alone
    EXPECT_TRUE(Matches(ReadTexture(*one), Picture(32, 32, kRed)));
    Picture expected(32, 32, kBlue);
    expected.Fill(0, 0, 16, 32, 0xFF00FFFF); // blue is not in the second mask, so it stays
    EXPECT_TRUE(Matches(ReadTexture(*two), expected));
}

TEST_F(GLProgram, PreparesAMaterialSoThatNoFrameHasTo) {
    _ResourceSharePtr<CMaterial> material =
        CQK3DMain::GetResourceSystem().CreateResource("CMaterial", "", "prepared", false, NoLoader());
    ASSERT_TRUE(material->SetFromScript(R"({"Technique": [{"Pass": [{"RenderState":
        {"LIGHTING": false, "ALPHATESTENABLE": true, "ALPHAFUNC": "GREATER", "CULLMODE": "NONE"}}]}]})"));
    ASSERT_TRUE(Call("PrepareMaterial",
                     R"({"Name": "prepared", "Vertex": {"Position": 4, "Diffuse": true, "TexCoords": [2]}})"));
    auto const late = Statistic("LateCompilations");
    System().BeginFrame();
    System().SetPass(material->GetTechnique(0)->GetPass(0));
    DrawQuad(ScreenQuad(0, 0, 64, 64, kRed));
    EXPECT_EQ(Statistic("LateCompilations"), late);
    DrawQuad(SpaceQuad(-1, 1, 1, -1, kRed));
    EXPECT_GT(Statistic("LateCompilations"), late) << "of these vertices nothing was said";
    System().EndFrame();
    EXPECT_EQ(Read().At(9, 9), kRed);
}
