using System;
using System.ComponentModel;
using System.Runtime.InteropServices;
using UnityEngine;

namespace Nimb
{
    /// <summary>The system's loader of libraries, for what it says when it fails: DllImport does not tell.</summary>
    internal static class SystemLoader
    {
        private const int ResolveNow = 2;        // RTLD_NOW, on all 64-bit systems
        private const uint SearchBesideIt = 8;   // LOAD_WITH_ALTERED_SEARCH_PATH

        /// <summary>Loads a library, and leaves it loaded.</summary>
        /// <param name="file">A path, or a name that the system looks for.</param>
        /// <returns>The loader's words; null when it is loaded.</returns>
        internal static string Load(string file)
        {
            if (Application.platform == RuntimePlatform.WindowsPlayer || Application.platform == RuntimePlatform.WindowsEditor)
            {
                if (LoadLibraryEx(file.Replace('/', '\\'), IntPtr.Zero, SearchBesideIt) != IntPtr.Zero)
                {
                    return null;
                }
                int error = Marshal.GetLastWin32Error();
                return new Win32Exception(error).Message + " (error " + error + ")";
            }
            try
            {
                return OpenVersioned(file, ResolveNow) != IntPtr.Zero ? null : Words(ErrorVersioned());
            }
            catch (DllNotFoundException)
            {
                return Open(file, ResolveNow) != IntPtr.Zero ? null : Words(Error());
            }
        }

        private static string Words(IntPtr text)
        {
            return text == IntPtr.Zero ? "the system does not say why" : Marshal.PtrToStringAnsi(text);
        }

        [DllImport("kernel32", CharSet = CharSet.Unicode, EntryPoint = "LoadLibraryExW", SetLastError = true)]
        private static extern IntPtr LoadLibraryEx(string file, IntPtr reserved, uint flags);

        // Linux: without a compiler's packages, there is only the name with a version.
        [DllImport("libdl.so.2", EntryPoint = "dlopen")]
        private static extern IntPtr OpenVersioned(string file, int flags);

        [DllImport("libdl.so.2", EntryPoint = "dlerror")]
        private static extern IntPtr ErrorVersioned();

        // Android and macOS.
        [DllImport("libdl", EntryPoint = "dlopen")]
        private static extern IntPtr Open(string file, int flags);

        [DllImport("libdl", EntryPoint = "dlerror")]
        private static extern IntPtr Error();
    }
}
