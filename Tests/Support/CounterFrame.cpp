#include "Tests/Support/CounterFrame.h"

#include "Tests/Support/Meshes.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

namespace ClipTest {
namespace {

constexpr int c_Cells = 4;  // on each side
constexpr int c_NumberBits = 12;
constexpr float c_SheetWidth = 0.2f;

/// The 16 cells of a number, row by row from the top left.
unsigned CellsOf(int number) {
    const auto bits = static_cast<unsigned>(number);
    const unsigned check = (bits + bits / 4 + bits / 16 + bits / 64 + 1) & 3u;
    return 1u | bits << 2 | check << (2 + c_NumberBits);
}

/// The triangles that are there, without the degenerate ones behind them.
std::vector<std::uint32_t> UsedIndices(const Nimb::EngineStandIn::Player& player) {
    const std::vector<std::uint32_t> all = player.ReadIndices();
    std::vector<std::uint32_t> used;
    for (std::size_t i = 0; i + 2 < all.size(); i += 3) {
        if (all[i] != all[i + 1] && all[i + 1] != all[i + 2] && all[i + 2] != all[i]) {
            used.insert(used.end(), {all[i], all[i + 1], all[i + 2]});
        }
    }
    return used;
}

bool IsNear(float a, float b) {
    return std::fabs(a - b) < 0.02f;
}

}  // namespace

std::vector<std::uint8_t> PaintNumber(int number, int width, int height) {
    const unsigned cells = CellsOf(number);
    const std::size_t pitch = static_cast<std::size_t>(width) * 4;
    std::vector<std::uint8_t> pixels(pitch * static_cast<std::size_t>(height));
    int cellRow = -1;
    for (int y = 0; y < height; ++y) {
        std::uint8_t* row = pixels.data() + pitch * static_cast<std::size_t>(y);
        if (y * c_Cells / height == cellRow) {
            std::memcpy(row, row - pitch, pitch);  // millions of pixels, which sanitizers would look at one by one
            continue;
        }
        cellRow = y * c_Cells / height;
        for (int x = 0; x < width; ++x) {
            const int cell = cellRow * c_Cells + x * c_Cells / width;
            const std::uint8_t value = (cells >> cell & 1u) != 0 ? 235 : 20;
            const std::uint8_t pixel[] = {value, value, value, 255};
            std::memcpy(row + static_cast<std::size_t>(x) * 4, pixel, sizeof(pixel));
        }
    }
    return pixels;
}

Nimb::Authoring::Mesh MakeNumberedMesh(int number, int columns, int rows) {
    Nimb::Authoring::Mesh mesh;
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            const float u = static_cast<float>(column) / static_cast<float>(columns - 1);
            const float v = static_cast<float>(row) / static_cast<float>(rows - 1);
            mesh.positions.push_back({static_cast<float>(number) + c_SheetWidth * u, v, 0});
            mesh.texCoords.push_back({u, v});
            mesh.normals.push_back(c_StoredNormal);
        }
    }
    mesh.faces = NimbTest::SheetFaces(static_cast<UINT32>(columns), static_cast<UINT32>(rows));
    return mesh;
}

int ReadPictureNumber(const Nimb::EngineStandIn::Player& player) {
    const int width = player.Sizes().textureWidth, height = player.Sizes().textureHeight;
    if (width == 0) {
        return c_Nothing;  // no objects yet
    }
    unsigned cells = 0;
    bool isBlack = true;
    for (int row = 0; row < c_Cells; ++row) {
        const std::vector<std::uint8_t> line = player.ReadTexture(0, (2 * row + 1) * height / (2 * c_Cells), width, 1);
        for (int column = 0; column < c_Cells; ++column) {
            const int x = (2 * column + 1) * width / (2 * c_Cells);
            const std::uint8_t value = line[static_cast<std::size_t>(x) * 4];
            isBlack = isBlack && value == 0 && line[static_cast<std::size_t>(x) * 4 + 3] == 0;
            if (value > 80 && value < 175) {
                return c_Garbled;
            }
            cells |= (value >= 175 ? 1u : 0u) << (row * c_Cells + column);
        }
    }
    const int number = static_cast<int>(cells >> 2 & ((1u << c_NumberBits) - 1));
    return isBlack ? c_Nothing : cells == CellsOf(number) ? number : c_Garbled;
}

int ReadMeshNumber(const Nimb::EngineStandIn::Player& player) {
    const std::vector<std::uint32_t> indices = UsedIndices(player);
    if (indices.empty()) {
        return c_Nothing;
    }
    const std::vector<Nimb::EngineStandIn::Vertex> vertices = player.ReadVertices();
    float smallest = static_cast<float>(c_MaxFrameNumber);
    for (const std::uint32_t index : indices) {
        if (index >= vertices.size()) {
            return c_Garbled;
        }
        smallest = std::min(smallest, vertices[index].x);
    }
    const float number = std::round(smallest);
    for (const std::uint32_t index : indices) {
        const Nimb::EngineStandIn::Vertex& vertex = vertices[index];
        if (!IsNear(vertex.x, number + c_SheetWidth * vertex.u) || !IsNear(vertex.y, vertex.v) ||
            !IsNear(vertex.z, 0)) {
            return c_Garbled;
        }
    }
    return static_cast<int>(number);
}

Nimb::Authoring::Vec3 ReadNormal(const Nimb::EngineStandIn::Player& player) {
    const std::vector<Nimb::EngineStandIn::Vertex> vertices = player.ReadVertices();
    const std::vector<std::uint32_t> indices = UsedIndices(player);
    if (indices.empty() || indices.front() >= vertices.size()) {
        return {};
    }
    const Nimb::EngineStandIn::Vertex first = vertices[indices.front()];
    for (const std::uint32_t index : indices) {
        const Nimb::EngineStandIn::Vertex& vertex = vertices.at(index);
        if (!IsNear(vertex.nx, first.nx) || !IsNear(vertex.ny, first.ny) || !IsNear(vertex.nz, first.nz)) {
            return {};
        }
    }
    return {first.nx, first.ny, first.nz};
}

}  // namespace ClipTest
