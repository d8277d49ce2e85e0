using System.IO;
using UnityEditor;
using UnityEngine;

namespace Nimb.Editor
{
    /// <summary>The component's settings, what is known of its clip, and buttons to drive it in play mode.</summary>
    [CustomEditor(typeof(NimbPlayer))]
    internal sealed class NimbPlayerEditor : UnityEditor.Editor
    {
        private const double TicksToSeconds = 1e-7;

        public override void OnInspectorGUI()
        {
            DrawDefaultInspector();
            var player = (NimbPlayer)target;
            EditorGUILayout.Space();
            if (Application.isPlaying)
            {
                DrawTransport(player);
                DrawFacts(player);
            }
            else
            {
                DrawFile(player);
            }
        }

        public override bool RequiresConstantRepaint()
        {
            return Application.isPlaying && ((NimbPlayer)target).IsPlaying;
        }

        /// <summary>Before playing, all that can be said is whether the clip is there.</summary>
        private static void DrawFile(NimbPlayer player)
        {
            if (string.IsNullOrEmpty(player.Path))
            {
                EditorGUILayout.HelpBox("No clip is named.", MessageType.Info);
                return;
            }
            try
            {
                string path = ClipPath.Resolve(player.Folder, player.Path, Application.streamingAssetsPath,
                    Application.persistentDataPath);
                if (File.Exists(path))
                {
                    EditorGUILayout.LabelField("File", (new FileInfo(path).Length / 1048576.0).ToString("F1") + " MB");
                }
                else if (player.Folder == ClipFolder.StreamingAssets)
                {
                    EditorGUILayout.HelpBox(path + " does not exist.", MessageType.Warning);
                }
            }
            catch (ClipException e)
            {
                EditorGUILayout.HelpBox(e.Message, MessageType.Error);
            }
        }

        private static void DrawTransport(NimbPlayer player)
        {
            EditorGUILayout.BeginHorizontal();
            if (GUILayout.Button("Open"))
            {
                player.Open();
            }
            using (new EditorGUI.DisabledScope(!player.IsOpen))
            {
                if (GUILayout.Button(player.IsPlaying ? "Pause" : "Play"))
                {
                    if (player.IsPlaying)
                    {
                        player.Pause();
                    }
                    else
                    {
                        player.Play();
                    }
                }
                if (GUILayout.Button("Rewind"))
                {
                    player.Rewind();
                }
                if (GUILayout.Button("Close"))
                {
                    player.Close();
                }
            }
            EditorGUILayout.EndHorizontal();
        }

        private static void DrawFacts(NimbPlayer player)
        {
            if (!player.IsOpen)
            {
                EditorGUILayout.LabelField("State", player.IsOpening ? "Being fetched" : "No clip is open");
                return;
            }
            NimbFileInfo file = player.FileInfo;
            NimbFrameInfo frame = player.Frame;
            EditorGUILayout.LabelField("State", player.IsPlaying ? "Playing" : player.HasEnded ? "Ended" : "Paused");
            EditorGUILayout.LabelField("Time", player.Time.ToString("F2") + " of " +
                (file.duration * TicksToSeconds).ToString("F2") + " s");
            EditorGUILayout.LabelField("Frames", file.frameCount.ToString());
            EditorGUILayout.LabelField("Picture", file.textureWidth + " x " + file.textureHeight);
            EditorGUILayout.LabelField("Vertices", frame.vertexCount + " of at most " + file.maxVertexCount);
            EditorGUILayout.LabelField("Indices", frame.indexCount + " of at most " + file.maxIndexCount);
            EditorGUILayout.LabelField("File", file.fileSizeMB.ToString("F1") + " MB, " + file.bitrateMbps.ToString("F1") +
                " Mbit/s");
            EditorGUILayout.LabelField("Sound", file.hasAudio != 0 ? "Yes" : "No");
            EditorGUILayout.LabelField("Normals in the file", file.hasNormals != 0 ? "Yes" : "No");
            EditorGUILayout.LabelField("Box", Corner(file.minX, file.minY, file.minZ) + " to " +
                Corner(file.maxX, file.maxY, file.maxZ));
        }

        private static string Corner(double x, double y, double z)
        {
            return "(" + x.ToString("F2") + ", " + y.ToString("F2") + ", " + z.ToString("F2") + ")";
        }
    }
}
