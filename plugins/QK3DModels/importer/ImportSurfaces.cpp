// ImportSurfaces.cpp: from the importer's keys to surfaces, and the pictures inside the file.
#include "ImportSurfaces.h"

#include <assimp/GltfMaterial.h>
#include <assimp/material.h>
#include <assimp/scene.h>
#include <string_view>

namespace qk3d::models {
namespace {
std::uint32_t Channel(float value) {
    return static_cast<std::uint32_t>(value >= 0 && value < 1 ? value * 255 + 0.5f : value >= 1 ? 255 : 0);
}

Surface ReadSurface(aiMaterial const& material) {
    Surface surface;
    aiString name;
    material.Get(AI_MATKEY_NAME, name);
    // The importer's own name for a missing one is the same in every file.
    if (std::string_view(name.C_Str()) != AI_DEFAULT_MATERIAL_NAME) surface.name = name.C_Str();

    aiColor4D diffuse(1, 1, 1, 1);
    material.Get(AI_MATKEY_COLOR_DIFFUSE, diffuse);
    material.Get(AI_MATKEY_BASE_COLOR, diffuse);
    float opacity = 1;
    material.Get(AI_MATKEY_OPACITY, opacity);
    if (diffuse.a > opacity) diffuse.a = opacity;

    aiString path;
    if (material.GetTexture(aiTextureType_BASE_COLOR, 0, &path) == aiReturn_SUCCESS ||
        material.GetTexture(aiTextureType_DIFFUSE, 0, &path) == aiReturn_SUCCESS)
        surface.texture = path.C_Str();

    // Many exporters leave the colour under a texture black, which would hide it.
    if (!surface.texture.empty() && diffuse.r + diffuse.g + diffuse.b <= 0) diffuse = aiColor4D(1, 1, 1, diffuse.a);
    surface.colour = Channel(diffuse.a) << 24 | Channel(diffuse.r) << 16 | Channel(diffuse.g) << 8 | Channel(diffuse.b);

    aiString mode;
    if (material.Get(AI_MATKEY_GLTF_ALPHAMODE, mode) == aiReturn_SUCCESS) {
        surface.isBlended = std::string_view(mode.C_Str()) == "BLEND";
        surface.isCutOut = std::string_view(mode.C_Str()) == "MASK";
        material.Get(AI_MATKEY_GLTF_ALPHACUTOFF, surface.cutOff);
    } else {
        surface.isBlended = diffuse.a < 1;
    }
    int twoSided = 0;
    surface.isTwoSided = material.Get(AI_MATKEY_TWOSIDED, twoSided) == aiReturn_SUCCESS && twoSided;
    return surface;
}

Image ReadImage(aiTexture const& texture) {
    Image image;
    auto const* bytes = reinterpret_cast<std::uint8_t const*>(texture.pcData);
    std::size_t size = texture.mWidth; // of an image file
    if (texture.mHeight != 0) {
        image.width = texture.mWidth;
        image.height = texture.mHeight;
        size = std::size_t{4} * texture.mWidth * texture.mHeight;
    }
    image.bytes.assign(bytes, bytes + size);
    return image;
}
} // namespace

void CollectSurfaces(aiScene const& imported, ModelScene& scene) {
    for (unsigned int i = 0; i < imported.mNumTextures; ++i) scene.images.push_back(ReadImage(*imported.mTextures[i]));
    for (unsigned int i = 0; i < imported.mNumMaterials; ++i) {
        Surface& surface = scene.surfaces.emplace_back(ReadSurface(*imported.mMaterials[i]));
        int const image = imported.GetEmbeddedTextureAndIndex(surface.texture.c_str()).second;
        if (image >= 0) surface.image = static_cast<std::uint32_t>(image);
    }
    if (scene.surfaces.empty()) scene.surfaces.emplace_back();
}
} // namespace qk3d::models
