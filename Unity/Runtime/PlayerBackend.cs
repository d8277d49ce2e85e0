namespace Nimb
{
    /// <summary>What decodes and shows a clip.</summary>
    public enum PlayerBackend
    {
        /// <summary>Platform where it works, otherwise Portable.</summary>
        Automatic = 0,
        /// <summary>The native player: on the headset, and on Linux with OpenGL ES through EGL.</summary>
        Platform = 1,
        /// <summary>The engine's VideoPlayer for picture and sound, with meshes of the native clip library.</summary>
        Portable = 2
    }
}
