// EntityTest.cpp: meshes, and the entities that show them.
#include "AllocationCount.h"
#include "QK3DEntity.h"
#include "QK3DMain.h"
#include "QK3DMaterial.h"
#include "QK3DMesh.h"
#include "QK3DMeshManager.h"
#include "QK3DPass.h"
#include "QK3DRenderQueue.h"
#include "QK3DResourceSystem.h"
#include "QK3DSceneManager.h"
#include "QK3DSceneNode.h"
#include "RecordingRenderSystem.h"
#include <gtest/gtest.h>

using namespace qk3d;

namespace {
// Makes the wanted number of sub-meshes.
class Loader : public CResourceLoader {
public:
    unsigned int subMeshNum = 2;
    int loads = 0;
    bool isBroken = false;

    bool IsSupportResourceType(string const&) override { return true; }
    bool LoadResource(CResource* resource) override {
        ++loads;
        if (isBroken) return false;
        for (unsigned int i = 0; i < subMeshNum; ++i)
            static_cast<CMesh*>(resource)->CreateSubMesh(true)->SetMaterialName("m" + std::to_string(i));
        return true;
    }
};

using MeshPtr = _ResourceSharePtr<CMesh>;
using MaterialPtr = _ResourceSharePtr<CMaterial>;

class Entity : public ::testing::Test {
protected:
    CRecordingRenderSystem m_device;
    Loader* m_loader = new Loader;
    CSharePtr<CResourceLoader> m_loaderPtr{m_loader, qklib::PRM_DELETE};
    CEntity m_entity{"entity"};

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

TEST(Mesh, SubMeshesComeAndGoByIndex) {
    CSharePtr<CResourceLoader> none;
    CMesh mesh(nullptr, "", "mesh", true, none, nullptr);
    CSubMesh *a = mesh.CreateSubMesh(true), *b = mesh.CreateSubMesh(false);
    EXPECT_EQ(mesh.GetSubMesh(1), b);
    EXPECT_EQ(mesh.GetSubMesh(2), nullptr);
    mesh.DestroySubMesh(2);
    EXPECT_EQ(a->GetShapeType(), ST_TRIANGLELIST);

    CRenderOperation operation;
    b->GetRenderOperation(operation);
    EXPECT_EQ(operation.m_vertexData, nullptr); // asking makes nothing
    CVertexData* const own = b->GetVertexData();
    EXPECT_EQ(b->GetVertexData(), own);
    b->CreateIndexData();
    CIndexData* const index = b->GetIndexData();
    b->CreateIndexData();
    EXPECT_EQ(b->GetIndexData(), index);
    b->GetRenderOperation(operation);
    EXPECT_EQ(operation.m_indexData, index);
    EXPECT_FALSE(operation.m_useIndices); // there are none in it
    index->SetIndexNum(3);
    b->GetRenderOperation(operation);
    EXPECT_TRUE(operation.m_useIndices);

    EXPECT_EQ(a->GetVertexData(), nullptr);
    mesh.CreateShareVertexData()->SetVertexNum(7);
    CVertexData* const shared = mesh.CreateShareVertexData();
    EXPECT_EQ(shared->GetVertexNum(), 0u); // a new one
    EXPECT_EQ(a->GetVertexData(), shared);
    b->SetUseShareVertexData(true);
    EXPECT_EQ(b->GetVertexData(), shared);
    b->SetUseShareVertexData(false);
    b->GetRenderOperation(operation);
    EXPECT_EQ(operation.m_vertexData, nullptr); // the own one went
    mesh.DestroySubMesh(0);
    EXPECT_EQ(mesh.GetSubMesh(0), b);
}

TEST(Mesh, FollowsItsRenderSystem) {
    CRecordingRenderSystem one("one"), two("two");
    CSharePtr<CResourceLoader> none;
    MeshPtr mesh(new CMesh(nullptr, "", "mesh", false, none, nullptr));
    EXPECT_FALSE(mesh->Load());
    EXPECT_TRUE(mesh->SetRenderSystem(&one));
    EXPECT_TRUE(mesh->Load());
    mesh->CreateSubMesh(true);
    mesh->SetRenderSystem(&one);
    EXPECT_EQ(mesh->GetSubMeshNum(), 1u);
    mesh->SetRenderSystem(&two); // loaded again, from nothing
    EXPECT_EQ(mesh->GetLoadingState(), LOADSTATE_LOADED);
    EXPECT_EQ(mesh->GetSubMeshNum(), 0u);
    mesh->CreateShareVertexData();
    mesh->SetRenderSystem(nullptr);
    EXPECT_EQ(mesh->GetLoadingState(), LOADSTATE_PREPARED);
    EXPECT_EQ(mesh->GetShareVertexData(), nullptr);

    MeshPtr manual(new CMesh(nullptr, "", "manual", true, none, &one));
    manual->Load();
    manual->CreateSubMesh(true);
    manual->SetRenderSystem(&two);
    EXPECT_EQ(manual->GetSubMeshNum(), 1u); // keeps what code made
}

TEST(Mesh, TheManagerSetsTheRenderSystem) {
    CRecordingRenderSystem device;
    CSharePtr<CResourceLoader> none;
    CMeshManager manager;
    EXPECT_EQ(manager.GetResourceTypeName(), "CMesh");
    MeshPtr mesh = manager.CreateMesh("", "mesh", true, none, &device);
    ASSERT_TRUE(mesh != nullptr);
    EXPECT_EQ(mesh->GetRenderSystem(), &device);
    EXPECT_TRUE(manager.CreateMesh("", "mesh", true, none, &device) == nullptr); // the name is taken
}

TEST_F(Entity, LoadsItsMeshWhenItIsNeeded) {
    EXPECT_EQ(QueueSize(), 0u); // no mesh
    MeshPtr mesh = MakeMesh();
    m_entity.SetMesh(mesh);
    EXPECT_EQ(m_entity.GetSubEntityNum(), 0u);
    m_entity.SetVisible(false);
    EXPECT_EQ(QueueSize() + Draws(), 0u);
    EXPECT_EQ(m_loader->loads, 0);

    m_entity.Translation(1, 2, 3);
    m_entity.Update(false); // loads, invisible or not
    ASSERT_EQ(m_entity.GetSubEntityNum(), 2u);
    EXPECT_EQ(m_entity.GetSubEntity(1)->GetMaterialName(), "m1");
    Matrix44 world;
    m_entity.GetSubEntity(0)->GetWorldTransform(&world);
    EXPECT_EQ(world, m_entity.GetTransform());
    m_entity.SetVisible(true);
    EXPECT_EQ(QueueSize(), 2u);
    EXPECT_EQ(mesh->GetRenderSystem(), &m_device); // moved there, and so loaded once more
    EXPECT_EQ(m_loader->loads, 2);
    EXPECT_EQ(Draws(), 2u);
    EXPECT_EQ(m_loader->loads, 2);

    m_entity.GetSubEntity(0)->SetVisible(false);
    EXPECT_EQ(QueueSize(), 1u);
    EXPECT_EQ(Draws(), 2u); // direct drawing does not ask
    EXPECT_EQ(m_entity.GetSubEntity(2), nullptr);
    m_entity.DestroySubEntity(2);
    m_entity.DestroySubEntity(static_cast<CSubEntity*>(nullptr));
    m_entity.DestroySubEntity(m_entity.GetSubEntity(0));
    EXPECT_EQ(QueueSize(), 1u);
}

TEST_F(Entity, ConstructedWithAMeshItWaitsForSetMesh) {
    MeshPtr mesh = MakeMesh();
    CEntity entity("", mesh);
    EXPECT_EQ(m_loader->loads, 1);
    entity.Update(true);
    EXPECT_EQ(entity.GetSubEntityNum(), 0u);
    entity.SetMesh(mesh);
    EXPECT_EQ(entity.GetSubEntityNum(), 2u);

    CEntity copy(entity);
    EXPECT_EQ(copy.GetSubEntityNum(), 2u);
    EXPECT_NE(copy.GetSubEntity(0), entity.GetSubEntity(0)); // its own
    EXPECT_EQ(copy.GetSubEntity(0)->GetParent(), &copy);
    m_entity.CopyFrom(entity);
    EXPECT_EQ(m_entity.GetSubEntity(1)->GetParent(), &m_entity);
}

TEST_F(Entity, ABrokenMeshIsTriedAgainAtEachUpdate) {
    m_loader->isBroken = true;
    MeshPtr mesh = MakeMesh();
    m_entity.SetMesh(mesh);
    m_entity.Update(true);
    m_entity.Update(true);
    EXPECT_EQ(m_loader->loads, 2);
    EXPECT_EQ(m_entity.GetSubEntityNum(), 0u);
    m_loader->isBroken = false;
    m_entity.Update(false);
    EXPECT_EQ(m_entity.GetSubEntityNum(), 2u);
}

TEST_F(Entity, SubEntitiesOutliveTheirSubMesh) {
    MeshPtr mesh = MakeMesh();
    m_entity.SetMesh(mesh);
    m_entity.Update(true);
    CSubEntity* const first = m_entity.GetSubEntity(0);
    CSubEntity* const second = m_entity.GetSubEntity(1);
    m_entity._CreateSubEntity();
    second->SetSubMesh(mesh->GetSubMesh(0)); // two users of one
    mesh->DestroySubMesh(0);
    CRenderOperation operation;
    operation.m_useIndices = true;
    for (CSubEntity* sub : {first, second}) {
        EXPECT_EQ(sub->GetSubMesh(), nullptr);
        sub->GetRenderOperation(operation);
        EXPECT_EQ(operation.m_vertexData, nullptr);
        EXPECT_FALSE(operation.m_useIndices);
        EXPECT_EQ(operation.m_renderable, sub);
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

TEST_F(Entity, TheSameMeshAgainKeepsWhatCanBeKept) {
    MeshPtr mesh = MakeMesh();
    m_entity.SetMesh(mesh);
    m_entity.Update(true);
    CSubEntity* const first = m_entity.GetSubEntity(0);
    mesh->CreateSubMesh(true);
    m_entity.SetMesh(m_entity.GetMesh());
    EXPECT_EQ(m_entity.GetSubEntityNum(), 3u);
    EXPECT_EQ(m_entity.GetSubEntity(0), first);
    mesh->DestroySubMesh(0);
    mesh->DestroySubMesh(0);
    m_entity.SetMesh(mesh);
    EXPECT_EQ(m_entity.GetSubEntityNum(), 1u);
    EXPECT_EQ(first->GetSubMesh(), mesh->GetSubMesh(0));
    MeshPtr none;
    m_entity.SetMesh(none);
    EXPECT_EQ(m_entity.GetSubEntityNum(), 0u);
    m_entity._CreateSubEntity();
    m_entity.SetMesh(none); // none again: what was made by hand goes
    EXPECT_EQ(m_entity.GetSubEntityNum(), 0u);
}

TEST_F(Entity, SubEntitiesMoveOnTopOfTheEntity) {
    CSubEntity* const sub = m_entity._CreateSubEntity();
    sub->RotateY(0.5f);
    Matrix44 world;
    sub->GetWorldTransform(nullptr);
    sub->GetWorldTransform(&world);
    EXPECT_EQ(world, sub->GetTransform()); // an identity parent: exactly its own
    m_entity.Translation(1, 2, 3);
    sub->GetWorldTransform(&world); // updates the entity on its way
    EXPECT_EQ(world, sub->GetTransform() * m_entity.GetTransform());
    EXPECT_FALSE(m_entity.IsTransformChange());
    sub->SetTransform(Matrix44::IDENTITY);
    sub->UpdateWordMatrix(false);
    sub->GetWorldTransform(&world);
    EXPECT_EQ(world, m_entity.GetTransform());
    EXPECT_EQ(sub->GetSquaredViewDepth(nullptr, 0), 0);
}

TEST_F(Entity, MaterialsAreLookedUpWhileThereIsNone) {
    CResourceSystem& resources = CQK3DMain::GetResourceSystem();
    MaterialPtr material = resources.CreateResourceManual("CMaterial", "wood");
    ASSERT_TRUE(material != nullptr);
    material->Load();
    CTechnique* const technique = material->CreateTechnique();
    CSubEntity* const sub = m_entity._CreateSubEntity();
    EXPECT_EQ(sub->GetTechnique(), nullptr);
    sub->SetMaterialName("no such");
    EXPECT_EQ(sub->GetTechnique(), nullptr);
    sub->SetMaterialName("wood");
    EXPECT_EQ(sub->GetTechnique(), technique);
    m_entity.SetSubEntityMaterialName(""); // the name goes, the material stays
    EXPECT_EQ(sub->GetMaterialName(), "");
    EXPECT_EQ(sub->GetTechnique(), technique);

    MaterialPtr stone = resources.CreateResourceManual("CMaterial", "stone");
    m_entity.SetSubEntityMaterialName("stone");
    EXPECT_TRUE(sub->GetMaterial() == stone);
    EXPECT_EQ(sub->GetMaterialName(), ""); // set by its handle
    m_entity.SetSubEntityMaterial(material);
    EXPECT_TRUE(sub->GetMaterial() == material);
}

TEST_F(Entity, TheSceneMakesEntitiesWithMeshes) {
    CQK3DMain::GetQK3DMain(); // registers "CEntity"
    CResourceSystem& resources = CQK3DMain::GetResourceSystem();
    CSceneManager scene("scene");
    CEntity* const bare = scene.CreateEntity("CEntity", "bare", "CMesh", "nowhere.mesh", "");
    ASSERT_NE(bare, nullptr);
    EXPECT_EQ(bare->GetTypeName(), "CEntity");
    EXPECT_TRUE(bare->GetMesh() == nullptr);
    MeshPtr mesh = resources.CreateResourceManual("CMesh", "box");
    mesh->CreateSubMesh(true);
    mesh->Load();
    CEntity* const box = scene.CreateEntity("CEntity", "box", "CMesh", "file", "box");
    EXPECT_TRUE(box->GetMesh() == mesh);
    EXPECT_EQ(box->GetSubEntityNum(), 1u);
    EXPECT_EQ(scene.GetEntity("CEntity", "box"), box);
    ResourceSharePtr wrong = resources.CreateResourceManual("CMaterial", "paint");
    EXPECT_TRUE(scene.CreateEntity("CEntity", "odd", "CMaterial", "", "paint")->GetMesh() == nullptr);
    EXPECT_EQ(scene.CreateEntity("Unknown", "x", "CMesh", "", "box"), nullptr);
    EXPECT_NE(scene.CreateEntity("CEntity"), scene.CreateEntity("CEntity", ""));
    scene.DestroyEntity("CEntity", "box");
    EXPECT_EQ(scene.GetEntity("CEntity", "box"), nullptr);
}

TEST_F(Entity, AThirdFrameAllocatesNothing) {
    CSceneManager scene("scene");
    MaterialPtr material = CQK3DMain::GetResourceSystem().CreateResourceManual("CMaterial", "steel");
    material->CreateTechnique()->CreatePass();
    MeshPtr mesh = MakeMesh();
    CRenderQueue queue;
    std::vector<std::unique_ptr<CEntity>> entities;
    for (int i = 0; i < 100; ++i) {
        entities.push_back(std::make_unique<CEntity>(""));
        entities[i]->SetMesh(mesh);
        scene.GetRootSceneNode()->CreateChildSceneNode(std::to_string(i))->AttachMovableObject(entities[i].get());
    }
    m_device.CountOnly();
    auto const frame = [&] {
        scene.UpdateScene();
        queue.Clear();
        for (auto& entity : entities) entity->AddRenderableObjectToRenderQueue(queue, &m_device);
        queue.Sort(nullptr, 0);
        queue.Render(&m_device, 0);
    };
    frame();
    for (auto& entity : entities) entity->SetSubEntityMaterial(material);
    frame();
    AllocationCount const count;
    frame();
    EXPECT_EQ(count.Get(), 0u);
    EXPECT_EQ(m_device.CountOf("Render"), 3u * 200);
    entities.clear();
}
