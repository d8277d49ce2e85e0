// The engine's video player, as far as the package uses it, with the habits of the real ones: what it does takes frames of
// the engine, seeks queue up and end before their picture is there, pictures come late, twice, or not at all.
using System;
using System.Collections.Generic;

namespace UnityEngine.Video
{
    public enum VideoSource { VideoClip, Url }
    public enum VideoRenderMode { CameraFarPlane, CameraNearPlane, RenderTexture, MaterialOverride, APIOnly }
    public enum VideoAudioOutputMode { None, AudioSource, Direct, APIOnly }
    public enum VideoTimeReference { Freerun, InternalTime, ExternalTime }

    public sealed class VideoPlayer : Behaviour
    {
        public delegate void EventHandler(VideoPlayer source);
        public delegate void ErrorEventHandler(VideoPlayer source, string message);

        /// <summary>Of the stand-in: what it does wrong.</summary>
        public sealed class Habits
        {
            public int Latency;  // frames of the engine until something that was asked for is done, at most
            public double LateShare, SkippedShare;  // of the pictures
            public bool IsSilentAboutSameFrame;
            public long SeekError;  // how far beside its target a seek ends
            public bool NeverShowsSeeks;
        }

        public static readonly List<VideoPlayer> All = new List<VideoPlayer>();
        public static readonly Dictionary<string, double[]> Clips = new Dictionary<string, double[]>();  // frames, rate
        public static Habits TheHabits = new Habits();
        public static Random Dice = new Random(1);

        private readonly Queue<long> m_Seeks = new Queue<long>();
        private readonly RenderTexture m_Texture = new RenderTexture(1, 1, 0, 0, 0);
        private long m_Count;
        private double m_Rate, m_Position;
        private long m_Frame = -1;
        private int m_Wait;  // frames of the engine until the next thing happens
        private bool m_IsPreparing, m_IsPrepared, m_IsPlaying, m_IsCompleted, m_HasFirst;

        public VideoPlayer() { All.Add(this); playbackSpeed = 1; }
        protected override void OnDestroyed() { All.Remove(this); }

        public VideoSource source { get; set; }
        public string url { get; set; }
        public VideoRenderMode renderMode { get; set; }
        public VideoAudioOutputMode audioOutputMode { get; set; }
        public VideoTimeReference timeReference { get; set; }
        public double externalReferenceTime { get; set; }
        public bool playOnAwake { get; set; }
        public bool waitForFirstFrame { get; set; }
        public bool skipOnDrop { get; set; }
        public bool isLooping { get; set; }
        public bool isPrepared { get { return m_IsPrepared; } }
        public bool canSetTime { get { return m_IsPrepared; } }
        public float playbackSpeed { get; set; }
        public ushort controlledAudioTrackCount { get; set; }
        public void EnableAudioTrack(ushort trackIndex, bool enabled) { }
        public void SetTargetAudioSource(ushort trackIndex, AudioSource source) { m_Sound = source; }
        public AudioSource GetTargetAudioSource(ushort trackIndex) { return m_Sound; }
        public void SetDirectAudioVolume(ushort trackIndex, float volume) { }
        private AudioSource m_Sound;

        public event EventHandler prepareCompleted;
        public event EventHandler loopPointReached;
        public event EventHandler seekCompleted;
        public event ErrorEventHandler errorReceived;

        public Texture texture { get { return m_Frame >= 0 ? m_Texture : null; } }

        public long frame
        {
            get { return m_Frame; }
            set
            {
                if (value == m_Frame && m_Seeks.Count == 0 && TheHabits.IsSilentAboutSameFrame)
                {
                    return;
                }
                m_Seeks.Enqueue(value);
                m_Wait = m_Seeks.Count == 1 ? Delay() : m_Wait;
            }
        }

        public void Play() { m_IsPlaying = true; Prepare(); }
        public void Pause() { m_IsPlaying = false; Prepare(); }
        public void Stop() { m_IsPlaying = m_IsPrepared = m_IsPreparing = false; m_Frame = -1; }

        private void Prepare()
        {
            if (!m_IsPrepared && !m_IsPreparing)
            {
                m_IsPreparing = true;
                m_Wait = Delay();
            }
        }

        private static int Delay() { return Dice.Next(TheHabits.Latency + 1); }

        /// <summary>Of the stand-in: time goes on.</summary>
        public static void UpdateAll(double seconds)
        {
            foreach (VideoPlayer video in All.ToArray())
            {
                video.Update(seconds);
            }
        }

        private void Update(double seconds)
        {
            if (m_Wait-- > 0)
            {
                return;
            }
            m_Wait = 0;
            if (m_IsPreparing)
            {
                FinishPreparing();
            }
            else if (m_IsPrepared && m_Seeks.Count > 0)
            {
                GoOnSeeking();
            }
            else if (m_IsPrepared && !m_HasFirst)
            {
                m_HasFirst = true;
                Show(0);
            }
            else if (m_IsPrepared && m_IsPlaying)
            {
                GoOnPlaying(seconds);
            }
        }

        private void FinishPreparing()
        {
            m_IsPreparing = false;
            double[] clip;
            if (!Clips.TryGetValue(url, out clip))
            {
                errorReceived(this, "Can't play " + url);
                return;
            }
            m_Count = (long)clip[0];
            m_Rate = clip[1];
            m_IsPrepared = true;
            prepareCompleted(this);
            m_Wait = Delay();
        }

        private void GoOnSeeking()
        {
            if (!m_IsCompleted)
            {
                m_IsCompleted = true;
                seekCompleted(this);  // the picture is still the old one
                m_Wait = Delay();
                return;
            }
            m_IsCompleted = false;
            m_HasFirst = true;
            long target = m_Seeks.Dequeue() + TheHabits.SeekError;
            m_Position = target;
            if (!TheHabits.NeverShowsSeeks)
            {
                Show(target);
            }
            m_Wait = m_Seeks.Count > 0 ? Delay() : 0;
        }

        private void GoOnPlaying(double seconds)
        {
            m_Position += seconds * m_Rate * playbackSpeed;
            if (m_Position >= m_Count)
            {
                m_IsPlaying = isLooping;
                m_Position = isLooping ? m_Position % m_Count : m_Count - 1;
                Show((long)m_Position);
                loopPointReached(this);
                return;
            }
            bool isLate = Dice.NextDouble() < TheHabits.LateShare, isSkipped = Dice.NextDouble() < TheHabits.SkippedShare;
            if (!isLate)
            {
                Show(Math.Min(m_Count - 1, (long)m_Position + (isSkipped ? 1 : 0)));
            }
        }

        private void Show(long frame)
        {
            m_Frame = frame;
            m_Texture.Number = frame;
        }
    }
}
