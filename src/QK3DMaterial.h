// QK3DMaterial.h: how a surface is drawn: a material is a list of techniques, a technique a list of passes.
#pragma once

#include "QK3DResource.h"
#include "QK3DResourceManager.h"
#include <vector>

namespace qk3d {
class CMaterial;
class CPass;

/// An ordered list of passes, drawn in that order. Owned by its material; CMaterial::CreateTechnique makes it.
class QK3D_API CTechnique : public qklib::ISerial {
public:
    CTechnique(CMaterial* parent, string const& name);

    /// A copy has passes of its own. Assignment replaces the passes and leaves the parent as it is.
    CTechnique(CTechnique const& other);
    CTechnique& operator=(CTechnique const& other);
    virtual ~CTechnique();

    /// Appends a pass, whose index is the number of passes before it; without a name it is named after the index.
    CPass* CreatePass(string const& name);
    CPass* CreatePass();

    /// Closes the gap; the indices of the later passes stay as they are. Nothing happens beyond the end.
    void DestroyPass(unsigned int index);
    void DestroyAllPass();

    /// Null beyond the end.
    CPass* GetPass(unsigned int index) { return index < m_passes.size() ? m_passes[index] : nullptr; }
    CPass const* GetPass(unsigned int index) const { return index < m_passes.size() ? m_passes[index] : nullptr; }
    unsigned int GetPassNum() const { return static_cast<unsigned int>(m_passes.size()); }
    CMaterial* GetParent() const { return m_parent; }

    void Load();
    void Unload();

    /// Appends a pass for each element of "Pass". False if `value` is no object or "Pass" no array.
    bool SetFromParameter(Json::Value const& value) override;
    bool FormatToParameter(Json::Value& out) const override;

protected:
    friend class CMaterial;

    string m_name;
    CMaterial* m_parent;          // not owned
    std::vector<CPass*> m_passes; // owned
};

/// A named, shared list of techniques, read from a script or built by code. Loading reads the script and loads what
/// the passes refer to; unloading destroys the techniques, also those built by code, which don't come back. `Copy` of
/// a material copies no techniques; copy construction, assignment and CopyFrom copy all of them whole.
class QK3D_API CMaterial : public CResource {
public:
    CMaterial(CResourceManager* manager, string const& path, string const& name, bool isManual,
              CSharePtr<CResourceLoader>& loader);
    CMaterial(CMaterial const& other);
    CMaterial& operator=(CMaterial const& other);
    ~CMaterial() override;

    /// Appends a technique; without a name it is named after the number of techniques before it, in decimal.
    CTechnique* CreateTechnique(string const& name);
    CTechnique* CreateTechnique();

    /// Closes the gap. Nothing happens beyond the end.
    void DestroyTechnique(unsigned int index);
    void DestroyAllTechnique();

    /// Null beyond the end.
    CTechnique* GetTechnique(unsigned int index) const {
        return index < m_techniques.size() ? m_techniques[index] : nullptr;
    }
    unsigned int GetTechniqueNum() const { return static_cast<unsigned int>(m_techniques.size()); }

    /// The first one; null if there is none.
    CTechnique* GetBestTechnique() const { return m_techniques.empty() ? nullptr : m_techniques.front(); }

    /// Replaces the techniques by copies of those of `other`. Pointers to the old ones are not valid after that.
    void CopyFrom(CMaterial const& other);

    /// Appends a technique for each element of "Technique". False if `value` is no object or has no "Technique".
    bool SetFromParameter(Json::Value const& value) override;
    bool FormatToParameter(Json::Value& out) const override;

protected:
    void _CopyImpl(CResource* target) override;
    bool _PrepareImpl() override;
    bool _UnPrepareImpl() override;
    bool _LoadImpl() override;
    bool _UnloadImpl() override;

    std::vector<CTechnique*> m_techniques; // owned
};

class QK3D_API CMaterialManager : public CResourceManager {
public:
    ~CMaterialManager() override;
    string GetResourceTypeName() const override;

protected:
    CResource* _CreateResourceImpl(string const& path, string const& name, bool isManual,
                                   CSharePtr<CResourceLoader>& loader) override;
};
} // namespace qk3d
