// The options of `nimb encode`, which `nimb plan` shares, and `nimb compare` as far as they are about the input.
#pragma once

#include "Authoring/Source/MeshSources.h"
#include "Clip/Write/AudioReader.h"
#include "Clip/Write/ClipEncoder.h"

#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace Nimb::Tool {

/// The command line as it was given.
struct EncodeArguments {
    Authoring::SourceOptions source;
    Authoring::EncodeOptions encode;
    std::vector<std::string> inputs;
    std::string audio;
    double audioStart = 0;
    std::string atlasSize;
    int videoKilobits = 0;
    int audioKilobits = 160;
    bool track = false;
    std::string trackError;
    std::string match = "surface";
    std::string delta = "auto";
    std::string index = "auto";
    std::string up = "y";
    std::optional<double> maxError;
    bool strict = false;
};

/// What a clip is made from, and its sound. INPUT may be missing: Resolve checks that.
void AddInputOptions(CLI::App& sub, EncodeArguments& a);

/// These, and all others but outputs and what a run prints.
void AddEncodeOptions(CLI::App& sub, EncodeArguments& a);

/// Fills in the options of source and encoder. Throws UsageError.
void Resolve(EncodeArguments& a);

/// What the command line names; files that those name in turn are checked when they are read.
std::vector<std::string> InputsOf(const EncodeArguments& a);

/// Opens the sound unless `audio` is empty. Warns when the clip will be silent. `duration`: of the clip, seconds.
void OpenSound(const std::string& audio, double audioStart, double duration, Authoring::Warnings& warnings,
               std::optional<Authoring::AudioReader>& reader);

}  // namespace Nimb::Tool
