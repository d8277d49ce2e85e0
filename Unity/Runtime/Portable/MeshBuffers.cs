using System;
using System.Runtime.InteropServices;

namespace Nimb
{
    /// <summary>
    /// A decoded mesh in native memory, large enough for every frame of its clip. The worker fills it, the main thread
    /// uploads it; <see cref="MeshWorker"/> says when it is whose.
    /// </summary>
    internal sealed unsafe class MeshBuffers : IDisposable
    {
        public enum Content { Nothing, Mesh, Fault }

        private readonly int m_VertexCapacity;
        private readonly int m_IndexCapacity;

        /// <summary>Among the worker's.</summary>
        public readonly int Index;
        /// <summary>-1: of none.</summary>
        public long Frame = -1;
        public Content Holds;
        /// <summary>Meshes with the same number have the same indices.</summary>
        public int Topology;
        public int VertexCount;
        public int IndexCount;

        public ClipVertex* Vertices { get; private set; }
        public uint* Indices { get; private set; }

        public MeshBuffers(int index, int vertexCapacity, int indexCapacity)
        {
            Index = index;
            m_VertexCapacity = vertexCapacity;
            m_IndexCapacity = indexCapacity;
            Vertices = (ClipVertex*)Marshal.AllocHGlobal((IntPtr)((long)vertexCapacity * sizeof(ClipVertex)));
            Indices = (uint*)Marshal.AllocHGlobal((IntPtr)((long)indexCapacity * sizeof(uint)));
        }

        public int VertexCapacity { get { return m_VertexCapacity; } }
        public int IndexCapacity { get { return m_IndexCapacity; } }

        /// <summary>Copies a decoded mesh as a list of triangles.</summary>
        /// <returns>False when it is larger than the clip says that any is, or not sound.</returns>
        public bool Fill(ref NimbClipLibrary.DecodedMesh mesh)
        {
            if (mesh.vertexCount > (uint)m_VertexCapacity || mesh.stride != sizeof(ClipVertex))
            {
                return false;
            }
            long bytes = (long)mesh.vertexCount * sizeof(ClipVertex);
            Buffer.MemoryCopy(mesh.vertices, Vertices, (long)m_VertexCapacity * sizeof(ClipVertex), bytes);
            VertexCount = (int)mesh.vertexCount;
            if (mesh.isStrips != 0)
            {
                IndexCount = TriangleStrip.ToList(mesh.indices, (int)mesh.indexCount, Indices, m_IndexCapacity);
                return IndexCount >= 0 && AreInRange();
            }
            if (mesh.indexCount > (uint)m_IndexCapacity)
            {
                return false;
            }
            Buffer.MemoryCopy(mesh.indices, Indices, (long)m_IndexCapacity * sizeof(uint), (long)mesh.indexCount * sizeof(uint));
            IndexCount = (int)mesh.indexCount;
            return AreInRange();
        }

        /// <summary>The engine is told not to look at them, and a graphics driver must not read beyond the vertices.
        /// </summary>
        private bool AreInRange()
        {
            uint largest = 0;
            for (int i = 0; i < IndexCount; ++i)
            {
                largest = Indices[i] > largest ? Indices[i] : largest;
            }
            return IndexCount == 0 || largest < (uint)VertexCount;
        }

        public void Dispose()
        {
            Marshal.FreeHGlobal((IntPtr)Vertices);
            Marshal.FreeHGlobal((IntPtr)Indices);
            Vertices = null;
            Indices = null;
        }
    }
}
