using System;
using System.Runtime.InteropServices;

namespace Nimb
{
    /// <summary>Results of the clip library.</summary>
    internal enum ClipStatus
    {
        Ok = 0,
        InvalidArgument = 1,
        OutOfMemory = 2,
        ReadFailed = 3,
        NotAClip = 4,
        Unsupported = 5,
        Damaged = 6,
        NoMesh = 7
    }

    internal enum ClipTrack
    {
        Pictures = 0,
        Sound = 1
    }

    /// <summary>
    /// The functions of the native clip library that the portable back end uses, one for one; its header nimb_clip.h says
    /// what each of them does. A clip belongs to one thread at a time.
    /// </summary>
    internal static unsafe class NimbClipLibrary
    {
#if (UNITY_IOS || UNITY_ANDROID && ENABLE_IL2CPP) && !UNITY_EDITOR
        public const string Library = "__Internal";
#else
        public const string Library = "nimb_clip";
#endif

        /// <summary>Layout of vertices: 32 bytes, as in <see cref="ClipVertex"/>.</summary>
        public const int FloatNormals = 15;

        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        public delegate long Read(IntPtr user, ulong offset, IntPtr to, UIntPtr size);

        [StructLayout(LayoutKind.Sequential)]
        public struct Source
        {
            public IntPtr read;
            public IntPtr user;
            public ulong size;
        }

        [StructLayout(LayoutKind.Sequential)]
        public struct Error
        {
            public ClipStatus status;
            public long frame;
            public fixed byte text[240];
        }

        [StructLayout(LayoutKind.Sequential)]
        public struct Info
        {
            public uint frameCount;
            public uint width;
            public uint height;
            public uint timeScale;
            public long duration;
            public uint hasAttributes;
            public uint maxVertices;
            public uint maxIndices;
            public uint hasNormals;
            public fixed double boxMin[3];
            public fixed double boxMax[3];
        }

        [StructLayout(LayoutKind.Sequential)]
        public struct Sample
        {
            public long time;
            public long duration;
            public ulong offset;
            public uint size;
            public uint isKey;
        }

        [StructLayout(LayoutKind.Sequential)]
        public struct DecodedMesh
        {
            public uint frame;
            public uint vertexCount;
            public uint indexCount;
            public uint stride;
            public void* vertices;
            public uint* indices;
            public uint hasSameIndices;
            public uint isStrips;
            public uint hasNormals;
            public uint isKey;
            public fixed float boxMin[3];
            public fixed float boxMax[3];
        }

        [DllImport(Library)]
        public static extern ClipStatus nimb_clip_open(ref Source source, out IntPtr clip, ref Error error);

        [DllImport(Library)]
        public static extern void nimb_clip_close(IntPtr clip);

        [DllImport(Library)]
        public static extern ClipStatus nimb_clip_get_info(IntPtr clip, out Info info);

        [DllImport(Library)]
        public static extern ClipStatus nimb_clip_look_through(IntPtr clip, ref Error error);

        [DllImport(Library)]
        public static extern uint nimb_clip_sample_count(IntPtr clip, ClipTrack track);

        [DllImport(Library)]
        public static extern ClipStatus nimb_clip_get_sample(IntPtr clip, ClipTrack track, uint number, out Sample sample);

        [DllImport(Library)]
        public static extern ClipStatus nimb_clip_decode(IntPtr clip, uint frame, int layout, out DecodedMesh mesh,
            ref Error error);
    }
}
