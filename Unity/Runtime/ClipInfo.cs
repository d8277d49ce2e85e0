using UnityEngine;

namespace Nimb
{
    /// <summary>What is known of an open clip.</summary>
    public struct ClipInfo
    {
        public long FrameCount;
        /// <summary>Seconds.</summary>
        public double Duration;
        /// <summary>Frames a second, on average; 0 when the clip says too little.</summary>
        public double FrameRate;
        /// <summary>Of the picture, in pixels.</summary>
        public int Width;
        public int Height;
        /// <summary>Of any frame.</summary>
        public int MaxVertices;
        public int MaxIndices;
        public bool HasSound;
        /// <summary>The clip stores normals.</summary>
        public bool HasNormals;
        /// <summary>Of all frames, in the clip's own coordinates.</summary>
        public Bounds Bounds;

        internal static Bounds BoundsOf(double minX, double minY, double minZ, double maxX, double maxY, double maxZ)
        {
            return new Bounds(
                new Vector3((float)((minX + maxX) / 2), (float)((minY + maxY) / 2), (float)((minZ + maxZ) / 2)),
                new Vector3((float)(maxX - minX), (float)(maxY - minY), (float)(maxZ - minZ)));
        }
    }
}
