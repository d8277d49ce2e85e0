using System.Runtime.InteropServices;

namespace Nimb
{
    /// <summary>What <see cref="NimbUnityPluginML.OpenQuorObject"/> is told. Bytes without a name stay 0.</summary>
    [StructLayout(LayoutKind.Explicit, Size = 4124)]
    public struct NimbOpenInfo
    {
        /// <summary>Not 0: play without sound.</summary>
        [FieldOffset(0)] public byte disableAudio;
        /// <summary>Not 0: play again from the start at the end of the file.</summary>
        [FieldOffset(5)] public byte autoLoop;
    }
}
