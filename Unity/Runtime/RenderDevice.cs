using System;
using System.Runtime.InteropServices;
using System.Threading;
using AOT;
using UnityEngine;

namespace Nimb
{
    /// <summary>
    /// Tells the native library the engine's EGL context, on the render thread and before the first render event. Not
    /// every version of the engine does so itself, and a second time does no harm.
    /// </summary>
    internal static class RenderDevice
    {
        private const int EventInitialize = 0;

        private enum Status { Unknown, Asked, Ready, Failed }

        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        private delegate void RenderEvent(int deviceType);

        // Kept here because the render thread calls it when nobody else refers to it.
        private static readonly RenderEvent s_OnAnnounce = OnAnnounce;
        private static int s_Status = (int)Status.Unknown;
        private static string s_Problem;  // written before s_Status becomes Failed

        /// <summary>Render events may be issued.</summary>
        public static bool IsReady { get { return Volatile.Read(ref s_Status) == (int)Status.Ready; } }

        /// <summary>Why they can never be issued; null as long as they can.</summary>
        public static string Problem
        {
            get { return Volatile.Read(ref s_Status) == (int)Status.Failed ? s_Problem : null; }
        }

        /// <summary>Script thread. The answer comes with one of the next frames. Once is enough, unless the engine may
        /// have made another context.</summary>
        public static void Announce()
        {
            Volatile.Write(ref s_Status, (int)Status.Asked);
            GL.IssuePluginEvent(Marshal.GetFunctionPointerForDelegate(s_OnAnnounce), (int)SystemInfo.graphicsDeviceType);
        }

        public static void AnnounceOnce()
        {
            if (Volatile.Read(ref s_Status) == (int)Status.Unknown)
            {
                Announce();
            }
        }

        [MonoPInvokeCallback(typeof(RenderEvent))]
        private static void OnAnnounce(int deviceType)
        {
            // An exception must not reach the engine's render thread.
            try
            {
                if (!EglContext.IsCurrent)
                {
                    Fail("The engine draws without EGL, so the player cannot reach its textures. Use OpenGL ES 3.");
                    return;
                }
                NimbUnityPluginML.UnitySetGraphicsDevice(IntPtr.Zero, deviceType, EventInitialize);
                Volatile.Write(ref s_Status, (int)Status.Ready);
            }
            catch (Exception e)
            {
                Fail("The native player cannot be reached on the render thread: " + e.Message);
            }
        }

        private static void Fail(string problem)
        {
            s_Problem = problem;
            Volatile.Write(ref s_Status, (int)Status.Failed);
        }
    }
}
