// QK3DMaterial.cpp: materials and techniques, and the script form of both.
#include "QK3DMaterial.h"

#include "QK3DLogInternal.h"
#include "QK3DPass.h"
#include "QK3DText.h"
#include "QKJson.h"
#include <memory>
#include <utility>

namespace qk3d {
namespace {
// Takes one out of a list of owned objects before it goes, so that its destruction finds the list in order.
template <class T>
void DestroyAt(std::vector<T*>& list, unsigned int index) {
    if (index >= list.size()) return;
    std::unique_ptr<T> const destroyed(list[index]);
    list.erase(list.begin() + index);
}

template <class T>
void DestroyAll(std::vector<T*>& list) {
    std::vector<T*> destroyed;
    destroyed.swap(list);
    for (T* const object : destroyed) delete object;
}

template <class T>
T* Append(std::vector<T*>& list, std::unique_ptr<T> object) {
    list.push_back(object.get()); // the step that can throw comes before the release
    return object.release();
}
} // namespace

CTechnique::CTechnique(CMaterial* parent, string const& name) : m_name(name), m_parent(parent) {}

CTechnique::CTechnique(CTechnique const& other) : CTechnique(other.m_parent, other.m_name) {
    for (CPass const* const pass : other.m_passes) Append(m_passes, std::make_unique<CPass>(*pass))->m_parent = this;
}

CTechnique& CTechnique::operator=(CTechnique const& other) {
    if (this == &other) return *this;
    CTechnique copy(other);
    m_name.swap(copy.m_name);
    m_passes.swap(copy.m_passes);
    for (CPass* const pass : m_passes) pass->m_parent = this;
    return *this;
}

CTechnique::~CTechnique() { DestroyAllPass(); }

CPass* CTechnique::CreatePass(string const& name) {
    return Append(m_passes, std::make_unique<CPass>(this, name, GetPassNum()));
}

CPass* CTechnique::CreatePass() { return Append(m_passes, std::make_unique<CPass>(this, GetPassNum())); }

void CTechnique::DestroyPass(unsigned int index) { DestroyAt(m_passes, index); }
void CTechnique::DestroyAllPass() { DestroyAll(m_passes); }

void CTechnique::Load() {
    for (std::size_t i = 0; i < m_passes.size(); ++i) m_passes[i]->Load();
}

void CTechnique::Unload() {
    for (std::size_t i = 0; i < m_passes.size(); ++i) m_passes[i]->Unload();
}

bool CTechnique::SetFromParameter(Json::Value const& value) {
    Json::Value const& passes = qklib::JsonMember(value, "Pass");
    if (!passes.isArray()) return false;
    for (Json::Value const& element : passes) {
        Json::Value const& name = qklib::JsonMember(element, "Name");
        CPass* const pass = name.isString() ? CreatePass(JsonToAnsi(name)) : CreatePass();
        pass->SetFromParameter(element);
    }
    return true;
}

bool CTechnique::FormatToParameter(Json::Value&) const { return true; }

CMaterial::CMaterial(CResourceManager* manager, string const& path, string const& name, bool isManual,
                     CSharePtr<CResourceLoader>& loader)
    : CResource(manager, path, name, isManual, loader) {}

CMaterial::CMaterial(CMaterial const& other) : CResource(other) { CopyFrom(other); }

CMaterial& CMaterial::operator=(CMaterial const& other) {
    CopyFrom(other);
    return *this;
}

CMaterial::~CMaterial() { DestroyAllTechnique(); }

CTechnique* CMaterial::CreateTechnique(string const& name) {
    return Append(m_techniques, std::make_unique<CTechnique>(this, name));
}

CTechnique* CMaterial::CreateTechnique() { return CreateTechnique(std::to_string(GetTechniqueNum())); }

void CMaterial::DestroyTechnique(unsigned int index) { DestroyAt(m_techniques, index); }
void CMaterial::DestroyAllTechnique() { DestroyAll(m_techniques); }

void CMaterial::CopyFrom(CMaterial const& other) {
    if (this == &other) return;
    std::vector<std::unique_ptr<CTechnique>> copies;
    for (CTechnique const* const technique : other.m_techniques) {
        copies.push_back(std::make_unique<CTechnique>(*technique));
        copies.back()->m_parent = this;
    }
    std::vector<CTechnique*> replaced;
    replaced.reserve(copies.size());
    for (auto& copy : copies) replaced.push_back(copy.release());
    replaced.swap(m_techniques);
    DestroyAll(replaced);
}

bool CMaterial::SetFromParameter(Json::Value const& value) {
    Json::Value const& techniques = qklib::JsonMember(value, "Technique");
    if (techniques.isNull()) return false;
    for (Json::Value const& element : techniques) {
        Json::Value const& name = qklib::JsonMember(element, "Name");
        CTechnique* const technique = name.isString() ? CreateTechnique(JsonToAnsi(name)) : CreateTechnique();
        technique->SetFromParameter(element);
    }
    return true;
}

bool CMaterial::FormatToParameter(Json::Value&) const { return true; }

void CMaterial::_CopyImpl(CResource*) {}
bool CMaterial::_PrepareImpl() { return true; }
bool CMaterial::_UnPrepareImpl() { return true; }

bool CMaterial::_LoadImpl() {
    if (m_path.empty()) return true;
    std::size_t const before = m_techniques.size();
    try {
        EScriptResult const result = _ReadScriptFile();
        if (result == SCRIPT_NOT_FOUND) QK_LOG(LOG_WARNING, "The Material File No Find : %s", m_path.c_str());
        if (result == SCRIPT_REFUSED) QK_LOG(LOG_WARNING, "The Material File Error : %s", m_path.c_str());
        if (result != SCRIPT_READ) return false;
        for (std::size_t i = 0; i < m_techniques.size(); ++i) m_techniques[i]->Load();
    } catch (...) { // the next Load reads the script again
        while (m_techniques.size() > before) DestroyTechnique(GetTechniqueNum() - 1);
        throw;
    }
    return true;
}

bool CMaterial::_UnloadImpl() {
    DestroyAllTechnique();
    return true;
}

CMaterialManager::~CMaterialManager() { QK_LOG(LOG_INFO, "CMaterialManager Destroy"); }
string CMaterialManager::GetResourceTypeName() const { return "CMaterial"; }

CResource* CMaterialManager::_CreateResourceImpl(string const& path, string const& name, bool isManual,
                                                 CSharePtr<CResourceLoader>& loader) {
    return new CMaterial(this, path, name, isManual, loader);
}
} // namespace qk3d
