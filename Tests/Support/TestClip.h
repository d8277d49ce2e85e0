// Real clips for the tests: encoded meshes, libx264 and AAC.
#pragma once

#include "Authoring/Frame/FrameEncoder.h"
#include "Tests/Support/Files.h"

#include <functional>
#include <optional>
#include <string>

namespace ClipTest {

struct ClipRecipe {
    int width = 64;
    int height = 64;
    int frameRate = 30;
    int frameCount = 30;
    int pictureKeyInterval = 10;
    int meshKeyInterval = 8;
    Nimb::Authoring::IndexCoding indices = Nimb::Authoring::IndexCoding::EdgeBreaker;
    std::optional<Nimb::Authoring::DeltaCoding> delta =
        Nimb::Authoring::DeltaCoding::Smallest;  ///< none: all are key frames
    int meshColumns = 12;
    int meshRows = 10;
    bool storeNormals = false;
    double audioSeconds = 0;
    bool hasAttributes = true;
    /// May change or clear the mesh that goes into the file, not those that later frames are predicted from.
    std::function<void(int number, Nimb::Authoring::Bytes& mesh)> damage;

    double Seconds() const { return static_cast<double>(frameCount) / frameRate; }
};

/// Writes the clip whose frames are numbered from 0 (see CounterFrame.h).
void MakeClip(const std::string& path, const ClipRecipe& recipe);

}  // namespace ClipTest
