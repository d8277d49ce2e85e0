#include "Bench/Subject.h"

#include <algorithm>

namespace Bench {

void Register(const std::string& name, std::function<void(benchmark::State&)> body) {
    benchmark::RegisterBenchmark(name.c_str(), std::move(body))
        ->Unit(benchmark::kMicrosecond)
        ->ComputeStatistics("min", [](const std::vector<double>& v) { return *std::min_element(v.begin(), v.end()); });
}

void Report(benchmark::State& state, std::size_t elements, std::size_t outputBytes, std::size_t encoded) {
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(elements));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(outputBytes));
    state.counters["encoded"] = static_cast<double>(encoded);
}

}  // namespace Bench
