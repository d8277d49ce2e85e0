#include "Clip/Remux/RemuxPlan.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace Nimb::Authoring {
namespace {

constexpr AVRational c_CommonTimeBase = {1, 90000};  // of clips whose times have nothing in common

std::string SizeText(const AVCodecParameters& video) {
    return std::to_string(video.width) + " x " + std::to_string(video.height);
}

/// The number of the next frame that playback can begin at; none: there is none.
std::optional<std::size_t> NextStart(const RemuxInput& input, std::size_t from) {
    for (std::size_t i = from; i < input.frames.size(); ++i) {
        if (input.frames[i].IsStart()) {
            return i;
        }
    }
    return std::nullopt;
}

/// A clip that goes on with delta frames would build on the meshes of the clip before it.
void CheckJoint(const RemuxInput& before, const RemuxInput& input) {
    const std::string what = input.path + ": cannot be joined to " + before.path + ": ";
    const AVCodecParameters& a = *before.video;
    const AVCodecParameters& b = *input.video;
    if (a.width != b.width || a.height != b.height) {
        throw InputError(what + "its pictures are " + SizeText(b) + ", the other's " + SizeText(a));
    }
    if (!(before.parameterSets == input.parameterSets)) {
        throw InputError(
            what + "their pictures were encoded with different settings (the parameter sets of the video differ)");
    }
    if (!input.frames.front().IsStart()) {
        const std::optional<std::size_t> start = NextStart(input, 0);
        throw InputError(what + "its first frames need frames that it does not have" +
                         (start ? "; begin at frame " + std::to_string(*start) + ": nimb remux --first " +
                                      std::to_string(*start) + " " + input.path + " -o OUT"
                                : ""));
    }
}

/// A frame by its number over all inputs.
const RemuxFrame& FrameAt(const std::vector<RemuxInput>& inputs, std::size_t number) {
    std::size_t i = 0;
    for (; number >= inputs[i].frames.size(); ++i) {
        number -= inputs[i].frames.size();
    }
    return inputs[i].frames[number];
}

/// The last frame up to `wanted` that playback can begin at, or else the next one.
std::size_t FindStart(const std::vector<RemuxInput>& inputs, std::size_t wanted, std::size_t count) {
    for (std::size_t i = wanted + 1; i-- > 0;) {
        if (FrameAt(inputs, i).IsStart()) {
            return i;
        }
    }
    for (std::size_t i = wanted + 1; i < count; ++i) {
        if (FrameAt(inputs, i).IsStart()) {
            return i;
        }
    }
    throw InputError(inputs.front().path + ": cannot be cut: no frame has both a key picture and a key mesh");
}

class Planner {
public:
    Planner(const std::vector<RemuxInput>& inputs, const RemuxOptions& options, const RemuxWarning& warn)
        : m_Inputs(inputs), m_Warn(warn) {
        std::size_t count = 0;
        for (const RemuxInput& input : inputs) {
            count += input.frames.size();
        }
        if (options.first >= count) {
            throw std::invalid_argument("there are " + std::to_string(count) + " frames, so there is no frame " +
                                        std::to_string(options.first));
        }
        m_Plan.report.firstFrame = options.first == 0 ? 0 : FindStart(inputs, options.first, count);
        m_End = options.last < count ? options.last + 1 : count;
        if (m_Plan.report.firstFrame >= m_End) {
            throw std::invalid_argument("there is no frame up to frame " + std::to_string(options.last) +
                                        " that playback can begin at");
        }
    }

    RemuxPlan Make() {
        ChooseExcerpts();
        SetTimes();
        CountFrames();
        return std::move(m_Plan);
    }

private:
    void ChooseExcerpts() {
        std::size_t begin = 0;  // of the input, over all inputs
        for (const RemuxInput& input : m_Inputs) {
            const std::size_t end = begin + input.frames.size();
            const std::size_t first = std::max(begin, m_Plan.report.firstFrame);
            const std::size_t last = std::min(end, m_End);
            if (first < last) {
                if (!m_Plan.excerpts.empty()) {
                    CheckJoint(*m_Plan.excerpts.back().pInput, input);
                }
                m_Plan.excerpts.push_back({&input, first - begin, last - begin, 0, 0});
            }
            begin = end;
        }
    }

    /// All inputs have the times of one rate: then so has the clip. Otherwise their own times follow each other.
    void SetTimes() {
        const RemuxInput& front = *m_Plan.excerpts.front().pInput;
        bool hasRate = true;
        bool hasTimeBase = true;
        for (const RemuxExcerpt& excerpt : m_Plan.excerpts) {
            const RemuxInput& input = *excerpt.pInput;
            hasRate = hasRate && front.rate && input.rate && front.rate->numerator == input.rate->numerator &&
                      front.rate->denominator == input.rate->denominator;
            hasTimeBase = hasTimeBase && av_cmp_q(front.timeBase, input.timeBase) == 0;
        }
        m_Plan.timeBase = hasRate       ? AVRational{front.rate->denominator, front.rate->numerator}
                          : hasTimeBase ? front.timeBase
                                        : c_CommonTimeBase;
        const double unit = av_q2d(m_Plan.timeBase);
        double now = 0;
        for (RemuxExcerpt& excerpt : m_Plan.excerpts) {
            const RemuxInput& input = *excerpt.pInput;
            excerpt.beginSeconds = now;
            for (std::size_t i = excerpt.first; i < excerpt.end; ++i) {
                const auto number = static_cast<std::int64_t>(m_Plan.times.size());
                const double time = excerpt.beginSeconds + input.Seconds(i) - input.Seconds(excerpt.first);
                m_Plan.times.push_back(hasRate ? number : std::llround(time / unit));
            }
            excerpt.seconds = hasRate ? static_cast<double>(excerpt.end - excerpt.first) * unit
                                      : input.Seconds(excerpt.end - 1) - input.Seconds(excerpt.first) +
                                            input.Duration(excerpt.end - 1);
            now += excerpt.seconds;
        }
        m_Plan.times.push_back(std::max<std::int64_t>(std::llround(now / unit), m_Plan.times.back() + 1));
    }

    void CountFrames() {
        AttributeFinder finder;
        for (const RemuxExcerpt& excerpt : m_Plan.excerpts) {
            for (std::size_t i = excerpt.first; i < excerpt.end; ++i) {
                finder.Count(excerpt.pInput->frames[i].facts);
            }
            WarnOfFrames(excerpt);
        }
        const std::optional<FileAttributes> attributes = finder.Attributes();
        if (!attributes) {
            throw InputError(m_Plan.excerpts.front().pInput->path + ": none of the frames to keep has a mesh");
        }
        m_Plan.attributes = *attributes;
        m_Plan.report.frames = attributes->frameCount;
    }

    /// One warning for consecutive frames with the same problem.
    void WarnOfFrames(const RemuxExcerpt& excerpt) {
        const std::vector<RemuxFrame>& frames = excerpt.pInput->frames;
        for (std::size_t i = excerpt.first; i < excerpt.end;) {
            std::size_t next = i + 1;
            if (!frames[i].problem.empty()) {
                while (next < excerpt.end && frames[next].problem == frames[i].problem) {
                    ++next;
                }
                m_Plan.report.damagedFrames += next - i;
                m_Warn(excerpt.pInput->path + ": " +
                       (next == i + 1 ? "frame " + std::to_string(i) + " is kept as it is: "
                                      : "frames " + std::to_string(i) + " to " + std::to_string(next - 1) +
                                            " are kept as they are: each has the same problem: ") +
                       frames[i].problem);
            }
            i = next;
        }
        const std::optional<std::size_t> start = NextStart(*excerpt.pInput, excerpt.first);
        if (start && *start != excerpt.first) {
            m_Warn(excerpt.pInput->path + ": playback can begin only at frame " + std::to_string(*start) +
                   ", with key picture and key mesh; --first " + std::to_string(*start) +
                   " leaves out what comes before");
        }
    }

    const std::vector<RemuxInput>& m_Inputs;
    const RemuxWarning& m_Warn;
    std::size_t m_End = 0;
    RemuxPlan m_Plan;
};

}  // namespace

RemuxPlan PlanRemux(const std::vector<RemuxInput>& inputs, const RemuxOptions& options, const RemuxWarning& warn) {
    return Planner(inputs, options, warn).Make();
}

}  // namespace Nimb::Authoring
