// FuzzStage.h: the engine around a target: a device that only counts, and a store in memory that all resources search.
#pragma once

#include "FuzzTargets.h"
#include "QK3DMain.h"
#include "QK3DMemFileSystem.h"
#include "QK3DResourceSystem.h"
#include "TraceRenderSystem.h"
#include <string>

namespace qk3d::fuzz {
/// Made once a process. The log is formed, and goes nowhere.
class Stage {
public:
    static Stage& Get();

    void Write(string const& path, Bytes bytes);
    void Delete(string const& path) { m_store->DeleteFileA(path); }

    /// Nothing may hold a resource any more once a target is through with its input.
    void RequireNoResource();

    CResourceSystem& resources = CQK3DMain::GetResourceSystem();
    CTraceRenderSystem device{"device"};

private:
    Stage();

    CMemFileSystem* m_store; // of the managers
};

inline string Text(Bytes bytes) { return string(bytes.begin(), bytes.end()); }
} // namespace qk3d::fuzz
