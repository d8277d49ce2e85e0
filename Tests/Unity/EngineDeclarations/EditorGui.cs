// The editor's windows, events and previews as far as the package uses them; only to compile against. What differs between
// versions of the engine is all here, for the scripts are compiled for each.
using System;
using UnityEngine;

namespace UnityEngine
{
    public partial class Transform
    {
        public Quaternion rotation { get; set; }
        public void Rotate(float xAngle, float yAngle, float zAngle) { }
    }
    public sealed class TextAsset : Object { public byte[] bytes { get { return null; } } }
    public partial class MeshRenderer { public bool enabled { get; set; } }
    public partial class Camera { public float fieldOfView { get; set; } }
    public partial struct Vector3
    {
        public static Vector3 zero { get { return new Vector3(); } }
        public static Vector3 forward { get { return new Vector3(0, 0, 1); } }
        public static Vector3 operator -(Vector3 a, Vector3 b) { return a; }
    }
    public partial struct Mathf
    {
        public const float Deg2Rad = 0.01745329f;
        public static float Max(float a, float b) { return Math.Max(a, b); }
        public static float Sin(float f) { return (float)Math.Sin(f); }
    }
    public struct Quaternion
    {
        public static Quaternion Euler(float x, float y, float z) { return new Quaternion(); }
        public static Vector3 operator *(Quaternion rotation, Vector3 point) { return point; }
    }
    public struct Matrix4x4 { public static Matrix4x4 identity { get { return new Matrix4x4(); } } }
    public struct Rect { public bool Contains(Vector2 point) { return false; } }
    public struct Ray
    {
        public Vector3 origin { get; set; }
        public Vector3 direction { get; set; }
        public Vector3 GetPoint(float distance) { return origin; }
    }
    public struct EntityId { }
    public sealed class HideInInspector : Attribute { }

    public enum EventType { MouseDrag = 3, Repaint = 7, DragUpdated = 9, DragPerform = 10 }
    public sealed class Event
    {
        public static Event current { get { return new Event(); } }
        public EventType type { get; set; }
        public Vector2 mousePosition { get; set; }
        public Vector2 delta { get; set; }
        public void Use() { }
    }
    public sealed class GUIStyle { public static implicit operator GUIStyle(string name) { return new GUIStyle(); } }
    public sealed class GUIContent
    {
        public GUIContent(string text) { }
        public GUIContent(string text, string tooltip) { }
    }
    public enum ScaleMode { StretchToFill }
    public static class GUI { public static void DrawTexture(Rect position, Texture image, ScaleMode mode, bool alphaBlend) { } }
    public sealed class GUILayoutOption { }
    public static partial class GUILayout
    {
        public static bool Button(string text, params GUILayoutOption[] options) { return false; }
        public static bool Toggle(bool value, GUIContent content, GUIStyle style, params GUILayoutOption[] options) { return value; }
        public static GUILayoutOption Width(float width) { return null; }
    }
}

namespace UnityEngine.SceneManagement
{
    public struct Scene { }
}

namespace UnityEditor
{
    public sealed class CanEditMultipleObjects : Attribute { }
    public partial class Editor
    {
        public UnityEngine.Object[] targets { get { return new UnityEngine.Object[0]; } }
        public SerializedObject serializedObject { get { return null; } }
    }
    public sealed class SerializedObject
    {
        public SerializedObject(UnityEngine.Object obj) { }
        public void Update() { }
        public bool ApplyModifiedProperties() { return false; }
        public SerializedProperty GetIterator() { return null; }
        public SerializedProperty FindProperty(string propertyPath) { return null; }
    }
    public sealed class SerializedProperty
    {
        public string name { get { return ""; } }
        public int intValue { get; set; }
        public string stringValue { get; set; }
        public bool NextVisible(bool enterChildren) { return false; }
    }
    public static partial class EditorGUILayout
    {
        public static bool Foldout(bool foldout, string content, bool toggleOnLabelClick) { return foldout; }
        public static bool PropertyField(SerializedProperty property, bool includeChildren, params GUILayoutOption[] options) { return false; }
        public static int IntSlider(int value, int leftValue, int rightValue, params GUILayoutOption[] options) { return value; }
    }
    public static partial class EditorGUI
    {
        public static void BeginChangeCheck() { }
        public static bool EndChangeCheck() { return false; }
        public static void DropShadowLabel(Rect position, string text) { }
    }
    public static partial class EditorUtility
    {
        public static bool IsPersistent(UnityEngine.Object target) { return false; }
        public static int DisplayDialogComplex(string title, string message, string ok, string cancel, string alt) { return 1; }
        public static GameObject CreateGameObjectWithHideFlags(string name, HideFlags flags, params Type[] components) { return null; }
        public static UnityEngine.Object InstanceIDToObject(int instanceID) { return null; }
        public static UnityEngine.Object EntityIdToObject(EntityId entityId) { return null; }
    }
    public static partial class AssetDatabase
    {
        public static void Refresh() { }
        public static string GetAssetPath(UnityEngine.Object assetObject) { return null; }
    }
    public static partial class Selection { public static Action selectionChanged; }
    public sealed class DefaultAsset : UnityEngine.Object { }

    public enum PauseState { Paused, Unpaused }
    public enum PlayModeStateChange { EnteredEditMode, ExitingEditMode, EnteredPlayMode, ExitingPlayMode }
    public static class EditorApplication
    {
        public delegate void CallbackFunction();
        public static CallbackFunction update;
        public static CallbackFunction delayCall;
        public static event Action<PauseState> pauseStateChanged { add { } remove { } }
        public static event Action<PlayModeStateChange> playModeStateChanged { add { } remove { } }
        public static double timeSinceStartup { get; set; }
        public static int Queued;  // of the stand-in
        public static void QueuePlayerLoopUpdate() { ++Queued; }
    }

    public sealed class SceneView
    {
        public static event Action<SceneView> duringSceneGui { add { } remove { } }
        public static void RepaintAll() { }
    }
    public static class HandleUtility
    {
        public static GameObject PickGameObject(Vector2 position, bool selectPrefabRoot) { return null; }
        public static Ray GUIPointToWorldRay(Vector2 position) { return new Ray(); }
    }

    public enum DragAndDropVisualMode { None = 0, Copy = 1 }
    [Flags]
    public enum HierarchyDropFlags { None = 0, DropUpon = 1, DropBetween = 2 }
    public static class DragAndDrop
    {
        public delegate DragAndDropVisualMode SceneDropHandler(UnityEngine.Object dropUpon, Vector3 worldPosition,
            Vector2 viewportPosition, Transform parentForDraggedObjects, bool perform);
        public delegate DragAndDropVisualMode HierarchyDropHandler(int dropTargetInstanceID, HierarchyDropFlags dropMode,
            Transform parentForDraggedObjects, bool perform);
        public delegate DragAndDropVisualMode HierarchyDropHandlerV2(EntityId dropTargetEntityId, HierarchyDropFlags dropMode,
            Transform parentForDraggedObjects, bool perform);
        public static string[] paths { get; set; }
        public static DragAndDropVisualMode visualMode { get; set; }
        public static void AcceptDrag() { }
        public static void AddDropHandler(SceneDropHandler handler) { }
        public static void AddDropHandler(HierarchyDropHandler handler) { }
        public static void AddDropHandlerV2(HierarchyDropHandlerV2 handler) { }
    }

    public sealed class CustomPreviewAttribute : Attribute { public CustomPreviewAttribute(Type type) { } }
    public class ObjectPreview
    {
        public virtual UnityEngine.Object target { get { return null; } }
        public virtual void Initialize(UnityEngine.Object[] targets) { }
        public virtual bool HasPreviewGUI() { return false; }
        public virtual GUIContent GetPreviewTitle() { return null; }
        public virtual void OnPreviewGUI(Rect r, GUIStyle background) { }
    }
    public sealed class PreviewRenderUtility
    {
        public Camera camera { get { return null; } }
        public void BeginPreview(Rect r, GUIStyle previewBackground) { }
        public void DrawMesh(Mesh mesh, Matrix4x4 m, Material mat, int subMeshIndex, MaterialPropertyBlock customProperties) { }
        public void Render(bool allowScriptableRenderPipeline = false, bool updatefov = true) { }
        public Texture EndPreview() { return null; }
        public void Cleanup() { }
    }
}

namespace UnityEditorInternal
{
    public sealed class InternalEditorUtility { public static void RepaintAllViews() { } }
}

namespace UnityEditor.SceneManagement
{
    public sealed class EditorSceneManager
    {
        public delegate void SceneSavingCallback(UnityEngine.SceneManagement.Scene scene, string path);
        public static event SceneSavingCallback sceneSaving;
        public static void Save() { sceneSaving(new UnityEngine.SceneManagement.Scene(), ""); }  // of the stand-in
    }
    public sealed class PrefabStage { public static event Action<GameObject> prefabSaving { add { } remove { } } }
}

namespace UnityEditor.Experimental.SceneManagement
{
    public sealed class PrefabStage { public static event Action<GameObject> prefabSaving { add { } remove { } } }
}
