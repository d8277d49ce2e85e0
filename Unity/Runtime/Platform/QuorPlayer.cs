using System;
using System.IO;
using System.Text;

namespace Nimb
{
    /// <summary>
    /// One native player. Independent of the engine: its user gives it GL objects, issues its render events and calls
    /// <see cref="Update"/> once a frame. Belongs to one thread at a time, whichever that is. Dispose it: it owns four
    /// native threads, and the garbage collector does not end them.
    /// </summary>
    public sealed class QuorPlayer : IDisposable
    {
        public const int VertexSize = 32;

        private int m_Id;
        private bool m_OpenedLoop;
        private bool m_Loop;
        private float m_Speed = 1;
        private float m_Volume = 1;
        private NimbFileInfo m_FileInfo;
        private NimbShownFrame m_Shown = s_Nothing;
        private NimbFrameInfo m_Frame;
        private PlaybackEvents m_EndsToTell;

        private static readonly NimbShownFrame s_Nothing = new NimbShownFrame { frame = -1 };

        /// <exception cref="DllNotFoundException">The native library is not there.</exception>
        public QuorPlayer()
        {
            m_Id = NimbUnityPluginML.CreateQuorObject();
            if (m_Id < 0)
            {
                throw new InvalidOperationException("The native player cannot be initialised.");
            }
        }

        /// <summary>Event id of the render events. -1 after Dispose.</summary>
        public int Id { get { return m_Id; } }

        /// <summary>The function to hand to the engine's plug-in event, with <see cref="Id"/>.</summary>
        public static IntPtr RenderEventFunction { get { return NimbUnityPluginML.GetUnityRenderModeEventFunc(); } }

        public NimbState State { get { return m_Id < 0 ? NimbState.NotFound : NimbUnityPluginML.GetQuorState(m_Id); } }

        public bool IsOpen { get; private set; }

        /// <summary>True between Play and Pause, Rewind, Close or the end of a clip that does not loop.</summary>
        public bool IsPlaying { get { return IsOpen && !HasEnded && State == NimbState.Playing; } }

        /// <summary>The clip ended and was not started again.</summary>
        public bool HasEnded { get; private set; }

        /// <summary>Of the open clip.</summary>
        public NimbFileInfo FileInfo { get { return m_FileInfo; } }

        /// <summary>The last frame shown, which stays until another is: number and time in the clip.</summary>
        public NimbShownFrame Shown { get { return m_Shown; } }

        /// <summary>1 is normal, 0.5 half of it. Above 0. Kept from clip to clip.</summary>
        public float Speed
        {
            get { return m_Speed; }
            set
            {
                if (!(value > 0) || float.IsInfinity(value))
                {
                    throw new ArgumentOutOfRangeException("value", value, "The speed must be above 0.");
                }
                m_Speed = value;
                NimbUnityPluginML.SetClockScale(CheckedId(), value);
            }
        }

        /// <summary>0 is silence, 1 leaves the sound as it is. Kept from clip to clip, with sound or without.</summary>
        public float Volume
        {
            get { return m_Volume; }
            set
            {
                m_Volume = Math.Max(0, value);
                NimbUnityPluginML.SetAudioVolume(CheckedId(), m_Volume);
            }
        }

        /// <summary>Whether smooth normals are computed (the default) instead of those in the file used. Cheapest when set
        /// before the first Open.</summary>
        public void SetComputeNormals(bool computeNormals)
        {
            NimbUnityPluginML.SetComputeNormals(CheckedId(), computeNormals);
        }

        /// <summary>Opens a clip, closing one that is open. Blocks while codecs are set up, for tens of milliseconds: not
        /// for the main thread.</summary>
        /// <param name="path">A file's path, or a "file://" URI.</param>
        /// <param name="loop">Begin again at the end.</param>
        /// <param name="disableAudio">Play without sound.</param>
        /// <exception cref="ClipException">Nothing is open then.</exception>
        public void Open(string path, bool loop, bool disableAudio)
        {
            int id = CheckedId();
            Close();
            if (string.IsNullOrEmpty(path))
            {
                throw new ClipException("No clip is named.");
            }
            if (path.IndexOf("://", StringComparison.Ordinal) < 0 && !File.Exists(path))
            {
                throw new ClipException("The clip '" + path + "' does not exist or cannot be read.");
            }
            var info = new NimbOpenInfo
            {
                disableAudio = disableAudio ? (byte)1 : (byte)0,
                autoLoop = loop ? (byte)1 : (byte)0
            };
            if (!NimbUnityPluginML.OpenQuorObject(id, Encoding.UTF8.GetBytes(path + "\0"), ref info))
            {
                throw new ClipException("The clip '" + path + "' cannot be opened; the lines of the log that begin with [" +
                    id + "] say why.");
            }
            IsOpen = true;
            m_Loop = m_OpenedLoop = loop;
            try
            {
                m_FileInfo = ReadFileInfo(path);
            }
            catch (ClipException)
            {
                Close();
                throw;
            }
            ForgetFormerClip();
            Speed = m_Speed;
            Volume = m_Volume;
        }

        private NimbFileInfo ReadFileInfo(string path)
        {
            var info = new NimbFileInfo();
            bool isComplete = NimbUnityPluginML.GetQuorObjectFileInfo(m_Id, ref info);
            if (!isComplete || info.maxVertexCount == 0 || info.maxIndexCount == 0)
            {
                throw new ClipException("The clip '" + path + "' does not say how large its meshes are: its attribute " +
                    "atom is missing or incomplete. 'nimb remux' writes it anew.");
            }
            if (info.textureWidth == 0 || info.textureHeight == 0)
            {
                throw new ClipException("The clip '" + path + "' has no video track.");
            }
            if (info.maxVertexCount > int.MaxValue / VertexSize || info.maxIndexCount > int.MaxValue / sizeof(uint))
            {
                throw new ClipException("The meshes of the clip '" + path + "' are too large: " + info.maxVertexCount +
                    " vertices, " + info.maxIndexCount + " indices.");
            }
            return info;
        }

        public void Close()
        {
            if (!IsOpen)
            {
                return;
            }
            IsOpen = false;
            HasEnded = false;
            m_FileInfo = new NimbFileInfo();
            m_Shown = s_Nothing;
            NimbUnityPluginML.CloseQuorObject(m_Id);
        }

        /// <summary>Goes on playing, or starts over when the clip has ended. False when nothing is open or it is
        /// playing already.</summary>
        public bool Play()
        {
            if (!IsOpen)
            {
                return false;
            }
            if (HasEnded)
            {
                Rewind();
            }
            return NimbUnityPluginML.PlayQuorObject(m_Id);
        }

        /// <summary>False when it does not play.</summary>
        public bool Pause()
        {
            return IsPlaying && NimbUnityPluginML.PauseQuorObject(m_Id);
        }

        /// <summary>Back to the start, paused. The frame stays until the first one is shown.</summary>
        public void Rewind()
        {
            if (IsOpen)
            {
                NimbUnityPluginML.RewindQuorObject(m_Id);
                ForgetEndOfStream();
            }
        }

        /// <summary>Goes to a frame, counted from 0; see the native header on requests.</summary>
        /// <returns>A ticket above 0; 0 when nothing is open.</returns>
        public long Seek(long frame, NimbSeekOption options)
        {
            return Began(IsOpen ? NimbUnityPluginML.SeekQuorObject(m_Id, frame, options) : 0);
        }

        /// <summary>Goes to the frame that is shown at a time of the clip, in units of 100 nanoseconds.</summary>
        public long SeekToTime(long time, NimbSeekOption options)
        {
            return Began(IsOpen ? NimbUnityPluginML.SeekQuorObjectToTime(m_Id, time, options) : 0);
        }

        public long Step(int frames)
        {
            return Began(IsOpen ? NimbUnityPluginML.StepQuorObject(m_Id, frames) : 0);
        }

        private long Began(long ticket)
        {
            if (ticket != 0)
            {
                ForgetEndOfStream();
            }
            return ticket;
        }

        public bool TakeSeekEnd(ref NimbSeekEnd end)
        {
            return m_Id >= 0 && NimbUnityPluginML.TakeSeekEnd(m_Id, ref end);
        }

        public bool TakeTrouble(ref NimbTrouble trouble)
        {
            return m_Id >= 0 && NimbUnityPluginML.TakeTrouble(m_Id, ref trouble);
        }

        /// <summary>Stays within these frames; the whole clip, which loops as it was opened, when <paramref name="last"/> is
        /// below 0. False when the clip has no index, or no such frames.</summary>
        public bool SetRange(long first, long last, bool loop)
        {
            if (!IsOpen)
            {
                return false;
            }
            NoteEndOfStream();  // an end that has been reached is one of the range before
            if (!NimbUnityPluginML.SetPlayRange(m_Id, first, last, loop))
            {
                return false;
            }
            m_Loop = last < 0 ? m_OpenedLoop : loop;
            return true;
        }

        /// <summary>Hands over what the player fills, as native pointers of the engine (GL names). Vertex records are
        /// <see cref="VertexSize"/> bytes: position, normal, texture coordinates; indices 32 bits.</summary>
        /// <remarks>Takes effect with the next render event. The objects must live until others are handed over, or until
        /// the player is disposed of.</remarks>
        public void SetBuffers(IntPtr texture, int width, int height, IntPtr vertexBuffer, int vertexCapacity,
            IntPtr indexBuffer, int indexCapacity)
        {
            NimbUnityPluginML.SetUnityBuffers(CheckedId(), texture, width, height, vertexBuffer, vertexCapacity, indexBuffer,
                indexCapacity);
        }

        /// <summary>Looks at what the render events did. Once a frame; allocates nothing.</summary>
        public PlaybackEvents Update()
        {
            var events = PlaybackEvents.None;
            if (!IsOpen)
            {
                return events;
            }
            ulong count = m_Shown.count;
            NimbUnityPluginML.GetShownFrame(m_Id, ref m_Shown);
            if (m_Shown.count != count)
            {
                events |= PlaybackEvents.FrameShown;
            }
            NoteEndOfStream();
            events |= m_EndsToTell;
            m_EndsToTell = PlaybackEvents.None;
            return events;
        }

        private void NoteEndOfStream()
        {
            if (TakeEndOfStream())
            {
                HasEnded = !m_Loop;
                m_EndsToTell |= m_Loop ? PlaybackEvents.Looped : PlaybackEvents.Ended;
            }
        }

        private void ForgetEndOfStream()
        {
            TakeEndOfStream();
            HasEnded = false;
            m_EndsToTell = PlaybackEvents.None;
        }

        /// <summary>Ends are told once, and nobody may have asked when the clip before was closed.</summary>
        private void ForgetFormerClip()
        {
            ForgetEndOfStream();
            var end = new NimbSeekEnd();
            while (TakeSeekEnd(ref end))
            {
            }
        }

        private bool TakeEndOfStream()
        {
            NimbUnityPluginML.GetQuorObjectFrameInfo(m_Id, ref m_Frame);
            return m_Frame.endOfStream != 0;
        }

        /// <summary>The player goes by its own pace from then on. Thread of the clock.</summary>
        public void LeaveClock()
        {
            NimbUnityPluginML.LeavePlayerClock(CheckedId());
        }

        private int CheckedId()
        {
            if (m_Id < 0)
            {
                throw new ObjectDisposedException("QuorPlayer");
            }
            return m_Id;
        }

        /// <summary>Issue no more render events. Those under way are waited for; those that come too late do nothing.
        /// </summary>
        public void Dispose()
        {
            if (m_Id >= 0)
            {
                IsOpen = false;
                NimbUnityPluginML.DestroyQuorObject(m_Id);
                m_Id = -1;
            }
        }
    }
}
