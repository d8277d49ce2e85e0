using System.Runtime.InteropServices;

namespace Nimb
{
    /// <summary>What <see cref="NimbUnityPluginML.GetPlayerClockInfo"/> fills in.</summary>
    [StructLayout(LayoutKind.Explicit, Size = 24)]
    public struct NimbClockInfo
    {
        /// <summary>That the clock is at, units of 100 nanoseconds; goes on through loops.</summary>
        [FieldOffset(0)] public long time;
        /// <summary>1 is normal.</summary>
        [FieldOffset(8)] public float speed;
        /// <summary>How many have joined.</summary>
        [FieldOffset(12)] public uint players;
        /// <summary>How many have not arrived yet where the clock has gone.</summary>
        [FieldOffset(16)] public uint awaited;
        /// <summary>1: also while it waits for players, and at the end of their files.</summary>
        [FieldOffset(20)] public byte isPlaying;
    }
}
