// QK3DVertexDeclaration.cpp: the elements of a vertex and the tie to their device object.
#include "QK3DVertexDeclaration.h"

#include "QK3DRenderSystem.h"
#include <algorithm>
#include <limits>
#include <memory>

namespace qk3d {
namespace {
constexpr unsigned short kTypeSizes[] = {0, 4, 8, 12, 16, 4, 2, 4, 6, 8, 4, 4, 4};
} // namespace

unsigned short VertexElementTypeSizeInBytes(EVertexElementType type) {
    return type < std::size(kTypeSizes) ? kTypeSizes[type] : 0;
}

CVertexElement::CVertexElement(unsigned short source, unsigned short offset, unsigned short size,
                               EVertexElementType type, EVertexElementSemantic semantic, unsigned short index)
    : m_source(source), m_offset(offset), m_size(size), m_type(type), m_semantic(semantic), m_index(index) {}

// By way of the other constructor, so that the destructor runs if the copy throws.
CVertexDeclaration::CVertexDeclaration(CVertexDeclaration const& other) : CVertexDeclaration() { *this = other; }

CVertexDeclaration& CVertexDeclaration::operator=(CVertexDeclaration const& other) {
    if (this == &other) return *this;
    Clear();
    m_elements.reserve(other.m_elements.size());
    for (CVertexElement const* const element : other.m_elements) m_elements.push_back(new CVertexElement(*element));
    std::copy(std::begin(other.m_semanticCounts), std::end(other.m_semanticCounts), m_semanticCounts);
    m_sourceSizes = other.m_sourceSizes;
    m_totalSize = other.m_totalSize;
    return *this;
}

CVertexDeclaration::~CVertexDeclaration() { Clear(); }

CVertexElement const* CVertexDeclaration::AddElement(unsigned short source, EVertexElementType type,
                                                     EVertexElementSemantic semantic) {
    if (semantic >= kVertexElementSemanticNum) return nullptr;
    constexpr unsigned int kMax = std::numeric_limits<unsigned short>::max();
    unsigned short const size = VertexElementTypeSizeInBytes(type);
    unsigned short const offset = GetSourceUnitSizeInByte(source);
    unsigned short const index = m_semanticCounts[semantic];
    if (m_totalSize + size > kMax || index == kMax) return nullptr; // no stream is longer than the whole

    std::unique_ptr<CVertexElement> element(new CVertexElement(source, offset, size, type, semantic, index));
    unsigned short& sourceSize = m_sourceSizes[source]; // the two steps that can throw come first
    m_elements.push_back(element.get());
    sourceSize = static_cast<unsigned short>(offset + size);
    m_totalSize = static_cast<unsigned short>(m_totalSize + size);
    m_semanticCounts[semantic] = static_cast<unsigned short>(index + 1);
    _ReleaseHardwareDeclaration();
    return element.release();
}

void CVertexDeclaration::Clear() {
    for (CVertexElement const* const element : m_elements) delete element;
    m_elements.clear();
    _ReleaseHardwareDeclaration();
}

void CVertexDeclaration::_ReleaseHardwareDeclaration() {
    if (!m_hardwareOwner) return;
    m_hardwareOwner->_ReleaseVertexDeclaration(this); // may take its note back itself
    SetHardwareDeclaration(nullptr, 0);
}

void CVertexDeclaration::SetHardwareDeclaration(CRenderSystem* owner, std::uintptr_t handle) {
    if (owner != m_hardwareOwner) {
        if (owner) {
            _ReleaseHardwareDeclaration(); // of another device, which would never hear of it again
            owner->m_vertexDeclarations.insert(this);
        } else {
            m_hardwareOwner->m_vertexDeclarations.erase(this);
        }
        m_hardwareOwner = owner;
    }
    m_hardwareDeclaration = handle;
}

CVertexElement const* CVertexDeclaration::FindElementBySemantic(EVertexElementSemantic semantic,
                                                                unsigned short index) const {
    for (CVertexElement const* const element : m_elements)
        if (element->GetSemantic() == semantic && element->GetIndex() == index) return element;
    return nullptr;
}

unsigned int CVertexDeclaration::CountElementWithSemantic(EVertexElementSemantic semantic) const {
    return semantic < kVertexElementSemanticNum ? m_semanticCounts[semantic] : 0;
}

unsigned short CVertexDeclaration::GetSourceUnitSizeInByte(unsigned short source) const {
    auto const found = m_sourceSizes.find(source);
    return found != m_sourceSizes.end() ? found->second : 0;
}
} // namespace qk3d
