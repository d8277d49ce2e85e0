using System;
using System.Runtime.InteropServices;
using Unity.Collections;
using UnityEngine;
using UnityEngine.Rendering;

namespace Nimb
{
    /// <summary>The engine's objects that a player fills: a mesh and a texture, large enough for every frame of a clip.
    /// </summary>
    public sealed class FrameTarget : IDisposable
    {
        // The engine must not look at indices that only the GPU has.
        private const MeshUpdateFlags Untouched = MeshUpdateFlags.DontValidateIndices | MeshUpdateFlags.DontRecalculateBounds
            | MeshUpdateFlags.DontResetBoneBounds;

        private static readonly VertexAttributeDescriptor[] s_Layout =
        {
            new VertexAttributeDescriptor(VertexAttribute.Position, VertexAttributeFormat.Float32, 3),
            new VertexAttributeDescriptor(VertexAttribute.Normal, VertexAttributeFormat.Float32, 3),
            new VertexAttributeDescriptor(VertexAttribute.TexCoord0, VertexAttributeFormat.Float32, 2)
        };

        /// <summary>Only zeros are ever written through it.</summary>
        [StructLayout(LayoutKind.Sequential, Size = QuorPlayer.VertexSize)]
        private struct Vertex { }

        private readonly int m_VertexCapacity;
        private readonly int m_IndexCapacity;

        public Mesh Mesh { get; private set; }
        public Texture2D Texture { get; private set; }

        public FrameTarget(NimbFileInfo file)
        {
            m_VertexCapacity = (int)file.maxVertexCount;
            m_IndexCapacity = (int)file.maxIndexCount;
            Texture = MakeTexture((int)file.textureWidth, (int)file.textureHeight);
            Mesh = MakeMesh(m_VertexCapacity, m_IndexCapacity);
            // Of the whole clip: those of a frame would come a frame late.
            Mesh.bounds = ClipInfo.BoundsOf(file.minX, file.minY, file.minZ, file.maxX, file.maxY, file.maxZ);
        }

        /// <summary>Row 0 is the picture's top row, as it is for the meshes' texture coordinates: nothing flips.</summary>
        private static Texture2D MakeTexture(int width, int height)
        {
            // Linear, although it holds a video's colours: OpenGL ES would encode what is drawn into an sRGB texture once
            // more. The shaders convert where the project's colour space asks for it.
            var texture = new Texture2D(width, height, TextureFormat.RGBA32, false, true)
            {
                name = "Nimb picture",
                hideFlags = HideFlags.DontSave,
                filterMode = FilterMode.Bilinear,
                wrapMode = TextureWrapMode.Clamp
            };
            // Uploads it, so that it has a native object, and drops the copy in memory: only the GPU ever has the pictures.
            texture.Apply(false, true);
            return texture;
        }

        private static Mesh MakeMesh(int vertexCapacity, int indexCapacity)
        {
            var mesh = new Mesh { name = "Nimb mesh", hideFlags = HideFlags.DontSave };
            mesh.MarkDynamic();
            mesh.SetVertexBufferParams(vertexCapacity, s_Layout);
            mesh.SetIndexBufferParams(indexCapacity, IndexFormat.UInt32);
            // Zeros are degenerate triangles: nothing shows before the first frame.
            using (var vertices = new NativeArray<Vertex>(vertexCapacity, Allocator.Temp))
            {
                mesh.SetVertexBufferData(vertices, 0, 0, vertices.Length, 0, Untouched);
            }
            using (var indices = new NativeArray<uint>(indexCapacity, Allocator.Temp))
            {
                mesh.SetIndexBufferData(indices, 0, 0, indices.Length, Untouched);
            }
            mesh.subMeshCount = 1;
            // All of them in every frame: beyond a frame's indices the buffer holds zeros.
            var range = new SubMeshDescriptor(0, indexCapacity, MeshTopology.Triangles) { vertexCount = vertexCapacity };
            mesh.SetSubMesh(0, range, Untouched);
            mesh.UploadMeshData(false);
            return mesh;
        }

        /// <summary>Gives the native objects to the player. Waits for the render thread; call it again when the engine may
        /// have made others.</summary>
        public void HandTo(QuorPlayer player)
        {
            player.SetBuffers(Texture.GetNativeTexturePtr(), Texture.width, Texture.height, Mesh.GetNativeVertexBufferPtr(0),
                m_VertexCapacity, Mesh.GetNativeIndexBufferPtr(), m_IndexCapacity);
        }

        /// <summary>After the player has got others, or is gone.</summary>
        public void Dispose()
        {
            EngineObject.Destroy(Mesh);
            EngineObject.Destroy(Texture);
        }
    }
}
