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

#ifdef NIMB_SMALL_CODE
void PrintToStandardError(const AssertionInfo&) {}
#else
void PrintToStandardError(const AssertionInfo& info) {
    std::fprintf(stderr, "assertion failed: %s (%s:%d, in \"%s\")\n", info.text, info.unit, info.line, info.function);
}
#endif

std::atomic<AssertionSink> g_Sink{&PrintToStandardError};
thread_local AssertionCapture* t_Capture = nullptr;

}  // namespace

AssertMode GetAssertMode() noexcept {
    return NIMB_ASSERT_REPORT ? AssertMode::Report : AssertMode::Abort;
}

AssertionSink SetAssertionSink(AssertionSink sink) noexcept {
    return g_Sink.exchange(sink != nullptr ? sink : &PrintToStandardError);
}

AssertionCapture::AssertionCapture() noexcept : m_Outer(t_Capture) {
    t_Capture = this;
}

AssertionCapture::~AssertionCapture() {
    t_Capture = m_Outer;
}

void FailAssertion(const AssertionInfo& info) {
    if (t_Capture == nullptr || GetAssertMode() == AssertMode::Abort) {
        g_Sink.load()(info);
    } else if (t_Capture->m_Text[0] == '\0') {
        t_Capture->m_Text = info.text;
    }
#if NIMB_ASSERT_REPORT
    throw AssertionFailure(info);
#else
    std::abort();
#endif
}

}  // namespace Nimb
