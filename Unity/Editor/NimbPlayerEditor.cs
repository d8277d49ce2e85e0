using System.IO;
using UnityEditor;
using UnityEngine;

namespace Nimb.Editor
{
    /// <summary>The component's settings, of one or many players; for one, its clip, what the back end says, and buttons
    /// to drive it.</summary>
    [CustomEditor(typeof(NimbPlayer))]
    [CanEditMultipleObjects]
    internal sealed class NimbPlayerEditor : UnityEditor.Editor
    {
        private const string EventPrefix = "m_On";
        private const string ScriptProperty = "m_Script";
        private const float BytesPerMegabyte = 1048576;

        private static bool s_ShowEvents;

        private NimbPlayer Player { get { return (NimbPlayer)target; } }

        public override void OnInspectorGUI()
        {
            serializedObject.Update();
            DrawProperties(false);
            s_ShowEvents = EditorGUILayout.Foldout(s_ShowEvents, "Events", true);
            if (s_ShowEvents)
            {
                DrawProperties(true);
            }
            serializedObject.ApplyModifiedProperties();
            if (targets.Length > 1)
            {
                return;
            }

            EditorGUILayout.Space();
            if (!Player.IsOpen && !Player.IsOpening)
            {
                DrawFile(Player);
            }
            // A prefab in the project has no scene to show anything in.
            if (!EditorUtility.IsPersistent(Player))
            {
                TransportGui.Draw(Player);
            }
            if (!string.IsNullOrEmpty(Player.Problem))
            {
                EditorGUILayout.HelpBox(Player.Problem, MessageType.Error);
            }
            DrawFacts(Player);
        }

        /// <summary>In the order, and under the headings, of the component.</summary>
        private void DrawProperties(bool areEvents)
        {
            SerializedProperty property = serializedObject.GetIterator();
            for (bool enters = true; property.NextVisible(enters); enters = false)
            {
                bool isEvent = property.name.StartsWith(EventPrefix, System.StringComparison.Ordinal);
                if (isEvent == areEvents && property.name != ScriptProperty)
                {
                    EditorGUILayout.PropertyField(property, true);
                }
            }
        }

        public override bool RequiresConstantRepaint()
        {
            return targets.Length == 1 && (Player.IsPlaying || Player.IsBusy || EditModePreview.IsShowing(Player));
        }

        private void OnDisable()
        {
            if (!Application.isPlaying && targets.Length == 1 && EditModePreview.IsShowing(Player))
            {
                EditModePreview.End();
            }
        }

        /// <summary>Before a clip is open, all that can be said is whether it is there.</summary>
        private static void DrawFile(NimbPlayer player)
        {
            if (string.IsNullOrEmpty(player.Path))
            {
                EditorGUILayout.HelpBox("No clip is named. Drop one onto the player in the scene or the hierarchy, or write " +
                    "its path.", MessageType.Info);
                return;
            }
            if (player.Folder == ClipFolder.Url)
            {
                return;
            }
            try
            {
                string path = ClipPath.Resolve(player.Folder, player.Path, Application.streamingAssetsPath,
                    Application.persistentDataPath);
                if (!File.Exists(path))
                {
                    if (player.Folder == ClipFolder.StreamingAssets)
                    {
                        EditorGUILayout.HelpBox(path + " does not exist.", MessageType.Warning);
                    }
                }
                else if (!ClipFiles.IsClip(path))
                {
                    EditorGUILayout.HelpBox(path + " is no clip with meshes.", MessageType.Warning);
                }
                else
                {
                    EditorGUILayout.LabelField("File", (new FileInfo(path).Length / BytesPerMegabyte).ToString("F1") + " MB");
                }
            }
            catch (ClipException e)
            {
                EditorGUILayout.HelpBox(e.Message, MessageType.Error);
            }
        }

        private static void DrawFacts(NimbPlayer player)
        {
            if (!player.IsOpen)
            {
                if (player.IsOpening)
                {
                    EditorGUILayout.LabelField("State", "Opening");
                }
                return;
            }
            if (!string.IsNullOrEmpty(player.Limits))
            {
                EditorGUILayout.HelpBox(player.Limits, MessageType.Info);
            }
            ClipInfo info = player.Info;
            EditorGUILayout.LabelField("State", player.IsSeeking ? "On its way to a frame" : player.IsPlaying ? "Playing"
                : player.HasEnded ? "Ended" : "Paused");
            EditorGUILayout.LabelField("Back end", player.ActiveBackend.ToString());
            EditorGUILayout.LabelField("Time", player.Time.ToString("F2") + " of " + info.Duration.ToString("F2") + " s");
            EditorGUILayout.LabelField("Frame", player.Frame + " of " + info.FrameCount + ", " +
                info.FrameRate.ToString("0.###") + " per second");
            EditorGUILayout.LabelField("Picture", info.Width + " x " + info.Height);
            EditorGUILayout.LabelField("Largest mesh", info.MaxVertices + " vertices, " + info.MaxIndices / 3 + " triangles");
            EditorGUILayout.LabelField("Sound", info.HasSound ? "Yes" : "No");
            EditorGUILayout.LabelField("Normals in the file", info.HasNormals ? "Yes" : "No");
            EditorGUILayout.LabelField("Box", info.Bounds.ToString());
        }
    }
}
