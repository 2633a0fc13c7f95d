// TextureTest.cpp: textures from files, bytes and nothing, on one device and moved to another, and drawn into.
#include "QK3D.h"
#include "RecordingRenderSystem.h"
#include "TestFiles.h"

namespace qk3d {
namespace {
using Texture = _ResourceSharePtr<CTexture>;

// An uncompressed picture of 32-bit pixels, all of one colour.
string MakeTga(char width, char height, char blue) {
    string file = {0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, width, 0, height, 0, 32, 8};
    for (int i = 0; i < width * height; ++i) file += {blue, 2, 3, 4};
    return file;
}

struct TextureTest : ::testing::Test {
    Texture Make(char const* name, unsigned int side, unsigned int usage = 0, bool isManual = false) {
        return manager->CreateTexture("", name, side, side, PF_A8R8G8B8, &device,
                                      static_cast<CTexture::ETextureUsage>(usage), false, isManual, NoLoader());
    }
    Texture MakeTarget(char const* name) { return Make(name, 64, CTexture::TU_RENDERTARGET); }
    static unsigned char FirstByte(CTexture& texture) {
        unsigned char pixel[4] = {};
        CPixelBox box(0, 0, 1, 1, PF_A8R8G8B8, pixel, 4, 0);
        EXPECT_TRUE(texture.GetPixelBuffer()->BlitToMemory(CBox(0, 0, 1, 1), box));
        return pixel[0];
    }

    CRecordingRenderSystem device{"device"}, other{"other"};
    std::unique_ptr<CTextureManager> manager = std::make_unique<CTextureManager>(); // goes before the devices
};

TEST_F(TextureTest, LoadsWhatItCanBeMadeFrom) {
    Texture texture = Make("a", 0);
    texture->SetWidth(64);
    EXPECT_FALSE(texture->Load()) << "no height";
    texture->SetHeight(32);
    EXPECT_TRUE(texture->Load());
    texture->SetWidth(7);
    EXPECT_EQ(texture->GetWidth(), 64u) << "the description of a loaded texture is fixed";
}

TEST_F(TextureTest, TakesItsSizeFromTheImageWhereItIsToldTo) {
    CSharePtr<CFileSystem> files(new CMemFileSystem, qklib::PRM_DELETE);
    manager->AddFileSystem("A", files);
    WriteFile(*files, "a.tga", MakeTga(3, 2, 77));
    Texture texture = manager->CreateTexture("a.tga", "a", 0, 0, PF_A8R8G8B8, &device, CTexture::TU_DEFAULT, false,
                                             false, NoLoader());
    ASSERT_TRUE(texture->Load());
    EXPECT_EQ(texture->GetWidth(), 3u);
    EXPECT_TRUE(texture->SetRenderSystem(&other)) << "read again there";
    EXPECT_EQ(other.CountOf("CreateBufferFromMemory"), 1u);
    EXPECT_EQ(FirstByte(*texture), 77);

    texture->Unload();
    texture->SetWidth(64); // by hand
    WriteFile(*files, "a.tga", MakeTga(5, 4, 78));
    ASSERT_TRUE(texture->Load());
    EXPECT_EQ(texture->GetWidth(), 64u);
    EXPECT_EQ(texture->GetHeight(), 4u);
}

TEST_F(TextureTest, TakesBlankPixelsAlongToAnotherDevice) {
    Texture texture = Make("a", 4);
    ASSERT_TRUE(texture->Load());
    unsigned char pixel[4] = {99};
    texture->GetPixelBuffer()->BlitFromMemory(CPixelBox(0, 0, 1, 1, PF_A8R8G8B8, pixel, 4, 0), CBox(0, 0, 1, 1));
    EXPECT_TRUE(texture->SetRenderSystem(&other));
    EXPECT_EQ(FirstByte(*texture), 99);
    device.Refuse("CreateBuffer");
    EXPECT_TRUE(texture->SetRenderSystem(&device));
    EXPECT_EQ(FirstByte(*texture), 99) << "the pixels stay where they are when the new device takes none";
    device.RefuseNothing();
    Texture copy = texture->Copy("copy");
    EXPECT_EQ(FirstByte(*copy), 99);
}

TEST_F(TextureTest, HasOneRenderTextureOfItsOwn) {
    EXPECT_EQ(Make("plain", 8)->GetRenderTexture(), nullptr);
    device.CreateRenderWindow("taken", 8, 8, PF_A8R8G8B8, false);
    EXPECT_EQ(MakeTarget("taken")->GetRenderTexture(), nullptr);
    Texture texture = MakeTarget("a");
    CRenderTexture* const target = texture->GetRenderTexture();
    ASSERT_NE(target, nullptr);
    EXPECT_EQ(device.CreateRenderTexture(texture), target);
    EXPECT_EQ(other.CreateRenderTexture(texture), nullptr);
    EXPECT_TRUE(texture->SetRenderSystem(&other));
    EXPECT_EQ(device.GetRenderTarget("a"), nullptr) << "lost with the move to another device";
    EXPECT_EQ(texture->GetRenderTexture()->GetRenderSystem(), &other);
    other.DestroyRenderTarget("a");
    EXPECT_NE(texture->GetRenderTexture(), nullptr) << "made anew";
}

TEST_F(TextureTest, DiesInAnyOrderWithItsTarget) {
    MakeTarget("handle first")->GetRenderTexture();
    EXPECT_TRUE(manager->IsResourceExist("handle first")) << "the target holds it";
    device.DestroyRenderTarget("handle first");
    EXPECT_FALSE(manager->IsResourceExist("handle first"));

    MakeTarget("table first")->GetRenderTexture();
    manager->DestroyAllResources();
    EXPECT_TRUE(device.UpdateAllRenderTarget(1)) << "it is drawn into all the same";

    Texture texture = MakeTarget("manager first");
    CRenderTexture* const left = texture->GetRenderTexture();
    texture = nullptr;
    manager.reset();
    EXPECT_TRUE(left->GetTexture());
    device.Release();
}

TEST_F(TextureTest, IsDrawnInTheMiddleOfTheFrameThatReadsIt) {
    struct CUser : CRenderTarget::CUpdateListener {
        void OnRenderTargetPerUpdate(CRenderTarget* target, long long time) override {
            for (int use = 0; use < 2; ++use) pass.PrepareForRender(target->GetRenderSystem(), time);
        }
        CPass pass{nullptr, 0};
    } user;
    Texture texture = MakeTarget("tex");
    user.pass.SetTexture(0, texture);
    texture->GetRenderTexture()->AddUpdateListener(&user); // it reads itself
    device.CreateRenderWindow("a window", 8, 8, PF_A8R8G8B8, false)->AddUpdateListener(&user);
    device.Omit("SetViewport");
    device.TakeJournal();
    EXPECT_TRUE(device.UpdateAllRenderTarget(1));
    EXPECT_EQ(device.TakeJournal(), "BeginFrame\n"
                                    "SetRenderTarget 0 a window\nClearRenderTarget a window #FF000000 1 0\n"
                                    "SetRenderTarget 0 tex\nClearRenderTarget tex #FF000000 1 0\n"
                                    "SetRenderTarget 0 a window\n" // and back; the second use finds it drawn
                                    "EndFrame\nPresentFrame\n");
}
} // namespace
} // namespace qk3d
