// QKSerial.cpp: from the text of a script to its object.
#include "QKSerial.h"
#include "QKJson.h"

namespace qklib {
bool ISerial::FormatMemberToParameter(string const&, Json::Value&) const { return true; }

bool ISerial::SetFromScript(string const& script) {
    Json::Value root;
    if (!ParseJson(script, root)) return false;
    try {
        return SetFromParameter(root);
    } catch (Json::Exception const&) { // from a subclass that took a value without looking at its type
        return false;
    }
}
} // namespace qklib
