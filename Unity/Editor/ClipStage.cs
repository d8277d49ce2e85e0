using UnityEditor;
using UnityEditorInternal;
using UnityEngine;

namespace Nimb.Editor
{
    /// <summary>
    /// Draws a player's mesh in the inspector's preview area, and keeps a hidden player for clips that belong to none: one at
    /// a time, until something else is selected.
    /// </summary>
    [InitializeOnLoad]
    internal static class ClipStage
    {
        private const float FieldOfView = 30;
        private const float DegreesPerPixel = 0.5f;
        private const float Margin = 1.1f;

        private static PreviewRenderUtility s_Stage;
        private static NimbPlayer s_Player;  // hidden
        private static string s_Path;
        private static long s_Frame;
        private static float s_Angle;

        static ClipStage()
        {
            Selection.selectionChanged += End;
            EditorApplication.playModeStateChanged += change => End();
        }

        /// <summary>The clip of a file, opened for it.</summary>
        public static void DrawClip(string path, Rect area, GUIStyle background)
        {
            if (s_Path != path)
            {
                End();
                Begin(path);
            }
            if (!string.IsNullOrEmpty(s_Player.Problem))
            {
                EditorGUI.DropShadowLabel(area, s_Player.Problem);
                return;
            }
            DrawPlayer(s_Player, area, background);
        }

        /// <summary>The frame that a player shows.</summary>
        public static void DrawPlayer(NimbPlayer player, Rect area, GUIStyle background)
        {
            Event current = Event.current;
            if (current.type == EventType.MouseDrag && area.Contains(current.mousePosition))
            {
                s_Angle += current.delta.x * DegreesPerPixel;
                current.Use();
                return;
            }
            if (current.type != EventType.Repaint)
            {
                return;
            }
            var renderer = player.GetComponent<MeshRenderer>();
            if (player.Mesh == null || renderer.sharedMaterial == null || player.Frame < 0)
            {
                EditorGUI.DropShadowLabel(area, player.IsOpen || player.IsOpening ? "Opening" : "Press Preview to see the clip");
                return;
            }
            if (s_Stage == null)
            {
                s_Stage = new PreviewRenderUtility();
            }
            s_Stage.BeginPreview(area, background);
            Aim(s_Stage.camera, player.Mesh.bounds);
            var properties = new MaterialPropertyBlock();
            renderer.GetPropertyBlock(properties);
            s_Stage.DrawMesh(player.Mesh, Matrix4x4.identity, renderer.sharedMaterial, 0, properties);
            s_Stage.Render(true);
            GUI.DrawTexture(area, s_Stage.EndPreview(), ScaleMode.StretchToFill, false);
        }

        private static void Aim(Camera camera, Bounds bounds)
        {
            float radius = Mathf.Max(bounds.extents.magnitude, 1e-3f);
            float distance = radius * Margin / Mathf.Sin(FieldOfView * 0.5f * Mathf.Deg2Rad);
            Quaternion turn = Quaternion.Euler(10, s_Angle + 180, 0);  // from the front
            camera.fieldOfView = FieldOfView;
            camera.nearClipPlane = (distance - radius) * 0.5f;
            camera.farClipPlane = distance + radius * 2;
            camera.transform.position = bounds.center - turn * Vector3.forward * distance;
            camera.transform.rotation = turn;
        }

        private static void Begin(string path)
        {
            s_Path = path;
            s_Frame = -1;
            GameObject hidden = EditorUtility.CreateGameObjectWithHideFlags("Nimb preview", HideFlags.HideAndDontSave,
                typeof(NimbPlayer));
            hidden.GetComponent<MeshRenderer>().enabled = false;  // or it would stand in the scene
            s_Player = hidden.GetComponent<NimbPlayer>();
            EditorApplication.update += Update;
            s_Player.Open(ClipFolder.Absolute, path);
        }

        public static void End()
        {
            EditorApplication.update -= Update;
            s_Path = null;
            if (s_Player != null)
            {
                s_Player.Close();
                Object.DestroyImmediate(s_Player.gameObject);
                s_Player = null;
            }
            if (s_Stage != null)
            {
                s_Stage.Cleanup();
                s_Stage = null;
            }
        }

        private static void Update()
        {
            if (s_Player != null && s_Player.IsBusy)
            {
                EditorApplication.QueuePlayerLoopUpdate();
            }
            if (s_Player != null && s_Player.Frame != s_Frame)
            {
                s_Frame = s_Player.Frame;
                InternalEditorUtility.RepaintAllViews();
            }
        }
    }
}
