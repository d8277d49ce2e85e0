// Frame rates as files have them: fractions.
#pragma once

namespace Nimb::Authoring {

struct FrameRate {
    int numerator;
    int denominator;

    double Value() const { return static_cast<double>(numerator) / denominator; }
};

/// The exact rate that `rate` stands for (above 0, at most 1000): a whole number of frames per second if it is within
/// `tolerance` of one, or a television rate, such as 30000/1001 for 29.97; other rates are rounded to a thousandth.
FrameRate ExactFrameRate(double rate, double tolerance = 1e-6);

}  // namespace Nimb::Authoring
