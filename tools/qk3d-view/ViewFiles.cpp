// ViewFiles.cpp: puts a package in the place of the disk.
#include "ViewFiles.h"

#include "QK3DMain.h"
#include "QK3DOSFileSystem.h"
#include "QK3DPackageFileSystem.h"
#include "QK3DResourceManager.h"
#include "QK3DResourceSystem.h"
#include "QK3DText.h"
#include <algorithm>
#include <memory>
#include <vector>

namespace view {
using namespace qk3d;

/// A package in which names are looked for in folders, too, as the store of the disk does.
class CFolderPackage : public CPackageFileSystem {
public:
    void AddFolder(wstring const& folder) { m_folders.push_back(folder); }

    using CPackageFileSystem::MakeResourceAbsolutePath;
    bool MakeResourceAbsolutePath(wstring& path) const override {
        if (CPackageFileSystem::MakeResourceAbsolutePath(path)) return true;
        for (wstring const& folder : m_folders) {
            wstring inFolder = folder + L'\\' + path;
            if (!CPackageFileSystem::MakeResourceAbsolutePath(inFolder)) continue;
            path = inFolder;
            return true;
        }
        return false;
    }

private:
    std::vector<wstring> m_folders; // in the order in which they were added
};

namespace {
template <class Visit>
void ForEachManager(Visit&& visit) {
    CResourceSystem& resources = CQK3DMain::GetQK3DMain().GetResourceSystem(); // which the root fills when it is made
    for (char const* type :
         {"CMesh", "CTexture", "CMaterial", "CRenderState", "CTextureState", "CSamplerState", "CGPUProgram"})
        visit(*resources.GetResourceManager(type));
}

// A path in a package, whose top stands for the root of the disk.
string ToKey(std::string const& utf8) {
    return ToNarrow(utf8.substr(std::min(utf8.find_first_not_of('/'), utf8.size())));
}
} // namespace

CViewFiles::CViewFiles(std::string const& package) : m_packageFile(package) {
    if (package.empty()) return;
    string const path = FindFile(package);
    auto store = std::make_unique<CFolderPackage>();
    m_package = store.get();
    m_store = qklib::CSharePtr<CFileSystem>(store.release(), qklib::PRM_DELETE);
    if (!m_package->OpenPackage(path)) throw Failure("the package cannot be read: " + package);
    ForEachManager([&](CResourceManager& manager) {
        manager.RemoveAllFileSystem();
        manager.AddFileSystem("Package", m_store);
    });
}

void CViewFiles::AddFolder(std::string const& folder) {
    if (m_package) {
        m_package->AddFolder(AnsiToWide(ToKey(folder), "chs"));
        return;
    }
    string const narrow = ToNarrow(MakeAbsolute(folder));
    ForEachManager([&](CResourceManager& manager) {
        auto* const files = dynamic_cast<COSFileSystem*>(manager.GetFileSystem("OSFileSystem").GetPointer());
        if (files) files->AddResourceDirPath(narrow);
    });
}

string CViewFiles::Find(std::string const& file) const {
    if (!m_package) return FindFile(file);
    string path = ToKey(file);
    if (!m_package->MakeResourceAbsolutePath(path)) throw Failure("no such file in " + m_packageFile + ": " + file);
    return path;
}

Json::Value CViewFiles::ReadJson(std::string const& file) const {
    if (!m_package) return ReadJsonFile(file);
    string text;
    m_package->ReadFileAsString(Find(file), text); // one that cannot be read has no text, and that is no JSON
    return ParseJsonObject(text, m_packageFile + ": " + file);
}
} // namespace view
