// Ctrl-C during work that leaves files: the program stops at a point where the work can be undone.
#pragma once

#include "Tools/nimb/ExitStatus.h"

namespace Nimb::Tool {

class Interrupted : public OutputError {
public:
    explicit Interrupted(int signal)
        : OutputError("interrupted; outputs that were not complete are gone"), m_Signal(signal) {}

    /// The exit status that shells report for a program that a signal ended.
    int Status() const noexcept { return 128 + m_Signal; }

private:
    int m_Signal;
};

/// While one exists, an interrupt or a request to end is noted and does not end the program. Writing beyond the
/// system's limit on file sizes, or to a pipe that nobody reads any more, fails with an error. At most one at a time.
/// Once it was interrupted, all of this stays so until the program ends.
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
