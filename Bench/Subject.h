// What the benchmarks decode: a clip of one figure, and how benchmarks of it are named and registered.
#pragma once

#include "Authoring/Codec/Mesh.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

namespace Bench {

struct Subject {
    std::string name;                           ///< second part of every benchmark's name
    std::vector<Nimb::Authoring::Mesh> frames;  ///< constant topology, 30 frames a second
    double maxError;                            ///< of positions in delta frames
    std::size_t Vertices() const { return frames.front().positions.size(); }
    std::size_t Faces() const { return frames.front().faces.size(); }
};

// Each registers its benchmarks of one subject, which must outlive the run. Names are "Group/Subject/What/Variant".
void RegisterPeerBenchmarks(const Subject& subject);
void RegisterCodecBenchmarks(const Subject& subject);
void RegisterFrameBenchmarks(const Subject& subject);
void RegisterEncodeBenchmarks(const Subject& subject);

/// Registers one benchmark that reports the best of its repetitions in microseconds of processor time.
void Register(const std::string& name, std::function<void(benchmark::State&)> body);

/// Reports what one iteration produced. `encoded` is the size of what it was decoded from (or encoded into).
void Report(benchmark::State& state, std::size_t elements, std::size_t outputBytes, std::size_t encoded);

}  // namespace Bench
