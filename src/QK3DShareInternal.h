// QK3DShareInternal.h: the way from a new object to the first of its shared pointers.
#pragma once

#include "QKSharePtr.h"
#include <memory>
#include <new>

namespace qk3d {
/// A shared pointer that finds no memory for its count never releases its object. Here the object goes, and
/// std::bad_alloc tells why. Null stays null.
template <class T>
qklib::CSharePtr<T> Share(std::unique_ptr<T> object) {
    qklib::CSharePtr<T> shared(object.get(), qklib::PRM_DELETE);
    if (object && shared.GetRef() == 0) throw std::bad_alloc();
    object.release();
    return shared;
}
} // namespace qk3d
