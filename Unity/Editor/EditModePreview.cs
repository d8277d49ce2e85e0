using UnityEditor;
using UnityEditor.SceneManagement;
using UnityEngine;
#if UNITY_2021_2_OR_NEWER
using PrefabStage = UnityEditor.SceneManagement.PrefabStage;
#else
using PrefabStage = UnityEditor.Experimental.SceneManagement.PrefabStage;
#endif

namespace Nimb.Editor
{
    /// <summary>
    /// Shows a player's clip in edit mode, one player at a time. The engine updates nothing there by itself, so updates are
    /// queued while the player has work to do. It ends before anything is saved: what it shows belongs to no scene.
    /// </summary>
    [InitializeOnLoad]
    internal static class EditModePreview
    {
        private static NimbPlayer s_Player;
        private static bool s_IsPlaying;
        private static double s_PlayedFrom;  // where the clip's start would be on the editor's clock

        static EditModePreview()
        {
            EditorApplication.playModeStateChanged += change => End();
            EditorSceneManager.sceneSaving += (scene, path) => End();
            PrefabStage.prefabSaving += root => End();
        }

        public static bool IsShowing(NimbPlayer player)
        {
            return s_Player != null && s_Player == player;
        }

        /// <summary>Whether the preview plays; in play mode, the player itself does.</summary>
        public static bool IsPlaying { get { return s_Player != null && s_IsPlaying; } }

        public static void Begin(NimbPlayer player)
        {
            End();
            s_Player = player;
            EditorApplication.update += Update;
            player.Open();  // the first frame comes by itself
        }

        public static void End()
        {
            EditorApplication.update -= Update;
            NimbPlayer player = s_Player;
            s_Player = null;
            s_IsPlaying = false;
            Scrubber.Forget();
            if (player != null)
            {
                player.Close();
                SceneView.RepaintAll();
            }
        }

        public static void Play()
        {
            if (s_Player != null)
            {
                bool hasEnded = s_Player.Frame >= s_Player.FrameCount - 1;
                s_PlayedFrom = EditorApplication.timeSinceStartup - (hasEnded ? 0 : s_Player.Time);
                s_IsPlaying = true;
            }
        }

        public static void Pause()
        {
            s_IsPlaying = false;
        }

        public static void Show(long frame)
        {
            s_IsPlaying = false;
            if (s_Player != null)
            {
                Scrubber.Ask(s_Player, frame);
            }
        }

        private static void Update()
        {
            if (s_Player == null || (!s_Player.IsOpen && !s_Player.IsOpening))
            {
                End();
                return;
            }
            if (s_IsPlaying && s_Player.IsOpen && !s_Player.IsSeeking)
            {
                FollowClock();
            }
            Scrubber.Take();
            if (s_Player.IsBusy)
            {
                EditorApplication.QueuePlayerLoopUpdate();
            }
        }

        private static void FollowClock()
        {
            double time = EditorApplication.timeSinceStartup - s_PlayedFrom;
            if (time < s_Player.Duration)
            {
                Scrubber.Ask(s_Player, (long)(time * s_Player.FrameRate));
            }
            else if (s_Player.LoopMode == LoopMode.Once)
            {
                Show(s_Player.FrameCount - 1);
            }
            else
            {
                s_PlayedFrom = EditorApplication.timeSinceStartup;
                Scrubber.Ask(s_Player, 0);
            }
        }
    }
}
