// QK3DVertexDeclaration.h: how a vertex lies in its streams.
#pragma once

#include "QK3DExport.h"
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

namespace qk3d {
class CRenderSystem;

enum EVertexElementType : unsigned int {
    VET_FLOAT1 = 1,
    VET_FLOAT2 = 2,
    VET_FLOAT3 = 3,
    VET_FLOAT4 = 4,
    VET_COLOR = 5, ///< packed, in the order of the device
    VET_SHORT1 = 6,
    VET_SHORT2 = 7,
    VET_SHORT3 = 8,
    VET_SHORT4 = 9,
    VET_UBYTE4 = 10,
    VET_COLOR_ARGB = 11,
    VET_COLOR_ABGR = 12
};

enum EVertexElementSemantic : unsigned int {
    VES_POINTSIZE = 0,
    VES_POSITION = 1, ///< of type VET_FLOAT4 it is transformed already: x and y in pixels, z, 1/w
    VES_BLENDWEIGHTS = 2,
    VES_BLENDINDICES = 3,
    VES_NORMAL = 4,
    VES_DIFFUSE = 5,
    VES_SPECULAR = 6,
    VES_TEXCOORD = 7,
    VES_TANGENT = 8
};

inline constexpr unsigned int kVertexElementSemanticNum = 9;

/// 0 for a value that is no type.
QK3D_API unsigned short VertexElementTypeSizeInBytes(EVertexElementType type);

/// One field of a vertex. Declarations make them.
class QK3D_API CVertexElement {
public:
    /// The address of this field in the vertex at `base`.
    void BaseVertexPointerToElement(void* base, void*& element) const {
        element = static_cast<std::byte*>(base) + m_offset;
    }

    unsigned short GetSource() const { return m_source; }
    unsigned short GetOffset() const { return m_offset; }
    unsigned short GetElementSize() const { return m_size; }
    EVertexElementType GetType() const { return m_type; }
    EVertexElementSemantic GetSemantic() const { return m_semantic; }

    /// Which element of its semantic this is, from 0, over all streams.
    unsigned short GetIndex() const { return m_index; }

protected:
    friend class CVertexDeclaration;

    CVertexElement(unsigned short source, unsigned short offset, unsigned short size, EVertexElementType type,
                   EVertexElementSemantic semantic, unsigned short index);

    unsigned short m_source;
    unsigned short m_offset; ///< bytes from the start of the stream's vertex
    unsigned short m_size;
    EVertexElementType m_type;
    EVertexElementSemantic m_semantic;
    unsigned short m_index;
};

/// The fields of a vertex, in order of adding. In each stream they lie without gaps.
class QK3D_API CVertexDeclaration {
public:
    CVertexDeclaration() = default;

    /// A copy has elements of its own, and no device object yet. Assignment keeps the device in step: the object of the
    /// old elements is released.
    CVertexDeclaration(CVertexDeclaration const& other);
    CVertexDeclaration& operator=(CVertexDeclaration const& other);
    virtual ~CVertexDeclaration();

    /// Appends a field to stream `source`. Null, with nothing changed, if the semantic is none of the nine, or if the
    /// stream or the whole vertex would pass 65535 bytes. An unknown type makes a field of 0 bytes. A device object
    /// made from the shorter declaration is released. The result lives as long as this declaration holds it.
    CVertexElement const* AddElement(unsigned short source, EVertexElementType type, EVertexElementSemantic semantic);

    /// Drops all elements, and the device object if there is one. Counts and sizes stay as they are.
    void Clear();

    /// For back-ends: notes the device object made for this declaration. When the declaration changes or goes, the
    /// owner hears _ReleaseVertexDeclaration; when the owner goes first, the handle is forgotten. Null and 0 take the
    /// note back.
    void SetHardwareDeclaration(CRenderSystem* owner, std::uintptr_t handle);
    CRenderSystem* GetHardwareOwner() const { return m_hardwareOwner; }
    std::uintptr_t GetHardwareDeclaration() const { return m_hardwareDeclaration; }

    std::vector<CVertexElement*> const& GetElements() const { return m_elements; }
    CVertexElement const* FindElementBySemantic(EVertexElementSemantic semantic, unsigned short index) const;
    unsigned int CountElementWithSemantic(EVertexElementSemantic semantic) const;

    /// Bytes of one vertex in that stream; 0 for a stream without elements.
    unsigned short GetSourceUnitSizeInByte(unsigned short source) const;

    /// Bytes of all elements of all streams.
    unsigned short GetVertexDataSizeInByte() const { return m_totalSize; }
    unsigned long long GetVertexElementNum() const { return m_elements.size(); }

protected:
    std::vector<CVertexElement*> m_elements; ///< owned
    unsigned short m_semanticCounts[kVertexElementSemanticNum] = {};
    std::map<unsigned short, unsigned short> m_sourceSizes;
    unsigned short m_totalSize = 0;
    CRenderSystem* m_hardwareOwner = nullptr; ///< not owned
    std::uintptr_t m_hardwareDeclaration = 0; ///< the owner's

private:
    void _ReleaseHardwareDeclaration();
};
} // namespace qk3d
