// GLVertexLayout.cpp: reads a declaration into attributes and keeps them in a vertex array object.
#include "GLVertexLayout.h"

#include "QK3DVertexDeclaration.h"

#include <algorithm>
#include <optional>

namespace qk3d::gl {
namespace {
struct ElementForm {
    GLint size;
    GLenum type;
    bool normalised;
};

// Packed colours are read as (r, g, b, a) whatever their order; whole numbers keep their value.
std::optional<ElementForm> FindForm(EVertexElementType type) {
    switch (type) {
    case VET_FLOAT1: return ElementForm{1, GL_FLOAT, false};
    case VET_FLOAT2: return ElementForm{2, GL_FLOAT, false};
    case VET_FLOAT3: return ElementForm{3, GL_FLOAT, false};
    case VET_FLOAT4: return ElementForm{4, GL_FLOAT, false};
    case VET_COLOR:
    case VET_COLOR_ARGB: return ElementForm{GL_BGRA, GL_UNSIGNED_BYTE, true};
    case VET_COLOR_ABGR: return ElementForm{4, GL_UNSIGNED_BYTE, true};
    case VET_SHORT1: return ElementForm{1, GL_SHORT, false};
    case VET_SHORT2: return ElementForm{2, GL_SHORT, false};
    case VET_SHORT3: return ElementForm{3, GL_SHORT, false};
    case VET_SHORT4: return ElementForm{4, GL_SHORT, false};
    case VET_UBYTE4: return ElementForm{4, GL_UNSIGNED_BYTE, false};
    }
    return std::nullopt;
}

bool IsWhole(GLenum type) { return type != GL_FLOAT; }

// Where an element goes; none for a second position and the like, which no program reads.
std::optional<GLuint> FindLocation(CVertexElement const& element) {
    unsigned const index = element.GetIndex();
    switch (element.GetSemantic()) {
    case VES_TEXCOORD: return index < kTexCoordSets ? std::optional<GLuint>(kTexCoordLocation + index) : std::nullopt;
    case VES_DIFFUSE:
        // Some vertices call their second colour a second diffuse one.
        return index == 0   ? std::optional<GLuint>(kDiffuseLocation)
               : index == 1 ? std::optional<GLuint>(kSpecularLocation)
                            : std::nullopt;
    default: break;
    }
    if (index != 0) return std::nullopt;
    switch (element.GetSemantic()) {
    case VES_POSITION: return kPositionLocation;
    case VES_BLENDWEIGHTS: return kBlendWeightsLocation;
    case VES_BLENDINDICES: return kBlendIndicesLocation;
    case VES_NORMAL: return kNormalLocation;
    case VES_SPECULAR: return kSpecularLocation;
    case VES_POINTSIZE: return kPointSizeLocation;
    case VES_TANGENT: return kTangentLocation;
    default: return std::nullopt;
    }
}

void NoteFeature(VertexFeatures& features, GLuint location, ElementForm const& form) {
    auto const components = static_cast<std::uint8_t>(form.size == GL_BGRA ? 4 : form.size);
    switch (location) {
    case kPositionLocation: features.preTransformed = components == 4 && form.type == GL_FLOAT; break;
    case kBlendWeightsLocation: features.blendWeights = components; break;
    case kBlendIndicesLocation: features.blendIndices = true; break;
    case kNormalLocation: features.normal = true; break;
    case kDiffuseLocation: features.diffuse = true; break;
    case kSpecularLocation: features.specular = true; break;
    case kPointSizeLocation: features.pointSize = true; break;
    case kTangentLocation: break;
    default: {
        unsigned const set = location - kTexCoordLocation;
        features.texCoordSize[set] = components;
        features.texCoordSets = static_cast<std::uint8_t>(std::max<unsigned>(features.texCoordSets, set + 1));
    }
    }
}
} // namespace

GLVertexLayout::GLVertexLayout(GLDevice& device, CVertexDeclaration const& declaration)
    : GLObject(device, Order::Contents) {
    for (CVertexElement const* const element : declaration.GetElements()) {
        auto const form = FindForm(element->GetType());
        auto const location = FindLocation(*element);
        if (!form || !location) continue;
        bool const integer = *location == kBlendIndicesLocation;
        if (integer && (!IsWhole(form->type) || form->size == GL_BGRA)) continue;
        bool const taken = std::any_of(m_attributes.begin(), m_attributes.end(),
                                       [&](Attribute const& other) { return other.location == *location; });
        if (taken) continue;

        auto stream = std::find_if(m_streams.begin(), m_streams.end(),
                                   [&](Stream const& one) { return one.source == element->GetSource(); });
        if (stream == m_streams.end()) {
            m_streams.push_back({element->GetSource(), declaration.GetSourceUnitSizeInByte(element->GetSource())});
            stream = m_streams.end() - 1;
        }
        m_attributes.push_back({*location, static_cast<GLuint>(stream - m_streams.begin()), element->GetOffset(),
                                form->size, form->type, form->normalised, integer});
        NoteFeature(m_features, *location, *form);
    }
    _RestoreNames();
}

GLVertexLayout::~GLVertexLayout() {
    if (UseDevice()) _DropNames();
}

void GLVertexLayout::_DropNames() {
    glDeleteVertexArrays(1, &m_name);
    m_name = 0;
}

bool GLVertexLayout::_RestoreNames() {
    m_streamBuffers.assign(m_streams.size(), 0);
    m_indexBuffer = 0;
    if (!UseDevice()) return false;
    glCreateVertexArrays(1, &m_name);
    for (auto const& attribute : m_attributes) {
        glEnableVertexArrayAttrib(m_name, attribute.location);
        if (attribute.integer)
            glVertexArrayAttribIFormat(m_name, attribute.location, attribute.size, attribute.type, attribute.offset);
        else
            glVertexArrayAttribFormat(m_name, attribute.location, attribute.size, attribute.type,
                                      attribute.normalised ? GL_TRUE : GL_FALSE, attribute.offset);
        glVertexArrayAttribBinding(m_name, attribute.location, attribute.stream);
    }
    return true;
}

void GLVertexLayout::BeginBinding() {
    if (m_deletions == m_device->GetDeletionCount()) return;
    m_deletions = m_device->GetDeletionCount();
    m_streamBuffers.assign(m_streams.size(), 0);
    m_indexBuffer = 0;
}

void GLVertexLayout::SetStreamBuffer(std::size_t stream, GLuint buffer) {
    if (m_streamBuffers[stream] == buffer) return;
    m_streamBuffers[stream] = buffer;
    glVertexArrayVertexBuffer(m_name, static_cast<GLuint>(stream), buffer, 0, m_streams[stream].stride);
}

void GLVertexLayout::SetIndexBuffer(GLuint buffer) {
    if (m_indexBuffer == buffer) return;
    m_indexBuffer = buffer;
    glVertexArrayElementBuffer(m_name, buffer);
}
} // namespace qk3d::gl
