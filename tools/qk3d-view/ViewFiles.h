// ViewFiles.h: where everything that is shown is read from: the disk, or one package.
#pragma once

#include "QK3DSharePtr.h"
#include "ViewText.h"

namespace qk3d {
class CFileSystem;
}

namespace view {
class CFolderPackage;

/// Paths are UTF-8. In a package they lead from its top, with "/" before them or without.
class CViewFiles {
public:
    /// `package` may be empty, and then files come from the disk; else from nowhere but the package. Failure if it is
    /// missing or none.
    explicit CViewFiles(std::string const& package);

    /// Where textures, programs and other files of scripts are looked for.
    void AddFolder(std::string const& folder);

    /// The path of a file that is there, as the engine takes it. Failure "no such file: ..." if it is not.
    string Find(std::string const& file) const;

    /// A file of JSON, with or without comments. Failure if it is missing or none.
    Json::Value ReadJson(std::string const& file) const;

private:
    qklib::CSharePtr<qk3d::CFileSystem> m_store;
    CFolderPackage* m_package = nullptr; // what m_store holds; null: the disk
    std::string m_packageFile;
};
} // namespace view
