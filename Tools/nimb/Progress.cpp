#include "Tools/nimb/Progress.h"

#include <unistd.h>
#include <cstdio>
#include <utility>

namespace NimbTool {

Progress::Progress(std::string what, std::size_t total)
    : m_What(std::move(what)), m_Total(total), m_Enabled(isatty(STDERR_FILENO) != 0), m_Start(Clock::now()) {}

Progress::~Progress() {
    Clear();
}

void Progress::Clear() {
    if (m_Shown) {
        std::fputs("\r\033[K", stderr);
        m_Shown = false;
    }
}

void Progress::Report(std::size_t done) {
    const Clock::time_point now = Clock::now();
    if (!m_Enabled || now - m_Last < std::chrono::milliseconds(100)) {
        return;
    }
    m_Last = now;
    m_Shown = true;
    const double seconds = std::chrono::duration<double>(now - m_Start).count();
    const double rate = seconds > 0 ? static_cast<double>(done) / seconds : 0;
    std::fprintf(stderr, "\r\033[K%s: frame %zu", m_What.c_str(), done);
    if (m_Total != 0) {
        std::fprintf(stderr, " of %zu (%zu %%)", m_Total, done * 100 / m_Total);
    }
    std::fprintf(stderr, ", %.1f frames/s", rate);
    if (m_Total > done && rate > 0) {
        std::fprintf(stderr, ", %.0f s left", static_cast<double>(m_Total - done) / rate);
    }
    std::fflush(stderr);
}

}  // namespace NimbTool
