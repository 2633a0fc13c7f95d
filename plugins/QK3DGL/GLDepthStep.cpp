// GLDepthStep.cpp: finds out how far one unit of polygon offset moves a depth.
#include "GLPipeline.h"

#include "GLLog.h"

namespace qk3d::gl {
namespace {
constexpr char kVertexText[] = R"(#version 450 core
out gl_PerVertex { vec4 gl_Position; };
void main() { gl_Position = vec4(gl_VertexID == 1 ? 3.0 : -1.0, gl_VertexID == 2 ? 3.0 : -1.0, 0.5, 1.0); }
)";
constexpr float kExpectedStep = 1.0f / 16777216.0f;
} // namespace

// The unit of an offset is "the smallest difference that a depth buffer is sure to show", which is each driver's own:
// for 24 bits we have seen 2^-24 and twice that. A bias is to be the same everywhere, so the unit is measured: one
// triangle at depth one half, moved by many units, into a depth of one pixel.
float GLPipeline::MeasureDepthStep() {
    char const* const text = kVertexText;
    GLuint const program = glCreateShaderProgramv(GL_VERTEX_SHADER, 1, &text);
    GLuint pipeline = 0, framebuffer = 0, depth = 0, layout = 0;
    glCreateProgramPipelines(1, &pipeline);
    glUseProgramStages(pipeline, GL_VERTEX_SHADER_BIT, program);
    glCreateVertexArrays(1, &layout);
    glCreateRenderbuffers(1, &depth);
    glNamedRenderbufferStorage(depth, GL_DEPTH24_STENCIL8, 1, 1);
    glCreateFramebuffers(1, &framebuffer);
    glNamedFramebufferRenderbuffer(framebuffer, GL_DEPTH_STENCIL_ATTACHMENT, GL_RENDERBUFFER, depth);
    glNamedFramebufferDrawBuffer(framebuffer, GL_NONE);
    glNamedFramebufferReadBuffer(framebuffer, GL_NONE);

    constexpr float kUnits = 1 << 20;
    glBindProgramPipeline(pipeline);
    glBindVertexArray(layout);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    for (GLenum const what :
         {GL_SCISSOR_TEST, GL_CULL_FACE, GL_STENCIL_TEST, GL_SAMPLE_MASK, GL_CLIP_DISTANCE0, GL_CLIP_DISTANCE1,
          GL_CLIP_DISTANCE2, GL_CLIP_DISTANCE3, GL_CLIP_DISTANCE4, GL_CLIP_DISTANCE5})
        glDisable(what);
    glViewportIndexedf(0, 0, 0, 1, 1);
    glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
    glEnable(GL_DEPTH_TEST);
    glDepthMask(GL_TRUE);
    glDepthFunc(GL_ALWAYS);
    glEnable(GL_POLYGON_OFFSET_FILL);
    glPolygonOffset(0, kUnits);
    glDrawArrays(GL_TRIANGLES, 0, 3);
    float moved = 0;
    glReadPixels(0, 0, 1, 1, GL_DEPTH_COMPONENT, GL_FLOAT, &moved);

    glBindProgramPipeline(m_pipeline);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glBindVertexArray(0);
    glDeleteProgramPipelines(1, &pipeline);
    glDeleteProgram(program);
    glDeleteFramebuffers(1, &framebuffer);
    glDeleteRenderbuffers(1, &depth);
    glDeleteVertexArrays(1, &layout);
    m_dirty = kUseAll;

    float const step = (moved - 0.5f) / kUnits;
    if (step > kExpectedStep / 8 && step < kExpectedStep * 8) return step;
    GL_LOG(LOG_WARNING, "The unit of depth offsets cannot be told, so that of 24 bits is taken");
    return kExpectedStep;
}
} // namespace qk3d::gl
