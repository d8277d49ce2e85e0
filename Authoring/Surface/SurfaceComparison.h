// How far two surfaces are apart, in figures: the distance both ways, and the PSNR that is computed from it.
//
// Each surface is sampled (see SpreadSamples), and each sample measured to the nearest point of the other surface, be
// that a vertex or not. Mean, rms and percentiles are over the samples, each of which stands for the same area; the
// largest distance is over the samples and the vertices.
//
// PSNR follows the convention of point cloud compression (Tian et al. 2017, "Geometric distortion metrics for point
// cloud compression"): of the two directions the worse one counts, and
//
//     PSNR = 10 log10(peak^2 / MSE),    peak: the diagonal of the box around the source
//
// with the mean square of the distance (point to point), or of its part along the source's normal (point to plane),
// which sliding along the surface does not add to. For a cube, peak^2 is the 3 p^2 of that field's tools.
#pragma once

#include "Authoring/Surface/SurfaceSamples.h"

#include <cstddef>
#include <vector>

namespace Nimb::Authoring {

/// Metres. All infinite when there is a surface to measure from and none to measure to; 0 when there is none to measure
/// from.
struct DistanceFigures {
    double mean = 0;
    double rms = 0;
    double percentile95 = 0;  ///< 95 of 100 samples are no further away
    double percentile99 = 0;
    double largest = 0;
};

/// From one surface to the other.
struct SurfaceDirection {
    DistanceFigures distance;
    double planeRms = 0;                 ///< of the distance along the source's normal
    double flippedShare = 0;             ///< of the area: the other surface is there, but looks the other way
    std::vector<float> vertexDistances;  ///< of each position; 0 for those that no face uses
    std::vector<SurfaceSample> samples;
};

struct SurfaceComparison {
    SurfaceDirection fromSource;  ///< large where the other surface lacks something
    SurfaceDirection fromOther;   ///< large where the other surface has something of its own
    DistanceFigures distance;     ///< of each figure the larger of the two directions
    double peak = 0;              ///< diagonal of the box around the source's faces, metres
    double pointPsnr = 0;         ///< dB; infinite for surfaces that are the same
    double planePsnr = 0;
};

struct SurfaceComparisonOptions {
    std::size_t samples = 40000;  ///< on each surface, besides its vertices; at least 1
};

/// Runs on the calling thread: about 0.3 s for surfaces of 17,000 vertices. Keeps nothing of the arguments.
/// std::invalid_argument for faces beyond the positions, or coordinates that are not finite.
SurfaceComparison CompareSurfaces(const SurfaceView& source, const SurfaceView& other,
                                  const SurfaceComparisonOptions& options = {});

/// 10 log10(peak^2 / meanSquare); infinite where that is 180 dB and more, minus infinity for an infinite error.
double Psnr(double peak, double meanSquare);

}  // namespace Nimb::Authoring
