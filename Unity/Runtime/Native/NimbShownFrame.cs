using System.Runtime.InteropServices;

namespace Nimb
{
    /// <summary>What <see cref="NimbUnityPluginML.GetShownFrame"/> fills in, all of it as one render event has left
    /// it.</summary>
    [StructLayout(LayoutKind.Explicit, Size = 24)]
    public struct NimbShownFrame
    {
        /// <summary>That the engine's objects hold, counted from 0 in the file; -1: none.</summary>
        [FieldOffset(0)] public long frame;
        /// <summary>Of that frame in the file, units of 100 nanoseconds, at every speed.</summary>
        [FieldOffset(8)] public long time;
        /// <summary>How many frames have been shown since the file was opened.</summary>
        [FieldOffset(16)] public ulong count;
    }
}
