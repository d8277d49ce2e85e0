using System.Runtime.InteropServices;

namespace Nimb
{
    /// <summary>A vertex as both back ends hand it to the engine: 32 bytes.</summary>
    [StructLayout(LayoutKind.Sequential)]
    internal struct ClipVertex
    {
        public float x, y, z;
        public float nx, ny, nz;
        public float u, v;
    }
}
