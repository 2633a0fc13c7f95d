// QKSerial.h: base of objects that a JSON script can fill.
#pragma once

#include "QKExport.h"
#include "QKTypes.h"
#include <json/forwards.h>

namespace qklib {
/// An object with a script form. Readers ignore keys they don't know, leave out of a script what is to stay as it is,
/// and answer false only to a value that is no JSON object at all. Scripts are read, never written: the two Format
/// operations are there for subclasses that want a writing direction.
class QKLIB_API ISerial {
public:
    ISerial() = default;
    ISerial(ISerial const&) {}
    ISerial& operator=(ISerial const&) { return *this; }

    /// Writes one member. The base writes nothing and says true.
    virtual bool FormatMemberToParameter(string const& member, Json::Value& out) const;

    /// Takes over what `value` says. An entry of the wrong type leaves its field as it was, and reading goes on.
    virtual bool SetFromParameter(Json::Value const& value) = 0;

    virtual bool FormatToParameter(Json::Value& out) const = 0;

    /// Reads a whole JSON document in narrow text and hands its root to SetFromParameter. False if the text does not
    /// parse (ParseJson in QKJson.h says what does), in which case nothing was changed, or if SetFromParameter says
    /// false. Takes any text, however broken.
    bool SetFromScript(string const& script);

protected:
    ~ISerial() = default;
};
} // namespace qklib
