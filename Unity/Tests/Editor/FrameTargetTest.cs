using System;
using NUnit.Framework;
using UnityEngine;
using UnityEngine.Rendering;

namespace Nimb.Editor.Tests
{
    /// <summary>What only a running engine can show: that the objects it makes are laid out as the player fills them.
    /// </summary>
    public sealed class FrameTargetTest
    {
        [Test]
        public void ObjectsAreLaidOutAsThePlayerFillsThem()
        {
            var file = new NimbFileInfo { maxVertexCount = 100, maxIndexCount = 300, textureWidth = 64, textureHeight = 32, maxX = 2 };
            using (var target = new FrameTarget(file))
            {
                Assert.AreEqual(QuorPlayer.VertexSize, VertexSizeOf(target.Mesh));
                Assert.AreEqual(100, target.Mesh.vertexCount);
                Assert.AreEqual(IndexFormat.UInt32, target.Mesh.indexFormat);
                Assert.AreEqual(300, (int)target.Mesh.GetIndexCount(0));
                Assert.AreEqual(1, target.Texture.mipmapCount);
                Assert.AreEqual(1, target.Mesh.bounds.center.x);
                Assert.AreNotEqual(IntPtr.Zero, target.Texture.GetNativeTexturePtr());
                Assert.AreNotEqual(IntPtr.Zero, target.Mesh.GetNativeVertexBufferPtr(0));
                Assert.AreNotEqual(IntPtr.Zero, target.Mesh.GetNativeIndexBufferPtr());
            }
        }

        private static int VertexSizeOf(Mesh mesh)
        {
            int size = 0;
            foreach (VertexAttributeDescriptor attribute in mesh.GetVertexAttributes())
            {
                Assert.AreEqual(0, attribute.stream);
                Assert.AreEqual(VertexAttributeFormat.Float32, attribute.format);
                size += attribute.dimension * sizeof(float);
            }
            return size;
        }

        [Test]
        public void NativeLibrariesHaveTheirSettings()
        {
            CollectionAssert.IsEmpty(NativeLibraries.Validate(NativeLibrary.All, new System.Collections.Generic.List<string>()));
        }
    }
}
