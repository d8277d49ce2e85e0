#include "Tools/nimb/Viewer/Navigation.h"

#include <algorithm>
#include <utility>

namespace Nimb::Tool {

bool Navigation::Obey(Action action) {
    switch (action) {
        case Action::StepBack:
            StepBy(-1);
            return true;
        case Action::StepOn:
            StepBy(1);
            return true;
        case Action::TenBack:
            StepBy(-10);
            return true;
        case Action::TenOn:
            StepBy(10);
            return true;
        case Action::ToFirst:
            ToFirst();
            return true;
        case Action::ToLast:
            ToLast();
            return true;
        case Action::SetRangeStart:
            SetRangeStart();
            return true;
        case Action::SetRangeEnd:
            SetRangeEnd();
            return true;
        default:
            return false;
    }
}

bool Navigation::IsPossible() {
    m_Notice = m_Playback.CanSeek() ? "" : "the plug-in cannot go to frames";
    return m_Playback.CanSeek();
}

void Navigation::Request(int frame, std::uint32_t options) {
    if (IsPossible()) {
        m_Playback.Seek(frame, options);
        m_Position = frame;
        m_IsAwaiting = true;
    }
}

void Navigation::StepBy(int frames) {
    if (IsPossible()) {
        m_Playback.StepBy(frames);
        m_Position = std::clamp(m_Position + frames, 0, m_Index.FrameCount() - 1);
        m_IsAwaiting = true;
    }
}

void Navigation::SetRange(std::optional<int>* pEnd) {
    if (!IsPossible()) {
        return;
    }
    if (m_Range) {
        m_Playback.ClearRange();
        m_Range.reset();
        m_Start.reset();
        m_End.reset();
        return;
    }
    *pEnd = m_Position;
    if (!m_Start || !m_End) {
        return;
    }
    if (*m_End < *m_Start) {
        std::swap(m_Start, m_End);
    }
    if (m_Playback.PlayRange(*m_Start, *m_End)) {
        m_Range = Range{*m_Start, *m_End};
        m_Position = *m_Start;
        m_IsAwaiting = true;
    } else {
        m_Notice = "the player does not play a range of this file";
        m_Start.reset();
        m_End.reset();
    }
}

void Navigation::Drag(int frame) {
    if (!IsPossible()) {
        return;
    }
    if (!m_Asked) {
        m_WasPlaying = m_Playback.IsPlaying();
    }
    m_Position = frame;
    // One at a time, so that each of them is seen.
    if (m_Asked != frame && !m_Playback.IsSeeking()) {
        Request(frame, NimbSeekOption_NearestKey | NimbSeekOption_Pause);
        m_Asked = frame;
    } else if (!m_Asked) {
        m_Asked = -1;
    }
}

void Navigation::Drop(int frame) {
    if (!m_Asked) {
        m_WasPlaying = m_Playback.IsPlaying();  // a click too short for a drag
    }
    m_Asked.reset();
    Request(frame, m_WasPlaying ? 0 : NimbSeekOption_Pause);
}

bool Navigation::OnRendered(const std::optional<ShownFrame>& shown) {
    if (shown && shown->number) {
        m_Shown = *shown->number;
    }
    if (!m_Asked && !m_Playback.IsSeeking()) {
        m_Position = m_Shown;
    }
    if (!m_IsAwaiting || m_Playback.IsSeeking()) {
        return false;
    }
    m_IsAwaiting = false;
    const NimbSeekEnd& end = m_Playback.SeekEnd();
    if (end.result == NimbSeekResult_Failed) {
        m_Notice = "frame " + std::to_string(end.frame) + " cannot be shown: " + SeekReasonText(end.reason);
    }
    return true;
}

}  // namespace Nimb::Tool
