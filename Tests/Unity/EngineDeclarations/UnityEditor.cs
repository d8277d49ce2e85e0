// The editor's types as far as the package uses them; only to compile against.
using System;
using UnityEngine;

namespace UnityEditor
{
    public partial class Editor : ScriptableObject
    {
        public UnityEngine.Object target { get; set; }
        public virtual void OnInspectorGUI() { }
        public virtual bool RequiresConstantRepaint() { return false; }
        public bool DrawDefaultInspector() { return false; }
    }
    public class ScriptableObject : UnityEngine.Object { }
    public sealed class CustomEditor : Attribute { public CustomEditor(Type inspectedType) { } }
    public sealed class InitializeOnLoadAttribute : Attribute { }
    public sealed class MenuItem : Attribute
    {
        public MenuItem(string itemName) { }
        public MenuItem(string itemName, bool isValidateFunction, int priority) { }
    }
    public sealed class MenuCommand { public UnityEngine.Object context; }
    public enum MessageType { None, Info, Warning, Error }
    public static partial class EditorGUILayout
    {
        public static void Space() { }
        public static void LabelField(string label, string label2) { }
        public static void HelpBox(string message, MessageType type) { }
        public static void BeginHorizontal() { }
        public static void EndHorizontal() { }
    }
    public static partial class EditorGUI
    {
        public struct DisabledScope : IDisposable
        {
            public DisabledScope(bool disabled) { }
            public void Dispose() { }
        }
    }
    public class AssetImporter : UnityEngine.Object
    {
        public string assetPath { get; set; }
        public static AssetImporter GetAtPath(string path) { return null; }
        public void SaveAndReimport() { }
    }
    public sealed class PluginImporter : AssetImporter
    {
        public static PluginImporter[] GetAllImporters() { return new PluginImporter[0]; }
        public bool GetCompatibleWithAnyPlatform() { return false; }
        public void SetCompatibleWithAnyPlatform(bool enable) { }
        public bool GetCompatibleWithEditor() { return false; }
        public void SetCompatibleWithEditor(bool enable) { }
        public bool GetCompatibleWithPlatform(string platformName) { return false; }
        public void SetCompatibleWithPlatform(string platformName, bool enable) { }
        public string GetEditorData(string key) { return null; }
        public void SetEditorData(string key, string value) { }
        public string GetPlatformData(string platformName, string key) { return null; }
        public void SetPlatformData(string platformName, string key, string value) { }
    }
    public static partial class AssetDatabase { public static void ImportAsset(string path) { } }
    public static partial class EditorUtility
    {
        public static bool DisplayDialog(string title, string message, string ok) { return false; }
        public static bool DisplayDialog(string title, string message, string ok, string cancel) { return false; }
        public static string OpenFolderPanel(string title, string folder, string defaultName) { return null; }
    }
    public static class GameObjectUtility { public static void SetParentAndAlign(GameObject child, GameObject parent) { } }
    public static class Undo { public static void RegisterCreatedObjectUndo(UnityEngine.Object target, string name) { } }
    public static partial class Selection { public static UnityEngine.Object activeObject { get; set; } }
    public static class AssemblyReloadEvents
    {
        public delegate void AssemblyReloadCallback();
        public static event AssemblyReloadCallback beforeAssemblyReload { add { } remove { } }
    }
    public enum BuildTarget
    {
        StandaloneOSX = 2, StandaloneWindows = 5, iOS = 9, Android = 13, StandaloneWindows64 = 19, WebGL = 20, StandaloneLinux64 = 24
    }
    public enum AndroidArchitecture : uint { None = 0, ARMv7 = 1, ARM64 = 2 }
    public static class PlayerSettings
    {
        public static UnityEngine.Rendering.GraphicsDeviceType[] GetGraphicsAPIs(BuildTarget platform) { return null; }
        public static class Android { public static AndroidArchitecture targetArchitectures { get; set; } }
    }
}

namespace UnityEditor.Build
{
    public interface IOrderedCallback { int callbackOrder { get; } }
    public interface IPreprocessBuildWithReport : IOrderedCallback { void OnPreprocessBuild(Reporting.BuildReport report); }
}

namespace UnityEditor.Build.Reporting
{
    public struct BuildSummary { public BuildTarget platform { get { return BuildTarget.Android; } } }
    public sealed class BuildReport : UnityEngine.Object { public BuildSummary summary { get { return new BuildSummary(); } } }
}

namespace NUnit.Framework
{
    public sealed class TestAttribute : Attribute { }
    public static class Assert
    {
        public static void AreEqual(object expected, object actual) { }
        public static void AreNotEqual(object expected, object actual) { }
    }
    public static class CollectionAssert { public static void IsEmpty(System.Collections.IEnumerable collection) { } }
}
