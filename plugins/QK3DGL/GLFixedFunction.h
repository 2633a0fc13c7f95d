// GLFixedFunction.h: everything the fixed-function pipeline depends on, and the GLSL programs that stand in for it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include <epoxy/gl.h>

namespace qk3d::gl {

/// Fixed-function stages. The device has more texture units for programs; stages past these are for programs only.
inline constexpr unsigned kFixedStages = 8;
inline constexpr unsigned kLights = 8;
inline constexpr unsigned kClipPlanes = 6;
inline constexpr unsigned kTexCoordSets = 8;

/// Where vertex data arrives in every program of this plug-in, written by hand or generated.
/// Colours arrive as (r, g, b, a) in 0 to 1, whatever their byte order in memory.
enum AttributeLocation : GLuint {
    kPositionLocation = 0,     // vec4; a pre-transformed one is (x, y, z, 1/w) in pixels of the render target
    kBlendWeightsLocation = 1, // vec4
    kBlendIndicesLocation = 2, // uvec4
    kNormalLocation = 3,       // vec3
    kDiffuseLocation = 4,      // vec4
    kSpecularLocation = 5,     // vec4
    kPointSizeLocation = 6,    // float
    kTangentLocation = 7,      // vec3
    kTexCoordLocation = 8,     // vec4, eight sets: 8 to 15
};

/// What a vertex stage hands to a fragment stage, so that a fixed vertex side goes with a pixel program and the other
/// way round. Both sides declare these with `layout(location = n)`.
enum VaryingLocation : GLuint {
    kDiffuseVarying = 0,  // vec4, clamped to 0..1
    kSpecularVarying = 1, // vec4, clamped to 0..1
    kFogVarying = 2,      // vec2: x the finished fog factor of a vertex fog mode, y the depth or distance for a pixel one
    kTexCoordVarying = 3, // vec4, eight sets: 3 to 10, transformed but not yet divided
};

/// Binding points of the uniform blocks of generated programs.
enum BlockBinding : GLuint { kFrameBinding = 0, kObjectBinding = 1, kMaterialBinding = 2 };

/// What a texture unit samples from.
enum class SamplerKind : std::uint8_t { None, Flat, Cube };

/// A matrix as the engine stores it: by row, row vectors on the left, translation in the last row. Handed to GLSL as it
/// stands it arrives transposed, so that `matrix * column` in GLSL is the engine's `row * matrix`.
using Matrix = std::array<float, 16>;
using Float4 = std::array<float, 4>;

inline constexpr Matrix kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

/// One light in world space. Types are numbered as in CLight: 1 point, 2 spot, 3 directional.
struct Light {
    bool enabled = false;
    int type = 3;
    Float4 diffuse = {1, 1, 1, 1}, specular = {0, 0, 0, 0}, ambient = {0, 0, 0, 0};
    Float4 position = {0, 0, 0, 1}; // w unused
    Float4 direction = {0, 0, 1, 0}; // where the light goes, need not be of unit length
    float range = 0;
    float falloff = 1;
    Float4 attenuation = {1, 0, 0, 0}; // constant, linear, quadratic
    float theta = 0, phi = 0;          // whole angles of the inner and the outer cone, in radians
};

/// Surface colours for lighting.
struct Surface {
    Float4 diffuse = {1, 1, 1, 1}, ambient = {1, 1, 1, 1}, specular = {0, 0, 0, 0}, emissive = {0, 0, 0, 0};
    float power = 0;
};

/// What the vertices of a draw really hold. Comparable, so that a change is seen by one compare.
struct VertexFeatures {
    bool preTransformed = false; // position is VET_FLOAT4: pixels, no matrices, no lighting
    bool normal = false;
    bool diffuse = false;
    bool specular = false;
    bool pointSize = false;
    std::uint8_t blendWeights = 0; // number of weights a vertex carries
    bool blendIndices = false;
    std::uint8_t texCoordSets = 0;                              // sets 0 to n - 1 are there
    std::array<std::uint8_t, kTexCoordSets> texCoordSize = {}; // components of each set, 1 to 4

    bool operator==(VertexFeatures const&) const = default;
};

/// The whole fixed-function state as the device setters left it: raw values by the engine's state numbers, nothing
/// normalised. Floats are bit patterns, colours packed ARGB.
struct FixedState {
    struct Stage {
        std::array<std::uint32_t, 20> values = {}; // by CTextureState::EState; TRANSFORMMATRIX stands in `transform`
        Matrix transform = kIdentity;
        SamplerKind sampler = SamplerKind::None; // None: no texture is bound
    };

    std::array<std::uint32_t, 104> render = {}; // by CRenderState::EState
    std::array<Stage, kFixedStages> stages;
    Matrix world = kIdentity, view = kIdentity, projection = kIdentity;
    Surface surface;
    std::array<Light, kLights> lights;
    std::array<Float4, kClipPlanes> clipPlanes = {}; // a, b, c, d in world space; inside is where the sum is not negative
    Float4 viewport = {0, 0, 1, 1};                  // left, top, width, height in pixels of the target
    float alphaLevels = 255;                         // largest alpha value of the target, for exact alpha tests; 0: float
    bool points = false;                             // the draw is a point list
};

/// std140 images of the uniform blocks, by rate of change. GLSL counterparts are in GLFixedFunctionBlocks.cpp;
/// every member is a vec4, an array of vec4 or a mat4, so the layouts agree by themselves.
struct FrameBlock {
    Float4 viewport;              // left, top, 2 / width, 2 / height
    Float4 fogColour;
    Float4 fog;                   // start, end, density, 1 / (end - start) or a large number
    Float4 ambient;
    Float4 pointSize;             // size, smallest, largest, viewport height squared
    Float4 pointScale;            // a, b, c, unused
    std::array<Float4, kClipPlanes> clipPlanes; // in camera space
};

struct LightBlock {
    Float4 diffuse, specular, ambient;
    Float4 position;    // camera space; w the range
    Float4 direction;   // camera space, of unit length, towards the light for directional ones; w the falloff
    Float4 attenuation; // constant, linear, quadratic, unused
    Float4 cone;        // cos(theta / 2), cos(phi / 2), 1 / (their difference) or 0, unused
};

struct ObjectBlock {
    Matrix worldViewProjection; // multiplied once on the CPU: passes over one object need bit-equal positions
    Matrix worldView;
    Matrix normal;              // upper 3x3: inverse transpose of worldView
    Matrix projection;
    std::array<LightBlock, kLights> lights; // the enabled ones: directional, then point, then spot
};

struct MaterialBlock {
    Float4 diffuse, ambient, specular, emissive;
    Float4 power;         // x
    Float4 textureFactor;
    Float4 alphaTest;     // reference and alpha, both times the second number and rounded, unless it is 0
    std::array<Float4, kFixedStages> constants;
    std::array<Float4, kFixedStages> bumpMatrix;    // 00, 01, 10, 11
    std::array<Float4, kFixedStages> bumpLuminance; // scale, offset, unused, unused
    std::array<Matrix, kFixedStages> textureMatrix;
};

void Fill(FrameBlock& block, FixedState const& state);
void Fill(ObjectBlock& block, FixedState const& state);
void Fill(MaterialBlock& block, FixedState const& state);

/// Between pixel centres on whole numbers, as the engine has them, and on halves, as OpenGL has. It is one step of the
/// rasteriser short of a half: an edge through pixel centres, which the engine's own quads have on all four sides, then
/// takes in the pixels right of it and below on every device, while the rule for a tie is each driver's own.
inline constexpr float kPixelCentre = 127.0f / 256.0f;

/// Makes and keeps the separable programs that stand in for the fixed-function pipeline. The current context is used
/// by every call; all programs are of that context and go with `Clear`.
///
/// Conventions that hold for the generated code:
/// - clip space is that of the engine (depth 0 to 1, y up), the device has set GL_UPPER_LEFT and GL_ZERO_TO_ONE;
/// - vertices in space are moved by `kPixelCentre` here, so that they are cut off at the edges of the viewport; for points,
///   which are cut off by their centres, and for vertices in pixels the device's viewport is moved instead;
/// - the vertex program writes `gl_ClipDistance[i]` for the bits of CLIPPLANEENABLE, and `gl_PointSize` for points;
/// - stage n samples from texture unit n; the fragment program writes vec4 output 0;
/// - coordinates of point sprites grow with the rows (GL_POINT_SPRITE_COORD_ORIGIN is GL_LOWER_LEFT here);
/// - sRGB is a matter of the formats that the device binds: shaders compute with what they sample;
/// - flat shading of colours takes both sides fixed: programs of the user's interpolate as they declare;
/// - there is one world matrix, so the VERTEXBLEND states and the blend fields of a vertex are not looked at.
class FixedFunctionShaders {
public:
    FixedFunctionShaders();
    ~FixedFunctionShaders();
    FixedFunctionShaders(FixedFunctionShaders const&) = delete;
    FixedFunctionShaders& operator=(FixedFunctionShaders const&) = delete;

    /// The program for one side, compiled when its normalised key is seen first. 0 if it does not compile or link,
    /// which is logged once with the text of the shader. With a pixel program of the user's beside it, `fixedFragment` is
    /// false: the vertex side then writes all varyings that its state gives, used by fixed stages or not. Likewise
    /// `fixedVertex` false says that a vertex program of the user's feeds the fragment side.
    GLuint GetVertexProgram(FixedState const& state, VertexFeatures const& features, bool fixedFragment);
    GLuint GetFragmentProgram(FixedState const& state, VertexFeatures const& features, bool fixedVertex);

    /// How many programs were compiled since the start, both sides together.
    unsigned GetCompileCount() const;

    /// Deletes every program, as after a device loss; they are compiled again when asked for.
    void Clear();

private:
    struct Cache;
    std::unique_ptr<Cache> m_cache;
};

} // namespace qk3d::gl
