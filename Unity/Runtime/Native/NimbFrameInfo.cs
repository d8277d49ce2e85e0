using System.Runtime.InteropServices;

namespace Nimb
{
    /// <summary>What <see cref="NimbUnityPluginML.GetQuorObjectFrameInfo"/> fills in; cleared first. Zero up to
    /// <see cref="indexCount"/> while no frame has been shown.</summary>
    [StructLayout(LayoutKind.Explicit, Size = 80)]
    public struct NimbFrameInfo
    {
        /// <summary>Presentation time of the current mesh frame, units of 100 nanoseconds, on the player's clock: at half
        /// speed it advances twice as far from frame to frame.</summary>
        [FieldOffset(0)] public long timestamp;
        /// <summary>Bounding box of the current frame, with the next five.</summary>
        [FieldOffset(8)] public double minX;
        [FieldOffset(16)] public double minY;
        [FieldOffset(24)] public double minZ;
        [FieldOffset(32)] public double maxX;
        [FieldOffset(40)] public double maxY;
        [FieldOffset(48)] public double maxZ;
        [FieldOffset(56)] public uint frameId;
        [FieldOffset(60)] public uint vertexCount;
        [FieldOffset(64)] public uint indexCount;
        /// <summary>Of the video track, pixels.</summary>
        [FieldOffset(68)] public uint textureWidth;
        [FieldOffset(72)] public uint textureHeight;
        /// <summary>1 once after the end of the output: reading it clears it.</summary>
        [FieldOffset(76)] public byte endOfStream;
        /// <summary>1: the current frame has been rendered more than once.</summary>
        [FieldOffset(77)] public byte isRepeatedFrame;
    }
}
