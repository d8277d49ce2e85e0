using System.Runtime.InteropServices;

namespace Nimb
{
    /// <summary>What went wrong in playback.</summary>
    public enum NimbTroubleReason
    {
        /// <summary>A mesh that cannot be decoded.</summary>
        DamagedMesh = 1,
        /// <summary>A video sample without a mesh.</summary>
        NoMesh = 2,
        /// <summary>A picture was dropped: its mesh was late, damaged or missing.</summary>
        LostFrames = 3,
        /// <summary>Nothing new was shown for seconds although the player plays. Once until a frame is shown.</summary>
        Stalled = 4
    }

    /// <summary>What <see cref="NimbUnityPluginML.TakeTrouble"/> fills in.</summary>
    [StructLayout(LayoutKind.Explicit, Size = 16)]
    public struct NimbTrouble
    {
        /// <summary>Of the file, counted from 0; -1: unknown. Of a stall, the frame that is shown.</summary>
        [FieldOffset(0)] public long frame;
        [FieldOffset(8)] public NimbTroubleReason reason;
        /// <summary>How often since it was last taken.</summary>
        [FieldOffset(12)] public uint count;
    }
}
