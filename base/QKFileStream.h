// QKFileStream.h: holds a stdio file and closes it on every way out.
#pragma once

#include "QKExport.h"
#include <cstdio>

namespace qklib {
/// Owns one stdio handle, which may be null. The field is open: whoever opens the file stores the handle there, and
/// whoever wants to keep it open takes it out and leaves null.
template <class Char>
class QKLIB_TEMPLATE_API _qkfstream {
public:
    _qkfstream() = default;
    explicit _qkfstream(FILE* file) : m_file(file) {}
    _qkfstream(_qkfstream const&) = delete;
    _qkfstream& operator=(_qkfstream const&) = delete;

    virtual ~_qkfstream() {
        if (m_file) std::fclose(m_file);
        m_file = nullptr;
    }

    FILE* m_file = nullptr; // owned
};
} // namespace qklib
