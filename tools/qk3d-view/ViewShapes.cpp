// ViewShapes.cpp: surfaces that are bent out of a grid, and their way into buffers.
#include "ViewShapes.h"

#include "QK3DHardwareBufferManager.h"
#include "QK3DMesh.h"
#include "QK3DRenderSystem.h"
#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

namespace view {
using namespace qk3d;

namespace {
constexpr float kPi = 3.14159265f;

struct Vertex {
    Vector3 position;
    Vector3 normal;
    Vector2 uv;
};

struct Geometry {
    std::vector<Vertex> vertices;
    std::vector<std::uint16_t> indices;

    // Corners in the order that makes the side of the normals the front, which is clockwise here.
    void AddTriangle(std::size_t a, std::size_t b, std::size_t c) {
        Vector3 const& origin = vertices[a].position;
        Vector3 const face = VecCross(vertices[b].position - origin, vertices[c].position - origin);
        if (VecDot(face, vertices[a].normal + vertices[b].normal + vertices[c].normal) < 0) std::swap(b, c);
        for (std::size_t const corner : {a, b, c}) indices.push_back(static_cast<std::uint16_t>(corner));
    }

    // A grid of `columns` by `rows` cells; `bend` gives the vertex of two coordinates from 0 to 1.
    void AddGrid(unsigned int columns, unsigned int rows, std::function<Vertex(float u, float v)> const& bend) {
        std::size_t const first = vertices.size();
        for (unsigned int row = 0; row <= rows; ++row)
            for (unsigned int column = 0; column <= columns; ++column)
                vertices.push_back(bend(static_cast<float>(column) / static_cast<float>(columns),
                                        static_cast<float>(row) / static_cast<float>(rows)));
        std::size_t const line = columns + 1;
        for (unsigned int row = 0; row < rows; ++row)
            for (unsigned int column = 0; column < columns; ++column) {
                std::size_t const at = first + row * line + column;
                AddTriangle(at, at + 1, at + line);
                AddTriangle(at + 1, at + line + 1, at + line);
            }
    }
};

Vector3 Times(Vector3 const& a, Vector3 const& b) { return {a.x * b.x, a.y * b.y, a.z * b.z}; }

void MakePlane(Geometry& out, Shape const& shape) {
    // Cut into cells, so that light by vertices has something to work on.
    out.AddGrid(24, 24, [&](float u, float v) {
        return Vertex{
            Times({u - 0.5f, 0, 0.5f - v}, shape.size), Vector3::UNIT_Y, {u * shape.repeat.x, v * shape.repeat.y}};
    });
}

void MakeQuad(Geometry& out, Shape const& shape) {
    out.AddGrid(1, 1, [&](float u, float v) {
        return Vertex{Times({u - 0.5f, 0.5f - v, 0}, shape.size),
                      Vector3::NEGATIVE_UNIT_Z,
                      {u * shape.repeat.x, v * shape.repeat.y}};
    });
}

void MakeCross(Geometry& out, Shape const& shape) {
    for (float const turn : {kPi / 4, -kPi / 4})
        out.AddGrid(1, 1, [&](float u, float v) {
            Vector3 const place(std::cos(turn) * (u - 0.5f), 0.5f - v, std::sin(turn) * (u - 0.5f));
            return Vertex{Times(place, shape.size),
                          Vector3(std::sin(turn), 0, -std::cos(turn)),
                          {u * shape.repeat.x, v * shape.repeat.y}};
        });
}

void MakeBox(Geometry& out, Shape const& shape) {
    struct Side {
        Vector3 normal, right, down;
    } const sides[] = {
        {{0, 0, -1}, {1, 0, 0}, {0, -1, 0}},  {{0, 0, 1}, {-1, 0, 0}, {0, -1, 0}}, {{1, 0, 0}, {0, 0, 1}, {0, -1, 0}},
        {{-1, 0, 0}, {0, 0, -1}, {0, -1, 0}}, {{0, 1, 0}, {1, 0, 0}, {0, 0, -1}},  {{0, -1, 0}, {1, 0, 0}, {0, 0, 1}},
    };
    for (Side const& side : sides)
        out.AddGrid(1, 1, [&](float u, float v) {
            Vector3 const place = side.normal * 0.5f + side.right * (u - 0.5f) + side.down * (v - 0.5f);
            return Vertex{Times(place, shape.size), side.normal, {u * shape.repeat.x, v * shape.repeat.y}};
        });
}

// From the top (v 0) down to `lowest`, an angle from the top.
void MakeBall(Geometry& out, Shape const& shape, float lowest, float scale, float facing) {
    out.AddGrid(48, 24, [&](float u, float v) {
        float const polar = v * lowest, round = u * 2 * kPi;
        Vector3 const place(std::sin(polar) * std::cos(round), std::cos(polar), -std::sin(polar) * std::sin(round));
        return Vertex{Times(place * scale, shape.size), place * facing, {u * shape.repeat.x, v * shape.repeat.y}};
    });
}

struct Kind {
    char const* name;
    void (*make)(Geometry&, Shape const&);
};

constexpr Kind kKinds[] = {
    {"PLANE", MakePlane},
    {"QUAD", MakeQuad},
    {"CROSS", MakeCross},
    {"BOX", MakeBox},
    {"BALL", [](Geometry& out, Shape const& shape) { MakeBall(out, shape, kPi, 0.5f, 1); }},
    {"DOME", [](Geometry& out, Shape const& shape) { MakeBall(out, shape, kPi * 0.52f, 1, -1); }},
};

Kind const* FindKind(std::string const& name) {
    for (Kind const& kind : kKinds)
        if (name == kind.name) return &kind;
    return nullptr;
}
} // namespace

bool IsShape(std::string const& kind) { return FindKind(kind) != nullptr; }

bool BuildShape(CMesh& mesh, Shape const& shape, std::string const& narrowMaterial) {
    Kind const* const kind = FindKind(shape.kind);
    CHardwareBufferManager* const buffers =
        mesh.GetRenderSystem() ? mesh.GetRenderSystem()->GetHardwareBufferManager() : nullptr;
    if (!kind || !buffers) return false;
    Geometry geometry;
    kind->make(geometry, shape);
    auto const vertexNum = static_cast<unsigned int>(geometry.vertices.size());
    auto const indexNum = static_cast<unsigned int>(geometry.indices.size());

    auto vertices = buffers->CreateVertexBuffer(sizeof(Vertex), vertexNum, CHardwareBuffer::HBU_STATIC, false, false);
    auto indices =
        buffers->CreateIndexBuffer(CHardwareIndexBuffer::IT_16BIT, indexNum, CHardwareBuffer::HBU_STATIC, false, false);
    if (vertices.IsNull() || indices.IsNull() || !vertices->Create() || !indices->Create()) return false;
    vertices->WriteData(0, sizeof(Vertex) * geometry.vertices.size(), geometry.vertices.data(), true);
    indices->WriteData(0, sizeof(std::uint16_t) * geometry.indices.size(), geometry.indices.data(), true);

    CSubMesh& subMesh = *mesh.CreateSubMesh(false);
    CVertexData& data = *subMesh.GetVertexData();
    data.GetVertexDeclaration()->AddElement(0, VET_FLOAT3, VES_POSITION);
    data.GetVertexDeclaration()->AddElement(0, VET_FLOAT3, VES_NORMAL);
    data.GetVertexDeclaration()->AddElement(0, VET_FLOAT2, VES_TEXCOORD);
    data.GetVertexBufferBinding()->SetSource(0, vertices);
    data.SetVertexNum(vertexNum);
    subMesh.CreateIndexData();
    subMesh.GetIndexData()->SetIndexBuffer(indices);
    subMesh.GetIndexData()->SetIndexNum(indexNum);
    subMesh.SetMaterialName(narrowMaterial);
    return true;
}
} // namespace view
