using System;

namespace Nimb
{
    /// <summary>Of requests for a frame.</summary>
    [Flags]
    public enum SeekOptions
    {
        /// <summary>Play or stay paused, as before.</summary>
        None = 0,
        /// <summary>Stay paused at the frame.</summary>
        Pause = 1,
        /// <summary>To the nearest frame whose picture needs no other, where the back end knows it: quicker, for dragging.
        /// </summary>
        NearestKey = 2
    }

    /// <summary>How a request for a frame ended. Each request ends exactly once.</summary>
    public struct SeekEnd
    {
        /// <summary>What the request returned.</summary>
        public long Ticket;
        /// <summary>That the request led to, counted from 0.</summary>
        public long Frame;
        /// <summary>Of that frame in the clip, in seconds; 0 unless done.</summary>
        public double Time;
        public NimbSeekResult Result;
        public NimbSeekReason Reason;
    }
}
