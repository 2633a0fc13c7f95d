// Loads a material script from memory. One of its blocks is made by code, and the script finds it by name.
#include "QK3DMain.h"
#include "QK3DMaterial.h"
#include "QK3DMemFileSystem.h"
#include "QK3DPass.h"
#include "QK3DRenderState.h"
#include "QK3DResourceSystem.h"

#include <cstdio>

using namespace qk3d;

int main() {
    CQK3DMain::GetQK3DMain(); // the names of states are known from here on
    CResourceSystem& resources = CQK3DMain::GetResourceSystem();
    CSharePtr<CResourceLoader> noLoader;

    CSharePtr<CFileSystem> files(new CMemFileSystem, qklib::PRM_DELETE);
    files->WriteStringToNewFile("wall.json", string(R"({"Technique": [{"Pass": [
        {"RenderState": {"Name": "glow", "UseExist": true}}, {"RenderState": {"CULLMODE": "NONE"}}]}]})"));
    resources.GetResourceManager("CMaterial")->AddFileSystem("memory", files);

    // It lives as long as somebody holds a handle: this one, and then the pass.
    _ResourceSharePtr<CRenderState> glow = resources.CreateResource("CRenderState", "", "glow", false, noLoader);
    glow->SetState(CRenderState::ZENABLE, 0);

    _ResourceSharePtr<CMaterial> wall = resources.CreateResource("CMaterial", "wall.json", "wall", false, noLoader);
    if (!wall || !wall->Load()) return 1;
    CTechnique* const technique = wall->GetBestTechnique();
    std::printf("%u passes\n", technique->GetPassNum());
    bool const isShared = technique->GetPass(0)->GetRenderState() == glow;
    bool const isRead = technique->GetPass(1)->GetRenderState()->GetState(CRenderState::CULLMODE) == 1;
    return isShared && isRead ? 0 : 1;
}
