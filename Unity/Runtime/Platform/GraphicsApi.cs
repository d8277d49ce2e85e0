using UnityEngine;
using UnityEngine.Rendering;

namespace Nimb
{
    /// <summary>Which of the engine's graphics interfaces the player can draw with.</summary>
    public static class GraphicsApi
    {
        /// <returns>Null when the player works with it.</returns>
        public static string ProblemWith(GraphicsDeviceType type, RuntimePlatform platform)
        {
            bool isLinux = platform == RuntimePlatform.LinuxPlayer || platform == RuntimePlatform.LinuxEditor;
            if (type == GraphicsDeviceType.OpenGLES3 || type == GraphicsDeviceType.OpenGLCore && isLinux)
            {
                return null;
            }
            return "Volumetric video needs OpenGL ES 3, but the graphics API is " + type + " (" + platform + "). Switch off " +
                "Auto Graphics API in Project Settings > Player > Other Settings and put OpenGLES3 first in the list.";
        }
    }
}
