// ImportFiles.cpp: files that came over the line as streams of the importer.
#include "ImportFiles.h"

#include <algorithm>
#include <assimp/IOStream.hpp>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace qk3d::models {
namespace {
constexpr int kMaxEmptyReads = 1000;

class CImportStream : public Assimp::IOStream {
public:
    explicit CImportStream(Bytes bytes) : m_bytes(std::move(bytes)) {}

    size_t Read(void* buffer, size_t size, size_t count) override {
        if (size == 0) return 0;
        size_t const whole = std::min(count, (m_bytes.size() - m_position) / size);
        if (whole) std::memcpy(buffer, m_bytes.data() + m_position, whole * size);
        m_position += whole * size;
        // There are readers in the importer that look for a line behind the end of a cut file for ever.
        m_emptyReads = whole ? 0 : m_emptyReads + 1;
        if (m_emptyReads > kMaxEmptyReads) throw std::runtime_error("the file is cut off");
        return whole;
    }
    size_t Write(void const*, size_t, size_t) override { return 0; }
    aiReturn Seek(size_t offset, aiOrigin origin) override {
        size_t const base = origin == aiOrigin_SET ? 0 : origin == aiOrigin_CUR ? m_position : m_bytes.size();
        if (origin == aiOrigin_END ? offset > base : offset > m_bytes.size() - base) return aiReturn_FAILURE;
        m_position = origin == aiOrigin_END ? base - offset : base + offset;
        return aiReturn_SUCCESS;
    }
    size_t Tell() const override { return m_position; }
    size_t FileSize() const override { return m_bytes.size(); }
    void Flush() override {}

private:
    Bytes m_bytes;
    size_t m_position = 0;
    int m_emptyReads = 0; // on end
};
} // namespace

bool CImportFiles::_Ask(EMessage question, char const* file, Message& answer) const {
    return SendMessage(m_line, question, file) && ReceiveMessage(m_line, answer) && answer.kind == EMessage::FILE;
}

bool CImportFiles::Exists(char const* file) const {
    Message answer;
    return _Ask(EMessage::HAS_FILE, file, answer);
}

Assimp::IOStream* CImportFiles::Open(char const* file, char const* mode) {
    Message answer;
    if (!mode || mode[0] != 'r' || !_Ask(EMessage::READ_FILE, file, answer)) return nullptr;
    return std::make_unique<CImportStream>(std::move(answer.bytes)).release();
}

void CImportFiles::Close(Assimp::IOStream* file) { delete file; }
} // namespace qk3d::models
