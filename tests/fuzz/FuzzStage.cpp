// FuzzStage.cpp: sets the stage up, with an image and a program for scripts to find.
#include "FuzzStage.h"
#include "ImageDecoder.h"
#include "QK3DResourceManager.h"
#include "QKLog.h"
#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace qk3d::fuzz {
namespace {
constexpr char const* kTypes[] = {"CMaterial",     "CTexture",    "CRenderState", "CTextureState",
                                  "CSamplerState", "CGPUProgram", "CMesh"};
}

void Require(bool holds, char const* what) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

Stage& Stage::Get() {
    CQK3DMain::GetQK3DMain(); // first, so that it goes after the stage
    static Stage stage;
    return stage;
}

Stage::Stage() {
    qklib::CLoger::SetSink([](qklib::LogRecord const&, void*) {}, nullptr);
    CSharePtr<CFileSystem> store(m_store = new CMemFileSystem, qklib::PRM_DELETE);
    for (char const* const type : kTypes) {
        resources.GetResourceManager(type)->RemoveAllFileSystem(); // nothing of the disk
        resources.GetResourceManager(type)->AddFileSystem("memory", store);
    }
    std::uint32_t const pixels[4] = {0xFF102030, 0x80FFFFFF, 0, 0xFFFF00FF};
    std::vector<std::uint8_t> file;
    image::EncodePng(pixels, 2, 2, 8, PF_A8R8G8B8, file);
    Write("a.png", file);
    std::string const source = "uniform float x;\nuniform mat4 m;\n";
    Write("a.glsl", {reinterpret_cast<std::uint8_t const*>(source.data()), source.size()});
}

void Stage::Write(string const& path, Bytes bytes) {
    auto* const block = static_cast<unsigned char*>(std::malloc(bytes.size() + 1)); // the store's once it takes it
    std::copy(bytes.begin(), bytes.end(), block);
    if (!m_store->WriteDataToNewFile(path, block, bytes.size())) std::free(block);
}

void Stage::RequireNoResource() {
    resources.GetResourceManager("CGPUProgram")->DestroyUnusedResources(); // it keeps what it has compiled
    for (char const* const type : kTypes) {
        CResourceManager& manager = *resources.GetResourceManager(type);
        Require(manager.EnumResourceBegin() == manager.EnumResourceEnd(), type);
    }
}
} // namespace qk3d::fuzz
