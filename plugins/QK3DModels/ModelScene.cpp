// ModelScene.cpp: writes and reads the bytes by one walk over the members.
#include "ModelScene.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

namespace qk3d::models {
namespace {
// The members of each kind of record, once for both directions.
template <class Walk, class Record>
bool WalkRecord(Walk& walk, Record& record) {
    using Type = std::remove_const_t<Record>;
    if constexpr (std::is_same_v<Type, PartLayout>)
        return walk(record.hasNormal, record.hasColour, record.texCoordSets);
    else if constexpr (std::is_same_v<Type, Part>)
        return walk(record.surface, record.layout, record.vertices, record.indices, record.vertexNum);
    else if constexpr (std::is_same_v<Type, Surface>)
        return walk(record.name, record.colour, record.isBlended, record.isCutOut, record.cutOff, record.isTwoSided,
                    record.texture, record.image);
    else if constexpr (std::is_same_v<Type, Image>)
        return walk(record.width, record.height, record.bytes);
    else
        return walk(record.parts, record.surfaces, record.images);
}

class Writer {
public:
    explicit Writer(Bytes& bytes) : m_bytes(bytes) {}

    template <class... Members>
    bool operator()(Members const&... members) {
        return (Write(members) && ...);
    }

private:
    bool Copy(void const* from, std::size_t size) {
        auto const* at = static_cast<std::uint8_t const*>(from);
        m_bytes.insert(m_bytes.end(), at, at + size);
        return true;
    }

    template <class Value>
    bool Write(Value const& value) {
        if constexpr (std::is_arithmetic_v<Value>)
            return Copy(&value, sizeof value);
        else
            return WalkRecord(*this, value);
    }
    bool Write(std::string const& text) { return Write(std::uint64_t{text.size()}) && Copy(text.data(), text.size()); }
    template <class Value>
    bool Write(std::vector<Value> const& values) {
        Write(std::uint64_t{values.size()});
        if constexpr (std::is_arithmetic_v<Value>) return Copy(values.data(), values.size() * sizeof(Value));
        return std::all_of(values.begin(), values.end(), [this](Value const& value) { return Write(value); });
    }

    Bytes& m_bytes;
};

class Reader {
public:
    explicit Reader(std::span<std::uint8_t const> bytes) : m_rest(bytes) {}

    template <class... Members>
    bool operator()(Members&... members) {
        return (Read(members) && ...);
    }
    bool IsAtEnd() const { return m_rest.empty(); }

private:
    bool Copy(void* to, std::size_t size) {
        if (size > m_rest.size()) return false;
        if (size) std::memcpy(to, m_rest.data(), size);
        m_rest = m_rest.subspan(size);
        return true;
    }

    // A number of values that take at least so many bytes each.
    bool ReadNumber(std::uint64_t& number, std::size_t size) { return Read(number) && number <= m_rest.size() / size; }

    template <class Value>
    bool Read(Value& value) {
        if constexpr (std::is_arithmetic_v<Value>)
            return Copy(&value, sizeof value);
        else
            return WalkRecord(*this, value);
    }
    bool Read(bool& value) {
        std::uint8_t byte = 0;
        if (!Read(byte)) return false;
        value = byte != 0;
        return true;
    }
    bool Read(std::string& text) {
        std::uint64_t size = 0;
        if (!ReadNumber(size, 1)) return false;
        text.resize(size);
        return Copy(text.data(), size);
    }
    template <class Value>
    bool Read(std::vector<Value>& values) {
        std::uint64_t number = 0;
        if constexpr (std::is_arithmetic_v<Value>) {
            if (!ReadNumber(number, sizeof(Value))) return false;
            values.resize(number);
            return Copy(values.data(), number * sizeof(Value));
        } else {
            if (!ReadNumber(number, 1)) return false;
            for (; number > 0; --number)
                if (!Read(values.emplace_back())) return false;
            return true;
        }
    }

    std::span<std::uint8_t const> m_rest;
};

bool IsSound(Part const& part, ModelScene const& scene) {
    return part.surface < scene.surfaces.size() && part.layout.texCoordSets <= kMaxTexCoordSets &&
           part.vertices.size() == std::uint64_t{part.vertexNum} * part.GetVertexSize() && !part.indices.empty() &&
           part.indices.size() % 3 == 0 && part.indices.size() <= UINT32_MAX &&
           std::all_of(part.indices.begin(), part.indices.end(),
                       [&](std::uint32_t index) { return index < part.vertexNum; });
}

bool IsSound(Image const& image) {
    return image.width == 0 || image.bytes.size() == std::uint64_t{4} * image.width * image.height;
}

bool IsSound(ModelScene const& scene) {
    return !scene.parts.empty() && std::all_of(scene.parts.begin(), scene.parts.end(), [&](Part const& part) {
        return IsSound(part, scene);
    }) && std::all_of(scene.surfaces.begin(), scene.surfaces.end(), [&](Surface const& surface) {
        return surface.image == kNoImage || surface.image < scene.images.size();
    }) && std::all_of(scene.images.begin(), scene.images.end(), [](Image const& image) { return IsSound(image); });
}
} // namespace

Bytes EncodeScene(ModelScene const& scene) {
    Bytes bytes;
    Writer writer(bytes);
    WalkRecord(writer, scene);
    return bytes;
}

bool DecodeScene(std::span<std::uint8_t const> bytes, ModelScene& scene) {
    scene = {};
    Reader reader(bytes);
    return WalkRecord(reader, scene) && reader.IsAtEnd() && IsSound(scene);
}
} // namespace qk3d::models
