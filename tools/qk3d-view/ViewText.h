// ViewText.h: between the system's text (UTF-8 here) and the engine's, and paths of both.
#pragma once

#include "QK3DTypes.h"
#include <json/value.h>
#include <stdexcept>

namespace view {
using qk3d::string;

/// What ends the program with exit code 1; the text is the line that it prints. Texts are UTF-8.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Narrow text of the engine. A text that it cannot hold is a Failure that says so.
string ToNarrow(std::string const& utf8);
std::string ToUtf8(string const& narrow);

/// The absolute form of a path, whether anything is there or not; UTF-8.
std::string MakeAbsolute(std::string const& utf8);

/// The absolute path of a file that is there on the disk, in the engine's text. Failure "no such file: ..." if it is not.
string FindFile(std::string const& utf8);

/// `file` as seen from the folder of `besides`, unless it is absolute. Both UTF-8.
std::string Beside(std::string const& besides, std::string const& file);

/// The name of a file without folders and extension.
std::string StemOf(std::string const& utf8);

/// A file of JSON on the disk, with or without comments. Failure if it is missing or none.
Json::Value ReadJsonFile(std::string const& utf8);

/// What a script says. Failure that names `file`, where it came from, if it is no JSON object.
Json::Value ParseJsonObject(string const& text, std::string const& file);

/// Makes the engine's log lines go to standard error, from warnings on.
void ShowWarnings();
} // namespace view
