// ModelMessage.cpp: kind, length and bytes, one message after another.
#include "ModelMessage.h"

#include <algorithm>

namespace qk3d::models {
namespace {
constexpr std::uint64_t kMaxLength = 1ULL << 32;
constexpr std::uint64_t kPiece = 1 << 20;
} // namespace

bool SendMessage(qklib::platform::CProcessLine& line, EMessage kind, std::span<std::uint8_t const> bytes) {
    std::uint64_t const length = bytes.size();
    return line.Send(&kind, sizeof kind) && line.Send(&length, sizeof length) && line.Send(bytes.data(), bytes.size());
}

bool SendMessage(qklib::platform::CProcessLine& line, EMessage kind, std::string_view text) {
    return SendMessage(line, kind, {reinterpret_cast<std::uint8_t const*>(text.data()), text.size()});
}

bool ReceiveMessage(qklib::platform::CProcessLine& line, Message& message) {
    std::uint64_t length = 0;
    message.bytes.clear();
    if (!line.Receive(&message.kind, sizeof message.kind) || !line.Receive(&length, sizeof length)) return false;
    if (length > kMaxLength) return false;
    while (length > 0) {
        std::uint64_t const piece = std::min(length, kPiece);
        std::size_t const before = message.bytes.size();
        message.bytes.resize(before + piece);
        if (!line.Receive(message.bytes.data() + before, piece)) return false;
        length -= piece;
    }
    return true;
}
} // namespace qk3d::models
