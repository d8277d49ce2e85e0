using UnityEngine;

namespace Nimb
{
    /// <summary>
    /// Tells the native library the engine's EGL context, by a native event on the render thread and before the first
    /// render event. Not every version of the engine does so itself, and a second time does no harm.
    /// </summary>
    internal static class RenderDevice
    {
        private static bool s_IsAsked;

        /// <summary>Render events may be issued.</summary>
        public static bool IsReady { get { return Info.status == NimbDevice.Ready; } }

        /// <summary>Why they cannot be issued; null while they can, or while the answer has not come yet.</summary>
        public static string Problem
        {
            get
            {
                return s_IsAsked && Info.status == NimbDevice.NoContext
                    ? "The engine draws without EGL, so the player cannot reach its textures. Use OpenGL ES 3." : null;
            }
        }

        /// <summary>Another number, another context: GL objects of the one before are gone.</summary>
        public static uint Context { get { return Info.context; } }

        private static NimbDeviceInfo Info
        {
            get
            {
                var info = new NimbDeviceInfo();
                NimbUnityPluginML.GetDeviceInfo(ref info);
                return info;
            }
        }

        /// <summary>Script thread. The answer comes with one of the next frames. Once is enough, unless the engine may
        /// have made another context.</summary>
        public static void Announce()
        {
            s_IsAsked = true;
            GL.IssuePluginEvent(NimbUnityPluginML.GetDeviceEventFunc(), (int)SystemInfo.graphicsDeviceType);
        }
    }
}
