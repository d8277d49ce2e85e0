using System;
using System.Runtime.InteropServices;

namespace Nimb
{
    /// <summary>What <see cref="NimbUnityPluginML.getPlayerFeatures"/> returns.</summary>
    [Flags]
    public enum NimbFeature
    {
        /// <summary>Requests for frames and times, steps, and their ends.</summary>
        Seek = 1,
        PlayRange = 2,
        /// <summary>Clocks that players share.</summary>
        Clock = 4,
        /// <summary>The event that announces the graphics device, and what is known of it.</summary>
        Device = 8,
        ShownFrame = 16,
        Trouble = 32
    }

    /// <summary>Of requests for a frame.</summary>
    [Flags]
    public enum NimbSeekOption
    {
        /// <summary>Stay paused at the frame.</summary>
        Pause = 1,
        /// <summary>To the nearest frame whose picture needs no other: quicker, for dragging.</summary>
        NearestKey = 2
    }

    /// <summary>How a request ended.</summary>
    public enum NimbSeekResult
    {
        /// <summary>The render event has ended that put picture and mesh of the frame into the engine's objects.</summary>
        Done = 0,
        /// <summary>A newer one came, or a rewind.</summary>
        Superseded = 1,
        Failed = 2
    }

    /// <summary>Why a request failed.</summary>
    public enum NimbSeekReason
    {
        None = 0,
        /// <summary>The player was closed.</summary>
        Closed = 1,
        /// <summary>The file's index cannot be read, as that of a fragmented file.</summary>
        NoIndex = 2,
        OutOfRange = 3,
        /// <summary>The frame has no mesh, or a damaged one.</summary>
        NoMesh = 4,
        /// <summary>The decoder did not yield the frame's picture.</summary>
        NoPicture = 5,
        /// <summary>The platform refused, again and again.</summary>
        Platform = 6
    }

    /// <summary>What <see cref="NimbUnityPluginML.TakeSeekEnd"/> fills in: the end of one request.</summary>
    [StructLayout(LayoutKind.Explicit, Size = 32)]
    public struct NimbSeekEnd
    {
        [FieldOffset(0)] public long ticket;
        /// <summary>That the request led to, counted from 0.</summary>
        [FieldOffset(8)] public long frame;
        /// <summary>Of the frame in the file, units of 100 nanoseconds; 0 unless done.</summary>
        [FieldOffset(16)] public long time;
        [FieldOffset(24)] public NimbSeekResult result;
        [FieldOffset(28)] public NimbSeekReason reason;
    }
}
