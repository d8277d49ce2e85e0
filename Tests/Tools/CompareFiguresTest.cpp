// Figures of views and of sound, where their values are known.
#include "Tests/Support/Meshes.h"
#include "Tools/nimb/Compare/SoundFigures.h"
#include "Tools/nimb/Compare/ViewFigures.h"

#include <gtest/gtest.h>

#include <cmath>

namespace ToolTest {
namespace {

using namespace Nimb::Tool;

/// A square of noise in the middle of an empty picture.
LumaView Square(std::size_t left, float brighter) {
    NimbTest::Random random(5);
    Nimb::Authoring::Image image(64, 64);
    for (std::size_t y = 16; y < 48; ++y) {
        for (std::size_t x = left; x < left + 32; ++x) {
            const auto grey = static_cast<BYTE>(60 + random.Below(100));
            const BYTE pixel[4] = {grey, grey, grey, 255};
            std::copy(pixel, pixel + 4, image.Pixel(x, y));
        }
    }
    LumaView view = LumaOf(image);
    for (std::size_t i = 0; i < view.luma.size(); ++i) {
        view.luma[i] += view.isCovered[i] != 0 ? brighter : 0;
    }
    return view;
}

/// As the paper has it: a sum over all of the window for each pixel.
double Ssim(const LumaView& a, const LumaView& b) {
    double sum = 0, pixels = 0;
    for (int y = 16; y < 48; ++y) {
        for (int x = 16; x < 48; ++x) {
            double weights = 0, meanA = 0, meanB = 0, squareA = 0, squareB = 0, product = 0;
            for (int v = -5; v <= 5; ++v) {
                for (int u = -5; u <= 5; ++u) {
                    // The window's edge goes on beyond what is covered.
                    const int row = std::min(std::max(y + v, 16), 47), column = std::min(std::max(x + u, 16), 47);
                    const auto at = static_cast<std::size_t>(row * 64 + column);
                    const double weight = std::exp(-(u * u + v * v) / 4.5);
                    const auto p = static_cast<double>(a.luma[at]), q = static_cast<double>(b.luma[at]);
                    weights += weight;
                    meanA += weight * p;
                    meanB += weight * q;
                    squareA += weight * p * p;
                    squareB += weight * q * q;
                    product += weight * p * q;
                }
            }
            meanA /= weights, meanB /= weights;
            const double variances = squareA / weights - meanA * meanA + squareB / weights - meanB * meanB;
            const double covariance = product / weights - meanA * meanB;
            sum += (2 * meanA * meanB + 6.5025) * (2 * covariance + 58.5225) /
                   ((meanA * meanA + meanB * meanB + 6.5025) * (variances + 58.5225));
            ++pixels;
        }
    }
    return sum / pixels;
}

TEST(CompareFigures, OfViewsAreThoseOfTheirDefinitions) {
    const ViewFigures same = CompareViews({{Square(16, 0)}, {Square(16, 0)}});
    EXPECT_TRUE(std::isinf(same.psnr));
    EXPECT_NEAR(same.ssim, 1, 1e-6);
    EXPECT_EQ(same.silhouette, 0);

    // Ten levels wherever there is something: the empty part of the picture makes it no better.
    const ViewFigures brighter = CompareViews({{Square(16, 0)}, {Square(16, 10)}});
    EXPECT_NEAR(brighter.psnr, 10 * std::log10(255.0 * 255 / 100), 1e-4);

    LumaView noisy = Square(16, 0);
    NimbTest::Random random(9);
    for (std::size_t i = 0; i < noisy.luma.size(); ++i) {
        noisy.luma[i] += noisy.isCovered[i] != 0 ? 40 * random.Signed() : 0;
    }
    EXPECT_NEAR(CompareViews({{Square(16, 0)}, {noisy}}).ssim, Ssim(Square(16, 0), noisy), 1e-4);

    // Eight columns on each side that only one has, of forty that either has.
    EXPECT_NEAR(CompareViews({{Square(16, 0)}, {Square(24, 0)}}).silhouette, 16.0 / 40, 1e-9);

    // An error that stays does not flicker; one that turns around does by twice as much.
    const FrameViews bright{{Square(16, 0)}, {Square(16, 6)}}, dark{{Square(16, 0)}, {Square(16, -6)}};
    EXPECT_EQ(Flicker(bright, bright), 0);
    EXPECT_NEAR(Flicker(dark, bright), 12, 1e-4);
}

TEST(CompareFigures, OfSoundFindOffsetAndLevelAndKnowOtherSounds) {
    NimbTest::Random random(3);
    std::vector<float> noise(48000), other(48000);
    float held = 0, otherHeld = 0;  // low frequencies, as of speech
    for (std::size_t i = 0; i < noise.size(); ++i) {
        noise[i] = held += 0.1f * (random.Signed() - held);
        other[i] = otherHeld += 0.1f * (random.Signed() - otherHeld);
    }
    std::vector<float> late(1234, 0.0f);
    for (const float sample : noise) {
        late.push_back(sample / 2);
    }
    for (const bool isLate : {true, false}) {
        const auto found = isLate ? CompareSound(noise, late) : CompareSound(late, noise);
        ASSERT_TRUE(found);
        EXPECT_NEAR(found->offset, (isLate ? 1 : -1) * 1234 / 48000.0, 1e-6);
        EXPECT_NEAR(found->likeness, 1, 1e-4);
        EXPECT_NEAR(found->level, (isLate ? -1 : 1) * 6.13, 0.01);  // half as loud, over a longer time
    }
    EXPECT_LT(CompareSound(noise, other)->likeness, 0.3);
    EXPECT_FALSE(CompareSound(noise, std::vector<float>(24000)));
    EXPECT_FALSE(CompareSound({}, noise));
}

}  // namespace
}  // namespace ToolTest
