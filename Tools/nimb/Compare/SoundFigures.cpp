#include "Tools/nimb/Compare/SoundFigures.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>

namespace Nimb::Tool {
namespace {

constexpr double c_Rate = 48000;
constexpr std::ptrdiff_t c_Coarse = 12;         // samples in one of the first search
constexpr std::ptrdiff_t c_MostOffset = 24000;  // half a second
constexpr double c_Nearness = 0.02;             // what the nearest of equal offsets is ahead of the furthest
constexpr double c_Silence = 1e-10;             // mean square: -100 dB

double MeanSquare(const std::vector<float>& samples) {
    double sum = 0;
    for (const float sample : samples) {
        sum += static_cast<double>(sample) * static_cast<double>(sample);
    }
    return samples.empty() ? 0 : sum / static_cast<double>(samples.size());
}

std::vector<float> Thinned(const std::vector<float>& samples) {
    std::vector<float> out;
    for (std::size_t begin = 0; begin + c_Coarse <= samples.size(); begin += c_Coarse) {
        float sum = 0;
        for (std::size_t i = begin; i < begin + c_Coarse; ++i) {
            sum += samples[i];
        }
        out.push_back(sum / c_Coarse);
    }
    return out;
}

/// Of what both have when the clip is late by `offset` samples, normalised.
double Correlation(const std::vector<float>& source, const std::vector<float>& clip, std::ptrdiff_t offset) {
    const std::ptrdiff_t begin = std::max(std::ptrdiff_t{0}, -offset);
    const std::ptrdiff_t end =
        std::min(static_cast<std::ptrdiff_t>(source.size()), static_cast<std::ptrdiff_t>(clip.size()) - offset);
    if (end <= begin) {
        return 0;
    }
    const float* const a = source.data() + begin;
    const float* const b = clip.data() + begin + offset;
    const auto count = static_cast<std::size_t>(end - begin);
    float mixed[4] = {}, first[4] = {}, second[4] = {};  // several sums: compilers may add them side by side
    double sums[3] = {};
    for (std::size_t i = 0; i + 4 <= count; i += 4) {
        for (std::size_t lane = 0; lane < 4; ++lane) {
            mixed[lane] += a[i + lane] * b[i + lane];
            first[lane] += a[i + lane] * a[i + lane];
            second[lane] += b[i + lane] * b[i + lane];
        }
        if (i % 4096 == 0 || i + 8 > count) {  // floats lose what is added to a large sum
            for (std::size_t lane = 0; lane < 4; ++lane) {
                sums[0] += static_cast<double>(mixed[lane]);
                sums[1] += static_cast<double>(first[lane]);
                sums[2] += static_cast<double>(second[lane]);
                mixed[lane] = first[lane] = second[lane] = 0;
            }
        }
    }
    const double energy = std::sqrt(sums[1] * sums[2]);
    return energy > 0 ? sums[0] / energy : 0;
}

struct Peak {
    std::ptrdiff_t offset = 0;
    double correlation = 0;
};

/// The offset from `first` to `last` with the largest correlation. `most`: the largest there is; of a sound that
/// repeats itself, the nearest repetition wins.
Peak Search(const std::vector<float>& source, const std::vector<float>& clip, std::ptrdiff_t first, std::ptrdiff_t last,
            std::ptrdiff_t most) {
    Peak best;
    double bestScore = -2;
    for (std::ptrdiff_t offset = first; offset <= last; ++offset) {
        const double correlation = Correlation(source, clip, offset);
        const double score =
            correlation - c_Nearness * static_cast<double>(std::abs(offset)) / static_cast<double>(most);
        if (score > bestScore) {
            bestScore = score;
            best = {offset, correlation};
        }
    }
    return best;
}

}  // namespace

std::vector<float> ReadMono(Authoring::SoundSource& sound, double seconds) {
    std::vector<float> mono;
    const auto most = static_cast<std::size_t>(seconds * c_Rate);
    std::vector<float> samples(2 * 4096);
    while (mono.size() < most) {
        const std::size_t count = sound.Read(samples.data(), std::min<std::size_t>(4096, most - mono.size()));
        if (count == 0) {
            break;
        }
        for (std::size_t i = 0; i < count; ++i) {
            mono.push_back((samples[2 * i] + samples[2 * i + 1]) / 2);
        }
    }
    return mono;
}

std::optional<SoundFigures> CompareSound(const std::vector<float>& source, const std::vector<float>& clip) {
    const double sourcePower = MeanSquare(source), clipPower = MeanSquare(clip);
    if (sourcePower < c_Silence || clipPower < c_Silence) {
        return std::nullopt;
    }
    SoundFigures figures;
    figures.level = 10 * std::log10(clipPower / sourcePower);
    // At least half of the shorter one counts: with less, anything correlates with anything.
    const auto shorter = static_cast<std::ptrdiff_t>(std::min(source.size(), clip.size()));
    const std::ptrdiff_t most = std::max<std::ptrdiff_t>(std::min(c_MostOffset, shorter / 2) / c_Coarse, 1);
    const std::ptrdiff_t coarse = Search(Thinned(source), Thinned(clip), -most, most, most).offset;
    const Peak fine = Search(source, clip, (coarse - 1) * c_Coarse, (coarse + 1) * c_Coarse, c_MostOffset);
    figures.offset = static_cast<double>(fine.offset) / c_Rate;
    figures.likeness = fine.correlation;
    return figures;
}

}  // namespace Nimb::Tool
