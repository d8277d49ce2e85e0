using System;
using System.Runtime.InteropServices;
using System.Threading;
using AOT;

namespace Nimb
{
    /// <summary>
    /// A clip's index and its meshes, by the native clip library. Opened and used by worker threads, one at a time; what
    /// was read on opening can be read by any.
    /// </summary>
    internal sealed unsafe class ClipReader : IDisposable
    {
        private const int CopySize = 1 << 16;

        // Kept here because native code calls it when nobody else refers to it.
        private static readonly NimbClipLibrary.Read s_Read = OnRead;

        private static readonly object s_Lock = new object();
        private static int s_Count;  // of readers that were not disposed of; guarded by s_Lock

        private readonly ClipBytes m_Bytes;
        private readonly byte[] m_Copy = new byte[CopySize];
        private GCHandle m_Self;
        private IntPtr m_Clip;
        private string m_ReadFailure;
        private NimbClipLibrary.Error m_Error;
        private double[] m_Times;  // of the frames, in seconds, ascending

        public ClipInfo Info { get; private set; }

        /// <summary>How many indices any mesh has as a list of triangles.</summary>
        public int IndexCapacity { get; private set; }

        /// <summary>Reads the index, and all of a clip that does not say how large its meshes are.</summary>
        /// <param name="bytes">Belongs to the reader from then on, also when this fails.</param>
        /// <param name="name">For messages.</param>
        /// <exception cref="ClipException">It is not a clip, or cannot be read.</exception>
        public ClipReader(ClipBytes bytes, string name)
        {
            lock (s_Lock)
            {
                ++s_Count;
            }
            m_Bytes = bytes;
            m_Self = GCHandle.Alloc(this);
            try
            {
                var source = new NimbClipLibrary.Source
                {
                    read = Marshal.GetFunctionPointerForDelegate(s_Read),
                    user = GCHandle.ToIntPtr(m_Self),
                    size = (ulong)bytes.Size
                };
                Check(NimbClipLibrary.nimb_clip_open(ref source, out m_Clip, ref m_Error), name);
                NimbClipLibrary.Info info;
                NimbClipLibrary.nimb_clip_get_info(m_Clip, out info);
                if (info.hasAttributes == 0)
                {
                    Check(NimbClipLibrary.nimb_clip_look_through(m_Clip, ref m_Error), name);
                    NimbClipLibrary.nimb_clip_get_info(m_Clip, out info);
                }
                ReadFacts(info, name);
            }
            catch
            {
                Dispose();
                throw;
            }
        }

        private void ReadFacts(NimbClipLibrary.Info info, string name)
        {
            if (info.frameCount == 0 || info.maxVertices == 0 || info.maxIndices == 0)
            {
                throw new ClipException("The clip '" + name + "' has no meshes.");
            }
            if (info.maxVertices > int.MaxValue / sizeof(ClipVertex) || info.maxIndices > int.MaxValue / (3 * sizeof(uint)))
            {
                throw new ClipException("The meshes of the clip '" + name + "' are too large: " + info.maxVertices +
                    " vertices, " + info.maxIndices + " indices.");
            }
            m_Times = new double[info.frameCount];
            for (uint frame = 0; frame < info.frameCount; ++frame)
            {
                NimbClipLibrary.Sample sample;
                Check(NimbClipLibrary.nimb_clip_get_sample(m_Clip, ClipTrack.Pictures, frame, out sample), name);
                m_Times[frame] = (double)sample.time / info.timeScale;
            }
            // The clip counts the indices of strips, if it has those; its first mesh tells.
            NimbClipLibrary.DecodedMesh mesh;
            bool hasStrips = Decode(0, out mesh) == ClipStatus.Ok && mesh.isStrips != 0;
            IndexCapacity = hasStrips ? TriangleStrip.ListCapacity((int)info.maxIndices) : (int)info.maxIndices;
            double duration = (double)info.duration / info.timeScale;
            Info = new ClipInfo
            {
                FrameCount = info.frameCount,
                Duration = duration,
                FrameRate = duration > 0 ? info.frameCount / duration : 0,
                Width = (int)info.width,
                Height = (int)info.height,
                MaxVertices = (int)info.maxVertices,
                MaxIndices = (int)info.maxIndices,
                HasSound = NimbClipLibrary.nimb_clip_sample_count(m_Clip, ClipTrack.Sound) > 0,
                HasNormals = info.hasNormals != 0,
                Bounds = ClipInfo.BoundsOf(info.boxMin[0], info.boxMin[1], info.boxMin[2], info.boxMax[0], info.boxMax[1],
                    info.boxMax[2])
            };
        }

        /// <summary>Any thread.</summary>
        public double TimeOf(long frame)
        {
            return m_Times[Math.Max(0, Math.Min(frame, m_Times.Length - 1))];
        }

        /// <summary>The last frame that begins at or before a time; the first one for earlier times. Any thread.</summary>
        public long FrameAt(double seconds)
        {
            // Half a microsecond: a frame's own time leads to that frame, although neither is exact.
            int index = Array.BinarySearch(m_Times, seconds + 5e-7);
            return Math.Max(0, index >= 0 ? index : ~index - 1);
        }

        /// <summary>Decodes a frame's mesh. Its arrays live until the next call.</summary>
        public ClipStatus Decode(long frame, out NimbClipLibrary.DecodedMesh mesh)
        {
            return NimbClipLibrary.nimb_clip_decode(m_Clip, (uint)frame, NimbClipLibrary.FloatNormals, out mesh, ref m_Error);
        }

        /// <summary>Ends reading that waits for a server. Any thread.</summary>
        public void Abort()
        {
            m_Bytes.Abort();
        }

        private void Check(ClipStatus status, string name)
        {
            if (status == ClipStatus.Ok)
            {
                return;
            }
            string reason = m_ReadFailure;
            if (reason == null)
            {
                fixed (byte* text = m_Error.text)
                {
                    reason = Marshal.PtrToStringAnsi((IntPtr)text);
                }
            }
            throw new ClipException("The clip '" + name + "' cannot be opened: " + reason + ".");
        }

        [MonoPInvokeCallback(typeof(NimbClipLibrary.Read))]
        private static long OnRead(IntPtr user, ulong offset, IntPtr to, UIntPtr size)
        {
            // An exception must not reach native code.
            var reader = (ClipReader)GCHandle.FromIntPtr(user).Target;
            try
            {
                return reader.Read((long)offset, to, (long)size);
            }
            catch (Exception e)
            {
                reader.m_ReadFailure = e.Message;
                return -1;
            }
        }

        private long Read(long offset, IntPtr to, long size)
        {
            long total = 0;
            while (total < size)
            {
                int read = m_Bytes.Read(offset + total, m_Copy, (int)Math.Min(size - total, CopySize));
                if (read <= 0)
                {
                    break;
                }
                Marshal.Copy(m_Copy, 0, (IntPtr)((long)to + total), read);
                total += read;
            }
            return total;
        }

        public void Dispose()
        {
            if (m_Clip != IntPtr.Zero)
            {
                NimbClipLibrary.nimb_clip_close(m_Clip);
                m_Clip = IntPtr.Zero;
            }
            if (m_Self.IsAllocated)
            {
                m_Self.Free();
            }
            m_Bytes.Dispose();
            lock (s_Lock)
            {
                --s_Count;
                Monitor.PulseAll(s_Lock);
            }
        }

        /// <summary>Waits until all of them have been disposed of, by whichever threads use them.</summary>
        public static void WaitForAll(TimeSpan patience)
        {
            DateTime end = DateTime.UtcNow + patience;
            lock (s_Lock)
            {
                for (TimeSpan left = patience; s_Count > 0 && left > TimeSpan.Zero; left = end - DateTime.UtcNow)
                {
                    Monitor.Wait(s_Lock, left);
                }
            }
        }
    }
}
