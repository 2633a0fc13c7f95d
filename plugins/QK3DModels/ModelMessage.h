// ModelMessage.h: what the loader and the importer's process say to each other.
#pragma once

#include "ModelScene.h"
#include "PlatformProcess.h"
#include <string_view>

namespace qk3d::models {
enum class EMessage : std::uint8_t {
    // From the loader.
    IMPORT,  ///< the path of the model, UTF-8
    NO_FILE, ///< there is none
    FILE,    ///< there is one; its bytes if they were asked for
    // From the importer, which goes on asking until it has one of the last two to say.
    HAS_FILE,  ///< a path, UTF-8: is there such a file in the store?
    READ_FILE, ///< a path, UTF-8: what is in it?
    REFUSED,   ///< why, UTF-8
    MODEL,     ///< the scene's bytes
};

struct Message {
    EMessage kind = EMessage::REFUSED;
    Bytes bytes;

    std::string GetText() const { return {bytes.begin(), bytes.end()}; }
};

/// False if the other side is gone.
bool SendMessage(qklib::platform::CProcessLine& line, EMessage kind, std::span<std::uint8_t const> bytes = {});
bool SendMessage(qklib::platform::CProcessLine& line, EMessage kind, std::string_view text);

/// False if the other side is gone, or sends more than anybody should (4 GiB). Memory grows with what does come, not with
/// what was announced.
bool ReceiveMessage(qklib::platform::CProcessLine& line, Message& message);
} // namespace qk3d::models
