// Keeps the text of the core's failed check instead of letting it be printed.
#pragma once

#include "Nimb/NimbAssert.h"

#include <string>

namespace Nimb::Authoring {

/// While it lives, the checks that fail on its thread are kept; those of other threads are lost. One at a time in the
/// whole process, since the core has one place to report to.
class AssertionCapture {
public:
    AssertionCapture();
    ~AssertionCapture();
    AssertionCapture(const AssertionCapture&) = delete;
    AssertionCapture& operator=(const AssertionCapture&) = delete;

    /// Of the first check that failed; empty: none did.
    const std::string& Text() const { return m_Text; }

private:
    std::string m_Text;
    Nimb::AssertionSink m_Before;
};

}  // namespace Nimb::Authoring
