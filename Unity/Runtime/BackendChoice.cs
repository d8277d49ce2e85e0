using UnityEngine;

namespace Nimb
{
    internal static class BackendChoice
    {
        /// <param name="wanted">By the user.</param>
        /// <param name="isUrl">The clip is on a web server.</param>
        /// <param name="reason">Why Platform was not taken; null when it was, or was not asked for.</param>
        /// <returns>Platform or Portable.</returns>
        /// <exception cref="ClipException">Platform is wanted and does not work here.</exception>
        public static PlayerBackend Choose(PlayerBackend wanted, bool isUrl, out string reason)
        {
            reason = null;
            if (wanted == PlayerBackend.Portable)
            {
                return wanted;
            }
            reason = GraphicsApi.ProblemWith(SystemInfo.graphicsDeviceType, Application.platform)
                ?? (isUrl ? "The native player plays files, not addresses." : null)
                ?? NativeLoader.ProblemWith(NimbUnityPluginML.Library);
            if (reason != null && wanted == PlayerBackend.Platform)
            {
                throw new ClipException(reason);
            }
            return reason == null ? PlayerBackend.Platform : PlayerBackend.Portable;
        }
    }
}
