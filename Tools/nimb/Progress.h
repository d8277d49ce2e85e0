// Progress of long work on a terminal: rate and time left. Prints nothing elsewhere.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

namespace Nimb::Tool {

/// One line on standard error that is rewritten a few times a second, and cleared at the end; on a terminal that cannot
/// do that, a line every ten seconds. Belongs to one thread.
class Progress {
public:
    /// `what`: "Encoding", for instance. `total`: frames in all; 0 when unknown.
    Progress(std::string what, std::size_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// What the first report has done already does not count for the rate.
    void Report(std::size_t done);

    /// Makes room for a line of output; the next report shows the progress again.
    void Clear();

private:
    std::string Line(std::size_t done) const;

    using Clock = std::chrono::steady_clock;

    std::string m_What;
    std::size_t m_Total;
    bool m_IsTerminal;
    bool m_CanRewrite;
    bool m_Shown = false;                ///< there is a line to clear
    std::optional<std::size_t> m_First;  ///< done when the first report came
    Clock::time_point m_Start;
    Clock::time_point m_Next;  ///< when to show the next line
};

}  // namespace Nimb::Tool
