// The assertion machinery: what happens when a structural rule of the format or a duty of a caller is violated.
//
// Every check has a fixed text. A violation prints that text with source unit, line and function, and then
//   - in `abort` mode (the default) ends the process;
//   - in `report` mode throws AssertionFailure, which the public operations of the core turn into E_UNEXPECTED (or
//     null, or false), leaving their objects usable. Operations that have no status to return let it pass to whichever
//     public operation encloses them.
// The mode is a property of the build: `NIMB_ASSERT_MODE=abort|report` chooses what NimbAssert.cpp is compiled to, and
// nothing else depends on it, so the same object files serve both.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <utility>

namespace Nimb {

/// Where and why a check failed. All strings are static.
struct AssertionInfo {
    const char* text;  ///< fixed for the check, and not always its expression: see Docs/behaviour.md
    const char* unit;  ///< source unit, relative to the repository
    int line;
    const char* function;  ///< signature as the compiler spells it
};

/// Thrown by a violated check in report mode. Not a std::exception, so that only the core's own operations catch it and
/// nobody does by accident.
class AssertionFailure {
public:
    explicit AssertionFailure(const AssertionInfo& info) noexcept : m_Info(info) {}
    const AssertionInfo& Info() const noexcept { return m_Info; }

private:
    AssertionInfo m_Info;
};

enum class AssertMode { Abort, Report };

/// The mode that this build was configured with.
AssertMode GetAssertMode() noexcept;

/// Receives every violation before the mode takes its course. Called on the violating thread; must not throw.
using AssertionSink = void (*)(const AssertionInfo&);

/// Replaces the sink for the whole process and returns the one before. Null restores the default, which prints one line
/// to standard error. May be called from any thread.
AssertionSink SetAssertionSink(AssertionSink sink) noexcept;

/// Tells the sink, then aborts or throws AssertionFailure, as the mode says.
[[noreturn]] void FailAssertion(const AssertionInfo& info);

/// Keeps the check that fails on its thread while it lives, and no sink is told (report mode; in abort mode it changes
/// nothing). They nest: the innermost one counts.
class AssertionCapture {
public:
    AssertionCapture() noexcept;
    ~AssertionCapture();
    AssertionCapture(const AssertionCapture&) = delete;
    AssertionCapture& operator=(const AssertionCapture&) = delete;

    /// Of the first check that failed; empty: none did.
    const char* Text() const noexcept { return m_Text; }

private:
    friend void FailAssertion(const AssertionInfo& info);

    const char* m_Text = "";
    AssertionCapture* m_Outer;
};

/// Runs a public operation: a violation inside it becomes E_UNEXPECTED (report mode).
template <class Operation>
HRESULT GuardAssertions(Operation&& operation) {
    try {
        return std::forward<Operation>(operation)();
    } catch (const AssertionFailure&) {
        return E_UNEXPECTED;
    }
}

}  // namespace Nimb

/// With NIMB_SMALL_CODE, for code that is downloaded, a violation is its text alone, and is printed nowhere.
#ifdef NIMB_SMALL_CODE
#define NIMB_ASSERT_INFO(message) \
    ::Nimb::AssertionInfo {       \
        message, "", 0, ""        \
    }
#else
#define NIMB_ASSERT_INFO(message)                        \
    ::Nimb::AssertionInfo {                              \
        message, __FILE__, __LINE__, __PRETTY_FUNCTION__ \
    }
#endif

#define NIMB_ASSERT_MSG(condition, message)                   \
    do {                                                      \
        if (__builtin_expect(!(condition), 0)) {              \
            ::Nimb::FailAssertion(NIMB_ASSERT_INFO(message)); \
        }                                                     \
    } while (false)

#define NIMB_ASSERT(expression) NIMB_ASSERT_MSG(expression, #expression)
