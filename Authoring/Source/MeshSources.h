// Opens what a clip can be made of: a scene in a glTF file, or a sequence of OBJ, PLY or glTF files.
#pragma once

#include "Authoring/Scene/MeshSource.h"
#include "Authoring/Scene/Warnings.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Nimb::Authoring {

/// Which axis of the input points up. Z: (x, y, z) becomes (x, z, -y).
enum class UpAxis { Y, Z };

struct SourceOptions {
    /// One of
    /// - a .gltf or .glb file: a scene, sampled at `frameRate`; without an animation one frame;
    /// - an .obj or .ply file: one frame;
    /// - a numbered sequence of files of one format, as in "scan/frame_%04d.obj";
    /// - a glob, as in "scan/*.ply", or a folder: its files in natural order (9 before 10). Names that differ in one
    ///   number only are a numbered sequence too. Each .gltf or .glb file of a sequence is one frame, in its rest pose.
    /// A numbered sequence must not have gaps.
    std::string input;

    /// Empty, or the files of a sequence in any order, where they are given one by one; messages then call them
    /// `input`.
    std::vector<std::string> inputFiles;

    /// Empty: the pictures that the input names. Otherwise one picture, or a pattern, glob or folder of them, one for
    /// each frame: with the frame's number where files of both have numbers, otherwise in order. The whole mesh is then
    /// one material.
    std::string texture;
    std::vector<std::string> textureFiles;  ///< as `inputFiles`

    double frameRate = 30;  ///< frames per second, above 0, at most 1000

    /// Which frames to take, both ends included: the numbers in the files' names for a "%d" pattern, otherwise counted
    /// from 0. Frames of the source are numbered from 0 in any case.
    std::optional<std::size_t> firstFrame;
    std::optional<std::size_t> lastFrame;

    UpAxis upAxis = UpAxis::Y;
    double scale = 1;  ///< metres in one unit of the input, above 0

    /// Name or index of a scene's animation; empty: the first one.
    std::string animation;

    /// Names of meshes to leave out: of a scene's meshes or of the nodes that show them, or of an OBJ file's objects or
    /// groups. A name that a file does not have is an error.
    std::vector<std::string> skipMeshes;

    /// Gets what the input has but the frames do not, as frames and pictures are loaded. May be null; otherwise it has
    /// to outlive the source.
    Warnings* pWarnings = nullptr;
};

/// An animation lasts from time 0 to its last key; its frames are at n / frameRate, round(duration x frameRate) of
/// them, at least one. So the moment of the last key is not a frame of its own: in a loop it is the first frame again.
///
/// All triangles of a material become one mesh, without normals unless all of them have normals in the input. Vertices
/// that no face uses, faces without an area of their own (a vertex twice), points and lines are left out. Vertex
/// colours are painted into a picture where there is none, for which the surface is cut. Texture coordinates outside
/// [0, 1] are brought inside by whole periods, triangle by triangle; a triangle that reaches across the picture's edge
/// is an error. (A glTF texture that is not repeated is clamped instead.)
///
/// Vertices that are equal in every attribute are one: in a scene those of a primitive that are equal in all that the
/// file stores of them, so that it holds at any time; in a sequence those of a material with a texture, see FrameWeld.
///
/// Whether files exist, the first frame and its pictures are checked here, everything else when a frame is loaded. Only
/// a few frames are kept in memory. Throws InputError; std::invalid_argument for options out of range, such as frames
/// that the input does not have.
std::unique_ptr<MeshSource> OpenMeshSource(const SourceOptions& options);

/// Whether a path, a pattern or a glob means pictures, by its ending.
bool IsPictureName(const std::string& path);

}  // namespace Nimb::Authoring
