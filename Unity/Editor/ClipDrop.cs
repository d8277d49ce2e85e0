using System.IO;
using UnityEditor;
using UnityEngine;

namespace Nimb.Editor
{
    /// <summary>
    /// A clip that is dropped onto the scene or the hierarchy becomes a player; one that is dropped onto a player becomes
    /// its clip. Other videos are left to the editor.
    /// </summary>
    [InitializeOnLoad]
    internal static class ClipDrop
    {
        private const int ChoiceCopy = 0, ChoiceCancel = 1;

        private static string s_Path;  // that was looked at last: a drag asks at every move
        private static bool s_IsClip;

        // The editor asks for another kind of handler from 2021.2 on, and for object ids of another type from 6000.3 on.
        static ClipDrop()
        {
#if UNITY_6000_3_OR_NEWER
            DragAndDrop.AddDropHandler(OnSceneDrop);
            DragAndDrop.AddDropHandlerV2(OnHierarchyDrop);
#elif UNITY_2021_2_OR_NEWER
            DragAndDrop.AddDropHandler(OnSceneDrop);
            DragAndDrop.AddDropHandler(OnHierarchyDrop);
#else
            SceneView.duringSceneGui += OnSceneGui;
#endif
        }

#if UNITY_2021_2_OR_NEWER
        private static DragAndDropVisualMode OnSceneDrop(Object dropUpon, Vector3 worldPosition, Vector2 viewportPosition,
            Transform parentForDraggedObjects, bool perform)
        {
            return Drop(dropUpon as GameObject, worldPosition, parentForDraggedObjects, perform);
        }

#if UNITY_6000_3_OR_NEWER
        private static DragAndDropVisualMode OnHierarchyDrop(EntityId dropTarget, HierarchyDropFlags dropMode,
            Transform parentForDraggedObjects, bool perform)
        {
            return OnHierarchyDrop(EditorUtility.EntityIdToObject(dropTarget), dropMode, parentForDraggedObjects, perform);
        }
#else
        private static DragAndDropVisualMode OnHierarchyDrop(int dropTarget, HierarchyDropFlags dropMode,
            Transform parentForDraggedObjects, bool perform)
        {
            return OnHierarchyDrop(EditorUtility.InstanceIDToObject(dropTarget), dropMode, parentForDraggedObjects, perform);
        }
#endif

        private static DragAndDropVisualMode OnHierarchyDrop(Object target, HierarchyDropFlags mode, Transform parent,
            bool perform)
        {
            GameObject upon = (mode & HierarchyDropFlags.DropUpon) != 0 ? target as GameObject : null;
            if (upon != null && upon.GetComponent<NimbPlayer>() == null)
            {
                parent = upon.transform;
            }
            return Drop(upon, Vector3.zero, parent, perform);
        }
#else
        private static void OnSceneGui(SceneView view)
        {
            Event current = Event.current;
            if (current.type != EventType.DragUpdated && current.type != EventType.DragPerform)
            {
                return;
            }
            bool perform = current.type == EventType.DragPerform;
            GameObject upon = HandleUtility.PickGameObject(current.mousePosition, false);
            DragAndDropVisualMode mode = Drop(upon, PlaceOnGround(current.mousePosition), null, perform);
            if (mode == DragAndDropVisualMode.None)
            {
                return;
            }
            DragAndDrop.visualMode = mode;
            if (perform)
            {
                DragAndDrop.AcceptDrag();
            }
            current.Use();
        }

        /// <summary>Below the mouse, at height 0; the origin where the view does not meet it.</summary>
        private static Vector3 PlaceOnGround(Vector2 mouse)
        {
            Ray ray = HandleUtility.GUIPointToWorldRay(mouse);
            float distance = ray.direction.y < 0 ? -ray.origin.y / ray.direction.y : -1;
            return distance > 0 ? ray.GetPoint(distance) : Vector3.zero;
        }
#endif

        private static DragAndDropVisualMode Drop(GameObject upon, Vector3 position, Transform parent, bool perform)
        {
            string[] paths = DragAndDrop.paths;
            if (paths == null || paths.Length != 1 || !IsClip(paths[0]))
            {
                return DragAndDropVisualMode.None;
            }
            if (perform)
            {
                string path = paths[0];
                // A dialog would hold up the drag.
                EditorApplication.delayCall += () => Place(path, upon, position, parent);
            }
            return DragAndDropVisualMode.Copy;
        }

        private static bool IsClip(string path)
        {
            if (path != s_Path)
            {
                s_Path = path;
                s_IsClip = ClipFiles.IsClip(path);
            }
            return s_IsClip;
        }

        private static void Place(string path, GameObject upon, Vector3 position, Transform parent)
        {
            ClipFolder folder;
            string name;
            if (!Locate(path, out folder, out name))
            {
                return;
            }
            NimbPlayer player = upon != null ? upon.GetComponent<NimbPlayer>() : null;
            if (player == null)
            {
                player = CreateMenu.Create(Path.GetFileNameWithoutExtension(path), parent != null ? parent.gameObject : null);
                if (parent == null)
                {
                    player.transform.position = position;
                }
            }
            var settings = new SerializedObject(player);
            settings.FindProperty("m_Folder").intValue = (int)folder;
            settings.FindProperty("m_Path").stringValue = name;
            settings.ApplyModifiedProperties();  // can be undone
        }

        /// <summary>Where a player finds the clip, after asking whether to copy it to where a build finds it.</summary>
        private static bool Locate(string path, out ClipFolder folder, out string name)
        {
            folder = ClipFolder.StreamingAssets;
            name = ClipFiles.Below(Application.streamingAssetsPath, path);
            if (name != null)
            {
                return true;
            }
            int choice = EditorUtility.DisplayDialogComplex("Nimb", "Builds bring along what is in StreamingAssets, and '" +
                Path.GetFileName(path) + "' is elsewhere.", "Copy it there", "Cancel", "Use it where it is");
            if (choice == ChoiceCancel)
            {
                return false;
            }
            if (choice != ChoiceCopy)
            {
                folder = ClipFolder.Absolute;
                name = Path.GetFullPath(path).Replace('\\', '/');
                return true;
            }
            try
            {
                name = ClipFiles.CopyInto(Application.streamingAssetsPath, path);
            }
            catch (IOException e)
            {
                EditorUtility.DisplayDialog("Nimb", "The clip cannot be copied: " + e.Message, "OK");
                return false;
            }
            AssetDatabase.Refresh();
            return true;
        }
    }
}
