using System.Runtime.InteropServices;

namespace Nimb
{
    /// <summary>What is known of the engine's graphics device.</summary>
    public enum NimbDevice
    {
        /// <summary>Nobody has announced it yet.</summary>
        Unknown = 0,
        /// <summary>Render events may be issued.</summary>
        Ready = 1,
        /// <summary>The render thread has no EGL context: render events would end the process. A later announcement may
        /// find one.</summary>
        NoContext = 2
    }

    /// <summary>What <see cref="NimbUnityPluginML.GetDeviceInfo"/> fills in.</summary>
    [StructLayout(LayoutKind.Explicit, Size = 8)]
    public struct NimbDeviceInfo
    {
        [FieldOffset(0)] public NimbDevice status;
        /// <summary>Counts the contexts that were announced. Another number, another context: the engine's GL objects of
        /// the one before are gone.</summary>
        [FieldOffset(4)] public uint context;
    }
}
