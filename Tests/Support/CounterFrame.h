// Frames that carry their number twice, once in the picture and once in the mesh, such that what arrived in the
// engine's objects tells which frame it came from, and whether it came whole.
//
// The picture is a grid of 4 x 4 cells, black or white, large enough for any compression: a white cell, a black one,
// twelve bits of the number, two check bits. The mesh is a sheet of 0.2 x 1 at x = number; its texture coordinates
// repeat a vertex's place in the sheet, so records that are put together wrongly show.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "EngineStandIn/Player.h"

#include <cstdint>
#include <vector>

namespace ClipTest {

constexpr int c_MaxFrameNumber = 4095;

/// Stored normals of the sheet; its faces' own is (0, 0, 1).
constexpr Nimb::Authoring::Vec3 c_StoredNormal{0.6f, 0.0f, 0.8f};

enum : int {
    c_Nothing = -1,  ///< as it was before the first frame
    c_Garbled = -2,  ///< not as any frame is
};

/// RGBA, rows from top to bottom without gaps.
std::vector<std::uint8_t> PaintNumber(int number, int width, int height);

/// The sheet of frame `number` with `columns` x `rows` vertices.
Nimb::Authoring::Mesh MakeNumberedMesh(int number, int columns = 12, int rows = 10);

/// What the player's objects hold. Render thread.
int ReadPictureNumber(const Nimb::EngineStandIn::Player& player);
int ReadMeshNumber(const Nimb::EngineStandIn::Player& player);

/// The normal that all vertices of the sheet have; garbled normals give (0, 0, 0). Render thread.
Nimb::Authoring::Vec3 ReadNormal(const Nimb::EngineStandIn::Player& player);

}  // namespace ClipTest
