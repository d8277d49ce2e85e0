// The atlas: textures keep apart, stay inside, and are found where their transforms lead.
#include "Authoring/Codec/TextureTransform.h"
#include "Authoring/Scene/Atlas.h"
#include "Authoring/Scene/ImageScale.h"
#include "NimbCore/TextureTransform.h"
#include "Tests/Support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

using Nimb::Authoring::AtlasLayout;
using Nimb::Authoring::AtlasSlot;
using Nimb::Authoring::Image;
using Nimb::Authoring::LayOutAtlas;
using Nimb::Authoring::PictureSize;
using NimbTest::Random;

constexpr std::size_t c_Margin = 4;

bool Disjoint(const AtlasSlot& a, const AtlasSlot& b) {
    const auto apart = [](std::size_t p, std::size_t pSize, std::size_t q, std::size_t qSize) {
        return p + pSize + 2 * c_Margin <= q || q + qSize + 2 * c_Margin <= p;
    };
    return apart(a.x, a.width, b.x, b.width) || apart(a.y, a.height, b.y, b.height);
}

void ExpectSound(const AtlasLayout& layout, const PictureSize& limit) {
    EXPECT_LE(layout.size.width, limit.width);
    EXPECT_LE(layout.size.height, limit.height);
    EXPECT_EQ(layout.size.width % 2 + layout.size.height % 2, 0u);
    EXPECT_GE(std::min(layout.size.width, layout.size.height), 16u);
    for (std::size_t i = 0; i < layout.slots.size(); ++i) {
        const AtlasSlot& slot = layout.slots[i];
        EXPECT_GE(std::min(slot.x, slot.y), c_Margin);
        EXPECT_LE(slot.x + slot.width + c_Margin, layout.size.width);
        EXPECT_LE(slot.y + slot.height + c_Margin, layout.size.height);
        for (std::size_t j = 0; j < i; ++j) {
            EXPECT_TRUE(Disjoint(slot, layout.slots[j])) << i << " and " << j;
        }
        // The reader's placement of the texture's far corner, in pixels.
        const Nimb::STransform t = Nimb::InvertTransform(Nimb::Authoring::SlotTransform(layout, i).data());
        const float u = t.t[4] + (1.0f * t.t[0] + 0.0f * t.t[2]);
        const float v = 1.0f - (t.t[5] + (1.0f * t.t[1] + 0.0f * t.t[3]));
        EXPECT_NEAR(u * static_cast<float>(layout.size.width), static_cast<float>(slot.x + slot.width), 0.01);
        EXPECT_NEAR(v * static_cast<float>(layout.size.height), static_cast<float>(slot.y + slot.height), 0.01);
    }
}

TEST(Atlas, TexturesOfAllSizesArePackedApart) {
    Random random(5);
    for (int round = 0; round < 40; ++round) {
        std::vector<PictureSize> textures(2 + random.Below(12));
        std::size_t area = 0;
        for (PictureSize& texture : textures) {
            texture = {1 + random.Below(300), 1 + random.Below(300)};
            area += (texture.width + 15) * (texture.height + 15);
        }
        const AtlasLayout layout = LayOutAtlas(textures);
        ExpectSound(layout, Nimb::Authoring::c_LargestAtlas);
        for (std::size_t i = 0; i < textures.size(); ++i) {
            EXPECT_TRUE((textures[i] == PictureSize{layout.slots[i].width, layout.slots[i].height})) << "not scaled";
        }
        if (textures.size() >= 6) {
            EXPECT_LT(layout.size.width * layout.size.height, area * 3 / 2) << "wasteful";
        }
    }
}

TEST(Atlas, WhatDoesNotFitIsScaledDownAlike) {
    const PictureSize limit{256, 128};
    const AtlasLayout layout = LayOutAtlas({{1000, 500}, {500, 500}, {1, 1}}, limit);
    ExpectSound(layout, limit);
    EXPECT_NEAR(static_cast<double>(layout.slots[0].width), 2.0 * static_cast<double>(layout.slots[1].width), 2);
    EXPECT_GT(layout.slots[0].width, 120u) << "smaller than it has to be";

    const AtlasLayout whole = LayOutAtlas({{999, 501}}, {256, 256});
    EXPECT_TRUE(whole.IsWhole());
    EXPECT_TRUE((whole.size == PictureSize{256, 128}));
    EXPECT_TRUE((LayOutAtlas({{1, 1}}).size == PictureSize{16, 16}));

    EXPECT_THROW(LayOutAtlas({{8, 8}}, {255, 256}), std::invalid_argument);
    EXPECT_THROW(LayOutAtlas(std::vector<PictureSize>(200, {64, 64}), {64, 64}), std::invalid_argument);
}

TEST(Atlas, MarginsRepeatTheTexturesEdges) {
    Image red(20, 12), blue(7, 30);
    for (Image* image : {&red, &blue}) {
        for (std::size_t i = 0; i < image->rgba.size(); i += 4) {
            image->rgba[image == &red ? i : i + 2] = static_cast<BYTE>(100 + i / 4 % image->width);
        }
    }
    const AtlasLayout layout = LayOutAtlas({{20, 12}, {7, 30}});
    const Image atlas = Nimb::Authoring::ComposeAtlas(layout, {&red, &blue});
    const AtlasSlot& r = layout.slots[0];
    for (std::size_t x = r.x - c_Margin; x < r.x + 20 + c_Margin; ++x) {
        const std::size_t column = std::min<std::size_t>(std::max(x, r.x) - r.x, 19);
        for (const std::size_t y : {r.y - c_Margin, r.y, r.y + 11 + c_Margin}) {
            EXPECT_EQ(atlas.Pixel(x, y)[0], 100 + column);
            EXPECT_EQ(atlas.Pixel(x, y)[2], 0);
        }
    }
    EXPECT_EQ(atlas.Pixel(layout.slots[1].x + 6, layout.slots[1].y + 29)[2], 106);
}

TEST(ImageScale, PixelsAreMeansOfWhatTheyCover) {
    Image image(300, 7);
    for (std::size_t i = 0; i < image.rgba.size(); ++i) {
        image.rgba[i] = i % 4 == 0 ? static_cast<BYTE>(i / 4 % 2 * 255) : static_cast<BYTE>(i / 4 % 300 / 2);
    }
    const Image scaled = Nimb::Authoring::ScaleImage(image, 110, 3);
    for (std::size_t x = 0; x < 110; ++x) {
        EXPECT_NEAR(scaled.Pixel(x, 1)[0], 127.5, 48) << "stripes of single pixels become grey";
        EXPECT_NEAR(scaled.Pixel(x, 2)[1], (static_cast<double>(x) + 0.5) * 300 / 110 / 2, 1) << "ramps stay in place";
    }
}

}  // namespace
