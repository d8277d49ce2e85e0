// Frame rates as files have them: fractions.
#pragma once

namespace Nimb::Authoring {

struct FrameRate {
    int numerator;
    int denominator;

    double Value() const { return static_cast<double>(numerator) / denominator; }
};

/// What is meant by `rate`, above 0 and at most 1000 frames per second: a whole rate, to within `tolerance`, or one of
/// television, 29.97 being 30000/1001, and so on; other rates are taken to a thousandth.
FrameRate ExactFrameRate(double rate, double tolerance = 1e-6);

}  // namespace Nimb::Authoring
