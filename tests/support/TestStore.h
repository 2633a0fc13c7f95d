// TestStore.h: a store that all resource managers search while a test runs.
#pragma once

#include "QK3DFileSystem.h"
#include "QK3DMain.h"
#include "QK3DResourceManager.h"
#include "QK3DResourceSystem.h"

namespace qk3d {
/// Puts a store before all others of the managers that read scripts, in the engine's own resource system, and takes it
/// out again with all resources.
class CTestStore {
public:
    explicit CTestStore(CFileSystem* store) : m_store(store, qklib::PRM_DELETE) {
        CQK3DMain::GetQK3DMain();
        for (char const* type : kTypes) Resources().GetResourceManager(type)->AddFileSystem("A", m_store);
    }
    CTestStore(CTestStore const&) = delete;
    CTestStore& operator=(CTestStore const&) = delete;
    ~CTestStore() {
        Resources().DestroyAllResources();
        for (char const* type : kTypes) Resources().GetResourceManager(type)->RemoveFileSystem("A");
    }

    CFileSystem& operator*() { return *m_store; }
    CFileSystem* operator->() { return m_store; }

private:
    static constexpr char const* kTypes[] = {"CMaterial",     "CTexture",      "CRenderState",
                                             "CTextureState", "CSamplerState", "CGPUProgram"};

    static CResourceSystem& Resources() { return CQK3DMain::GetResourceSystem(); }

    CSharePtr<CFileSystem> m_store;
};
} // namespace qk3d
