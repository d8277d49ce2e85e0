// Progress of long work: rate and time left on a terminal, nothing elsewhere.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace NimbTool {

/// One line on standard error that is rewritten a few times a second, and cleared at the end. Belongs to one thread.
class Progress {
public:
    /// `what`: "Encoding", for instance. `total`: frames in all; 0 when unknown.
    Progress(std::string what, std::size_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Report(std::size_t done);

    /// Makes room for a line of output; the next report shows the progress again.
    void Clear();

private:
    using Clock = std::chrono::steady_clock;

    std::string m_What;
    std::size_t m_Total;
    bool m_Enabled;
    bool m_Shown = false;
    Clock::time_point m_Start;
    Clock::time_point m_Last;
};

}  // namespace NimbTool
