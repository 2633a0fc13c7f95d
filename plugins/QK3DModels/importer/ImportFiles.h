// ImportFiles.h: the files that the importer sees: those of the store on the other side of the line.
#pragma once

#include "ModelMessage.h"
#include <assimp/IOSystem.hpp>

namespace qk3d::models {
/// Files to read, nothing to write. Texts are UTF-8.
class CImportFiles : public Assimp::IOSystem {
public:
    explicit CImportFiles(qklib::platform::CProcessLine& line) : m_line(line) {}

    bool Exists(char const* file) const override;
    char getOsSeparator() const override { return '/'; }
    Assimp::IOStream* Open(char const* file, char const* mode) override;
    void Close(Assimp::IOStream* file) override;

private:
    bool _Ask(EMessage question, char const* file, Message& answer) const;

    qklib::platform::CProcessLine& m_line;
};
} // namespace qk3d::models
