// StoreScriptTest.cpp: the demo's scripts reach the device alike out of every store, encoded or not.
#include "QK3DFileDataProcessor.h"
#include "QK3DGPUProgram.h"
#include "QK3DMaterial.h"
#include "QK3DMemFileSystem.h"
#include "QK3DOSFileSystem.h"
#include "QK3DPackageFileSystem.h"
#include "QK3DPass.h"
#include "RecordingRenderSystem.h"
#include "TempFolder.h"
#include "TestFiles.h"
#include "TestLog.h"
#include "TestStore.h"
#include "TestZip.h"

#include <functional>
#include <memory>
#include <regex>

namespace qk3d {
namespace {
namespace fs = std::filesystem;

// Turns all bits over, and puts a mark before them that is no part of the text.
constexpr char kMark[] = "SECRET";
constexpr std::size_t kMarkSize = sizeof kMark - 1;

string Encode(string text) {
    for (char& c : text) c = static_cast<char>(~c);
    return kMark + text;
}

class CDecoder : public CFileDataProcessor {
public:
    unsigned long long DecodeData(void const* in, unsigned long long inSize, void* out,
                                  unsigned long long outSize) override {
        if (inSize < kMarkSize || outSize < inSize - kMarkSize) return 0;
        auto const* const from = static_cast<unsigned char const*>(in);
        std::transform(from + kMarkSize, from + inSize, static_cast<unsigned char*>(out),
                       [](unsigned char c) { return static_cast<unsigned char>(~c); });
        return inSize - kMarkSize;
    }
    bool IsDecodedSizeFromData() override { return false; }
    unsigned long long GetDecodedSize(void const*, unsigned long long inSize) override {
        return inSize < kMarkSize ? 0 : inSize - kMarkSize;
    }
};

using Texts = std::map<string, string>; // by name

// The materials and programs of the demo, and for each texture that they name a file that is no picture.
Texts ReadDemo() {
    Texts texts;
    for (char const* folder : {"materials", "programs"})
        for (auto const& entry : fs::directory_iterator(fs::path(QK3D_SOURCE_DIR) / "demo" / folder))
            texts[entry.path().filename().string()] = TempFolder::Read(entry.path());
    std::regex const texture("\"([a-z]+\\.png)\"");
    Texts const scripts = texts;
    for (auto const& [name, text] : scripts)
        for (std::sregex_iterator it(text.begin(), text.end(), texture), end; it != end; ++it)
            texts[(*it)[1].str()] = "no picture";
    return texts;
}

// All that drawing with every pass of every script tells a device. Stores know one file under different paths, so names are
// cut to their last part.
string Draw(Texts const& texts, CFileSystem* store, CTestLog& log) {
    CRecordingRenderSystem device;
    CTestStore searched(store);
    string journal;
    for (auto const& [name, text] : texts) {
        if (!name.ends_with(".json")) continue;
        _ResourceSharePtr<CMaterial> material =
            CQK3DMain::GetResourceSystem().CreateResource("CMaterial", name, "", false, NoLoader());
        EXPECT_TRUE(material && material->Load()) << name;
        if (!material) continue;
        device.TakeJournal();
        for (unsigned int t = 0; t < material->GetTechniqueNum(); ++t)
            for (unsigned int p = 0; p < material->GetTechnique(t)->GetPassNum(); ++p) {
                CPass& pass = *material->GetTechnique(t)->GetPass(p);
                pass.PrepareForRender(&device, 0);
                device.SetPass(&pass);
            }
        journal += name + "\n" + device.TakeJournal();
        device.SetPass(nullptr);
    }
    EXPECT_EQ(log.TakeLines(qklib::LOG_WARNING), LogLines({}));
    return std::regex_replace(journal, std::regex("[^ \n]*[/\\\\]"), "");
}

TEST(StoreScript, TheDemoReachesTheDeviceAlikeOutOfEveryStore) {
    CTestLog log;
    Texts const texts = ReadDemo();
    TempFolder folder;
    std::vector<TestZipEntry> stored, encoded;
    for (auto const& [name, text] : texts) {
        folder.Write(name, text);
        stored.push_back({name, text});
        encoded.push_back(Deflated(name, Encode(text)));
    }
    auto disk = std::make_unique<COSFileSystem>();
    disk->AddResourceDirPath(folder.Path());
    string const expected = Draw(texts, disk.release(), log);
    EXPECT_GT(std::count(expected.begin(), expected.end(), '\n'), 60) << expected;
    EXPECT_NE(expected.find("plasma.frag.glsl"), string::npos) << expected;

    struct {
        char const* what;
        std::function<CFileStore*(bool isEncoded)> make;
    } const rows[] = {
        {"memory",
         [&](bool isEncoded) {
             auto store = std::make_unique<CMemFileSystem>();
             for (auto const& [name, text] : texts) WriteFile(*store, name, isEncoded ? Encode(text) : text);
             return store.release();
         }},
        {"package",
         [&](bool isEncoded) {
             auto store = std::make_unique<CPackageFileSystem>();
             EXPECT_TRUE(store->OpenPackage(folder.Write("p.zip", MakeZip(isEncoded ? encoded : stored))));
             return store.release();
         }},
    };
    for (auto const& row : rows)
        for (bool const isEncoded : {false, true}) {
            CFileStore* const store = row.make(isEncoded);
            for (char const* extension : {"json", "glsl", "png"})
                if (isEncoded) store->AddFileDataProcessor(extension, {new CDecoder, qklib::PRM_DELETE});
            EXPECT_EQ(Draw(texts, store, log), expected) << row.what << (isEncoded ? ", encoded" : "");
        }
}
} // namespace
} // namespace qk3d
