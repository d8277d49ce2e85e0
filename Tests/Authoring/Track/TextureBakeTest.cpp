#include "Authoring/Track/PushPull.h"
#include "Authoring/Track/TextureBake.h"
#include "Tests/Support/Ball.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace Nimb::Authoring {
namespace {

using NimbTest::Ball;
using NimbTest::BallCell;
using NimbTest::BallColour;
using NimbTest::BallDirection;
using NimbTest::BallPlace;
using NimbTest::c_BallCell;
using NimbTest::c_BallMargin;
using NimbTest::MakeBall;

TexturedSurface SurfaceOf(const Mesh& mesh, const Image& picture) {
    return TexturedSurface({{mesh.positions, mesh.texCoords, mesh.faces, picture}});
}

BakedTexture Bake(const Ball& target, const TexturedSurface& source, double reach = 0.1) {
    const ChartTexels charts(target.mesh, {target.picture.width, target.picture.height});
    return BakeTexture(charts, target.mesh.faces, target.mesh.positions, source, reach);
}

/// The largest difference of any channel between the picture and what is painted on the ball, among texels that are at
/// most so many pixels outside a chart.
double WorstOf(const Image& picture, double outside) {
    double worst = 0;
    for (std::size_t side = 0; side < 6; ++side) {
        const BallCell cell(side, 0);
        const auto isNear = [outside](std::size_t pixel) {
            const double at = static_cast<double>(pixel) + 0.5;
            return at > c_BallMargin - outside && at < c_BallCell - c_BallMargin + outside;
        };
        for (std::size_t y = 0; y < c_BallCell; ++y) {
            for (std::size_t x = 0; x < c_BallCell; ++x) {
                if (isNear(x) && isNear(y)) {
                    const glm::dvec3 wanted = BallColour(BallDirection(side, BallPlace(static_cast<double>(x) + 0.5),
                                                                       BallPlace(static_cast<double>(y) + 0.5)));
                    for (int c = 0; c < 3; ++c) {
                        worst = std::max(worst, std::abs(wanted[c] - picture.Pixel(cell.x + x, cell.y + y)[c]));
                    }
                }
            }
        }
    }
    return worst;
}

TEST(TextureBake, AnotherMeshOfTheSameSurfaceShowsTheSameColours) {
    const Ball source = MakeBall(16, 1), target = MakeBall(13, 0, 1.01);
    const TexturedSurface surface = SurfaceOf(source.mesh, source.picture);
    const BakedTexture baked = Bake(target, surface);
    EXPECT_EQ(baked.unseen, 0u);
    EXPECT_LT(WorstOf(baked.picture, 0), 2.0);
    EXPECT_LT(WorstOf(baked.picture, 1), 2.5) << "what filtering reaches from inside the charts";
    EXPECT_LT(WorstOf(baked.picture, 5), 8.0) << "the margin, where colours of other charts are not to come";
    EXPECT_LT(SquaredLumaError(surface, SurfaceOf(target.mesh, baked.picture), 0.1), 1.0);
    EXPECT_GT(SquaredLumaError(surface, SurfaceOf(target.mesh, source.picture), 0.1), 500.0)
        << "the charts are in another order";
    EXPECT_EQ(Bake(target, surface).picture, baked.picture);
}

TEST(TextureBake, AKeyFrameKeepsItsTexelsAsTheyAre) {
    const Ball ball = MakeBall(16, 0);
    const BakedTexture baked = Bake(ball, SurfaceOf(ball.mesh, ball.picture));
    for (std::size_t y = 10; y < 50; ++y) {
        for (std::size_t x = 10; x < 50; ++x) {
            ASSERT_TRUE(std::equal(baked.picture.Pixel(x, y), baked.picture.Pixel(x, y) + 4, ball.picture.Pixel(x, y)))
                << x << ", " << y;
        }
    }
}

/// A square at a height, which looks up or down; texture space is the whole picture.
Mesh Square(float z, bool isUp) {
    Mesh mesh;
    mesh.positions = {{0, 0, z}, {1, 0, z}, {1, 1, z}, {0, 1, z}};
    mesh.texCoords = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
    mesh.faces = isUp ? std::vector<TarnMeshFace>{{{0, 1, 2}}, {{0, 2, 3}}}
                      : std::vector<TarnMeshFace>{{{0, 2, 1}}, {{0, 3, 2}}};
    return mesh;
}

Image Plain(BYTE grey) {
    Image image(32, 32);
    std::fill(image.rgba.begin(), image.rgba.end(), grey);
    return image;
}

TEST(TextureBake, AThinPartsOtherSideIsNotSeen) {
    const Mesh front = Square(0, true), back = Square(-0.001F, false), tracked = Square(-0.002F, true);
    const Image white = Plain(200), black = Plain(10);
    const TexturedSurface source(
        {{front.positions, front.texCoords, front.faces, white}, {back.positions, back.texCoords, back.faces, black}});
    const BakedTexture baked =
        BakeTexture(ChartTexels(tracked, {32, 32}), tracked.faces, tracked.positions, source, 0.01);
    EXPECT_EQ(baked.covered, 32u * 32u);
    EXPECT_EQ(baked.unseen, 0u);
    EXPECT_EQ(baked.picture, white);
}

TEST(TextureBake, PatternsBetweenTexelsStaySharp) {
    Mesh source = Square(0, true), target = source;
    Image stripes(64, 64);
    for (std::size_t i = 0; i < stripes.rgba.size(); ++i) {
        const auto along = static_cast<double>(i / 4 % 64) + 0.4 * static_cast<double>(i / 4 / 64);
        stripes.rgba[i] = static_cast<BYTE>(std::lround(128 + 90 * std::sin(along * 1.3)));
    }
    for (Vec2& t : target.texCoords) {  // half a texel off
        t = {t.u * 0.96F + 0.5F / 64, t.v * 0.96F + 0.5F / 64};
    }
    for (Vec2& t : source.texCoords) {
        t = {t.u * 0.96F, t.v * 0.96F};
    }
    const TexturedSurface surface = SurfaceOf(source, stripes);
    const BakedTexture baked =
        BakeTexture(ChartTexels(target, {64, 64}), target.faces, target.positions, surface, 0.01);
    EXPECT_LT(SquaredLumaError(surface, SurfaceOf(target, baked.picture), 0.01), 40.0)
        << "70 where each texel has the mean of what it covers";
}

TEST(TextureBake, TexelsThatSeeNothingGoOnFromThoseAroundThem) {
    const Ball target = MakeBall(12, 0);
    Ball source = MakeBall(16, 2);
    // Nothing is left of the source around one direction.
    const auto isGone = [&](const TarnMeshFace& face) { return source.mesh.positions[face.v[0]].x > 0.9F; };
    source.mesh.faces.erase(std::remove_if(source.mesh.faces.begin(), source.mesh.faces.end(), isGone),
                            source.mesh.faces.end());
    const BakedTexture baked = Bake(target, SurfaceOf(source.mesh, source.picture), 0.02);
    EXPECT_GT(baked.unseen, baked.covered / 50);
    EXPECT_LT(baked.unseen, baked.covered / 10);
    EXPECT_LT(WorstOf(baked.picture, 0), 50.0);

    const BakedTexture blind = Bake(target, SurfaceOf(source.mesh, source.picture), 0.0);
    EXPECT_EQ(blind.unseen, blind.covered);
}

TEST(TextureBake, FillingKeepsKnownPixelsAndStaysBetweenThem) {
    Image image(37, 21);
    std::vector<BYTE> known(image.width * image.height);
    const auto set = [&](std::size_t x, std::size_t y, BYTE value) {
        std::fill_n(image.Pixel(x, y), 4, value);
        known[y * image.width + x] = 1;
    };
    set(0, 0, 60);
    set(36, 20, 180);
    FillUnknown(image, known);
    EXPECT_EQ(*image.Pixel(0, 0), 60);
    EXPECT_EQ(*image.Pixel(36, 20), 180);
    int before = 60;
    for (std::size_t i = 0; i < 21; ++i) {
        const int value = *image.Pixel(i * 36 / 20, i);
        EXPECT_GE(value, before);
        EXPECT_LE(value, 180);
        before = value;
    }
}

}  // namespace
}  // namespace Nimb::Authoring
