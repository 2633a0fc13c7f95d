// FixedFunctionRig.cpp: a small device of its own for generated programs.
#include "FixedFunctionRig.h"

#include "GLLog.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include <gtest/gtest.h>

namespace qk3d::gl {
// The plug-in's own lies with its entry points. Shaders that do not compile speak up here.
qklib::CLogCategory* g_log = nullptr;
} // namespace qk3d::gl

namespace qk3d::gltest {
gl::FixedState PlainState() {
    gl::FixedState s;
    s.render[rs::FILLMODE] = 3;
    s.render[rs::SHADEMODE] = 2;
    s.render[rs::ALPHAFUNC] = 8;
    s.render[rs::COLORVERTEX] = 1;
    s.render[rs::DIFFUSEMATERIALSOURCE] = 1;
    s.render[rs::SPECULARMATERIALSOURCE] = 2;
    s.render[rs::TEXTUREFACTOR] = 0xFFFFFFFF;
    s.render[rs::FOGEND] = s.render[rs::FOGDENSITY] = Bits(1);
    s.render[rs::POINTSIZE] = s.render[rs::POINTSIZEMIN] = s.render[rs::POINTSCALEA] = Bits(1);
    s.render[rs::POINTSIZEMAX] = Bits(64);
    for (unsigned i = 0; i < gl::kFixedStages; ++i) {
        auto& v = s.stages[i].values;
        v[ts::COLOROP] = v[ts::ALPHAOP] = 1;
        v[ts::COLORARG1] = v[ts::ALPHAARG1] = gl::kTexture;
        v[ts::COLORARG0] = v[ts::COLORARG2] = v[ts::ALPHAARG0] = v[ts::ALPHAARG2] = gl::kCurrent;
        v[ts::RESULTARG] = gl::kCurrent;
        v[ts::TEXCOORDINDEX] = i;
    }
    s.viewport = {0, 0, Rig::kSize, Rig::kSize};
    return s;
}

gl::VertexFeatures AllFeatures() {
    gl::VertexFeatures f;
    f.normal = f.diffuse = f.specular = true;
    f.texCoordSets = 8;
    f.texCoordSize.fill(4);
    return f;
}

void SetStage(gl::FixedState& state, unsigned stage, unsigned op, unsigned arg1, unsigned arg2, unsigned arg0) {
    auto& v = state.stages[stage].values;
    v[ts::COLOROP] = v[ts::ALPHAOP] = op;
    v[ts::COLORARG0] = v[ts::ALPHAARG0] = arg0;
    v[ts::COLORARG1] = v[ts::ALPHAARG1] = arg1;
    v[ts::COLORARG2] = v[ts::ALPHAARG2] = arg2;
    state.stages[stage].sampler = gl::SamplerKind::Flat;
}

Texture CoordTexture() {
    Texture texture{64, 64, {}, true};
    for (unsigned y = 0; y < 64; ++y) {
        for (unsigned x = 0; x < 64; ++x) {
            texture.texels.push_back({(static_cast<float>(x) + 0.5f) / 64, (static_cast<float>(y) + 0.5f) / 64, 0, 1});
        }
    }
    return texture;
}

Colour Sample(Texture const& texture, double u, double v) {
    auto const at = [&](double x, double y) {
        auto const wrap = [](double i, unsigned size) {
            return static_cast<std::size_t>(i - std::floor(i / size) * size) % size;
        };
        gl::Float4 const& t = texture.texels[wrap(y, texture.height) * texture.width + wrap(x, texture.width)];
        return Colour{t[0], t[1], t[2], t[3]};
    };
    double const x = u * texture.width, y = v * texture.height;
    if (!texture.linear) return at(std::floor(x), std::floor(y));
    double const left = std::floor(x - 0.5), top = std::floor(y - 0.5), tx = x - 0.5 - left, ty = y - 0.5 - top;
    Colour const a = at(left, top), b = at(left + 1, top), c = at(left, top + 1), d = at(left + 1, top + 1);
    Colour out;
    for (std::size_t i = 0; i < 4; ++i)
        out[i] = (a[i] * (1 - tx) + b[i] * tx) * (1 - ty) + (c[i] * (1 - tx) + d[i] * tx) * ty;
    return out;
}

Rig* Rig::Get() {
    static std::unique_ptr<Rig> const rig = [] {
        std::unique_ptr<Rig> made(new Rig);
        return made->Open() ? std::move(made) : nullptr;
    }();
    return rig.get();
}

bool Rig::Open() {
    gl::g_log = qklib::CLoger::GetLoger().GetCategory("QK3DGL");
    gl::Options options;
    options.software = true;
    m_context = gl::CreateHeadlessContext(options);
    if (!m_context) return false;
    m_shaders = std::make_unique<gl::FixedFunctionShaders>();

    glClipControl(GL_UPPER_LEFT, GL_ZERO_TO_ONE);
    glProvokingVertex(GL_FIRST_VERTEX_CONVENTION);
    glEnable(GL_PROGRAM_POINT_SIZE);
    glPointParameteri(GL_POINT_SPRITE_COORD_ORIGIN, GL_LOWER_LEFT);
    glCreateTextures(GL_TEXTURE_2D, 1, &m_colour);
    glCreateTextures(GL_TEXTURE_2D, 1, &m_depth);
    glCreateFramebuffers(1, &m_target);
    glTextureStorage2D(m_depth, 1, GL_DEPTH_COMPONENT32F, kSize, kSize);
    glTextureStorage2D(m_colour, 1, GL_RGBA32F, kSize, kSize);
    glNamedFramebufferTexture(m_target, GL_COLOR_ATTACHMENT0, m_colour, 0);
    glNamedFramebufferTexture(m_target, GL_DEPTH_ATTACHMENT, m_depth, 0);
    glBindFramebuffer(GL_FRAMEBUFFER, m_target);
    glCreateProgramPipelines(1, &m_pipeline);
    glBindProgramPipeline(m_pipeline);
    glCreateBuffers(1, &m_vertices);
    glCreateBuffers(3, m_blocks);
    for (GLuint i = 0; i < 3; ++i) glBindBufferBase(GL_UNIFORM_BUFFER, i, m_blocks[i]);

    glCreateVertexArrays(1, &m_layout);
    glBindVertexArray(m_layout);
    glVertexArrayVertexBuffer(m_layout, 0, m_vertices, 0, sizeof(Vertex));
    auto const field = [&](GLuint location, GLint size, std::size_t offset) {
        glVertexArrayAttribFormat(m_layout, location, size, GL_FLOAT, GL_FALSE, static_cast<GLuint>(offset));
        glVertexArrayAttribBinding(m_layout, location, 0);
    };
    field(gl::kPositionLocation, 4, offsetof(Vertex, position));
    field(gl::kNormalLocation, 3, offsetof(Vertex, normal));
    field(gl::kDiffuseLocation, 4, offsetof(Vertex, diffuse));
    field(gl::kSpecularLocation, 4, offsetof(Vertex, specular));
    field(gl::kPointSizeLocation, 1, offsetof(Vertex, pointSize));
    for (GLuint i = 0; i < 8; ++i) field(gl::kTexCoordLocation + i, 4, offsetof(Vertex, texCoord) + i * 16);
    return true;
}

Rig::~Rig() {
    if (!m_context || !m_context->MakeCurrent()) return;
    m_shaders.reset();
    glDeleteTextures(1, &m_colour);
    glDeleteTextures(1, &m_depth);
    glDeleteTextures(8, m_textures);
    glDeleteFramebuffers(1, &m_target);
    glDeleteProgramPipelines(1, &m_pipeline);
    glDeleteBuffers(1, &m_vertices);
    glDeleteBuffers(3, m_blocks);
    glDeleteVertexArrays(1, &m_layout);
}

void Rig::Clear(gl::Float4 const& colour) {
    glDisable(GL_SCISSOR_TEST);
    GLfloat const one = 1;
    glClearNamedFramebufferfv(m_target, GL_COLOR, 0, colour.data());
    glDepthMask(GL_TRUE);
    glClearNamedFramebufferfv(m_target, GL_DEPTH, 0, &one);
}

void Rig::SetTexture(unsigned stage, Texture const& texture) {
    glDeleteTextures(1, &m_textures[stage]);
    glCreateTextures(GL_TEXTURE_2D, 1, &m_textures[stage]);
    auto const width = static_cast<GLsizei>(texture.width), height = static_cast<GLsizei>(texture.height);
    glTextureStorage2D(m_textures[stage], 1, GL_RGBA32F, width, height);
    glTextureSubImage2D(m_textures[stage], 0, 0, 0, width, height, GL_RGBA, GL_FLOAT, texture.texels.data());
    glTextureParameteri(m_textures[stage], GL_TEXTURE_MIN_FILTER, texture.linear ? GL_LINEAR : GL_NEAREST);
    glTextureParameteri(m_textures[stage], GL_TEXTURE_MAG_FILTER, texture.linear ? GL_LINEAR : GL_NEAREST);
    glBindTextureUnit(stage, m_textures[stage]);
}

void Rig::SetCube(unsigned stage, std::array<gl::Float4, 6> const& faces) {
    glDeleteTextures(1, &m_textures[stage]);
    glCreateTextures(GL_TEXTURE_CUBE_MAP, 1, &m_textures[stage]);
    glTextureStorage2D(m_textures[stage], 1, GL_RGBA32F, 1, 1);
    glTextureSubImage3D(m_textures[stage], 0, 0, 0, 0, 1, 1, 6, GL_RGBA, GL_FLOAT, faces.data());
    glTextureParameteri(m_textures[stage], GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTextureParameteri(m_textures[stage], GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glBindTextureUnit(stage, m_textures[stage]);
}

void Rig::Draw(GLenum mode, gl::FixedState const& state, gl::VertexFeatures const& features,
               std::vector<Vertex> const& vertices) {
    gl::FrameBlock frame;
    gl::ObjectBlock object;
    gl::MaterialBlock material;
    Fill(frame, state);
    Fill(object, state);
    Fill(material, state);
    glNamedBufferData(m_blocks[gl::kFrameBinding], sizeof(frame), &frame, GL_STREAM_DRAW);
    glNamedBufferData(m_blocks[gl::kObjectBinding], sizeof(object), &object, GL_STREAM_DRAW);
    glNamedBufferData(m_blocks[gl::kMaterialBinding], sizeof(material), &material, GL_STREAM_DRAW);
    glNamedBufferData(m_vertices, static_cast<GLsizeiptr>(vertices.size() * sizeof(Vertex)), vertices.data(),
                      GL_STREAM_DRAW);

    auto const enable = [&](GLuint location, bool on) {
        (on ? glEnableVertexArrayAttrib : glDisableVertexArrayAttrib)(m_layout, location);
    };
    enable(gl::kPositionLocation, true);
    enable(gl::kNormalLocation, features.normal);
    enable(gl::kDiffuseLocation, features.diffuse);
    enable(gl::kSpecularLocation, features.specular);
    enable(gl::kPointSizeLocation, features.pointSize);
    for (GLuint i = 0; i < 8; ++i) {
        // A set of fewer components leaves the others to the device, which fills them up as it does for hosts.
        enable(gl::kTexCoordLocation + i, i < features.texCoordSets);
        glVertexArrayAttribFormat(m_layout, gl::kTexCoordLocation + i, features.texCoordSize[i], GL_FLOAT, GL_FALSE,
                                  static_cast<GLuint>(offsetof(Vertex, texCoord) + i * 16));
    }
    bool const planes = !features.preTransformed;
    for (GLuint i = 0; i < gl::kClipPlanes; ++i) {
        bool const on = planes && (state.render[rs::CLIPPLANEENABLE] >> i & 1);
        (on ? glEnable : glDisable)(GL_CLIP_DISTANCE0 + i);
    }
    // Half a pixel on: centres of pixels have whole numbers in the engine's idea of them.
    glViewportIndexedf(0, state.viewport[0] + 0.5f, state.viewport[1] + 0.5f, state.viewport[2], state.viewport[3]);
    GLuint const vertex = m_shaders->GetVertexProgram(state, features, true);
    GLuint const fragment = m_shaders->GetFragmentProgram(state, features, true);
    ASSERT_TRUE(vertex && fragment);
    glUseProgramStages(m_pipeline, GL_VERTEX_SHADER_BIT, vertex);
    glUseProgramStages(m_pipeline, GL_FRAGMENT_SHADER_BIT, fragment);
    glDrawArrays(mode, 0, static_cast<GLsizei>(vertices.size()));
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

Colour Rig::Shade(gl::FixedState state, gl::VertexFeatures const& features, Vertex const& vertex, bool& drawn) {
    constexpr float nothing = -77;
    Clear({nothing, nothing, nothing, nothing});
    // The whole clip space goes to one pixel, and the point is larger than that.
    state.points = true;
    state.viewport = {0, 0, 1, 1};
    state.render[rs::POINTSIZE] = state.render[rs::POINTSIZEMIN] = Bits(8);
    glScissor(0, 0, 1, 1);
    glEnable(GL_SCISSOR_TEST);
    Draw(GL_POINTS, state, features, {vertex});
    glDisable(GL_SCISSOR_TEST);
    Colour const out = At(0, 0);
    drawn = out[0] != nothing;
    return out;
}

Colour Rig::Shade(gl::FixedState const& state, gl::VertexFeatures const& features, Vertex const& vertex) {
    bool drawn = false;
    Colour const out = Shade(state, features, vertex, drawn);
    EXPECT_TRUE(drawn);
    return out;
}

std::vector<Colour> Rig::All() {
    std::vector<gl::Float4> pixels(kSize * kSize);
    glReadPixels(0, 0, kSize, kSize, GL_RGBA, GL_FLOAT, pixels.data());
    std::vector<Colour> out;
    for (auto const& p : pixels) out.push_back({p[0], p[1], p[2], p[3]});
    return out;
}

Colour Rig::At(unsigned x, unsigned y) {
    gl::Float4 p;
    glReadPixels(static_cast<GLint>(x), static_cast<GLint>(y), 1, 1, GL_RGBA, GL_FLOAT, p.data());
    return {p[0], p[1], p[2], p[3]};
}
} // namespace qk3d::gltest
