// How much drawn views of two clips differ, as one sees it: luma PSNR, SSIM, silhouette, flicker.
//
// Luma is that of BT.709, from 0 to 255, over a background of medium grey. What neither view covers does not count:
// it would only make figures depend on how much of the picture is empty.
#pragma once

#include "Authoring/Scene/Image.h"

#include <cstddef>
#include <vector>

namespace Nimb::Tool {

/// A drawn view, without colour.
struct LumaView {
    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<float> luma;
    std::vector<char> isCovered;  ///< at least half of the pixel is
};

/// `image`: over a transparent background.
LumaView LumaOf(const Authoring::Image& image);

/// The views of one frame, of both sides; as many of each, of the same sizes.
struct FrameViews {
    std::vector<LumaView> source;
    std::vector<LumaView> clip;
};

struct ViewFigures {
    double psnr = 0;        ///< of luma, dB, over the pixels that either covers; infinite for equal ones
    double ssim = 1;        ///< mean over the same pixels
    double silhouette = 0;  ///< pixels that only one covers, as a share of those that either covers
};

/// Of all views together. SSIM as in Wang et al. 2004: Gaussian window of 11 x 11 pixels with a deviation of 1.5,
/// K1 0.01, K2 0.03.
ViewFigures CompareViews(const FrameViews& views);

/// The change of the error from one frame to the next, which is what one sees as flicker: root mean square of
/// (clip - source) here minus (clip - source) there, in levels of luma, over the pixels that any of the four covers.
double Flicker(const FrameViews& views, const FrameViews& before);

/// Means of luma over blocks, all views one after the other: enough to tell frames apart.
std::vector<float> SignatureOf(const std::vector<LumaView>& views);

}  // namespace Nimb::Tool
