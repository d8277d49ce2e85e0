// How much memory a piece of work takes.
#pragma once

#include <cstddef>
#include <fstream>
#include <string>

namespace Bench {

/// From its construction on, above what the process had then.
class PeakMemory {
public:
    PeakMemory() {
        std::ofstream("/proc/self/clear_refs") << '5';  // the peak begins anew
        m_Before = Kilobytes("VmRSS:");
    }
    double Megabytes() const { return static_cast<double>(Kilobytes("VmHWM:") - m_Before) / 1000; }

private:
    static long Kilobytes(const std::string& name) {
        std::ifstream status("/proc/self/status");
        std::string word;
        long kilobytes = 0;
        while (status >> word && word != name) {
        }
        status >> kilobytes;
        return kilobytes;
    }

    long m_Before = 0;
};

}  // namespace Bench
