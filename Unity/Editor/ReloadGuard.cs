using UnityEditor;
using UnityEngine;

namespace Nimb.Editor
{
    /// <summary>Scripts that are recompiled in play mode forget their native players, so the players are ended first.
    /// </summary>
    [InitializeOnLoad]
    internal static class ReloadGuard
    {
        static ReloadGuard()
        {
            AssemblyReloadEvents.beforeAssemblyReload += ReleaseAll;
        }

        private static void ReleaseAll()
        {
            foreach (NimbPlayer player in Resources.FindObjectsOfTypeAll<NimbPlayer>())
            {
                player.Release();
            }
        }
    }
}
