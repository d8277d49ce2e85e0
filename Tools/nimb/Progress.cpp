#include "Tools/nimb/Progress.h"

#include <sys/ioctl.h>
#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace Nimb::Tool {

namespace {

constexpr std::chrono::milliseconds c_RewriteInterval{100};
constexpr std::chrono::seconds c_LineInterval{10};

bool CanRewriteLines() {
    const char* const terminal = std::getenv("TERM");
    return terminal != nullptr && *terminal != '\0' && std::strcmp(terminal, "dumb") != 0;
}

/// A line that reaches the right edge would wrap, and only its last row be cleared.
std::size_t RoomOnTerminal() {
    struct winsize size {};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col - 1u : std::string::npos;
}

}  // namespace

Progress::Progress(std::string what, std::size_t total)
    : m_What(std::move(what)),
      m_Total(total),
      m_IsTerminal(isatty(STDERR_FILENO) != 0),
      m_CanRewrite(CanRewriteLines()),
      m_Start(Clock::now()),
      m_Next(m_CanRewrite ? m_Start : m_Start + c_LineInterval) {}

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
    m_First = m_First.value_or(done);
    if (!m_IsTerminal || now < m_Next) {
        return;
    }
    if (m_CanRewrite) {
        std::fprintf(stderr, "\r\033[K%s", Line(done).substr(0, RoomOnTerminal()).c_str());
        m_Next = now + c_RewriteInterval;
        m_Shown = true;
    } else {
        std::fprintf(stderr, "%s\n", Line(done).c_str());
        m_Next = now + c_LineInterval;
    }
    std::fflush(stderr);
}

std::string Progress::Line(std::size_t done) const {
    const double seconds = std::chrono::duration<double>(Clock::now() - m_Start).count();
    const double rate = seconds > 0 ? static_cast<double>(done - m_First.value_or(0)) / seconds : 0;
    const auto fixed = [](double value, const char* format) {
        char text[64];
        std::snprintf(text, sizeof text, format, value);
        return std::string(text);
    };
    std::string line = m_What + ": frame " + std::to_string(done);
    if (m_Total != 0) {
        line += " of " + std::to_string(m_Total) + " (" + std::to_string(done * 100 / m_Total) + " %)";
    }
    line += fixed(rate, ", %.1f frames/s");
    if (m_Total > done && rate > 0) {
        line += fixed(static_cast<double>(m_Total - done) / rate, ", %.0f s left");
    }
    return line;
}

}  // namespace Nimb::Tool
