// QKFun.h: something that can be called, as an object.
#pragma once

#include "QKExport.h"

namespace qklib {
/// A call without arguments whose target is not known to the one who calls. Derive from it and keep what the call
/// needs as members.
template <class Result>
class QKLIB_TEMPLATE_API CFun {
public:
    virtual ~CFun() = default;
    virtual Result operator()() = 0;
};
} // namespace qklib
