// GLProgram.h: a program of the host in GLSL: one stage, its parameters, and what the device itself feeds into it.
#pragma once

#include "GLDevice.h"
#include "GLFixedFunction.h"

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace qk3d::gl {

/// The stages a program can be for. CommShader of a pass is the geometry stage, between the other two.
enum class Stage { Vertex, Pixel, Geometry };

/// What a program may read by a name of its own choice of these: uniforms that the device fills before each draw.
/// Matrices are those of the engine, and are used in GLSL as `qk3dWorldViewProjection * vec4(position, 1)`.
#define QK3D_ENGINE_UNIFORMS(X)                                                                                        \
    X(World, "qk3dWorld")                                                                                              \
    X(View, "qk3dView")                                                                                                \
    X(Projection, "qk3dProjection")                                                                                    \
    X(WorldView, "qk3dWorldView")                                                                                      \
    X(ViewProjection, "qk3dViewProjection")                                                                            \
    X(WorldViewProjection, "qk3dWorldViewProjection")                                                                  \
    X(CameraPosition, "qk3dCameraPosition") /* vec3, world space */                                                    \
    X(Viewport, "qk3dViewport")             /* vec4: left, top, width, height in pixels */                             \
    X(TextureFactor, "qk3dTextureFactor")   /* vec4 of the render state */                                             \
    X(Ambient, "qk3dAmbient")               /* vec4 of the render state */

enum EngineUniform : unsigned {
#define X(id, name) kUniform##id,
    QK3D_ENGINE_UNIFORMS(X)
#undef X
        kEngineUniformNum
};

/// Values of the engine uniforms, and a number that changes whenever one of them does.
struct EngineValues {
    std::uint64_t version = 1;
    std::array<Matrix, 6> matrices = {}; // World to WorldViewProjection
    Float4 cameraPosition = {}, viewport = {}, textureFactor = {}, ambient = {};
};

/// A compiled program. The handle that the engine keeps for a program points at one of these, and parameter handles at
/// its Params; both stay the same over a device loss.
class GLProgram final : public GLObject {
public:
    struct Param {
        std::string name;
        GLenum type = 0;
        GLint count = 1; // elements, if it is an array
        GLint location = -1;
        std::vector<std::byte> initial; // as the source says
        std::vector<std::byte> value;   // as it was set last
    };

    GLProgram(GLDevice& device, Stage stage);
    ~GLProgram() override;

    /// `origin` is what log lines name as the file. False, with the compiler's words in the log, if it does not compile.
    bool Compile(std::string const& origin, std::string const& code, std::string const& version,
                 std::string const& mainFunction);

    /// `size` bytes in the layout of the type, elements of an array one behind the other. Too few elements leave the
    /// others as they are, bytes past the end are ignored.
    void SetParam(Param& param, void const* data, std::size_t size);
    void ApplyDefaults();

    /// Brings the engine uniforms up to date.
    void Update(EngineValues const& values);

    Stage GetStage() const { return m_stage; }
    GLuint GetName() const { return m_name; }
    bool WritesClipDistances() const { return m_writesClipDistances; }
    std::vector<std::unique_ptr<Param>>& GetParams() { return m_params; }

private:
    void _DropNames() override;
    bool _RestoreNames() override;
    bool Link();
    void FindUniforms();

    Stage m_stage;
    std::string m_origin, m_source; // the source as the compiler gets it
    bool m_writesClipDistances = false;
    GLuint m_name = 0;
    std::vector<std::unique_ptr<Param>> m_params;
    std::array<GLint, kEngineUniformNum> m_engineLocations = {};
    std::uint64_t m_version = 0; // of the engine values it has
};

/// A compiler's line with "file:line: " at its front in place of its own way to say where, so that editors find it.
/// A line without a place comes back as it is.
std::string LocateMessage(std::string const& origin, std::string const& line);

} // namespace qk3d::gl
