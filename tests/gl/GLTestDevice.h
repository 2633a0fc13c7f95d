// GLTestDevice.h: a render system of the plug-in for a test, a target to draw into, and short ways to draw.
#pragma once

#include "Picture.h"
#include "QK3D.h"
#include "TestFiles.h"

#include <bit>
#include <filesystem>
#include <gtest/gtest.h>
#include <stdexcept>

namespace qk3d {
using gltest::Picture;
using gltest::Tolerance;

inline std::unique_ptr<CTexture> NewTexture(CRenderSystem* system, unsigned width, unsigned height, EPixelFormat format,
                                            unsigned usage = CTexture::TU_DEFAULT) {
    auto texture = std::make_unique<CTexture>(nullptr, "", "texture", false, NoLoader(), system,
                                              static_cast<CTexture::ETextureUsage>(usage), false);
    texture->SetWidth(width);
    texture->SetHeight(height);
    texture->SetPixelFormat(format);
    return texture->Load() ? std::move(texture) : nullptr;
}

/// All bytes of a loaded texture, as many as there are.
inline std::vector<std::uint8_t> ReadBytes(CTexture& texture) {
    CHardwarePixelBuffer* const buffer = texture.GetPixelBuffer();
    auto const* const first = static_cast<std::uint8_t const*>(buffer->Lock(0, 0, CHardwareBuffer::LM_READONLY));
    std::vector<std::uint8_t> bytes(first, first + (first ? buffer->GetRequestMemSizeInBytes() : 0));
    buffer->Unlock();
    return bytes;
}
inline void WriteBytes(CTexture& texture, void const* bytes) {
    CHardwarePixelBuffer* const buffer = texture.GetPixelBuffer();
    std::memcpy(buffer->Lock(0, 0, CHardwareBuffer::LM_DISCARD), bytes, buffer->GetRequestMemSizeInBytes());
    buffer->Unlock();
}

/// The pixels of a loaded texture of format PF_A8R8G8B8.
inline Picture ReadTexture(CTexture& texture) {
    Picture picture(texture.GetPixelBuffer()->GetWidth(), texture.GetPixelBuffer()->GetHeight());
    auto const bytes = ReadBytes(texture);
    if (bytes.size() != picture.pixels.size() * 4) return {};
    std::memcpy(picture.pixels.data(), bytes.data(), bytes.size());
    return picture;
}

/// What a target shows, by CopyToTexture and a lock; empty if either is refused.
inline Picture ReadTarget(CRenderTarget& target) {
    auto const copy = NewTexture(target.GetRenderSystem(), target.GetWidth(), target.GetHeight(), PF_A8R8G8B8);
    return copy && target.CopyToTexture(copy.get(), nullptr, 0, nullptr) ? ReadTexture(*copy) : Picture();
}

/// A failure leaves what was got, what was wanted and the difference (black where they agree) beside the running test,
/// under its name, and says where.
inline testing::AssertionResult Matches(Picture const& got, Picture const& wanted, Tolerance tolerance = {}) {
    if (got.width != wanted.width || got.height != wanted.height)
        return testing::AssertionFailure()
               << got.width << " x " << got.height << " instead of " << wanted.width << " x " << wanted.height;
    Picture difference(got.width, got.height, 0xFF000000u);
    std::size_t count = 0, first = 0;
    for (std::size_t i = 0; i < got.pixels.size(); ++i) {
        int const off = gltest::ChannelDifference(got.pixels[i], wanted.pixels[i]);
        if (off <= tolerance.channel) continue;
        if (count++ == 0) first = i;
        difference.pixels[i] = 0xFF000000u | static_cast<std::uint32_t>(std::min(64 + off * 4, 255)) * 0x010101u;
    }
    if (static_cast<double>(count) <= tolerance.share * static_cast<double>(got.pixels.size()))
        return testing::AssertionSuccess();
    std::string const name = testing::UnitTest::GetInstance()->current_test_info()->name();
    gltest::SavePng(got, name + "-got.png");
    gltest::SavePng(wanted, name + "-wanted.png");
    gltest::SavePng(difference, name + "-difference.png");
    return testing::AssertionFailure() << count << " of " << got.pixels.size() << " pixels differ, the first at "
                                       << first % got.width << ", " << first / got.width << " (" << std::hex
                                       << got.pixels[first] << " instead of " << wanted.pixels[first] << "); see "
                                       << std::filesystem::absolute(name).string() << "-*.png";
}

/// A vertex in pixels of the target, and one in space.
struct ScreenVertex {
    static constexpr auto kPositionType = VET_FLOAT4;
    float x, y, z, w;
    std::uint32_t colour;
    float u, v;
};
struct SpaceVertex {
    static constexpr auto kPositionType = VET_FLOAT3;
    float x, y, z;
    std::uint32_t colour;
    float u, v;
};

/// Geometry in buffers of a device. Keeps them while it lives.
class Shape {
public:
    using Fields = std::vector<std::pair<EVertexElementType, EVertexElementSemantic>>;

    Shape(CRenderSystem& system, EShapeType type, Fields const& fields, void const* data, std::size_t bytes)
        : m_system(system) {
        CVertexDeclaration* const declaration = vertices.GetVertexDeclaration();
        for (auto const& [elementType, semantic] : fields) declaration->AddElement(0, elementType, semantic);
        auto const unit = declaration->GetSourceUnitSizeInByte(0);
        auto const count = static_cast<unsigned>(bytes / unit);
        auto buffer = system.GetHardwareBufferManager()->CreateVertexBuffer(unit, count, CHardwareBuffer::HBU_STATIC,
                                                                            false, false);
        if (buffer->Create()) buffer->WriteData(0, bytes, data, true);
        vertices.GetVertexBufferBinding()->SetSource(0, buffer);
        vertices.SetVertexNum(count);
        operation.m_shapeType = type;
        operation.m_vertexData = &vertices;
    }
    template <class Vertex>
    Shape(CRenderSystem& system, EShapeType type, std::vector<Vertex> const& vertices)
        : Shape(system, type,
                {{Vertex::kPositionType, VES_POSITION}, {VET_COLOR, VES_DIFFUSE}, {VET_FLOAT2, VES_TEXCOORD}},
                vertices.data(), vertices.size() * sizeof(Vertex)) {}

    template <class Index>
    void SetIndices(std::vector<Index> const& values) {
        auto const type = sizeof(Index) == 2 ? CHardwareIndexBuffer::IT_16BIT : CHardwareIndexBuffer::IT_32BIT;
        auto const count = static_cast<unsigned>(values.size());
        auto buffer = m_system.GetHardwareBufferManager()->CreateIndexBuffer(type, count, CHardwareBuffer::HBU_STATIC,
                                                                             false, false);
        if (buffer->Create()) buffer->WriteData(0, buffer->GetRequestMemSizeInBytes(), values.data(), true);
        indices.SetIndexBuffer(buffer);
        indices.SetIndexNum(count);
        operation.m_useIndices = true;
        operation.m_indexData = &indices;
    }
    void Draw() { m_system.Render(operation); }

    CRenderOperation operation;
    CVertexData vertices;
    CIndexData indices;

private:
    CRenderSystem& m_system;
};

/// The corners of a rectangle in pixels or in space as a strip; texture coordinates from 0 to 1.
inline std::vector<ScreenVertex> ScreenQuad(float left, float top, float right, float bottom, std::uint32_t colour,
                                            float z = 0) {
    return {{left, bottom, z, 1, colour, 0, 1},
            {left, top, z, 1, colour, 0, 0},
            {right, bottom, z, 1, colour, 1, 1},
            {right, top, z, 1, colour, 1, 0}};
}
inline std::vector<SpaceVertex> SpaceQuad(float left, float top, float right, float bottom, std::uint32_t colour,
                                          float z = 0) {
    std::vector<SpaceVertex> corners;
    for (auto const& c : ScreenQuad(left, top, right, bottom, colour, z))
        corners.push_back({c.x, c.y, z, colour, c.u, c.v});
    return corners;
}

/// Each test has a render system of its own, "gl", and a window without a screen, "screen", 64 by 64 pixels, active and
/// cleared to opaque black. States are at the baseline but for no lighting, no culling and no depth test. Errors in the
/// log fail the test unless it takes them.
class GLTest : public testing::Test {
public:
    static constexpr int kSize = 64;
    static constexpr std::uint32_t kBlack = 0xFF000000, kWhite = 0xFFFFFFFF, kRed = 0xFFFF0000, kGreen = 0xFF00FF00,
                                   kBlue = 0xFF0000FF;

    /// Loads the plug-in with such options; unloads one that is loaded with others.
    static constexpr char kHeadless[] = R"({"Windows": "NONE", "Debug": true})";
    static bool Start(std::string const& options) {
        qklib::CLoger::SetSink(&Listen, nullptr);
        if (s_options == options) return true;
        CQK3DMain& engine = CQK3DMain::GetQK3DMain();
        engine.DestotyAllRenderSystem();
        if (!s_options.empty()) engine.UnloadPlugin(kPluginName);
        auto const* const data = reinterpret_cast<unsigned char const*>(options.data());
        bool const isLoaded = engine.LoadPlugin(kPluginName, data, static_cast<int>(options.size()));
        s_options = isLoaded ? options : "";
        return isLoaded;
    }

protected:
    void SetUp() override { RestartWith(kHeadless); }
    void TearDown() override {
        DropSystem();
        CQK3DMain::GetResourceSystem().DestroyAllResources();
        auto const errors = TakeErrors();
        EXPECT_TRUE(errors.empty()) << errors.size() << " errors, the first : " << errors.front();
    }

    /// Unloads the plug-in with everything else.
    static void TearDownTestSuite() {
        CQK3DMain::GetQK3DMain().Clear(); // plug-ins go last there, after whatever holds objects of theirs
        s_options.clear();
    }

    /// A render system with a screen, in the state told above.
    void MakeSystem() {
        m_system = CQK3DMain::GetQK3DMain().CreateRenderSystem("QK3DGL", "gl");
        m_screen = m_system ? m_system->CreateRenderWindow("screen", kSize, kSize, PF_A8R8G8B8, false) : nullptr;
        if (!m_screen) throw std::runtime_error("there is no OpenGL device"); // which fails the test before it begins
        Activate(*m_screen);
        m_system->SetLighting(0);
        m_system->SetCullMode(1);
        m_system->SetZEnable(0);
        for (auto const setter :
             {&CRenderSystem::SetWorldMatrix, &CRenderSystem::SetViewMatrix, &CRenderSystem::SetProjectionMatrix})
            (m_system->*setter)(Matrix44::IDENTITY);
        Clear();
    }
    void DropSystem() {
        CQK3DMain::GetQK3DMain().DestroyRenderSystem("gl");
        m_system = nullptr, m_screen = nullptr;
    }

    /// The same on the plug-in loaded with such options.
    void RestartWith(std::string const& options) {
        DropSystem();
        ASSERT_TRUE(Start(options));
        MakeSystem();
    }

    CRenderSystem& System() { return *m_system; }
    CRenderTarget& Screen() { return *m_screen; }
    void Activate(CRenderTarget& target) {
        m_system->SetActiveRenderTarget(0, &target);
        m_system->SetActiveViewport(nullptr);
    }
    void Clear(std::uint32_t argb = kBlack) {
        m_system->GetActiveRenderTarget(0)->SetBackgroundColor(color(argb));
        m_system->ClearRenderTarget();
    }
    Picture Read() { return ReadTarget(*m_screen); }
    std::uint32_t ReadAt(unsigned x, unsigned y) { return Read().At(x, y); }
    testing::AssertionResult IsAll(std::uint32_t colour, int tolerance = 0) {
        return Matches(Read(), Picture(kSize, kSize, colour), {tolerance, 0});
    }

    /// UnusualCall with an input given as JSON text, and one number of "GetStatistics".
    bool Call(char const* command, std::string const& json = "{}", Json::Value* out = nullptr) {
        auto in = Parse(json);
        return m_system->UnusualCall(command, &in, out);
    }
    unsigned Statistic(char const* name) {
        Json::Value out;
        EXPECT_TRUE(Call("GetStatistics", "{}", &out));
        return out[name].asUInt();
    }

    /// What makes the device forget everything, and remember.
    bool LoseAndRestore() { return Call("LoseDevice") && m_system->Restore(); }

    void Draw(EShapeType type, auto const& vertices) { Shape(*m_system, type, vertices).Draw(); }
    void DrawQuad(auto const& corners) { Draw(ST_TRIANGLESTRIP, corners); }

    /// A texture of no manager, with these pixels.
    auto MakeTexture(unsigned width, unsigned height, EPixelFormat format, unsigned usage = CTexture::TU_DEFAULT) {
        return NewTexture(m_system, width, height, format, usage);
    }
    auto MakeTexture(Picture const& picture) {
        auto texture = MakeTexture(picture.width, picture.height, PF_A8R8G8B8);
        if (texture) WriteBytes(*texture, picture.pixels.data());
        return texture;
    }

    /// A texture that is drawn into, of the engine's resources.
    _ResourceSharePtr<CTexture> MakeTargetTexture(std::string const& name, unsigned width, unsigned height,
                                                  EPixelFormat format, unsigned usage = CTexture::TU_RENDERTARGET) {
        _ResourceSharePtr<CTexture> texture =
            CQK3DMain::GetResourceSystem().CreateResource("CTexture", "", name, false, NoLoader());
        texture->SetRenderSystem(m_system);
        texture->SetWidth(width);
        texture->SetHeight(height);
        texture->SetPixelFormat(format);
        texture->SetUsage(static_cast<CTexture::ETextureUsage>(usage));
        return texture;
    }

    /// Lines of level error since the last call.
    static std::vector<std::string> TakeErrors() { return std::exchange(s_errors, {}); }

    CRenderSystem* m_system = nullptr; // the engine's
    CRenderWindow* m_screen = nullptr; // the system's

private:
    static void Listen(qklib::LogRecord const& record, void*) {
        if (record.level == qklib::LOG_ERROR) s_errors.push_back(record.message);
        if (record.level == qklib::LOG_WARNING) std::fprintf(stderr, "warning: %s\n", record.message.c_str());
    }

    static constexpr char kPluginName[] = "QK3DGL.so";
    inline static std::string s_options; // of the plug-in that is loaded; empty while none is
    inline static std::vector<std::string> s_errors;
};

/// A float and a number as values of a state and of a stage's state.
inline std::uint32_t FloatBits(float value) { return std::bit_cast<std::uint32_t>(value); }
inline void* StageValue(std::uintptr_t value) { return reinterpret_cast<void*>(value); }
} // namespace qk3d
