// Ctrl-C during work that leaves files: it ends where the work can be undone.
#pragma once

#include "Tools/nimb/ExitStatus.h"

namespace Nimb::Tool {

class Interrupted : public OutputError {
public:
    explicit Interrupted(int signal)
        : OutputError("interrupted; outputs that were not complete are gone"), m_Signal(signal) {}

    /// What shells report for a program that the signal ended.
    int Status() const noexcept { return 128 + m_Signal; }

private:
    int m_Signal;
};

/// While one exists, an interrupt or a request to end is noted instead of ending the program; a file that outgrows a
/// limit of the system, and a pipe that nobody reads any more, are errors of the write. At most one at a time.
class InterruptGuard {
public:
    InterruptGuard();
    ~InterruptGuard();
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;

    static bool IsInterrupted() noexcept;
    /// Throws Interrupted when it was.
    static void Check();
};

}  // namespace Nimb::Tool
