#include "QK3D.h"
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>
using namespace qk3d;

// A window without a screen.
class CSmallWindow : public CRenderWindow {
public:
    using CRenderWindow::CRenderWindow;
    CSmallWindow(CRenderSystem* system, string const& name, unsigned int width, unsigned int height)
        : CRenderWindow(system, name, width, height, PF_A8R8G8B8, false) {}

protected:
    bool _CreateImpl() override { return true; }
    bool _ResetImpl(unsigned int, unsigned int, EPixelFormat) override { return true; }
    bool _CopyToTextureImpl(CTexture*, CBox const*, unsigned int, Vector2*) override { return false; }
    bool _CopyToRenderTargetImpl(CRenderTarget*, CBox const*, unsigned int, Vector2*) override { return false; }
};

// The smallest back-end that runs a frame: it keeps the states in arrays, and prints where a device would draw.
class CSmallSystem : public CRenderSystem {
public:
    explicit CSmallSystem(string const& name) : CRenderSystem(name) {
        CSharePtr<CResourceLoader> noLoader;
        m_baseline = std::make_unique<CRenderState>(nullptr, "", "baseline", true, noLoader);
        for (int i = 1; i <= 103; ++i) m_baseline->SetState(static_cast<CRenderState::EState>(i), 0);
        m_baseline->SetState(CRenderState::ZENABLE, 1);
        m_samplers = std::make_unique<CSamplerState>(nullptr, "", "baseline", true, noLoader);
        for (int i = 1; i <= 13; ++i) m_samplers->SetState(static_cast<CSamplerState::EState>(i), 0);
        m_stages = std::make_unique<CTextureState>(nullptr, "", "baseline", true, noLoader);
        for (int i = 1; i <= 19; ++i) m_stages->SetState(static_cast<CTextureState::EState>(i), nullptr);
    }
    ~CSmallSystem() override { Release(); } // while the overrides below can still be reached

    string GetTypeName() override { return "Small"; }
    bool IsDeviceReady() override { return true; }
    CHardwareBufferManager* GetHardwareBufferManager() override { return nullptr; }
    CRenderState const* GetDefaultRenderState() override { return m_baseline.get(); }
    CTextureState const* GetDefaultTextureState(unsigned int) override { return m_stages.get(); }
    CSamplerState const* GetDefaultSamplerState(unsigned int) override { return m_samplers.get(); }
    int GetTextureStageNum() override { return 1; }

    using CRenderSystem::SetTexture;
    void SetTexture(unsigned int, bool, CTexture const*) override {}
    void SetViewMatrix(Matrix44 const&) override {}
    void SetProjectionMatrix(Matrix44 const&) override {}
    void SetWorldMatrix(Matrix44 const&) override {}
    void _ReleaseVertexDeclaration(CVertexDeclaration*) override {}

    // All state setters, made from the lists that the engine makes its own from.
#define ROW(number, name, setter, ...) \
    void Set##setter(unsigned long value) override { m_states[number] = static_cast<std::uint32_t>(value); }
#include "QK3DRenderStateTable.inl"
#define ROW(number, name, setter, ...) void Set##setter(unsigned int, void*) override {}
#include "QK3DTextureStateTable.inl"
#define ROW(number, name, setter, ...) void Set##setter(unsigned int, unsigned long) override {}
#include "QK3DSamplerStateTable.inl"

    void Render(CRenderOperation const&) override {
        std::printf("draw with fill mode %u\n", static_cast<unsigned int>(m_states[CRenderState::FILLMODE]));
    }
    void ClearRenderTarget() override { std::printf("clear %s\n", GetActiveRenderTarget(0)->GetName().c_str()); }
    bool BeginFrame() override { return true; }
    bool EndFrame() override { return true; }
    bool PresentFrame() override { return true; }

protected:
    void _ReleaseImpl() override {}
    CRenderWindow* _CreateRenderWindowImpl(string const& name, unsigned int width, unsigned int height, EPixelFormat,
                                           bool) override {
        auto window = std::make_unique<CSmallWindow>(this, name, width, height);
        return window->Create() ? window.release() : nullptr;
    }
    CRenderTexture* _CreateRenderTextureImpl(_ResourceSharePtr<CTexture>&) override { return nullptr; }
    bool _SetViewportImpl(CViewport*) override { return true; }
    bool _SetRenderTargetImpl(unsigned int, CRenderTarget*) override { return true; }

    // No programs yet: refusing them leaves passes to the fixed functions.
    bool _CreateVertexShaderImpl(CGPUProgram*, void**) override { return false; }
    bool _CreatePixelShaderImpl(CGPUProgram*, void**) override { return false; }
    bool _CreateCommShaderImpl(CGPUProgram*, void**) override { return false; }
    void _ReleaseVertexShaderImpl(void*) override {}
    void _ReleasePixelShaderImpl(void*) override {}
    void _ReleaseCommShaderImpl(void*) override {}
    bool _SetVertexShaderImpl(void* shader) override { return !shader; }
    bool _SetPixelShaderImpl(void* shader) override { return !shader; }
    bool _SetCommShaderImpl(void* shader) override { return !shader; }
    void _ApplyDefaultParams(CGPUProgram*) override {}
    void _SetVertexShaderParam(void*, void*, void*, unsigned int) override {}
    void _SetPixelShaderParam(void*, void*, void*, unsigned int) override {}
    void _SetCommShaderParam(void*, void*, void*, unsigned int) override {}

private:
    std::unique_ptr<CRenderState> m_baseline;
    std::unique_ptr<CSamplerState> m_samplers;
    std::unique_ptr<CTextureState> m_stages;
    std::vector<std::uint32_t> m_states = std::vector<std::uint32_t>(104);
};

int main() {
    CQK3DMain& engine = CQK3DMain::GetQK3DMain();
    CQK3DMain::GetFactory().AddCreateRenderSystemFun("Small", [](char const* name, CRenderSystem** out) {
        if (out) *out = new CSmallSystem(name);
    });
    CRenderSystem* const device = engine.CreateRenderSystem("Small", "device");
    device->CreateRenderWindow("window", 320, 240, PF_A8R8G8B8, false);
    bool const drawn = device->UpdateAllRenderTarget(1);
    engine.Clear();
    return drawn ? 0 : 1;
}
