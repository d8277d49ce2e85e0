// The engine's types as far as the package uses them, with what a test needs to drive a component: objects are plain
// objects, meshes and textures have real GL objects behind them, and plug-in events run on the render thread.
using System;
using System.Collections.Generic;
using System.Runtime.InteropServices;

namespace UnityEngine
{
    public class Object
    {
        public string name { get; set; }
        public HideFlags hideFlags { get; set; }
        public bool IsDestroyed { get; private set; }  // of the stand-in
        // What was destroyed passes for null.
        public static bool operator ==(Object a, Object b)
        {
            bool isA = !ReferenceEquals(a, null) && !a.IsDestroyed, isB = !ReferenceEquals(b, null) && !b.IsDestroyed;
            return isA == isB && (!isA || ReferenceEquals(a, b));
        }
        public static bool operator !=(Object a, Object b) { return !(a == b); }
        public override bool Equals(object other) { return ReferenceEquals(this, other); }
        public override int GetHashCode() { return base.GetHashCode(); }
        protected virtual void OnDestroyed() { }
        public static void Destroy(Object target) { DestroyImmediate(target); }
        public static void DestroyImmediate(Object target)
        {
            if (target != null && !target.IsDestroyed)
            {
                target.IsDestroyed = true;
                target.OnDestroyed();
            }
        }
    }

    public class Component : Object
    {
        public GameObject gameObject { get; internal set; }
        public Transform transform { get { return gameObject.transform; } }
        public T GetComponent<T>() { return gameObject.GetComponent<T>(); }
    }
    public class Behaviour : Component
    {
        public bool isActiveAndEnabled { get; set; }  // set by the tests
    }
    public class MonoBehaviour : Behaviour { }
    public partial class Transform : Component
    {
        public Vector3 position { get; set; }
        public void LookAt(Vector3 worldPosition) { }
    }
    public class Renderer : Component
    {
        private MaterialPropertyBlock m_Block;
        public Material sharedMaterial { get; set; }
        public MotionVectorGenerationMode motionVectorGenerationMode { get; set; }
        public bool HasPropertyBlock() { return m_Block != null; }
        public void GetPropertyBlock(MaterialPropertyBlock properties) { properties.CopyFrom(m_Block); }
        public void SetPropertyBlock(MaterialPropertyBlock properties)
        {
            m_Block = properties == null ? null : new MaterialPropertyBlock();
            if (properties != null)
            {
                m_Block.CopyFrom(properties);
            }
        }
    }
    public partial class MeshRenderer : Renderer { }
    public enum MotionVectorGenerationMode { Camera, Object, ForceNoMotion }
    public sealed class AudioSource : Behaviour { public float volume { get; set; } }
    public class MeshFilter : Component { public Mesh sharedMesh { get; set; } }
    public partial class Camera : Behaviour
    {
        public static Camera main { get { return null; } }
        public float nearClipPlane { get; set; }
        public float farClipPlane { get; set; }
    }

    public sealed class GameObject : Object
    {
        private readonly List<Component> m_Components = new List<Component>();
        public Transform transform { get { return GetComponent<Transform>(); } }
        public GameObject(string name, params Type[] components)
        {
            this.name = name;
            Add(typeof(Transform));
            foreach (Type type in components)
            {
                foreach (RequireComponent required in type.GetCustomAttributes(typeof(RequireComponent), true))
                {
                    Array.ForEach(required.Types, Add);
                }
                Add(type);
            }
        }
        public T AddComponent<T>() where T : Component
        {
            Add(typeof(T));
            return (T)m_Components[m_Components.Count - 1];
        }
        protected override void OnDestroyed() { m_Components.ForEach(DestroyImmediate); }
        private void Add(Type type)
        {
            var component = (Component)Activator.CreateInstance(type);
            component.gameObject = this;
            m_Components.Add(component);
        }
        public T GetComponent<T>() { return (T)(object)m_Components.Find(component => component is T && !component.IsDestroyed); }
    }

    public class Shader : Object
    {
        private static readonly List<string> s_Names = new List<string>();
        public static Shader Find(string name) { return new Shader { name = name }; }
        public static int PropertyToID(string name)
        {
            if (!s_Names.Contains(name))
            {
                s_Names.Add(name);
            }
            return s_Names.IndexOf(name);
        }
    }
    public class Material : Object
    {
        private readonly MaterialPropertyBlock m_Values = new MaterialPropertyBlock();
        public Material(Shader shader) { }
        public Material(Material source) { }
        public Texture mainTexture { get; set; }
        public void SetTexture(int nameID, Texture value) { m_Values.SetTexture(nameID, value); }
        public Texture GetTexture(int nameID) { return m_Values.GetTexture(nameID); }
        public void SetFloat(int nameID, float value) { m_Values.SetFloat(nameID, value); }
        public float GetFloat(int nameID) { return m_Values.GetFloat(nameID); }
    }
    public sealed class MaterialPropertyBlock
    {
        private readonly Dictionary<int, object> m_Values = new Dictionary<int, object>();
        public void SetTexture(int nameID, Texture value) { m_Values[nameID] = value; }
        public Texture GetTexture(int nameID) { return m_Values.ContainsKey(nameID) ? (Texture)m_Values[nameID] : null; }
        public void SetFloat(int nameID, float value) { m_Values[nameID] = value; }
        public float GetFloat(int nameID) { return m_Values.ContainsKey(nameID) ? (float)m_Values[nameID] : 0; }
        internal void CopyFrom(MaterialPropertyBlock other)
        {
            m_Values.Clear();
            foreach (KeyValuePair<int, object> pair in other.m_Values)
            {
                m_Values.Add(pair.Key, pair.Value);
            }
        }
    }

    public class Texture : Object
    {
        public virtual int width { get; protected set; }
        public virtual int height { get; protected set; }
        public FilterMode filterMode { get; set; }
        public TextureWrapMode wrapMode { get; set; }
        public int mipmapCount { get { return 1; } }
        public IntPtr Objects;  // of the stand-in
        public long Number = -1;  // of the stand-in: of the video's picture that it holds
        public IntPtr GetNativeTexturePtr() { return new IntPtr(StandIn.ObjectName(Objects, 0)); }
        protected override void OnDestroyed()
        {
            if (Objects != IntPtr.Zero)
            {
                StandIn.DestroyObjects(Objects);
            }
        }
    }
    public sealed class RenderTexture : Texture
    {
        public static RenderTexture active { get; set; }
        public RenderTexture(int width, int height, int depth, RenderTextureFormat format, RenderTextureReadWrite readWrite)
        {
            this.width = width;
            this.height = height;
        }
        public bool useMipMap { get; set; }
        public bool autoGenerateMips { get; set; }
        public bool Create() { Number = -1; m_IsCreated = true; return true; }
        public bool IsCreated() { return m_IsCreated; }
        public void Release() { m_IsCreated = false; }
        public void GenerateMips() { }
        private bool m_IsCreated;
    }
    public static class Graphics
    {
        public static void Blit(Texture source, RenderTexture dest) { Copy(source, dest); }
        public static void Blit(Texture source, RenderTexture dest, Material mat) { Copy(source, dest); }
        public static void Blit(Texture source, RenderTexture dest, Vector2 scale, Vector2 offset) { Copy(source, dest); }
        private static void Copy(Texture source, RenderTexture dest)
        {
            dest.Create();
            // Of a texture that the native player fills, the number is read where it stands.
            dest.Number = source.Objects != IntPtr.Zero ? StandIn.PictureNumber(source.Objects) : source.Number;
        }
    }
    public sealed class Texture2D : Texture
    {
        public Texture2D(int width, int height, TextureFormat textureFormat, bool mipChain, bool linear)
        {
            this.width = width;
            this.height = height;
            Objects = StandIn.CreateObjects(width, height, 0, 0);
        }
        public void Apply(bool updateMipmaps, bool makeNoLongerReadable) { }
    }

    public sealed unsafe class Mesh : Object
    {
        private const int VertexSize = 32;
        private byte[] m_Vertices;  // what scripts have uploaded; native players write into the objects
        private uint[] m_Indices;
        private Rendering.SubMeshDescriptor m_SubMesh;
        public IntPtr Objects;  // of the stand-in
        public Bounds bounds { get; set; }
        public int subMeshCount { get; set; }
        public int vertexCount { get; private set; }
        public Rendering.IndexFormat indexFormat { get; private set; }
        public void MarkDynamic() { }
        public void SetVertexBufferParams(int vertexCount, params Rendering.VertexAttributeDescriptor[] attributes)
        {
            this.vertexCount = vertexCount;
            m_Vertices = new byte[vertexCount * VertexSize];
        }
        public void SetIndexBufferParams(int indexCount, Rendering.IndexFormat format)
        {
            m_Indices = new uint[indexCount];
            indexFormat = format;
        }
        public void SetVertexBufferData<T>(Unity.Collections.NativeArray<T> data, int dataStart, int meshBufferStart, int count,
            int stream, Rendering.MeshUpdateFlags flags) where T : struct
        {
            Marshal.Copy(data.Pointer, m_Vertices, 0, count * VertexSize);
        }
        public void SetIndexBufferData<T>(Unity.Collections.NativeArray<T> data, int dataStart, int meshBufferStart, int count,
            Rendering.MeshUpdateFlags flags) where T : struct
        {
            fixed (uint* to = m_Indices)
            {
                Buffer.MemoryCopy((void*)data.Pointer, to, m_Indices.Length * sizeof(uint), count * sizeof(uint));
            }
        }
        public void SetSubMesh(int index, Rendering.SubMeshDescriptor desc, Rendering.MeshUpdateFlags flags) { m_SubMesh = desc; }
        public uint GetIndexCount(int submesh) { return (uint)m_SubMesh.indexCount; }
        public Rendering.VertexAttributeDescriptor[] GetVertexAttributes() { return null; }
        public void UploadMeshData(bool markNoLongerReadable)
        {
            Objects = StandIn.CreateObjects(0, 0, vertexCount, m_Indices.Length);
        }
        public IntPtr GetNativeVertexBufferPtr(int index) { return new IntPtr(StandIn.ObjectName(Objects, 1)); }
        public IntPtr GetNativeIndexBufferPtr() { return new IntPtr(StandIn.ObjectName(Objects, 2)); }
        /// <summary>Of the stand-in: the number of the test clip's mesh that scripts have uploaded; -1: none, -2: no whole
        /// one.</summary>
        public long Number
        {
            get
            {
                float smallest = float.MaxValue;
                fixed (byte* bytes = m_Vertices)
                {
                    for (int i = 0; i < m_SubMesh.indexCount; ++i)
                    {
                        smallest = Math.Min(smallest, ((float*)(bytes + m_Indices[i] * VertexSize))[0]);
                    }
                    long number = (long)Math.Round(smallest);
                    for (int i = 0; i < m_SubMesh.indexCount; ++i)
                    {
                        var vertex = (float*)(bytes + m_Indices[i] * VertexSize);
                        if (Math.Abs(vertex[0] - number - SheetWidth * vertex[6]) > 0.01)
                        {
                            return -2;
                        }
                    }
                    return m_SubMesh.indexCount == 0 ? -1 : number;
                }
            }
        }
        private const float SheetWidth = 0.2f;
        protected override void OnDestroyed()
        {
            if (Objects != IntPtr.Zero)
            {
                StandIn.DestroyObjects(Objects);
            }
        }
    }

    public struct Vector2
    {
        public float x, y;
        public Vector2(float x, float y) { this.x = x; this.y = y; }
    }
    public partial struct Vector3
    {
        public float x, y, z;
        public Vector3(float x, float y, float z) { this.x = x; this.y = y; this.z = z; }
        public float magnitude { get { return (float)Math.Sqrt(x * x + y * y + z * z); } }
        public static Vector3 back { get { return new Vector3(0, 0, -1); } }
        public static Vector3 operator +(Vector3 a, Vector3 b) { return new Vector3(a.x + b.x, a.y + b.y, a.z + b.z); }
        public static Vector3 operator *(Vector3 a, float d) { return new Vector3(a.x * d, a.y * d, a.z * d); }
    }
    public struct Bounds
    {
        public Bounds(Vector3 center, Vector3 size) : this() { this.center = center; extents = size * 0.5f; }
        public Vector3 center { get; set; }
        public Vector3 extents { get; set; }
    }
    public partial struct Mathf
    {
        public static float Clamp(float value, float min, float max) { return Math.Max(min, Math.Min(max, value)); }
        public static float Clamp01(float value) { return Clamp(value, 0, 1); }
    }

    public static class GL
    {
        public static void IssuePluginEvent(IntPtr callback, int eventID) { StandIn.RunEvent(callback, eventID); }
        public static void InvalidateState() { }
    }
    public static class SystemInfo
    {
        public static Rendering.GraphicsDeviceType graphicsDeviceType { get; set; }
        public static int maxTextureSize { get { return 8192; } }
    }
    public static class Application
    {
        public static bool isPlaying = true;
        public static RuntimePlatform platform = RuntimePlatform.LinuxPlayer;
        public static bool isEditor { get; set; }
        public static string dataPath { get; set; }
        public static string streamingAssetsPath { get; set; }
        public static string persistentDataPath { get; set; }
        public static event Events.UnityAction onBeforeRender;
        public static event Action quitting;
        public static void Render() { if (onBeforeRender != null) onBeforeRender(); }  // of the stand-in
        public static void Quit() { if (quitting != null) quitting(); }
    }
    public static class Time
    {
        private static readonly System.Diagnostics.Stopwatch s_Watch = System.Diagnostics.Stopwatch.StartNew();
        public static float Skipped;  // of the stand-in: for tests that do not wait
        public static float realtimeSinceStartup { get { return (float)s_Watch.Elapsed.TotalSeconds + Skipped; } }
        public static float unscaledDeltaTime { get; set; }
        public static float deltaTime { get; set; }
    }
    public static class Debug
    {
        public static void Log(object message) { Console.WriteLine(message); }
        public static void LogWarning(object message) { Console.WriteLine(message); }
        public static void LogError(object message) { Console.WriteLine(message); }
        public static void LogError(object message, Object context) { Console.WriteLine(message); }
        public static void LogException(Exception exception, Object context) { Console.WriteLine(exception.Message); }
    }
    public static class Resources { public static T[] FindObjectsOfTypeAll<T>() where T : Object { return new T[0]; } }
    public static partial class GUILayout { public static bool Button(string text) { return false; } }

    public enum HideFlags { None = 0, DontSave = 52, HideAndDontSave = 61 }
    public enum RenderTextureFormat { ARGB32 }
    public enum RenderTextureReadWrite { Default, Linear, sRGB }
    public enum FilterMode { Point, Bilinear, Trilinear }
    public enum TextureWrapMode { Repeat, Clamp }
    public enum TextureFormat { RGBA32 = 4 }
    public enum MeshTopology { Triangles }
    public enum RuntimePlatform
    {
        OSXEditor = 0, OSXPlayer = 1, WindowsPlayer = 2, WindowsEditor = 7, IPhonePlayer = 8, Android = 11, LinuxPlayer = 13, LinuxEditor = 16,
        WebGLPlayer = 17
    }

    public sealed class SerializeField : Attribute { }
    public class PropertyAttribute : Attribute { }
    public sealed class TooltipAttribute : PropertyAttribute { public TooltipAttribute(string tooltip) { } }
    public sealed class HeaderAttribute : PropertyAttribute { public HeaderAttribute(string header) { } }
    public sealed class RangeAttribute : PropertyAttribute { public RangeAttribute(float min, float max) { } }
    public sealed class AddComponentMenu : Attribute { public AddComponentMenu(string menuName) { } }
    public sealed class ExecuteAlways : Attribute { }
    public sealed class DefaultExecutionOrder : Attribute { public DefaultExecutionOrder(int order) { } }
    public sealed class DisallowMultipleComponent : Attribute { }
    public sealed class RequireComponent : Attribute
    {
        public readonly Type[] Types;
        public RequireComponent(Type a) { Types = new[] { a }; }
        public RequireComponent(Type a, Type b) { Types = new[] { a, b }; }
    }

    /// <summary>What is behind the declarations: the native library that stands in for the engine.</summary>
    public static class StandIn
    {
        private const string Library = "nimb_unity_stand_in";
        [DllImport(Library, EntryPoint = "StandIn_RunEvent")]
        public static extern void RunEvent(IntPtr function, int eventId);
        [DllImport(Library, EntryPoint = "StandIn_CreateObjects")]
        public static extern IntPtr CreateObjects(int width, int height, int vertexCount, int indexCount);
        [DllImport(Library, EntryPoint = "StandIn_DestroyObjects")]
        public static extern void DestroyObjects(IntPtr objects);
        [DllImport(Library, EntryPoint = "StandIn_ObjectName")]
        public static extern int ObjectName(IntPtr objects, int which);
        [DllImport(Library, EntryPoint = "StandIn_PictureNumber")]
        public static extern int PictureNumber(IntPtr objects);
        [DllImport(Library, EntryPoint = "StandIn_MeshNumber")]
        public static extern int MeshNumber(IntPtr objects);
        [DllImport(Library, EntryPoint = "StandIn_MakeClip")]
        public static extern void MakeClip(string path, int frameCount, int frameRate, int size, int meshColumns, int hasAudio,
            int frameWithoutMesh, int hasStrips);
        [DllImport(Library, EntryPoint = "StandIn_Layout")]
        public static extern IntPtr Layout();
        [DllImport(Library, EntryPoint = "StandIn_Exit")]
        public static extern void Exit(int status);
    }
}

namespace UnityEngine.Serialization
{
    public sealed class FormerlySerializedAsAttribute : Attribute { public FormerlySerializedAsAttribute(string oldName) { } }
}

namespace UnityEngine.Events
{
    public delegate void UnityAction();
    public class UnityEvent<T0>
    {
        private event Action<T0> m_Calls;
        public void AddListener(Action<T0> call) { m_Calls += call; }
        public void Invoke(T0 a) { if (m_Calls != null) m_Calls(a); }
    }
    public class UnityEvent<T0, T1>
    {
        private event Action<T0, T1> m_Calls;
        public void AddListener(Action<T0, T1> call) { m_Calls += call; }
        public void Invoke(T0 a, T1 b) { if (m_Calls != null) m_Calls(a, b); }
    }
}

namespace UnityEngine.Rendering
{
    public enum GraphicsDeviceType { Null = 4, Direct3D11 = 2, OpenGLES3 = 11, OpenGLCore = 17, Vulkan = 21 }
    [Flags]
    public enum MeshUpdateFlags
    {
        Default = 0, DontValidateIndices = 1, DontResetBoneBounds = 2, DontNotifyMeshUsers = 4, DontRecalculateBounds = 8
    }
    public enum VertexAttribute { Position, Normal, Tangent, Color, TexCoord0 }
    public enum VertexAttributeFormat { Float32 }
    public enum IndexFormat { UInt16, UInt32 }
    public struct VertexAttributeDescriptor
    {
        public VertexAttributeDescriptor(VertexAttribute attribute, VertexAttributeFormat format, int dimension) : this() { }
        public VertexAttributeFormat format { get; set; }
        public int dimension { get; set; }
        public int stream { get; set; }
    }
    public struct SubMeshDescriptor
    {
        public SubMeshDescriptor(int indexStart, int indexCount, MeshTopology topology) : this() { this.indexCount = indexCount; }
        public int indexCount { get; set; }
        public int vertexCount { get; set; }
        public Bounds bounds { get; set; }
    }
}

namespace Unity.Collections
{
    public enum Allocator { None = 1, Temp = 2 }
    public struct NativeArray<T> : IDisposable where T : struct
    {
        public NativeArray(int length, Allocator allocator) : this()
        {
            Length = length;
            Pointer = Marshal.AllocHGlobal(length * Marshal.SizeOf(typeof(T)));
        }
        public int Length { get; internal set; }
        public IntPtr Pointer;  // of the stand-in
        public void Dispose() { Marshal.FreeHGlobal(Pointer); }
    }
}

namespace Unity.Collections.LowLevel.Unsafe
{
    public static unsafe class NativeArrayUnsafeUtility
    {
        public static NativeArray<T> ConvertExistingDataToNativeArray<T>(void* dataPointer, int length, Allocator allocator)
            where T : struct
        {
            return new NativeArray<T> { Length = length, Pointer = (IntPtr)dataPointer };
        }
        public static void SetAtomicSafetyHandle<T>(ref NativeArray<T> array, AtomicSafetyHandle safety) where T : struct { }
    }
    public struct AtomicSafetyHandle
    {
        public static AtomicSafetyHandle Create() { return new AtomicSafetyHandle(); }
        public static void Release(AtomicSafetyHandle handle) { }
    }
}

namespace AOT
{
    public sealed class MonoPInvokeCallbackAttribute : Attribute { public MonoPInvokeCallbackAttribute(Type type) { } }
}
