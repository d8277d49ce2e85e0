// What clips are made from, in memory.
#pragma once

#include "Authoring/Scene/MeshSource.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace NimbTest {

struct MemorySource : Nimb::Authoring::MeshSource {
    using Picture = std::shared_ptr<const Nimb::Authoring::Image>;

    std::size_t FrameCount() const override { return frames.size(); }
    double FrameRate() const override { return rate; }
    std::size_t MaterialCount() const override { return textures.front().size(); }
    std::string MaterialName(std::size_t material) const override { return "material" + std::to_string(material); }
    std::string FrameName(std::size_t frame) const override { return "frame" + std::to_string(frame); }
    Nimb::Authoring::SourceFrame Frame(std::size_t frame) const override { return frames.at(frame); }
    Picture Texture(std::size_t frame, std::size_t material) const override {
        return textures.at(std::min(frame, textures.size() - 1)).at(material);
    }

    double rate = 25;
    std::vector<Nimb::Authoring::SourceFrame> frames;
    std::vector<std::vector<Picture>> textures;  // by frame, the last one stays; by material
};

}  // namespace NimbTest
