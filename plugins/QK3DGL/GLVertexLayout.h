// GLVertexLayout.h: the device's form of a vertex declaration.
#pragma once

#include "GLDevice.h"
#include "GLFixedFunction.h"

#include <cstdint>
#include <vector>

namespace qk3d {
class CVertexDeclaration;
} // namespace qk3d

namespace qk3d::gl {

/// A vertex array object made from a declaration, with the buffers that were drawn from it last.
class GLVertexLayout final : public GLObject {
public:
    GLVertexLayout(GLDevice& device, CVertexDeclaration const& declaration);
    ~GLVertexLayout() override;

    struct Stream {
        unsigned source;
        GLsizei stride;
    };

    GLuint GetName() const { return m_name; }
    VertexFeatures const& GetFeatures() const { return m_features; }
    std::vector<Stream> const& GetStreams() const { return m_streams; }

    /// Before a draw: forgets which buffers are bound if any buffer was deleted since, as another may have its name.
    void BeginBinding();

    /// Bind a buffer to the n-th of GetStreams, and the indices. Only changes reach the device.
    void SetStreamBuffer(std::size_t stream, GLuint buffer);
    void SetIndexBuffer(GLuint buffer);

private:
    struct Attribute {
        GLuint location, stream, offset;
        GLint size;
        GLenum type;
        bool normalised, integer;
    };

    void _DropNames() override;
    bool _RestoreNames() override;

    VertexFeatures m_features;
    std::vector<Stream> m_streams;
    std::vector<Attribute> m_attributes;
    GLuint m_name = 0;
    std::vector<GLuint> m_streamBuffers;
    GLuint m_indexBuffer = 0;
    std::uint64_t m_deletions = 0;
};

} // namespace qk3d::gl
