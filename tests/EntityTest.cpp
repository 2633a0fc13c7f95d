// EntityTest.cpp: meshes, and the entities that show them.
#include "AllocationCount.h"
#include "QK3D.h"
#include "RecordingRenderSystem.h"
#include "TestFiles.h"
#include <deque>
#include <gtest/gtest.h>

using namespace qk3d;

namespace {
// Makes two sub-meshes.
struct Loader : CResourceLoader {
    bool IsSupportResourceType(string const&) override { return true; }
    bool LoadResource(CResource* resource) override {
        ++loads;
        for (char const* material : {"m0", "m1"})
            if (!isBroken) static_cast<CMesh*>(resource)->CreateSubMesh(true)->SetMaterialName(material);
        return !isBroken;
    }

    int loads = 0;
    bool isBroken = false;
};

using MeshPtr = _ResourceSharePtr<CMesh>;
using MaterialPtr = _ResourceSharePtr<CMaterial>;

class Entity : public ::testing::Test {
protected:
    CRecordingRenderSystem m_device;
    Loader* m_loader = new Loader;
    CSharePtr<CResourceLoader> m_loaderPtr{m_loader, qklib::PRM_DELETE};
    CEntity m_entity{"entity"};
    CResourceSystem& m_resources = CQK3DMain::GetResourceSystem();

    // Not manual and in no manager: it is loaded when it is first needed.
    MeshPtr MakeMesh() { return MeshPtr(new CMesh(nullptr, "", "mesh", false, m_loaderPtr, nullptr)); }

    std::size_t QueueSize() {
        CRenderQueue queue;
        m_entity.AddRenderableObjectToRenderQueue(queue, &m_device);
        return queue.GetOpaqueCollection().GetRenderablePassNum();
    }
    std::size_t Draws() {
        m_device.ResetCounts();
        m_entity.RenderRenderableObject(&m_device, 0);
        return m_device.CountOf("Render");
    }
};
} // namespace

TEST_F(Entity, LoadsItsMeshWhenItIsNeeded) {
    EXPECT_EQ(QueueSize(), 0u); // no mesh
    MeshPtr mesh = MakeMesh();
    m_entity.SetMesh(mesh);
    m_entity.SetVisible(false);
    EXPECT_EQ(QueueSize() + Draws(), 0u);
    for (bool const isBroken : {true, true, false}) { // tried again at each update, invisible or not
        m_loader->isBroken = isBroken;
        m_entity.Update(false);
        EXPECT_EQ(m_entity.GetSubEntityNum(), isBroken ? 0u : 2u);
    }
    EXPECT_EQ(m_loader->loads, 3);
    m_entity.SetVisible(true);
    EXPECT_EQ(QueueSize(), 2u);
    EXPECT_EQ(m_loader->loads, 4); // moved to the device
    m_entity.GetSubEntity(0)->SetVisible(false);
    EXPECT_EQ(QueueSize(), 1u);
    EXPECT_EQ(Draws(), 2u); // direct drawing does not ask
    m_entity.DestroySubEntity(2);
    m_entity.DestroySubEntity(m_entity.GetSubEntity(0));
    EXPECT_EQ(m_entity.GetSubEntity(0)->GetMaterialName(), "m1");
    CEntity copy(m_entity);
    EXPECT_EQ(copy.GetSubEntity(0)->GetParent(), &copy);
}

TEST_F(Entity, SubEntitiesOutliveTheirSubMesh) {
    MeshPtr mesh = MakeMesh();
    m_entity.SetMesh(mesh);
    m_entity.Update(true);
    CSubEntity *first = m_entity.GetSubEntity(0), *second = m_entity.GetSubEntity(1);
    m_entity._CreateSubEntity();
    second->SetSubMesh(mesh->GetSubMesh(0)); // two users of one
    mesh->DestroySubMesh(0);
    CRenderOperation operation;
    operation.m_useIndices = true;
    for (CSubEntity* sub : {first, second}) {
        sub->GetRenderOperation(operation);
        EXPECT_EQ(operation.m_vertexData, nullptr);
        EXPECT_FALSE(operation.m_useIndices);
    }
    m_entity.Update(true);
    EXPECT_EQ(first->GetSubMesh(), nullptr); // one that lost its own is not given another's

    mesh->Unload();
    m_entity.Update(false); // all new
    EXPECT_EQ(m_entity.GetSubEntityNum(), 2u);
    EXPECT_EQ(m_entity.GetSubEntity(0)->GetSubMesh(), mesh->GetSubMesh(0));

    // Moved and unloaded, then drawn through a sub-entity, which the update inside replaces.
    mesh->Unload();
    m_entity.Translation(1, 0, 0);
    m_entity.GetSubEntity(0)->Render(&m_device, 0);
    EXPECT_EQ(m_entity.GetSubEntityNum(), 2u);
}

TEST_F(Entity, EntitiesThatShareAMeshAllGetTheirParts) {
    MeshPtr mesh = MakeMesh();
    CEntity other("other");
    m_entity.SetMesh(mesh);
    other.SetMesh(mesh);
    m_entity.Update(true); // loads it for both
    other.Update(true);
    ASSERT_EQ(other.GetSubEntityNum(), 2u);
    EXPECT_EQ(QueueSize(), 2u); // moves the mesh to the device, so all its parts are new
    CSubEntity* const kept = other.GetSubEntity(0);
    EXPECT_EQ(kept->GetSubMesh(), nullptr);
    for (CEntity* entity : {&m_entity, &other}) {
        entity->Update(false);
        EXPECT_EQ(entity->GetSubEntity(1)->GetSubMesh(), mesh->GetSubMesh(1));
    }
    EXPECT_EQ(other.GetSubEntity(0), kept); // with whatever material it has
}

TEST_F(Entity, SubEntitiesMoveOnTopOfTheEntityAndLookForAMaterialWhileThereIsNone) {
    CSubEntity* const sub = m_entity._CreateSubEntity();
    sub->RotateY(0.5f);
    m_entity.Translation(1, 2, 3);
    Matrix44 world;
    sub->GetWorldTransform(&world); // updates the entity on its way
    EXPECT_EQ(world, sub->GetTransform() * m_entity.GetTransform());

    MaterialPtr wood = m_resources.CreateResourceManual("CMaterial", "wood");
    wood->Load();
    CTechnique* const technique = wood->CreateTechnique();
    for (char const* const name : {"no such", "wood", ""}) { // with an empty one the material stays
        sub->SetMaterialName(name);
        EXPECT_EQ(sub->GetTechnique(), name[0] == 'n' ? nullptr : technique) << name;
    }
}

TEST_F(Entity, AThirdFrameAllocatesNothing) {
    CSceneManager scene("scene");
    MaterialPtr material = m_resources.CreateResourceManual("CMaterial", "steel");
    material->CreateTechnique()->CreatePass();
    MeshPtr mesh = MakeMesh();
    CRenderQueue queue;
    std::deque<CEntity> entities;
    for (int i = 0; i < 100; ++i) {
        entities.emplace_back("").SetMesh(mesh);
        scene.GetRootSceneNode()->CreateChildSceneNode(std::to_string(i))->AttachMovableObject(&entities[i]);
    }
    m_device.CountOnly();
    auto const frame = [&] {
        scene.UpdateScene();
        queue.Clear();
        for (CEntity& entity : entities) entity.AddRenderableObjectToRenderQueue(queue, &m_device);
        queue.Sort(nullptr, 0);
        queue.Render(&m_device, 0);
    };
    frame();
    for (CEntity& entity : entities) entity.SetSubEntityMaterial(material);
    frame();
    AllocationCount const count;
    frame();
    EXPECT_EQ(count.Get(), 0u);
    EXPECT_EQ(m_device.CountOf("Render"), 3u * 200);
}
