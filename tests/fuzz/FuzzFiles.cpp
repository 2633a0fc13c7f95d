// FuzzFiles.cpp: files of other programs: images, models and packages.
#include "FuzzStage.h"
#include "ImageDecoder.h"
#include "ModelScene.h"
#include "PlatformCodePage.h"
#include "QK3DHardwareIndexBuffer.h"
#include "QK3DIndexData.h"
#include "QK3DMesh.h"
#include "QK3DPackageFileSystem.h"
#include "QK3DVertexData.h"
#include "TempFolder.h"
#include <memory>

namespace qk3d::fuzz {
namespace {
// Reads every byte, so that the sanitizers see it.
unsigned int Sum(Bytes bytes) {
    unsigned int sum = 0;
    for (std::uint8_t const byte : bytes) sum += byte;
    return sum;
}

void RequireLevels(image::DecodedImage const& picture) {
    Require(!picture.levels.empty(), "an image has a level");
    Require(picture.levels[0].width == picture.width && picture.levels[0].height == picture.height,
            "the first level is the image");
    Require(picture.bytes.size() <= image::kMaxBytes, "an image keeps within the limit");
    for (auto const& level : picture.levels)
        Require(level.offset <= picture.bytes.size() && level.pitch * level.rows <= picture.bytes.size() - level.offset,
                "a level lies within the bytes");
}
} // namespace

void FuzzImage(Bytes input) {
    image::DecodedImage picture;
    std::string reason;
    if (!image::DecodeImage(input.data(), input.size(), picture, &reason)) {
        Require(picture.bytes.empty() && !reason.empty(), "a refused image has a reason");
        return;
    }
    RequireLevels(picture);
    Sum(picture.bytes);
    if (picture.bytes.size() > 1u << 20) return; // the edits would only take time
    image::DecodedImage keyed = picture;
    if (image::ApplyColorKey(keyed, 0xFF000000)) RequireLevels(keyed);
    if (image::MakeMipLevels(picture)) RequireLevels(picture);
    if (image::ConvertToArgb(picture)) RequireLevels(picture);
}

// The first byte picks the kind of file, by its extension. What breaks the importer breaks a process of its own.
void FuzzModel(Bytes input) {
    static char const* const kKinds[] = {"obj", "gltf", "glb", "ms3d", "ply", "stl", "dae"};
    static bool const isLoaded = CQK3DMain::GetQK3DMain().LoadPlugin("QK3DModels.so", nullptr, 0);
    Require(isLoaded, "the plug-in is there");
    if (input.empty()) return;
    Stage& stage = Stage::Get();
    string const name = string("model.") + kKinds[input[0] % std::size(kKinds)];
    stage.Write(name, input.subspan(1));
    {
        auto loader = stage.resources.CreateResourceLoader("ModelLoader");
        _ResourceSharePtr<CMesh> mesh = stage.resources.CreateResource("CMesh", name, "", false, loader);
        if (mesh) {
            mesh->SetRenderSystem(&stage.device);
            mesh->Load();
            for (unsigned int i = 0; i < mesh->GetSubMeshNum(); ++i) {
                CSubMesh& part = *mesh->GetSubMesh(i);
                auto indices = part.GetIndexData()->GetIndexBuffer();
                std::size_t const unit = indices->GetUnitSizeInBytes();
                std::vector<std::uint8_t> bytes(indices->GetRequestMemSizeInBytes());
                indices->ReadData(0, bytes.size(), bytes.data());
                for (std::size_t at = 0; at + unit <= bytes.size(); at += unit) {
                    std::uint32_t index = 0;
                    std::memcpy(&index, &bytes[at], unit);
                    Require(index < part.GetVertexData()->GetVertexNum(), "an index names a vertex");
                }
            }
        }
    }
    stage.RequireNoResource();
    stage.Delete(name);
}

void FuzzModelScene(Bytes input) {
    models::ModelScene scene;
    if (!models::DecodeScene(input, scene)) return;
    for (models::Part const& part : scene.parts) {
        Require(part.surface < scene.surfaces.size(), "a part has a surface");
        Require(std::uint64_t{part.vertexNum} * part.GetVertexSize() == part.vertices.size(), "vertices are whole");
        for (std::uint32_t const index : part.indices) Require(index < part.vertexNum, "an index names a vertex");
    }
    for (models::Surface const& surface : scene.surfaces)
        Require(surface.image == models::kNoImage || surface.image < scene.images.size(), "a surface has its image");
    models::ModelScene again;
    models::Bytes const bytes = models::EncodeScene(scene);
    Require(models::DecodeScene(bytes, again) && models::EncodeScene(again) == bytes, "a sound scene comes back");
}

void FuzzPackage(Bytes input) {
    struct Store : CPackageFileSystem {
        using CPackageFileSystem::m_files;
    };
    static TempFolder const folder;
    Stage::Get(); // for its silence
    Store store;
    wstring path;
    qklib::platform::Utf8ToUtf16(folder.Write("package.zip", std::string(input.begin(), input.end())), path);
    if (!store.OpenPackage(path)) {
        Require(store.m_files.empty(), "a refused package leaves nothing");
        return;
    }
    for (auto const& [key, info] : store.m_files) {
        wstring absolute = key;
        bool const isThere = store.IsFileExist(key);
        Require(store.MakeResourceAbsolutePath(absolute) == isThere, "a file has an absolute path");
        Require(store.IsFileExist(absolute) == isThere, "which names the same file");
        auto const size = store.GetFileSize(key);
        unsigned char* bytes = nullptr;
        auto const count = store.ReadFileAsBinary(absolute, &bytes);
        Require(count == 0 || (isThere && count == size), "a file is read whole or not at all");
        Require((bytes != nullptr) == (count > 0), "bytes come with their number");
        std::unique_ptr<unsigned char, void (*)(void*)> const owner(bytes, std::free);
        if (count) Sum({bytes, static_cast<std::size_t>(count)});
        unsigned char some[7];
        store.ReadFileAsBinary(key, some, sizeof some);
        wstring text;
        store.ReadFileAsString(key, text);
    }
}
} // namespace qk3d::fuzz
