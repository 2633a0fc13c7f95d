// BenchStage.cpp: the materials and the mesh that the workloads draw.
#include "BenchStage.h"

#include "QK3DHardwareBufferManager.h"
#include "QK3DHardwareIndexBuffer.h"
#include "QK3DHardwareVertexBuffer.h"
#include "QK3DIndexData.h"
#include "QK3DVertexBufferBinding.h"
#include "QK3DVertexData.h"
#include "QK3DVertexDeclaration.h"

namespace bench {
using namespace qk3d;

_ResourceSharePtr<CMaterial> Stage::MakeMaterial(int number) {
    CResourceSystem& resources = CQK3DMain::GetResourceSystem();
    std::string const name = "bench" + std::to_string(number);

    _ResourceSharePtr<CTexture> texture(resources.CreateResourceManual("CTexture", name));
    texture->SetWidth(4);
    texture->SetHeight(4);
    texture->SetPixelFormat(PF_A8R8G8B8);

    _ResourceSharePtr<CRenderState> block(resources.CreateResourceManual("CRenderState", name));
    CRenderState::EState const states[] = {
        CRenderState::ZENABLE,  CRenderState::ZWRITEENABLE,  CRenderState::ZFUNC,   CRenderState::CULLMODE,
        CRenderState::SRCBLEND, CRenderState::DESTBLEND,     CRenderState::AMBIENT, CRenderState::ALPHAREF,
        CRenderState::FOGCOLOR, CRenderState::TEXTUREFACTOR, CRenderState::FOGEND,  CRenderState::BLENDFACTOR,
    };
    for (auto const state : states) block->SetState(state, static_cast<unsigned long>(1 + (number + state) % 3));

    _ResourceSharePtr<CMaterial> material(resources.CreateResourceManual("CMaterial", name));
    CPass* const pass = material->CreateTechnique()->CreatePass();
    pass->SetRenderState(block);
    pass->SetTexture(0, texture);
    material->Load(false);
    return material;
}

_ResourceSharePtr<CMesh> Stage::MakeBox() {
    CHardwareBufferManager* const buffers = m_device.GetHardwareBufferManager();
    auto vertices = buffers->CreateVertexBuffer(32, 24, CHardwareBuffer::HBU_STATIC_WRITEONLY, false, false);
    auto indices = buffers->CreateIndexBuffer(CHardwareIndexBuffer::IT_16BIT, 36, CHardwareBuffer::HBU_STATIC_WRITEONLY,
                                              false, false);
    vertices->Create();
    indices->Create();

    _ResourceSharePtr<CMesh> mesh(CQK3DMain::GetResourceSystem().CreateResourceManual("CMesh", "box"));
    mesh->SetRenderSystem(&m_device);
    CSubMesh* const part = mesh->CreateSubMesh(false);
    CVertexData* const data = part->GetVertexData();
    data->GetVertexDeclaration()->AddElement(0, VET_FLOAT3, VES_POSITION);
    data->GetVertexDeclaration()->AddElement(0, VET_FLOAT3, VES_NORMAL);
    data->GetVertexDeclaration()->AddElement(0, VET_FLOAT2, VES_TEXCOORD);
    data->GetVertexBufferBinding()->SetSource(0, vertices);
    data->SetVertexNum(24);
    part->CreateIndexData();
    part->GetIndexData()->SetIndexBuffer(indices);
    part->GetIndexData()->SetIndexNum(36);
    mesh->Load(false);
    return mesh;
}
} // namespace bench
