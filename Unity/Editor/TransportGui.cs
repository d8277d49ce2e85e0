using System;
using UnityEditor;
using UnityEngine;

namespace Nimb.Editor
{
    /// <summary>Buttons and a slider that drive one player: the clip in play mode, its preview in edit mode.</summary>
    internal static class TransportGui
    {
        private static readonly GUIContent s_Preview = new GUIContent("Preview", "Show the clip without play mode");

        public static void Draw(NimbPlayer player)
        {
            Scrubber.Take();
            EditorGUILayout.BeginHorizontal();
            if (Application.isPlaying)
            {
                DrawOpen(player);
            }
            else
            {
                DrawPreviewToggle(player);
            }
            using (new EditorGUI.DisabledScope(!player.IsOpen))
            {
                bool isPlaying = player.IsPlaying || EditModePreview.IsPlaying;
                if (GUILayout.Button(isPlaying ? "Pause" : "Play"))
                {
                    SetPlaying(player, !isPlaying);
                }
                if (GUILayout.Button("Rewind"))
                {
                    Rewind(player);
                }
            }
            EditorGUILayout.EndHorizontal();
            using (new EditorGUI.DisabledScope(!player.IsOpen || player.FrameCount <= 0))
            {
                DrawScrubber(player);
            }
        }

        private static void DrawOpen(NimbPlayer player)
        {
            if (GUILayout.Button(player.IsOpen || player.IsOpening ? "Close" : "Open"))
            {
                if (player.IsOpen || player.IsOpening)
                {
                    player.Close();
                }
                else
                {
                    player.Open();
                }
            }
        }

        private static void DrawPreviewToggle(NimbPlayer player)
        {
            bool isShowing = EditModePreview.IsShowing(player);
            bool wanted = GUILayout.Toggle(isShowing, s_Preview, "Button");
            if (wanted != isShowing)
            {
                if (wanted)
                {
                    EditModePreview.Begin(player);
                }
                else
                {
                    EditModePreview.End();
                }
            }
        }

        private static void DrawScrubber(NimbPlayer player)
        {
            int last = (int)Math.Max(0, player.FrameCount - 1);
            int shown = (int)Scrubber.Shown(player);
            EditorGUILayout.BeginHorizontal();
            if (GUILayout.Button("<", GUILayout.Width(24)))
            {
                Show(player, Math.Max(0, shown - 1));
            }
            EditorGUI.BeginChangeCheck();
            int frame = EditorGUILayout.IntSlider(shown, 0, last);
            if (EditorGUI.EndChangeCheck())
            {
                Show(player, frame);
            }
            if (GUILayout.Button(">", GUILayout.Width(24)))
            {
                Show(player, Math.Min(last, shown + 1));
            }
            EditorGUILayout.EndHorizontal();
        }

        private static void SetPlaying(NimbPlayer player, bool play)
        {
            if (!Application.isPlaying)
            {
                if (play)
                {
                    EditModePreview.Play();
                }
                else
                {
                    EditModePreview.Pause();
                }
            }
            else if (play)
            {
                player.Play();
            }
            else
            {
                player.Pause();
            }
        }

        private static void Rewind(NimbPlayer player)
        {
            if (Application.isPlaying)
            {
                player.Rewind();
            }
            else
            {
                EditModePreview.Show(0);
            }
        }

        private static void Show(NimbPlayer player, long frame)
        {
            if (!Application.isPlaying)
            {
                EditModePreview.Show(frame);
            }
            else
            {
                Scrubber.Ask(player, frame);
            }
        }
    }
}
