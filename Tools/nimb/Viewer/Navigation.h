// Going about in a clip by hand: single frames, both ends, a range, and the handle of the bar.
#pragma once

#include "Tools/nimb/Viewer/Playback.h"
#include "Tools/nimb/Viewer/Window.h"

#include <optional>
#include <string>

namespace Nimb::Tool {

/// Belongs to the script thread. With a plug-in that cannot go to frames, nothing happens but a notice.
class Navigation {
public:
    /// Keeps references.
    Navigation(Playback& playback, const ClipIndex& index) : m_Playback(playback), m_Index(index) {}

    /// False when the action is about something else.
    bool Obey(Action action);

    /// Playback goes on from there.
    void GoTo(int frame) { Request(frame, 0); }
    void StepBy(int frames);
    void ToFirst() { Request(m_Range ? m_Range->first : 0, NimbSeekOption_Pause); }
    void ToLast() { Request(m_Range ? m_Range->last : m_Index.FrameCount() - 1, NimbSeekOption_Pause); }

    /// The range is played once both ends are set, in either order; setting one of them again forgets it.
    void SetRangeStart() { SetRange(&m_Start); }
    void SetRangeEnd() { SetRange(&m_End); }
    std::optional<int> RangeStart() const noexcept { return m_Start; }
    std::optional<int> RangeEnd() const noexcept { return m_End; }
    bool HasRange() const noexcept { return m_Range.has_value(); }
    /// Back to the range's first frame, playing.
    void RestartRange() { GoTo(m_Range->first); }

    /// The handle is held at this frame: shows something near it, as fast as that can be had.
    void Drag(int frame);
    /// It was let go: shows the frame itself, and goes on as before.
    void Drop(int frame);

    /// After each render event. True when it has ended a request: with this frame, if there is one.
    bool OnRendered(const std::optional<ShownFrame>& shown);

    /// Where the handle belongs: the frame that is on its way, or else is shown.
    int Position() const noexcept { return m_Position; }
    /// Why the last request led nowhere; empty when it did not.
    const std::string& Notice() const noexcept { return m_Notice; }

private:
    struct Range {
        int first, last;
    };

    bool IsPossible();
    void Request(int frame, std::uint32_t options);
    void SetRange(std::optional<int>* pEnd);

    Playback& m_Playback;
    const ClipIndex& m_Index;
    int m_Shown = 0;
    int m_Position = 0;
    bool m_IsAwaiting = false;
    std::optional<int> m_Asked;  ///< for, by the drag under way; none: there is no drag
    bool m_WasPlaying = false;   ///< before the drag
    std::optional<int> m_Start, m_End;
    std::optional<Range> m_Range;
    std::string m_Notice;
};

}  // namespace Nimb::Tool
