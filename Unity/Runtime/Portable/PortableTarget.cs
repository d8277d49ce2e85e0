using System;
using Unity.Collections;
using Unity.Collections.LowLevel.Unsafe;
using UnityEngine;
using UnityEngine.Rendering;

namespace Nimb
{
    /// <summary>
    /// The mesh and the picture that the portable back end shows. The picture is a copy of the video player's, taken when
    /// its mesh is uploaded: whatever the video player's texture holds next, the two stay together.
    /// </summary>
    internal sealed unsafe class PortableTarget : IDisposable
    {
        private const MeshUpdateFlags Unchecked = MeshUpdateFlags.DontValidateIndices | MeshUpdateFlags.DontRecalculateBounds
            | MeshUpdateFlags.DontResetBoneBounds;

        // The video's top row comes last in the engine's textures, and meshes take it to be the first.
        private static readonly Vector2 s_FlipScale = new Vector2(1, -1);
        private static readonly Vector2 s_FlipOffset = new Vector2(0, 1);

        private static readonly VertexAttributeDescriptor[] s_Layout =
        {
            new VertexAttributeDescriptor(VertexAttribute.Position, VertexAttributeFormat.Float32, 3),
            new VertexAttributeDescriptor(VertexAttribute.Normal, VertexAttributeFormat.Float32, 3),
            new VertexAttributeDescriptor(VertexAttribute.TexCoord0, VertexAttributeFormat.Float32, 2)
        };

        private readonly NativeArray<ClipVertex>[] m_Vertices;
        private readonly NativeArray<uint>[] m_Indices;
#if ENABLE_UNITY_COLLECTIONS_CHECKS
        // The editor looks at it on every access.
        private readonly AtomicSafetyHandle m_Safety;
#endif
        private readonly Bounds m_Bounds;
        private int m_Topology;

        public Mesh Mesh { get; private set; }
        public RenderTexture Texture { get; private set; }

        /// <param name="info">Of the clip.</param>
        /// <param name="buffers">Those of the worker, which outlive this object.</param>
        /// <param name="hasMipMaps">Whether smaller versions of the picture are made, for distant figures.</param>
        public PortableTarget(ClipInfo info, MeshBuffers[] buffers, bool hasMipMaps)
        {
            m_Bounds = info.Bounds;
            Texture = new RenderTexture(info.Width, info.Height, 0, RenderTextureFormat.ARGB32, RenderTextureReadWrite.sRGB)
            {
                name = "Nimb picture",
                hideFlags = HideFlags.DontSave,
                filterMode = hasMipMaps ? FilterMode.Trilinear : FilterMode.Bilinear,
                wrapMode = TextureWrapMode.Clamp,
                useMipMap = hasMipMaps,
                autoGenerateMips = false
            };
            Texture.Create();
            Mesh = new Mesh { name = "Nimb mesh", hideFlags = HideFlags.DontSave };
            Mesh.MarkDynamic();
            Mesh.SetVertexBufferParams(buffers[0].VertexCapacity, s_Layout);
            Mesh.SetIndexBufferParams(buffers[0].IndexCapacity, IndexFormat.UInt32);
            Mesh.subMeshCount = 1;
            SetDrawnIndices(0, 0);
            Mesh.bounds = m_Bounds;

#if ENABLE_UNITY_COLLECTIONS_CHECKS
            m_Safety = AtomicSafetyHandle.Create();
#endif
            m_Vertices = new NativeArray<ClipVertex>[buffers.Length];
            m_Indices = new NativeArray<uint>[buffers.Length];
            for (int i = 0; i < buffers.Length; ++i)
            {
                m_Vertices[i] = View<ClipVertex>(buffers[i].Vertices, buffers[i].VertexCapacity);
                m_Indices[i] = View<uint>(buffers[i].Indices, buffers[i].IndexCapacity);
            }
        }

        private NativeArray<T> View<T>(void* memory, int length) where T : struct
        {
            NativeArray<T> view = NativeArrayUnsafeUtility.ConvertExistingDataToNativeArray<T>(memory, length, Allocator.None);
#if ENABLE_UNITY_COLLECTIONS_CHECKS
            NativeArrayUnsafeUtility.SetAtomicSafetyHandle(ref view, m_Safety);
#endif
            return view;
        }

        /// <summary>The device may lose the content of render textures.</summary>
        public bool HasLostPicture { get { return !Texture.IsCreated(); } }

        /// <summary>Shows a picture and its mesh.</summary>
        public void Show(Texture picture, MeshBuffers buffers)
        {
            Upload(buffers);
            RenderTexture active = RenderTexture.active;
            Graphics.Blit(picture, Texture, s_FlipScale, s_FlipOffset);
            RenderTexture.active = active;
            if (Texture.useMipMap)
            {
                Texture.GenerateMips();
            }
        }

        private void Upload(MeshBuffers buffers)
        {
            Mesh.SetVertexBufferData(m_Vertices[buffers.Index], 0, 0, buffers.VertexCount, 0, Unchecked);
            if (buffers.Topology != m_Topology)
            {
                Mesh.SetIndexBufferData(m_Indices[buffers.Index], 0, 0, buffers.IndexCount, Unchecked);
                m_Topology = buffers.Topology;
                SetDrawnIndices(buffers.VertexCount, buffers.IndexCount);
            }
        }

        private void SetDrawnIndices(int vertexCount, int indexCount)
        {
            var range = new SubMeshDescriptor(0, indexCount, MeshTopology.Triangles)
            {
                bounds = m_Bounds,
                vertexCount = vertexCount
            };
            Mesh.SetSubMesh(0, range, Unchecked);
        }

        public void Dispose()
        {
#if ENABLE_UNITY_COLLECTIONS_CHECKS
            AtomicSafetyHandle.Release(m_Safety);
#endif
            EngineObject.Destroy(Mesh);
            Texture.Release();
            EngineObject.Destroy(Texture);
        }
    }
}
