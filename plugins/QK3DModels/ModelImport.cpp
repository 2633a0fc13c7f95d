// ModelImport.cpp: starts the importer, answers what it asks for, and takes what it makes of the file.
#include "ModelImport.h"

#include "ModelFiles.h"
#include "ModelMessage.h"
#include "PlatformFile.h"

namespace qk3d::models {
namespace {
using qklib::platform::CProcessLine;

bool StartImporter(CProcessLine& line) {
    std::string const beside = qklib::platform::GetFolderOfCode(reinterpret_cast<void (*)()>(&ImportModel));
    for (std::string const& folder : {beside, qklib::platform::GetExecutableFolder()})
        if (!folder.empty() && line.Start(folder + "/qk3d-import")) return true;
    return false;
}

// False once the importer has gone.
bool AnswerFile(CProcessLine& line, CFileSystem const& store, Message const& question) {
    wstring const path = Utf8ToWide(question.GetText());
    if (question.kind == EMessage::HAS_FILE)
        return SendMessage(line, HasFile(store, path) ? EMessage::FILE : EMessage::NO_FILE);
    std::optional<Bytes> const bytes = ReadFile(store, path);
    return bytes ? SendMessage(line, EMessage::FILE, *bytes) : SendMessage(line, EMessage::NO_FILE);
}
} // namespace

bool ImportModel(CFileSystem const& store, wstring const& path, ModelScene& scene, std::string& reason) {
    CProcessLine line;
    if (!StartImporter(line)) {
        reason = "the program qk3d-import cannot be started";
        return false;
    }
    Message message;
    bool isThere = SendMessage(line, EMessage::IMPORT, WideToUtf8(path));
    while (isThere && ReceiveMessage(line, message)) {
        switch (message.kind) {
        case EMessage::HAS_FILE:
        case EMessage::READ_FILE: isThere = AnswerFile(line, store, message); break;
        case EMessage::MODEL:
            if (DecodeScene(message.bytes, scene)) return true;
            reason = "the importer gave no model that holds together";
            return false;
        case EMessage::REFUSED: reason = message.GetText(); return false;
        default: isThere = false;
        }
    }
    reason = "it broke the importer, or kept it too long";
    return false;
}
} // namespace qk3d::models
