using System;

namespace Nimb
{
    /// <summary>What happened since the last look at a player.</summary>
    [Flags]
    public enum PlaybackEvents
    {
        None = 0,
        /// <summary>Another frame is shown.</summary>
        FrameShown = 1,
        /// <summary>The clip, or its range, ended and begins again.</summary>
        Looped = 2,
        /// <summary>It ended; its last frame stays.</summary>
        Ended = 4
    }
}
