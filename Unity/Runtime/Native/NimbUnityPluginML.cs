using System;
using System.Runtime.InteropServices;

namespace Nimb
{
    /// <summary>
    /// The exported functions of libNimbUnityPluginML.so, one for one and in the order of its header, which says what
    /// each of them does. Players are addressed by id. All but the render events belong to one thread at a time for each
    /// player; booleans are one byte wide. Most projects want <see cref="QuorPlayer"/> or the NimbPlayer component instead.
    /// </summary>
    public static class NimbUnityPluginML
    {
        public const string Library = "NimbUnityPluginML";

        // ---- Players (script thread) ----

        [DllImport(Library)]
        public static extern int CreateQuorObject();

        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool DestroyQuorObject(int id);

        /// <param name="id">The player's.</param>
        /// <param name="path">UTF-8 with a terminating zero.</param>
        /// <param name="info">Copied whole.</param>
        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool OpenQuorObject(int id, byte[] path, ref NimbOpenInfo info);

        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool CloseQuorObject(int id);

        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool PlayQuorObject(int id);

        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool PauseQuorObject(int id);

        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool RewindQuorObject(int id);

        [DllImport(Library)]
        public static extern void SetClockScale(int id, float scale);

        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool SetAudioVolume(int id, float volume);

        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool GetQuorObjectFrameInfo(int id, ref NimbFrameInfo info);

        /// <remarks>Does not clear the record: hand over a cleared one.</remarks>
        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool GetQuorObjectFileInfo(int id, ref NimbFileInfo info);

        [DllImport(Library)]
        public static extern NimbState GetQuorState(int id);

        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool SetComputeNormals(int id, [MarshalAs(UnmanagedType.U1)] bool computeNormals);

        // ---- Additions: going to frames. A library may lack them: then a call throws EntryPointNotFoundException. ----

        /// <returns>Which of the additions there are.</returns>
        [DllImport(Library)]
        public static extern NimbFeature getPlayerFeatures();

        /// <returns>A ticket above 0; 0 when no file is open.</returns>
        [DllImport(Library)]
        public static extern long SeekQuorObject(int id, long frame, NimbSeekOption options);

        /// <param name="id">The player's.</param>
        /// <param name="time">Of the file, units of 100 nanoseconds.</param>
        /// <param name="options">Added up.</param>
        /// <returns>A ticket above 0; 0 when no file is open.</returns>
        [DllImport(Library)]
        public static extern long SeekQuorObjectToTime(int id, long time, NimbSeekOption options);

        /// <returns>A ticket above 0; 0 when no file is open.</returns>
        [DllImport(Library)]
        public static extern long StepQuorObject(int id, int frames);

        /// <returns>False when no ticket has ended that was not taken yet.</returns>
        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool TakeSeekEnd(int id, ref NimbSeekEnd end);

        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool SetPlayRange(int id, long first, long last,
            [MarshalAs(UnmanagedType.U1)] bool loop);

        // ---- Additions: one clock for several players ----

        /// <returns>The clock's id; -1 when it cannot be made.</returns>
        [DllImport(Library)]
        public static extern int CreatePlayerClock();

        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool DestroyPlayerClock(int clock);

        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool JoinPlayerClock(int clock, int id);

        /// <returns>False when the player has no clock.</returns>
        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool LeavePlayerClock(int id);

        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool PlayPlayerClock(int clock);

        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool PausePlayerClock(int clock);

        /// <param name="clock">The clock's.</param>
        /// <param name="time">Of the files, units of 100 nanoseconds.</param>
        /// <param name="options">Added up.</param>
        /// <returns>How many players go there; each has a ticket of its own.</returns>
        [DllImport(Library)]
        public static extern int SeekPlayerClock(int clock, long time, NimbSeekOption options);

        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool SetPlayerClockSpeed(int clock, float speed);

        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool GetPlayerClockInfo(int clock, ref NimbClockInfo info);

        // ---- Additions: what is shown, what goes wrong, and the graphics device (any thread) ----

        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool GetShownFrame(int id, ref NimbShownFrame shown);

        /// <returns>False when there is none that was not taken yet.</returns>
        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool TakeTrouble(int id, ref NimbTrouble trouble);

        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool GetDeviceInfo(ref NimbDeviceInfo info);

        // ---- Texts ----

        /// <returns>A text that lives as long as the library.</returns>
        [DllImport(Library)]
        public static extern IntPtr getPlatformABI();

        // Accepted for older callers; they do nothing and return true.

        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool SetQuorObjectAudio3DPosition(int id, float x, float y, float z);

        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool SetUseGPU(int id, [MarshalAs(UnmanagedType.U1)] bool useGPU);

        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool TestUnityBuffersValid(int id);

        [DllImport(Library)]
        [return: MarshalAs(UnmanagedType.U1)]
        public static extern bool ReleaseUnityBuffers(int id);

        // ---- Rendering ----

        /// <remarks>Native pointers of the engine (GL names); buffer sizes in vertices and in indices.</remarks>
        [DllImport(Library)]
        public static extern int SetUnityBuffers(int id, IntPtr texture, int width, int height, IntPtr vertexBuffer,
            int vertexBufferSize, IntPtr indexBuffer, int indexBufferSize);

        /// <returns>The event to issue each frame, with the player's id as event id.</returns>
        [DllImport(Library)]
        public static extern IntPtr GetUnityRenderModeEventFunc();

        /// <remarks>Render thread.</remarks>
        [DllImport(Library)]
        public static extern void OnUnityRenderModeEvent(int eventId);

        /// <returns>The event that announces the graphics device, with the engine's number for its kind as event
        /// id.</returns>
        [DllImport(Library)]
        public static extern IntPtr GetDeviceEventFunc();

        /// <returns>An event that only logs.</returns>
        [DllImport(Library)]
        public static extern IntPtr GetRenderEventFunc();

        /// <remarks>Render thread.</remarks>
        [DllImport(Library)]
        public static extern void UnityRenderEvent(int eventId);

        // ---- Called by the engine itself ----

        [DllImport(Library)]
        public static extern void UnityPluginLoad(IntPtr unityInterfaces);

        /// <remarks>Render thread, before the first render event.</remarks>
        [DllImport(Library)]
        public static extern void UnitySetGraphicsDevice(IntPtr device, int deviceType, int eventType);
    }
}
