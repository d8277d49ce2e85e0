// The one file that knows the assertion mode. NIMB_ASSERT_REPORT is 1 in report builds, 0 in abort builds.
#include "Nimb/NimbAssert.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

#ifndef NIMB_ASSERT_REPORT
#define NIMB_ASSERT_REPORT 0
#endif

namespace Nimb {
namespace {

void PrintToStandardError(const AssertionInfo& info) {
    std::fprintf(stderr, "assertion failed: %s (%s:%d, in \"%s\")\n", info.text, info.unit, info.line, info.function);
}

std::atomic<AssertionSink> g_Sink{&PrintToStandardError};

}  // namespace

AssertMode GetAssertMode() noexcept {
    return NIMB_ASSERT_REPORT ? AssertMode::Report : AssertMode::Abort;
}

AssertionSink SetAssertionSink(AssertionSink sink) noexcept {
    return g_Sink.exchange(sink != nullptr ? sink : &PrintToStandardError);
}

void FailAssertion(const AssertionInfo& info) {
    g_Sink.load()(info);
#if NIMB_ASSERT_REPORT
    throw AssertionFailure(info);
#else
    std::abort();
#endif
}

}  // namespace Nimb
