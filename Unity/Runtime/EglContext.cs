using System;
using System.Runtime.InteropServices;

namespace Nimb
{
    /// <summary>The native player draws in the EGL context that is current on the render thread, and ends the process
    /// without one. So check first.</summary>
    internal static class EglContext
    {
#if UNITY_ANDROID && !UNITY_EDITOR || UNITY_LUMIN && !UNITY_EDITOR
        private const string Library = "EGL";
#else
        private const string Library = "libEGL.so.1";
#endif

        [DllImport(Library, EntryPoint = "eglGetCurrentContext")]
        private static extern IntPtr GetCurrent();

        /// <summary>Render thread.</summary>
        public static bool IsCurrent { get { return GetCurrent() != IntPtr.Zero; } }
    }
}
