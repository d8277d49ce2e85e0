#include "Tools/nimb/RunProgress.h"

#include "Tools/nimb/Interrupt.h"

#include <cstdio>
#include <string>

namespace Nimb::Tool {
namespace {

using Authoring::EncodeStep;

const char* NameOf(EncodeStep step) {
    switch (step) {
        case EncodeStep::Examine:
            return "Examining";
        case EncodeStep::ExaminePictures:
            return "Looking at pictures";
        case EncodeStep::Track:
            return "Tracking";
        case EncodeStep::Encode:
            return "Encoding";
        case EncodeStep::Check:
            return "Checking";
        case EncodeStep::Join:
            return "Joining";
    }
    return "";
}

void TellWarnings(Authoring::Warnings& warnings, bool strict) {
    for (const std::string& text : warnings.TakeNew()) {
        std::fprintf(stderr, "nimb: warning: %s\n", text.c_str());
    }
    if (strict) {
        throw Authoring::InputError("--strict: a warning is an error");
    }
}

}  // namespace

void RunProgress::operator()(EncodeStep step, std::size_t framesDone) {
    InterruptGuard::Check();
    // By the end of the examination, all places of each warning are known.
    if (step != EncodeStep::Examine) {
        Warn();
    }
    if (!m_IsShown) {
        return;
    }
    if (m_Step != step) {
        m_Step = step;
        m_Progress.emplace(NameOf(step), m_Frames);
    }
    m_Progress->Report(framesDone);
}

void RunProgress::Warn() {
    if (m_pWarnings != nullptr && m_pWarnings->HasNew()) {
        if (m_Progress) {
            m_Progress->Clear();
        }
        TellWarnings(*m_pWarnings, m_IsStrict);
    }
    if (m_IsStrict && m_pSound != nullptr && m_pSound->DamagedPackets() > 0) {
        throw Authoring::InputError("--strict: the sound has damaged packets");
    }
}

}  // namespace Nimb::Tool
