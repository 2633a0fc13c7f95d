// TestResource.h: a resource that writes its hooks down and fails, throws or does something else in them as told.
#pragma once

#include "QK3DResource.h"
#include "QK3DResourceManager.h"
#include <functional>
#include <set>
#include <stdexcept>
#include <vector>

namespace qk3d {
/// What all resources of one manager are told, and what they did.
struct HookBook {
    std::string journal; // "name.hook " for each hook, "~name " for each destruction
    std::set<std::string> failing;
    std::set<std::string> throwing;
    std::function<void(std::string const& event)> onHook; // runs inside the hook, with "name.hook"

    bool Run(std::string const& name, std::string const& hook) {
        journal += name + "." + hook + " ";
        if (onHook) onHook(name + "." + hook);
        if (throwing.contains(hook)) throw std::runtime_error(hook);
        return !failing.contains(hook);
    }
    std::string Take() { return std::exchange(journal, std::string()); }
};

class CTestResource : public CResource {
public:
    CTestResource(HookBook& book, CResourceManager* manager, string const& path, string const& name, bool isManual,
                  CSharePtr<CResourceLoader>& loader)
        : CResource(manager, path, name, isManual, loader), m_book(book) {}
    ~CTestResource() override {
        m_book.journal += "~" + m_name + " ";
        if (m_book.onHook) m_book.onHook("~" + m_name);
    }

    bool SetFromParameter(Json::Value const&) override { return true; }
    bool FormatToParameter(Json::Value&) const override { return true; }
    CFileSystem const* GetFileSystem() const { return m_fileSystem; }

    std::vector<ResourceSharePtr> m_holds; // other resources, as a pass holds textures

protected:
    void _CopyImpl(CResource* target) override { m_book.Run(m_name, "copy to " + target->GetName()); }
    bool _PrepareImpl() override { return m_book.Run(m_name, "prepare"); }
    bool _UnPrepareImpl() override { return m_book.Run(m_name, "unprepare"); }
    bool _LoadImpl() override { return m_book.Run(m_name, "load"); }
    bool _UnloadImpl() override { return m_book.Run(m_name, "unload"); }

    HookBook& m_book;
};

class CTestManager : public CResourceManager {
public:
    explicit CTestManager(HookBook& book) : m_book(book) {}
    string GetResourceTypeName() const override { return "Test"; }

    ResourceSharePtr Make(string const& name, bool isManual = false) {
        return CreateResource(string(), name, isManual, CSharePtr<CResourceLoader>::GetNullSharePtr());
    }
    string Names() {
        string names;
        for (auto it = EnumResourceBegin(); it != EnumResourceEnd(); ++it) names += it->first + " ";
        return names;
    }

    std::function<void()> onCreate; // runs before the resource is made
    bool refusesToCreate = false;

protected:
    CResource* _CreateResourceImpl(string const& path, string const& name, bool isManual,
                                   CSharePtr<CResourceLoader>& loader) override {
        if (onCreate) std::exchange(onCreate, nullptr)();
        return refusesToCreate ? nullptr : new CTestResource(m_book, this, path, name, isManual, loader);
    }

    HookBook& m_book;
};

/// Keeps what nobody holds, as the manager of programs does.
class CKeepingManager : public CTestManager {
public:
    using CTestManager::CTestManager;

protected:
    void _NotifyResourceRelease(ResourceSharePtr const&, int) override {}
};
} // namespace qk3d
