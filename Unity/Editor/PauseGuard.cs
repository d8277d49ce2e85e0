using UnityEditor;

namespace Nimb.Editor
{
    /// <summary>The editor's Pause button stops the engine's updates, which players know nothing of: their threads would
    /// play on, with sound.</summary>
    [InitializeOnLoad]
    internal static class PauseGuard
    {
        static PauseGuard()
        {
            EditorApplication.pauseStateChanged += state => OpenPlayers.PauseAll(state == PauseState.Paused);
        }
    }
}
