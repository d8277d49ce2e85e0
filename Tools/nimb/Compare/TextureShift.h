// Whether a clip's texture would fit its mesh better if it were moved by some texels.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Authoring/Scene/MeshSource.h"
#include "Authoring/Surface/SurfaceComparison.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace Nimb::Tool {

/// One picture's luma, BT.709, 0 to 255.
struct LumaPicture {
    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<BYTE> luma;
};

/// `rgba`: width x height x 4.
LumaPicture LumaPictureOf(std::size_t width, std::size_t height, const BYTE* rgba);

/// Faces of a mesh that show one picture.
struct PictureFaces {
    std::size_t first = 0;
    std::size_t count = 0;
    std::shared_ptr<const Authoring::Image> picture;
};

/// The meshes of a source's frame as one.
struct JoinedFrame {
    Authoring::Mesh mesh;
    std::vector<PictureFaces> parts;  ///< all faces, ascending

    const Authoring::Image& PictureOf(UINT32 face) const;
};

struct TextureShift {
    int x = 0;          ///< texels by which the clip's picture is moved to the right, and down
    int y = 0;          ///<
    double before = 0;  ///< mean square of the difference of luma on the surface, and what would be left of it
    double after = 0;

    bool IsFault() const;
};

/// Compares the colours at the clip's samples with those where the source is nearest, for all shifts by up to four
/// texels. Samples further away than `reach` metres do not count.
TextureShift FindTextureShift(const Authoring::Mesh& clip, const LumaPicture& picture, const JoinedFrame& source,
                              const std::vector<Authoring::SurfaceSample>& samples, double reach);

}  // namespace Nimb::Tool
