// GLTestDevice.h: a render system of the plug-in for a test, a target to draw into, and short ways to draw.
#pragma once

#include "Picture.h"

#include "QK3D.h"

#include <gtest/gtest.h>

using qk3d::gltest::Picture;
using qk3d::gltest::Tolerance;

/// What a target shows, by CopyToTexture and a lock; empty if either is refused.
Picture ReadTarget(qk3d::CRenderTarget& target);

/// All bytes of a loaded texture, as many as there are.
std::vector<std::uint8_t> ReadBytes(qk3d::CTexture& texture);
void WriteBytes(qk3d::CTexture& texture, void const* bytes);

/// The pixels of a loaded texture of format PF_A8R8G8B8.
Picture ReadTexture(qk3d::CTexture& texture);

/// A failure leaves what was got, what was wanted and the difference (black where they agree) beside the running test,
/// under its name, and says where.
testing::AssertionResult Matches(Picture const& picture, Picture const& expected, Tolerance tolerance = {});

/// The same against reference/<name>.png. With QK3D_WRITE_REFERENCES in the environment the picture is written there
/// instead, and the test fails so that nobody takes it for a pass.
testing::AssertionResult MatchesReference(Picture const& picture, std::string const& name, Tolerance tolerance);

/// A vertex in pixels of the target, and one in space.
struct ScreenVertex {
    static constexpr auto kPositionType = qk3d::VET_FLOAT4;
    float x, y, z, w;
    std::uint32_t colour;
    float u, v;
};
struct SpaceVertex {
    static constexpr auto kPositionType = qk3d::VET_FLOAT3;
    float x, y, z;
    std::uint32_t colour;
    float u, v;
};

/// Geometry in buffers of a device. Keeps them while it lives.
class Shape {
public:
    using Fields = std::vector<std::pair<qk3d::EVertexElementType, qk3d::EVertexElementSemantic>>;

    Shape(qk3d::CRenderSystem& system, qk3d::EShapeType type, Fields const& fields, void const* vertices,
          std::size_t bytes);
    template <class Vertex>
    Shape(qk3d::CRenderSystem& system, qk3d::EShapeType type, std::vector<Vertex> const& vertices)
        : Shape(system, type,
                {{Vertex::kPositionType, qk3d::VES_POSITION},
                 {qk3d::VET_COLOR, qk3d::VES_DIFFUSE},
                 {qk3d::VET_FLOAT2, qk3d::VES_TEXCOORD}},
                vertices.data(), vertices.size() * sizeof(Vertex)) {}

    void SetIndices(std::vector<std::uint16_t> const& values) { SetIndexBytes(2, values.data(), values.size()); }
    void SetIndices(std::vector<std::uint32_t> const& values) { SetIndexBytes(4, values.data(), values.size()); }
    void Draw() { m_system.Render(operation); }

    qk3d::CRenderOperation operation;
    qk3d::CVertexData vertices;
    qk3d::CIndexData indices;

private:
    void SetIndexBytes(int size, void const* data, std::size_t count);

    qk3d::CRenderSystem& m_system;
};

/// The corners of a rectangle in pixels or in space as a strip; texture coordinates from 0 to 1.
std::vector<ScreenVertex> ScreenQuad(float left, float top, float right, float bottom, std::uint32_t colour,
                                     float z = 0);
std::vector<SpaceVertex> SpaceQuad(float left, float top, float right, float bottom, std::uint32_t colour, float z = 0);

/// Each test has a render system of its own, "gl", and a window without a screen, "screen", 64 by 64 pixels, active and
/// cleared to opaque black. States are at the baseline but for no lighting, no culling and no depth test. Errors in the
/// log fail the test unless it takes them.
class GLTest : public testing::Test {
public:
    static constexpr int kSize = 64;
    static constexpr std::uint32_t kBlack = 0xFF000000, kWhite = 0xFFFFFFFF, kRed = 0xFFFF0000, kGreen = 0xFF00FF00,
                                   kBlue = 0xFF0000FF;

    /// Loads the plug-in with such options; unloads one that is loaded with others. `Stop` unloads it and clears the
    /// engine.
    static constexpr char kHeadless[] = R"({"Windows": "NONE", "Debug": true})";
    static bool Start(std::string const& options = kHeadless);
    static void Stop();

protected:
    void SetUp() override { RestartWith(kHeadless); }
    void TearDown() override;

    /// Unloads the plug-in with everything else.
    static void TearDownTestSuite();

    /// A render system with a screen, in the state told above.
    void MakeSystem();
    void DropSystem();

    /// The same on the plug-in loaded with such options.
    void RestartWith(std::string const& options);

    qk3d::CRenderSystem& System() { return *m_system; }
    qk3d::CRenderTarget& Screen() { return *m_screen; }
    void Activate(qk3d::CRenderTarget& target);
    void Clear(std::uint32_t argb = 0xFF000000);
    Picture Read() { return ReadTarget(*m_screen); }
    std::uint32_t ReadAt(unsigned x, unsigned y) { return Read().At(x, y); }
    testing::AssertionResult IsAll(std::uint32_t colour, int tolerance = 0) {
        return Matches(Read(), Picture(kSize, kSize, colour), {tolerance, 0});
    }

    /// UnusualCall with an input given as JSON text, and one number of "GetStatistics".
    bool Call(char const* command, std::string const& json = "{}", Json::Value* out = nullptr);
    unsigned Statistic(char const* name);

    /// What makes the device forget everything, and remember.
    bool LoseAndRestore() { return Call("LoseDevice") && m_system->Restore(); }

    template <class Vertex>
    void Draw(qk3d::EShapeType type, std::vector<Vertex> const& vertices) {
        Shape(*m_system, type, vertices).Draw();
    }
    template <class Vertex>
    void DrawQuad(std::vector<Vertex> const& corners) {
        Draw(qk3d::ST_TRIANGLESTRIP, corners);
    }

    /// A texture of no manager with these pixels.
    std::unique_ptr<qk3d::CTexture> MakeTexture(unsigned width, unsigned height, qk3d::EPixelFormat format,
                                                unsigned usage = qk3d::CTexture::TU_DEFAULT);
    std::unique_ptr<qk3d::CTexture> MakeTexture(Picture const& picture);

    /// A texture that is drawn into, of the engine's resources.
    qk3d::_ResourceSharePtr<qk3d::CTexture> MakeTargetTexture(std::string const& name, unsigned width, unsigned height,
                                                              qk3d::EPixelFormat format,
                                                              unsigned usage = qk3d::CTexture::TU_RENDERTARGET);

    /// Lines of level error since the last call.
    static std::vector<std::string> TakeErrors();

    qk3d::CRenderSystem* m_system = nullptr; // the engine's
    qk3d::CRenderWindow* m_screen = nullptr; // the system's
};

/// Bits of a float as a state value.
inline std::uint32_t FloatBits(float value) { return std::bit_cast<std::uint32_t>(value); }

/// A number as a value of a texture stage state.
inline void* StageValue(std::uintptr_t value) { return reinterpret_cast<void*>(value); }
