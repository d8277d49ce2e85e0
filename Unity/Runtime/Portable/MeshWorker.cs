using System;
using System.Threading;

namespace Nimb
{
    /// <summary>
    /// Decodes the meshes of a clip on a thread of its own: that of the frame that is wanted now, and some that come after
    /// it. Used by the main thread, which never waits for it.
    /// </summary>
    internal sealed class MeshWorker : IDisposable
    {
        // Ahead of the frame that is shown. Two more hold the mesh that is being uploaded and one that is being decoded
        // for a frame that nobody wants any more.
        private const int Ahead = 6;
        private const int BufferCount = Ahead + 2;
        private const int RetryMilliseconds = 500;

        private readonly ClipReader m_Reader;
        private readonly bool m_ComputeNormals;
        private readonly MeshBuffers[] m_Buffers = new MeshBuffers[BufferCount];
        private readonly Thread m_Thread;
        private readonly object m_Lock = new object();

        // Guarded by m_Lock; what a buffer holds too, but for the one that is being filled.
        private readonly TroubleLog m_Troubles = new TroubleLog();
        private long m_Wanted;
        private long m_First;
        private long m_Last;
        private bool m_Loops;
        private MeshBuffers m_Filling;
        private MeshBuffers m_Borrowed;
        private bool m_IsStopped;

        // Of the thread alone.
        private int m_Topology = 1;

        /// <param name="reader">Belongs to the worker from then on; it is disposed of when the thread ends.</param>
        /// <param name="computeNormals">Smooth normals instead of those in the file.</param>
        public MeshWorker(ClipReader reader, bool computeNormals)
        {
            m_Reader = reader;
            m_ComputeNormals = computeNormals;
            m_Last = reader.Info.FrameCount - 1;
            for (int i = 0; i < m_Buffers.Length; ++i)
            {
                m_Buffers[i] = new MeshBuffers(i, reader.Info.MaxVertices, reader.IndexCapacity);
            }
            m_Thread = new Thread(Run) { IsBackground = true, Name = "Nimb meshes" };
            m_Thread.Start();
        }

        /// <summary>What memory there is, for views of it that the engine takes. Fixed; content belongs to whom Borrow and
        /// Return say.</summary>
        public MeshBuffers[] Buffers { get { return m_Buffers; } }

        /// <summary>Says which frame is wanted now, and what comes after it: frames up to <paramref name="last"/>, then from
        /// <paramref name="first"/> on if it loops.</summary>
        public void Aim(long frame, long first, long last, bool loops)
        {
            lock (m_Lock)
            {
                if (frame != m_Wanted || first != m_First || last != m_Last || loops != m_Loops)
                {
                    m_Wanted = frame;
                    m_First = first;
                    m_Last = last;
                    m_Loops = loops;
                    Monitor.PulseAll(m_Lock);
                }
            }
        }

        /// <returns>A frame's mesh, or the fault that it has; null when it is not decoded yet. It stays as it is until
        /// <see cref="Return"/>.</returns>
        public MeshBuffers Borrow(long frame)
        {
            lock (m_Lock)
            {
                MeshBuffers found = Find(frame);
                m_Borrowed = found == m_Filling ? null : found;
                return m_Borrowed;
            }
        }

        public void Return()
        {
            lock (m_Lock)
            {
                m_Borrowed = null;
                Monitor.PulseAll(m_Lock);
            }
        }

        /// <summary>Of damaged and missing meshes among the frames that were shown or to be shown.</summary>
        public bool TakeTrouble(out PlaybackTrouble trouble)
        {
            lock (m_Lock)
            {
                return m_Troubles.Take(out trouble);
            }
        }

        private MeshBuffers Find(long frame)
        {
            foreach (MeshBuffers buffers in m_Buffers)
            {
                if (buffers.Frame == frame)
                {
                    return buffers;
                }
            }
            return null;
        }

        // ---- The thread ----

        private void Run()
        {
            MeshBuffers buffers;
            while ((buffers = WaitForWork()) != null)
            {
                NimbClipLibrary.DecodedMesh mesh;
                ClipStatus status = m_Reader.Decode(buffers.Frame, out mesh);
                bool isMesh = status == ClipStatus.Ok && Take(ref mesh, buffers);
                lock (m_Lock)
                {
                    buffers.Holds = isMesh ? MeshBuffers.Content.Mesh : MeshBuffers.Content.Fault;
                    if (!isMesh && !m_IsStopped)
                    {
                        m_Troubles.Add(buffers.Frame, ReasonOf(status));
                    }
                    m_Filling = null;
                    if (status == ClipStatus.ReadFailed && !m_IsStopped)
                    {
                        buffers.Frame = -1;  // it is there, and may be had later
                        Monitor.Wait(m_Lock, RetryMilliseconds);
                    }
                }
            }
            m_Reader.Dispose();
            foreach (MeshBuffers each in m_Buffers)
            {
                each.Dispose();
            }
        }

        private static NimbTroubleReason ReasonOf(ClipStatus status)
        {
            return status == ClipStatus.NoMesh ? NimbTroubleReason.NoMesh
                : status == ClipStatus.ReadFailed ? NimbTroubleReason.LostFrames : NimbTroubleReason.DamagedMesh;
        }

        private unsafe bool Take(ref NimbClipLibrary.DecodedMesh mesh, MeshBuffers buffers)
        {
            m_Topology += mesh.hasSameIndices != 0 ? 0 : 1;
            buffers.Topology = m_Topology;
            if (!buffers.Fill(ref mesh))
            {
                return false;
            }
            if (m_ComputeNormals)
            {
                SmoothNormals.Compute(buffers.Vertices, buffers.VertexCount, buffers.Indices, buffers.IndexCount);
            }
            else if (mesh.hasNormals == 0)
            {
                SmoothNormals.Clear(buffers.Vertices, buffers.VertexCount);
            }
            return true;
        }

        /// <returns>Buffers marked with the frame to decode into them; null when the thread is to end.</returns>
        private MeshBuffers WaitForWork()
        {
            lock (m_Lock)
            {
                while (!m_IsStopped)
                {
                    long frame = m_Wanted;
                    for (int i = 0; i < Ahead && frame >= 0; ++i, frame = After(frame))
                    {
                        if (Find(frame) == null)
                        {
                            MeshBuffers buffers = FindFree();
                            if (buffers != null)
                            {
                                buffers.Frame = frame;
                                buffers.Holds = MeshBuffers.Content.Nothing;
                                m_Filling = buffers;
                                return buffers;
                            }
                        }
                    }
                    Monitor.Wait(m_Lock);
                }
                return null;
            }
        }

        /// <returns>-1: nothing comes after it.</returns>
        private long After(long frame)
        {
            return frame != m_Last ? (frame + 1 < m_Reader.Info.FrameCount ? frame + 1 : -1) : m_Loops ? m_First : -1;
        }

        private MeshBuffers FindFree()
        {
            foreach (MeshBuffers buffers in m_Buffers)
            {
                if (buffers != m_Borrowed && !IsWanted(buffers.Frame))
                {
                    return buffers;
                }
            }
            return null;
        }

        private bool IsWanted(long frame)
        {
            long wanted = m_Wanted;
            for (int i = 0; i < Ahead && wanted >= 0; ++i, wanted = After(wanted))
            {
                if (wanted == frame)
                {
                    return true;
                }
            }
            return false;
        }

        /// <summary>Ends the thread, which frees reader and buffers when it has noticed: nothing of them may be used any
        /// more. Does not wait for it.</summary>
        public void Dispose()
        {
            lock (m_Lock)
            {
                m_IsStopped = true;
                Monitor.PulseAll(m_Lock);
            }
            m_Reader.Abort();
        }
    }
}
