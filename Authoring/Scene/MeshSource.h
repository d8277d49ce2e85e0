// Where the frames of a clip come from: an animated scene, a sequence of files, a procedural figure.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Authoring/Scene/Image.h"

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace Nimb::Authoring {

/// What is wrong with an input. The text names the file and, where known, the line or the frame.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The triangles of one material in one frame. Texture coordinates refer to that material's texture: (0, 0) is the
/// top left corner of its picture, v grows downwards.
struct MaterialMesh {
    std::size_t material = 0;
    Mesh mesh;
};

struct SourceFrame {
    std::vector<MaterialMesh> meshes;  ///< materials ascending, each at most once
    std::size_t welded = 0;            ///< vertices of the input that are gone since they are equal to others
};

/// Frames are numbered from 0. Any thread may call the functions, several at once; those that load throw InputError.
class MeshSource {
public:
    virtual ~MeshSource() = default;

    virtual std::size_t FrameCount() const = 0;
    virtual double FrameRate() const = 0;  ///< frames per second
    virtual std::size_t MaterialCount() const = 0;
    virtual std::string MaterialName(std::size_t material) const = 0;

    /// What to call a frame in messages: its file, or the scene's file and the time in it.
    virtual std::string FrameName(std::size_t frame) const = 0;

    /// Right-handed, y up, in metres, unless the caller asked for another scale or axis when the source was opened.
    virtual SourceFrame Frame(std::size_t frame) const = 0;

    /// The same pointer for as long as the picture stays the same. Never null: a material without a picture has a
    /// small one of its colour.
    virtual std::shared_ptr<const Image> Texture(std::size_t frame, std::size_t material) const = 0;

    /// The files that a frame's pictures are in, apart from those that Frame reads.
    virtual std::vector<std::string> PictureFiles(std::size_t) const { return {}; }
};

}  // namespace Nimb::Authoring
