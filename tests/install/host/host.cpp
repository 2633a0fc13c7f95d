#include "QK3D.h"

int main() {
    qk3d::CQK3DMain& engine = qk3d::CQK3DMain::GetQK3DMain();
    qk3d::CQK3DMain::GetPluginManager().SetDirPath(QK3D_PLUGIN_DIR);
    if (!engine.LoadPlugin("QK3DTrace.so", nullptr, 0)) return 1;
    qk3d::CRenderSystem* const device = engine.CreateRenderSystem("QK3DTrace", "main");
    bool const drawn = device && device->CreateRenderWindow("w", 64, 64, qk3d::PF_A8R8G8B8, false) &&
                       device->UpdateAllRenderTarget(1);
    engine.Clear();
    return drawn ? 0 : 2;
}
