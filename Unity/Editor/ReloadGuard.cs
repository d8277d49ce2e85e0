using UnityEditor;

namespace Nimb.Editor
{
    /// <summary>Scripts that are recompiled forget their native players, whose threads would keep the old scripts from
    /// being unloaded. So everything is closed first, in play mode and in edit mode.</summary>
    [InitializeOnLoad]
    internal static class ReloadGuard
    {
        static ReloadGuard()
        {
            AssemblyReloadEvents.beforeAssemblyReload += CloseAll;
        }

        private static void CloseAll()
        {
            EditModePreview.End();
            ClipStage.End();
            OpenPlayers.CloseAll();
        }
    }
}
