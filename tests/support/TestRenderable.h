// TestRenderable.h: an object that is drawn, and writes down when.
#pragma once

#include "QK3DMatrix.h"
#include "QK3DRenderOperation.h"
#include "QK3DRenderableObject.h"
#include <functional>

namespace qk3d {
/// Writes "name " before it is drawn, and "/name " after.
class CTestRenderable : public CRenderableObject {
public:
    explicit CTestRenderable(std::string* log = nullptr, std::string name = {}, float depth = 0)
        : depth(depth), m_log(log), m_name(std::move(name)) {}

    float depth;
    CTechnique* technique = nullptr;
    bool isRefusing = false;      // to be drawn
    std::function<void()> onDraw; // before it is drawn
    mutable int depthQuestions = 0;

    CTechnique* GetTechnique() override { return technique; }
    void GetWorldTransform(Matrix44* out) const override { *out = MatBuildTranslation(1, 2, 3); }
    float GetSquaredViewDepth(CCamera*, long long) const override {
        ++depthQuestions;
        return depth;
    }
    void GetRenderOperation(CRenderOperation& out) const override { out.m_renderable = this; }

private:
    bool _PerRenderImpl(CRenderSystem*, long long) override {
        if (m_log) *m_log += m_name + " ";
        if (onDraw) onDraw();
        return !isRefusing;
    }
    void _PostRenderImpl(CRenderSystem*, long long) override {
        if (m_log) *m_log += "/" + m_name + " ";
    }

    std::string* m_log;
    std::string m_name;
};
} // namespace qk3d
