// GLDevice.cpp: the life of a device, its loss and its return.
#include "GLDevice.h"

#include "GLFixedFunction.h"
#include "GLLog.h"

#include <algorithm>

namespace qk3d::gl {

GLObject::GLObject(GLDevice& device, Order order) : m_device(&device), m_order(order), m_previous(device.m_newest) {
    (m_previous ? m_previous->m_next : device.m_objects) = this;
    device.m_newest = this;
}

GLObject::~GLObject() {
    if (!m_device) return;
    (m_previous ? m_previous->m_next : m_device->m_objects) = m_next;
    (m_next ? m_next->m_previous : m_device->m_newest) = m_previous;
}

GLDevice* GLObject::UseDevice() const { return m_device && m_device->Use() ? m_device : nullptr; }

std::unique_ptr<GLDevice> GLDevice::Create(Options const& options) {
    std::unique_ptr<GLDevice> device(new GLDevice(options));
    return device->Open() ? std::move(device) : nullptr;
}

GLDevice::~GLDevice() { End(); }

bool GLDevice::Open() {
    m_context = CreateContext(m_options);
    if (!m_context) return false;

    GLint value = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &value);
    m_maxTextureSize = static_cast<unsigned>(std::max(value, 0));
    GLint colourSamples = 0, depthSamples = 0;
    glGetIntegerv(GL_MAX_COLOR_TEXTURE_SAMPLES, &colourSamples);
    glGetIntegerv(GL_MAX_DEPTH_TEXTURE_SAMPLES, &depthSamples);
    m_maxSamples = static_cast<unsigned>(std::max(std::min(colourSamples, depthSamples), 0));
    m_canCompress = epoxy_has_gl_extension("GL_EXT_texture_compression_s3tc");
    m_maxAnisotropy = 1;
    if (epoxy_has_gl_extension("GL_EXT_texture_filter_anisotropic"))
        glGetFloatv(GL_MAX_TEXTURE_MAX_ANISOTROPY_EXT, &m_maxAnisotropy);

    // What never changes in a context of ours.
    glClipControl(GL_UPPER_LEFT, GL_ZERO_TO_ONE);
    glProvokingVertex(GL_FIRST_VERTEX_CONVENTION);
    glEnable(GL_PROGRAM_POINT_SIZE);
    // With row 0 on top, "lower left" is where the rows begin, so coordinates of a sprite grow downwards.
    glPointParameteri(GL_POINT_SPRITE_COORD_ORIGIN, GL_LOWER_LEFT);
    glEnable(GL_TEXTURE_CUBE_MAP_SEAMLESS);
    glFrontFace(GL_CW);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    // What a program reads of a vertex that has no such field.
    glVertexAttrib4f(kDiffuseLocation, 1, 1, 1, 1);
    glVertexAttrib4f(kSpecularLocation, 0, 0, 0, 1);
    glVertexAttrib4f(kPointSizeLocation, 1, 0, 0, 1);
    glVertexAttribI4ui(kBlendIndicesLocation, 0, 0, 0, 0);
    return true;
}

bool GLDevice::Use() { return !m_lost && m_context && m_context->MakeCurrent(); }

bool GLDevice::CheckForReset() {
    if (!Use()) return true;
    if (glGetGraphicsResetStatus() == GL_NO_ERROR) return false;
    GL_LOG(LOG_WARNING, "The graphics device was reset");
    Lose();
    return true;
}

void GLDevice::DropAllNames() {
    if (!m_context->MakeCurrent()) return;
    // Newest first: targets go before the textures they draw into.
    for (GLObject* object = m_newest; object; object = object->m_previous) object->_DropNames();
}

void GLDevice::Lose() {
    if (m_lost) return;
    DropAllNames();
    m_context.reset();
    m_lost = true;
}

bool GLDevice::Restore() {
    if (!m_lost) return true;
    if (!Open()) {
        m_context.reset();
        return false;
    }
    m_lost = false;
    bool complete = true;
    for (auto const order : {GLObject::Order::Contents, GLObject::Order::Targets})
        for (GLObject* object = m_objects; object; object = object->m_next)
            if (object->m_order == order) complete &= object->_RestoreNames();
    if (!complete) GL_LOG(LOG_WARNING, "Not everything came back with the graphics device");
    return true;
}

void GLDevice::End() {
    if (m_context) DropAllNames();
    while (GLObject* const object = m_objects) {
        m_objects = object->m_next;
        (m_objects ? m_objects->m_previous : m_newest) = nullptr;
        object->m_previous = object->m_next = nullptr;
        object->m_device = nullptr;
        object->_OnDeviceEnd();
    }
    m_context.reset();
}
} // namespace qk3d::gl
