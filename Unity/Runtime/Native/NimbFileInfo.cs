using System.Runtime.InteropServices;

namespace Nimb
{
    /// <summary>What <see cref="NimbUnityPluginML.GetQuorObjectFileInfo"/> fills in. Not cleared before: fields that the
    /// file says nothing about keep their values. Booleans are bytes, so that the record needs no marshalling.</summary>
    [StructLayout(LayoutKind.Explicit, Size = 104)]
    public struct NimbFileInfo
    {
        /// <summary>1: an audio track was configured.</summary>
        [FieldOffset(0)] public byte hasAudio;
        /// <summary>Units of 100 nanoseconds; 0 when unknown.</summary>
        [FieldOffset(8)] public long duration;
        [FieldOffset(16)] public uint frameCount;
        /// <summary>Largest of any frame.</summary>
        [FieldOffset(20)] public uint maxVertexCount;
        /// <summary>Largest of any frame.</summary>
        [FieldOffset(24)] public uint maxIndexCount;
        /// <summary>Units of 8,388,608 bits per second.</summary>
        [FieldOffset(28)] public float bitrateMbps;
        /// <summary>Units of 1,048,576 bytes.</summary>
        [FieldOffset(32)] public float fileSizeMB;
        /// <summary>Bounding box of all frames, with the next five.</summary>
        [FieldOffset(40)] public double minX;
        [FieldOffset(48)] public double minY;
        [FieldOffset(56)] public double minZ;
        [FieldOffset(64)] public double maxX;
        [FieldOffset(72)] public double maxY;
        [FieldOffset(80)] public double maxZ;
        /// <summary>Pixels.</summary>
        [FieldOffset(88)] public uint textureWidth;
        [FieldOffset(92)] public uint textureHeight;
        /// <summary>1: vertices carry normals. Left alone when the file does not say.</summary>
        [FieldOffset(96)] public byte hasNormals;
    }
}
