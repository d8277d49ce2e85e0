using System;

namespace Nimb
{
    /// <summary>What happened since the last <see cref="QuorPlayer.Update"/>.</summary>
    [Flags]
    public enum PlaybackEvents
    {
        None = 0,
        /// <summary>Another frame is in the texture and the buffers.</summary>
        FrameShown = 1,
        /// <summary>The clip ended and begins again.</summary>
        Looped = 2,
        /// <summary>The clip ended; its last frame stays.</summary>
        Ended = 4
    }
}
