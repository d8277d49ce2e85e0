using UnityEngine;

namespace Nimb
{
    internal static class EngineObject
    {
        /// <summary>In play mode and, for previews, in edit mode.</summary>
        public static void Destroy(Object engineObject)
        {
            if (Application.isPlaying)
            {
                Object.Destroy(engineObject);
            }
            else
            {
                Object.DestroyImmediate(engineObject);
            }
        }
    }
}
