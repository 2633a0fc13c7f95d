// GLTestDevice.cpp: starts the plug-in for tests and draws simple things.
#include "GLTestDevice.h"

#include "TestFiles.h"

#include <bit>
#include <cstring>
#include <filesystem>
#include <stdexcept>

using namespace qk3d;

namespace {
std::string g_options; // of the plug-in that is loaded; empty while none is

std::vector<std::string> g_errors;

void Listen(qklib::LogRecord const& record, void*) {
    if (record.level == qklib::LOG_ERROR) g_errors.push_back(record.message);
    if (record.level == qklib::LOG_WARNING) std::fprintf(stderr, "warning: %s\n", record.message.c_str());
}

constexpr char kPluginName[] = "QK3DGL.so";

std::unique_ptr<CTexture> NewTexture(CRenderSystem* system, unsigned width, unsigned height, EPixelFormat format,
                                     unsigned usage = CTexture::TU_DEFAULT) {
    auto texture = std::make_unique<CTexture>(nullptr, "", "texture", false, NoLoader(), system,
                                              static_cast<CTexture::ETextureUsage>(usage), false);
    texture->SetWidth(width);
    texture->SetHeight(height);
    texture->SetPixelFormat(format);
    return texture->Load() ? std::move(texture) : nullptr;
}
} // namespace

std::vector<std::uint8_t> ReadBytes(CTexture& texture) {
    CHardwarePixelBuffer* const buffer = texture.GetPixelBuffer();
    auto const* const first = static_cast<std::uint8_t const*>(buffer->Lock(0, 0, CHardwareBuffer::LM_READONLY));
    std::vector<std::uint8_t> bytes(first, first + (first ? buffer->GetRequestMemSizeInBytes() : 0));
    buffer->Unlock();
    return bytes;
}

void WriteBytes(CTexture& texture, void const* bytes) {
    CHardwarePixelBuffer* const buffer = texture.GetPixelBuffer();
    std::memcpy(buffer->Lock(0, 0, CHardwareBuffer::LM_DISCARD), bytes, buffer->GetRequestMemSizeInBytes());
    buffer->Unlock();
}

Picture ReadTexture(CTexture& texture) {
    Picture picture(texture.GetPixelBuffer()->GetWidth(), texture.GetPixelBuffer()->GetHeight());
    auto const bytes = ReadBytes(texture);
    if (bytes.size() != picture.pixels.size() * 4) return {};
    std::memcpy(picture.pixels.data(), bytes.data(), bytes.size());
    return picture;
}

Picture ReadTarget(CRenderTarget& target) {
    auto const copy = NewTexture(target.GetRenderSystem(), target.GetWidth(), target.GetHeight(), PF_A8R8G8B8);
    return copy && target.CopyToTexture(copy.get(), nullptr, 0, nullptr) ? ReadTexture(*copy) : Picture();
}

testing::AssertionResult Matches(Picture const& got, Picture const& wanted, Tolerance tolerance) {
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

testing::AssertionResult MatchesReference(Picture const& picture, std::string const& name, Tolerance tolerance) {
    std::string const path = std::string(QK3D_REFERENCE_FOLDER) + "/" + name + ".png";
    if (std::getenv("QK3D_WRITE_REFERENCES"))
        return testing::AssertionFailure()
               << (gltest::SavePng(picture, path) ? "written, to be looked at : " : "cannot be written : ") << path;
    Picture reference;
    if (!gltest::LoadPicture(path, reference)) return testing::AssertionFailure() << "there is no " << path;
    return Matches(picture, reference, tolerance);
}

Shape::Shape(CRenderSystem& system, EShapeType type, Fields const& fields, void const* data, std::size_t bytes)
    : m_system(system) {
    CVertexDeclaration* const declaration = vertices.GetVertexDeclaration();
    for (auto const& [elementType, semantic] : fields) declaration->AddElement(0, elementType, semantic);
    auto const unit = declaration->GetSourceUnitSizeInByte(0);
    auto const count = static_cast<unsigned>(bytes / unit);
    auto buffer =
        system.GetHardwareBufferManager()->CreateVertexBuffer(unit, count, CHardwareBuffer::HBU_STATIC, false, false);
    if (buffer->Create()) buffer->WriteData(0, bytes, data, true);
    vertices.GetVertexBufferBinding()->SetSource(0, buffer);
    vertices.SetVertexNum(count);
    operation.m_shapeType = type;
    operation.m_vertexData = &vertices;
}

void Shape::SetIndexBytes(int size, void const* data, std::size_t count) {
    auto const type = size == 2 ? CHardwareIndexBuffer::IT_16BIT : CHardwareIndexBuffer::IT_32BIT;
    auto buffer = m_system.GetHardwareBufferManager()->CreateIndexBuffer(type, static_cast<unsigned>(count),
                                                                         CHardwareBuffer::HBU_STATIC, false, false);
    if (buffer->Create()) buffer->WriteData(0, buffer->GetRequestMemSizeInBytes(), data, true);
    indices.SetIndexBuffer(buffer);
    indices.SetIndexNum(static_cast<unsigned>(count));
    operation.m_useIndices = true;
    operation.m_indexData = &indices;
}

std::vector<ScreenVertex> ScreenQuad(float left, float top, float right, float bottom, std::uint32_t colour, float z) {
    return {{left, bottom, z, 1, colour, 0, 1},
            {left, top, z, 1, colour, 0, 0},
            {right, bottom, z, 1, colour, 1, 1},
            {right, top, z, 1, colour, 1, 0}};
}

std::vector<SpaceVertex> SpaceQuad(float left, float top, float right, float bottom, std::uint32_t colour, float z) {
    std::vector<SpaceVertex> corners;
    for (auto const& c : ScreenQuad(left, top, right, bottom, colour, z))
        corners.push_back({c.x, c.y, z, colour, c.u, c.v});
    return corners;
}

bool GLTest::Start(std::string const& options) {
    qklib::CLoger::SetSink(&Listen, nullptr);
    if (g_options == options) return true;
    Stop();
    auto const* const data = reinterpret_cast<unsigned char const*>(options.data());
    if (!CQK3DMain::GetQK3DMain().LoadPlugin(kPluginName, data, static_cast<int>(options.size()))) return false;
    g_options = options;
    return true;
}

void GLTest::Stop() {
    if (g_options.empty()) return;
    CQK3DMain::GetQK3DMain().DestotyAllRenderSystem();
    CQK3DMain::GetQK3DMain().UnloadPlugin(kPluginName);
    g_options.clear();
}

void GLTest::TearDownTestSuite() {
    CQK3DMain::GetQK3DMain().Clear(); // plug-ins go last there, after whatever holds objects of theirs
    g_options.clear();
}

void GLTest::TearDown() {
    DropSystem();
    CQK3DMain::GetResourceSystem().DestroyAllResources();
    auto const errors = TakeErrors();
    EXPECT_TRUE(errors.empty()) << errors.size() << " errors, the first : " << errors.front();
}

void GLTest::MakeSystem() {
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

void GLTest::DropSystem() {
    CQK3DMain::GetQK3DMain().DestroyRenderSystem("gl");
    m_system = nullptr;
    m_screen = nullptr;
}

void GLTest::RestartWith(std::string const& options) {
    DropSystem();
    ASSERT_TRUE(Start(options));
    MakeSystem();
}

bool GLTest::Call(char const* command, std::string const& json, Json::Value* out) {
    auto in = Parse(json);
    return m_system->UnusualCall(command, &in, out);
}

unsigned GLTest::Statistic(char const* name) {
    Json::Value out;
    EXPECT_TRUE(Call("GetStatistics", "{}", &out));
    return out[name].asUInt();
}

void GLTest::Activate(CRenderTarget& target) {
    m_system->SetActiveRenderTarget(0, &target);
    m_system->SetActiveViewport(nullptr);
}

void GLTest::Clear(std::uint32_t argb) {
    m_system->GetActiveRenderTarget(0)->SetBackgroundColor(color(argb));
    m_system->ClearRenderTarget();
}

std::unique_ptr<CTexture> GLTest::MakeTexture(unsigned width, unsigned height, EPixelFormat format, unsigned usage) {
    return NewTexture(m_system, width, height, format, usage);
}

std::unique_ptr<CTexture> GLTest::MakeTexture(Picture const& picture) {
    auto texture = MakeTexture(picture.width, picture.height, PF_A8R8G8B8);
    if (texture) WriteBytes(*texture, picture.pixels.data());
    return texture;
}

_ResourceSharePtr<CTexture> GLTest::MakeTargetTexture(std::string const& name, unsigned width, unsigned height,
                                                      EPixelFormat format, unsigned usage) {
    _ResourceSharePtr<CTexture> texture =
        CQK3DMain::GetResourceSystem().CreateResource("CTexture", "", name, false, NoLoader());
    texture->SetRenderSystem(m_system);
    texture->SetWidth(width);
    texture->SetHeight(height);
    texture->SetPixelFormat(format);
    texture->SetUsage(static_cast<CTexture::ETextureUsage>(usage));
    return texture;
}

std::vector<std::string> GLTest::TakeErrors() { return std::exchange(g_errors, {}); }
