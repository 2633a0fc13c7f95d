// TextureTest.cpp: textures from files, bytes and nothing, on one device and moved to another, and drawn into.
#include "QK3DCamera.h"
#include "QK3DMatrix.h"
#include "QK3DOSFileSystem.h"
#include "QK3DPass.h"
#include "QK3DRenderOperation.h"
#include "QK3DRenderTexture.h"
#include "QK3DRenderWindow.h"
#include "QK3DRenderableObject.h"
#include "QK3DTextureManager.h"
#include "QK3DViewport.h"
#include "QKJson.h"
#include "RecordingRenderSystem.h"
#include "TempFolder.h"
#include "TestLog.h"
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <memory>

namespace {
using namespace qk3d;
using Texture = _ResourceSharePtr<CTexture>;

// An uncompressed picture of 32-bit pixels, all of one colour.
std::string MakeTga(int width, int height, char blue) {
    std::string file(18, 0);
    file[2] = 2;
    file[12] = static_cast<char>(width);
    file[14] = static_cast<char>(height);
    file[16] = 32;
    file[17] = 8;
    for (int i = 0; i < width * height; ++i) file += {blue, 2, 3, 4};
    return file;
}

// Gives a texture the bytes of a file, as an owner of bytes does.
class CBytesTexture : public CTexture {
public:
    using CTexture::CTexture;
    void SetBytes(std::string const& bytes) {
        m_data = static_cast<unsigned char*>(std::malloc(bytes.size()));
        std::copy(bytes.begin(), bytes.end(), m_data);
        m_dataSize = bytes.size();
    }
    static unsigned int UsageOf(std::string word) { return _StringToTextureUsage(word); }
};

class CManager : public CTextureManager {
public:
    using CTextureManager::_NotifyResourceRelease;

protected:
    CResource* _CreateResourceImpl(string const& path, string const& name, bool isManual,
                                   CSharePtr<CResourceLoader>& loader) override {
        return new CBytesTexture(this, path, name, isManual, loader, nullptr, CTexture::TU_DEFAULT, false);
    }
};

// Draws with a pass that reads a texture, the way a queue entry does.
class CUser : public CRenderableObject {
public:
    explicit CUser(Texture texture) : m_pass(nullptr, 0) { m_pass.SetTexture(0, texture); }
    CTechnique* GetTechnique() override { return nullptr; }
    void GetWorldTransform(Matrix44* out) const override { *out = Matrix44::IDENTITY; }
    float GetSquaredViewDepth(CCamera*, long long) const override { return 0; }
    void GetRenderOperation(CRenderOperation&) const override {}

protected:
    bool _PerRenderImpl(CRenderSystem* renderSystem, long long time) override {
        m_pass.PrepareForRender(renderSystem, time);
        return true;
    }

private:
    CPass m_pass;
};

struct TextureTest : ::testing::Test {
    TextureTest() : manager(std::make_unique<CManager>()) {}
    Texture MakeBlank(char const* name, unsigned int width, unsigned int height, unsigned int usage = 0,
                      bool isManual = false) {
        return manager->CreateTexture("", name, width, height, PF_A8R8G8B8, &device,
                                      static_cast<CTexture::ETextureUsage>(usage), false, isManual, none);
    }
    Texture MakeTarget(char const* name) { return MakeBlank(name, 64, 64, CTexture::TU_RENDERTARGET); }
    static unsigned char FirstByte(CTexture& texture) {
        unsigned char pixel[4] = {};
        CPixelBox box(0, 0, 1, 1, PF_A8R8G8B8, pixel, 4, 0);
        EXPECT_TRUE(texture.GetPixelBuffer()->BlitToMemory(CBox(0, 0, 1, 1), box));
        return pixel[0];
    }
    static void Paint(CTexture& texture, unsigned char value) {
        CPixelBox& box = texture.GetPixelBuffer()->Lock(CBox(0, 0, 1, 1), CHardwareBuffer::LM_NORMAL);
        *static_cast<unsigned char*>(box.m_data) = value;
        texture.GetPixelBuffer()->Unlock();
    }

    CRecordingRenderSystem device{"device"}, other{"other"};
    std::unique_ptr<CManager> manager; // goes before the devices, unless a test says otherwise
    CSharePtr<CResourceLoader> none;
};

TEST_F(TextureTest, LoadsWhatItCanBeMadeFrom) {
    Texture nothing = MakeBlank("nothing", 0, 0);
    EXPECT_FALSE(nothing->Load());
    nothing->SetWidth(64);
    EXPECT_FALSE(nothing->Load()) << "no height";
    nothing->SetHeight(32);
    EXPECT_TRUE(nothing->Load());
    EXPECT_EQ(nothing->GetPixelBuffer()->GetWidth(), 64u);
    nothing->SetWidth(7);
    EXPECT_EQ(nothing->GetWidth(), 64u) << "the description of a loaded texture is fixed";
    EXPECT_TRUE(nothing->Unload());
    EXPECT_TRUE(nothing->GetPixelBuffer().IsNull());
    EXPECT_TRUE(nothing->Load());
    EXPECT_EQ(nothing->GetPixelBuffer()->GetHeight(), 32u);

    Texture homeless = MakeBlank("homeless", 8, 8);
    homeless->SetRenderSystem(nullptr);
    EXPECT_FALSE(homeless->Load());
    device.Refuse("GetHardwareBufferManager");
    EXPECT_FALSE(MakeBlank("bufferless", 8, 8)->Load());
    device.RefuseNothing();
}

TEST_F(TextureTest, TakesItsSizeFromTheImageWhereItIsToldTo) {
    TempFolder folder;
    folder.Write("a.tga", MakeTga(3, 2, 77));
    auto* const files = static_cast<COSFileSystem*>(manager->GetFileSystem("OSFileSystem").GetPointer());
    files->AddResourceDirPath(folder.Path());
    Texture texture = manager->CreateTexture("a.tga", "a", 0, 0, PF_A8R8G8B8, &device, CTexture::TU_DEFAULT, false,
                                             false, none);
    ASSERT_TRUE(texture);
    ASSERT_TRUE(texture->Load());
    EXPECT_EQ(texture->GetWidth(), 3u);
    EXPECT_EQ(texture->GetHeight(), 2u);
    EXPECT_EQ(FirstByte(*texture), 77);
    EXPECT_EQ(device.CountOf("CreateBufferFromMemory"), 1u) << "the file system reads the file";

    texture->Unload();
    EXPECT_EQ(texture->GetWidth(), 3u) << "until the next load";
    folder.Write("a.tga", MakeTga(5, 4, 78));
    ASSERT_TRUE(texture->Load());
    EXPECT_EQ(texture->GetWidth(), 5u);

    EXPECT_TRUE(texture->SetRenderSystem(&other));
    EXPECT_EQ(texture->GetLoadingState(), LOADSTATE_LOADED) << "read again there";
    EXPECT_EQ(other.CountOf("CreateBufferFromMemory"), 1u);
    EXPECT_EQ(FirstByte(*texture), 78);

    folder.Write("a.tga", "no image");
    texture->Unload();
    EXPECT_FALSE(texture->Load());
}

TEST_F(TextureTest, NotesWhichSidesTheImageDecides) {
    Texture texture = MakeBlank("a", 0, 0);
    auto* const bytes = static_cast<CBytesTexture*>(static_cast<CTexture*>(texture));
    texture->SetWidth(64); // by hand
    texture->SetHeight(std::numeric_limits<unsigned int>::max());
    bytes->SetBytes(MakeTga(3, 2, 5));
    ASSERT_TRUE(texture->Load());
    EXPECT_EQ(texture->GetWidth(), 64u);
    EXPECT_EQ(texture->GetHeight(), 2u);
    EXPECT_TRUE(texture->SetRenderSystem(&other));
    EXPECT_EQ(FirstByte(*texture), 5) << "the owner's bytes are still there for the new device";
}

TEST_F(TextureTest, TakesBlankPixelsAlongToAnotherDevice) {
    Texture texture = MakeBlank("a", 4, 4);
    ASSERT_TRUE(texture->Load());
    Paint(*texture, 99);
    device.ResetCounts();
    texture->SetRenderSystem(&device);
    EXPECT_EQ(device.CountOfAll(), 0u);
    EXPECT_TRUE(texture->SetRenderSystem(&other));
    EXPECT_EQ(texture->GetRenderSystem(), &other);
    EXPECT_EQ(FirstByte(*texture), 99);
    EXPECT_EQ(device.CountOf("ReleaseBuffer"), 1u);

    device.Refuse("CreateBuffer");
    EXPECT_TRUE(texture->SetRenderSystem(&device));
    EXPECT_EQ(FirstByte(*texture), 99) << "the pixels stay where they are when the new device takes none";
    device.RefuseNothing();

    Texture copy = texture->Copy("copy");
    EXPECT_TRUE(copy->IsManual());
    EXPECT_EQ(FirstByte(*copy), 99);
    texture->SetRenderSystem(nullptr);
    EXPECT_TRUE(texture->GetPixelBuffer().IsNull());
}

TEST_F(TextureTest, ReadsItsScript) {
    Texture texture = MakeBlank("a", 1, 1);
    Json::Value value;
    ASSERT_TRUE(qklib::ParseJson(R"({"Width": 32, "Height": 0, "PixelFormat": " dxt5 ", "Usage": "rendertarget",
        "MipLevels": 4, "Filter": "Box", "MipFilter": 7, "ColorKey": [255, 0, 511, 0], "Unknown": {}})",
                                 value));
    CTexture::InitStringTextureUsageMap();
    EXPECT_TRUE(texture->SetFromParameter(value));
    EXPECT_EQ(texture->GetWidth(), 32u);
    EXPECT_EQ(texture->GetHeight(), 0u);
    EXPECT_EQ(texture->GetPixelFormat(), PF_DXT5);
    EXPECT_TRUE(texture->IsRenderTexture());
    EXPECT_EQ(texture->GetMipLevels(), 4u);
    EXPECT_EQ(texture->GetFilter(), FILTER_BOX);
    EXPECT_EQ(texture->GetMipFilter(), FILTER_NONE) << "of the wrong type";
    EXPECT_EQ(texture->GetColorKey(), color(0xFF00FF00u));

    ASSERT_TRUE(qklib::ParseJson(R"({"Width": -1, "Height": "high", "ColorKey": [1, 2, 3], "Usage": []})", value));
    EXPECT_TRUE(texture->SetFromParameter(value));
    EXPECT_EQ(texture->GetWidth(), 32u);
    EXPECT_EQ(texture->GetColorKey(), color(0xFF00FF00u));
    EXPECT_FALSE(texture->SetFromParameter(Json::Value("text")));

    EXPECT_EQ(CBytesTexture::UsageOf(" automipmap\n"), 256u);
    EXPECT_EQ(CBytesTexture::UsageOf("DISCARDABLE"), 0u);
}

TEST_F(TextureTest, MeasuresByItsDescriptionWithoutABuffer) {
    Texture texture = MakeBlank("a", 100, 0);
    EXPECT_FLOAT_EQ(texture->ConvertToU(3), 3.25f / 100);
    EXPECT_FLOAT_EQ(texture->ConvertToU(0.5f), 50.25f / 100);
    EXPECT_FLOAT_EQ(texture->GetCorrectionU(), 0.25f / 100);
    EXPECT_EQ(texture->ConvertToV(3), 0);
    EXPECT_EQ(texture->ConvertToVWithoutCorrection(0.5f), 0);
}

TEST_F(TextureTest, HasOneRenderTextureOfItsOwn) {
    EXPECT_EQ(MakeBlank("plain", 8, 8)->GetRenderTexture(), nullptr);
    Texture texture = MakeTarget("a");
    CRenderTexture* const target = texture->GetRenderTexture();
    ASSERT_NE(target, nullptr);
    EXPECT_EQ(texture->GetLoadingState(), LOADSTATE_LOADED);
    EXPECT_EQ(texture->GetRenderTexture(), target);
    EXPECT_EQ(device.CreateRenderTexture(texture), target);
    EXPECT_EQ(device.GetRenderTarget("a"), target);
    EXPECT_EQ(target->GetWidth(), 64u);
    EXPECT_TRUE(target->IsCreated());
    EXPECT_EQ(other.CreateRenderTexture(texture), nullptr);
    EXPECT_EQ(device.CreateRenderTexture(nullptr), nullptr);

    device.CreateRenderWindow("taken", 8, 8, PF_A8R8G8B8, false);
    EXPECT_EQ(MakeTarget("taken")->GetRenderTexture(), nullptr);
    CManager second;
    Texture namesake = second.CreateTexture("", "a", 8, 8, PF_A8R8G8B8, &device, CTexture::TU_RENDERTARGET, false,
                                            false, none);
    EXPECT_EQ(namesake->GetRenderTexture(), nullptr) << "another texture of that name";
    Texture loose(new CTexture(nullptr, "", "loose", false, none, &device, CTexture::TU_RENDERTARGET, false));
    EXPECT_EQ(device.CreateRenderTexture(loose), nullptr) << "in no manager";

    device.TakeJournal();
    texture->Unload();
    texture->Load();
    std::string const journal = device.TakeJournal();
    EXPECT_LT(journal.find("TextureUnloaded"), journal.find("TextureLoaded"));
}

TEST_F(TextureTest, DiesInAnyOrderWithItsTarget) {
    Texture texture = MakeTarget("target first");
    texture->GetRenderTexture();
    device.DestroyRenderTarget("target first");
    EXPECT_NE(texture->GetRenderTexture(), nullptr) << "made anew";

    MakeTarget("handle first")->GetRenderTexture();
    EXPECT_TRUE(manager->IsResourceExist("handle first")) << "the target holds it";
    device.DestroyRenderTarget("handle first");
    EXPECT_FALSE(manager->IsResourceExist("handle first"));

    MakeTarget("table first")->GetRenderTexture();
    manager->DestroyAllResources();
    auto* const target = static_cast<CRenderTexture*>(device.GetRenderTarget("table first"));
    ASSERT_NE(target, nullptr);
    EXPECT_EQ(target->GetTexture().GetRef(), 1u);
    EXPECT_TRUE(device.UpdateAllRenderTarget(1));

    texture = MakeTarget("manager first");
    CRenderTexture* const left = texture->GetRenderTexture();
    texture = nullptr;
    manager.reset();
    EXPECT_TRUE(left->GetTexture());
    device.Release();
}

TEST_F(TextureTest, LosesItsTargetWhenItMovesToAnotherDevice) {
    Texture texture = MakeTarget("a");
    texture->GetRenderTexture();
    EXPECT_TRUE(texture->SetRenderSystem(&other));
    EXPECT_EQ(device.GetRenderTarget("a"), nullptr);
    CRenderTexture* const target = texture->GetRenderTexture();
    ASSERT_NE(target, nullptr);
    EXPECT_EQ(target->GetRenderSystem(), &other);
    texture->SetRenderSystem(&device);
    EXPECT_EQ(texture->GetRenderTexture()->GetRenderSystem(), &device);
}

TEST_F(TextureTest, IsDrawnInTheMiddleOfTheFrameThatReadsIt) {
    CCamera camera("camera");
    Texture texture = MakeTarget("tex");
    texture->GetRenderTexture()->AddViewport(&camera, 0, 0u, 0u, 8u, 8u);
    CUser user(texture);
    CRenderWindow* const window = device.CreateRenderWindow("a window", 8, 8, PF_A8R8G8B8, false);
    CViewport* const viewport = window->AddViewport(&camera, 0, 0u, 0u, 8u, 8u);
    viewport->AddRenderableObject(&user);
    viewport->AddRenderableObject(&user);
    for (char const* const noise : {"SetViewMatrix", "SetProjectionMatrix", "SetWorldMatrix", "Render"})
        device.Omit(noise);
    device.TakeJournal();
    EXPECT_TRUE(device.UpdateAllRenderTarget(1));
    EXPECT_EQ(device.TakeJournal(),
              "BeginFrame\n"
              "SetRenderTarget 0 a window\nSetViewport null\nClearRenderTarget a window #FF000000 1 0\n"
              "SetViewport 0 0 8 8\n"
              "SetRenderTarget 0 tex\nSetViewport null\nClearRenderTarget tex #FF000000 1 0\nSetViewport 0 0 8 8\n"
              "SetRenderTarget 0 a window\nSetViewport 0 0 8 8\n" // and back
              "SetViewport 0 0 8 8\n"                             // the second use finds it drawn
              "EndFrame\nPresentFrame\n");
}

TEST_F(TextureTest, IsNotDrawnForEverWhenItsSceneShowsIt) {
    CCamera camera("camera");
    Texture a = MakeTarget("a"), b = MakeTarget("b");
    CUser showsA(a), showsB(b);
    for (auto const& [texture, user] : {std::pair(a, &showsB), std::pair(b, &showsA)}) {
        CViewport* const viewport = Texture(texture)->GetRenderTexture()->AddViewport(&camera, 0, 0u, 0u, 8u, 8u);
        viewport->AddRenderableObject(user);
        viewport->AddRenderableObject(&showsA); // `a` reads itself
    }
    EXPECT_TRUE(device.UpdateAllRenderTarget(1));
    EXPECT_EQ(device.CountOf("ClearRenderTarget"), 2u);
}

TEST_F(TextureTest, LetsTheManagerDropWhatNobodyHolds) {
    Texture texture = MakeBlank("auto", 4, 4);
    ASSERT_TRUE(texture->Load());
    texture = nullptr;
    EXPECT_FALSE(manager->IsResourceExist("auto"));
    EXPECT_EQ(device.CountOf("ReleaseBuffer"), 1u);

    texture = MakeBlank("manual", 4, 4, CTexture::TU_RENDERTARGET, true);
    texture->Load();
    texture = nullptr;
    EXPECT_FALSE(manager->IsResourceExist("manual"));

    texture = MakeBlank("wrong", 4, 4);
    CTestLog log;
    manager->_NotifyResourceRelease(texture, 0);
    EXPECT_EQ(log.TakeText(), "16 CTextureManager::_NotifyResourceRelease : "
                              "Auto Destroy Texture [Something Wrong] -> wrong, 0\n");
    EXPECT_FALSE(manager->IsResourceExist("wrong"));
    EXPECT_EQ(texture->GetWidth(), 4u) << "a holder that there is after all keeps it";
}
} // namespace
