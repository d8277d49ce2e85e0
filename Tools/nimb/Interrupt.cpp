#include "Tools/nimb/Interrupt.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <iterator>

namespace Nimb::Tool {
namespace {

constexpr int c_Noted[] = {SIGINT, SIGTERM, SIGHUP};
constexpr int c_Signals[] = {SIGINT, SIGTERM, SIGHUP, SIGXFSZ, SIGPIPE};
// Signals come on any thread, also on two at once.
std::atomic<int> g_Signal{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler may not wait");

void OnSignal(int signal) {
    g_Signal = signal;
}

struct sigaction g_Previous[std::size(c_Signals)];

}  // namespace

InterruptGuard::InterruptGuard() {
    g_Signal = 0;
    for (std::size_t i = 0; i < std::size(c_Signals); ++i) {
        const int signal = c_Signals[i];
        struct sigaction action = {};
        const bool isNoted = std::find(std::begin(c_Noted), std::end(c_Noted), signal) != std::end(c_Noted);
        action.sa_handler = isNoted ? OnSignal : SIG_IGN;
        sigaction(signal, nullptr, &g_Previous[i]);
        // A signal that the shell has told the program to ignore, as `nohup` does, stays ignored.
        if (g_Previous[i].sa_handler != SIG_IGN) {
            sigaction(signal, &action, nullptr);
        }
    }
}

InterruptGuard::~InterruptGuard() {
    if (IsInterrupted()) {
        return;  // a second signal would end the program before it has said why it ends
    }
    for (std::size_t i = 0; i < std::size(c_Signals); ++i) {
        sigaction(c_Signals[i], &g_Previous[i], nullptr);
    }
}

bool InterruptGuard::IsInterrupted() noexcept {
    return g_Signal != 0;
}

void InterruptGuard::Check() {
    if (IsInterrupted()) {
        throw Interrupted(g_Signal);
    }
}

}  // namespace Nimb::Tool
