using System;
using UnityEngine;
using UnityEngine.Video;
using Object = UnityEngine.Object;

namespace Nimb
{
    /// <summary>
    /// The pictures and the sound of a clip by the engine's VideoPlayer, and exact seeking over it. The engine's own seeks
    /// queue up, end before their picture is there, and stay silent where nothing changes: so one is under way at a time,
    /// the newest target waits for it, and a seek has arrived when the player names its frame.
    /// </summary>
    internal sealed class VideoPictures : IDisposable
    {
        private const float PrepareSeconds = 30;
        private const float SeekSeconds = 4;
        // How long the picture beside the target stays before it is taken for what the platform's decoder makes of it.
        private const float SettleSeconds = 0.5f;
        // How long to wait for word of a seek to what is there already.
        private const float SilentSeconds = 1;

        private readonly VideoPlayer m_Video;
        private readonly float m_Began;
        private string m_Problem;
        private bool m_IsPrepared;
        private bool m_HasLooped;
        private bool m_IsWantedToPlay;

        private long m_Target = -1;  // of the newest seek that has not arrived; -1 without one
        private bool m_IsUnderWay;  // the engine was told of m_Sent
        private bool m_IsCompleted;  // and says that it is done
        private long m_Sent;
        private float m_SentAt;
        private float m_CompletedAt;

        /// <param name="location">A path or an address.</param>
        /// <param name="sound">Null: without an AudioSource.</param>
        /// <param name="isSilent">Without any sound.</param>
        public VideoPictures(string location, AudioSource sound, bool isSilent)
        {
            m_Began = Time.realtimeSinceStartup;
            // On an object of its own, which nobody sees: on one that is inactive it would do nothing, and say nothing.
            var host = new GameObject("Nimb video", typeof(VideoPlayer)) { hideFlags = HideFlags.HideAndDontSave };
            m_Video = host.GetComponent<VideoPlayer>();
            m_Video.playOnAwake = false;
            m_Video.waitForFirstFrame = true;
            m_Video.skipOnDrop = true;
            m_Video.renderMode = VideoRenderMode.APIOnly;
            // By address: a clip that the engine imports may be encoded anew, which loses the meshes.
            m_Video.source = VideoSource.Url;
            m_Video.url = location;
            if (isSilent)
            {
                m_Video.audioOutputMode = VideoAudioOutputMode.None;
            }
            else
            {
                m_Video.audioOutputMode = sound != null ? VideoAudioOutputMode.AudioSource : VideoAudioOutputMode.Direct;
                m_Video.controlledAudioTrackCount = 1;
                m_Video.EnableAudioTrack(0, true);
                if (sound != null)
                {
                    m_Video.SetTargetAudioSource(0, sound);
                }
            }
            m_Video.prepareCompleted += OnPrepared;
            m_Video.errorReceived += OnError;
            m_Video.seekCompleted += OnSeekCompleted;
            m_Video.loopPointReached += OnLoopPoint;
            // Unlike Prepare, it leads to the first picture as a still.
            m_Video.Pause();
        }

        /// <summary>Why it cannot go on; null as long as it can.</summary>
        public string Problem
        {
            get
            {
                if (m_Problem == null && !m_IsPrepared && Time.realtimeSinceStartup - m_Began > PrepareSeconds)
                {
                    m_Problem = "the engine's video player was not ready after " + PrepareSeconds + " s";
                }
                return m_Problem;
            }
        }

        public bool IsPrepared { get { return m_IsPrepared; } }
        public bool CanSeek { get { return m_IsPrepared && m_Video.canSetTime; } }

        /// <summary>The frame whose picture <see cref="Texture"/> holds; -1 before the first. Changes within a frame of the
        /// engine.</summary>
        public long Frame { get { return m_Video.frame; } }

        /// <summary>The engine's, which may be another one each time.</summary>
        public Texture Texture { get { return m_Video.texture; } }

        /// <summary>Plays, or will when a seek has arrived.</summary>
        public bool IsPlaying { get { return m_IsWantedToPlay; } }

        public bool IsSeeking { get { return m_Target >= 0; } }

        /// <summary>Of the newest seek; -1 when all have arrived.</summary>
        public long Target { get { return m_Target; } }

        public bool Loops { set { m_Video.isLooping = value; } }
        public float Speed { set { m_Video.playbackSpeed = value; } }

        public float Volume
        {
            set
            {
                if (m_Video.audioOutputMode == VideoAudioOutputMode.Direct)
                {
                    m_Video.SetDirectAudioVolume(0, value);
                }
                else if (m_Video.audioOutputMode == VideoAudioOutputMode.AudioSource)
                {
                    AudioSource sound = m_Video.GetTargetAudioSource(0);
                    if (sound != null)
                    {
                        sound.volume = value;
                    }
                }
            }
        }

        /// <summary>The time that the engine keeps to, in seconds of the clip; NaN: its own.</summary>
        public double ReferenceTime
        {
            set
            {
                bool isExternal = !double.IsNaN(value);
                m_Video.timeReference = isExternal ? VideoTimeReference.ExternalTime : VideoTimeReference.Freerun;
                if (isExternal)
                {
                    m_Video.externalReferenceTime = value / m_Video.playbackSpeed;
                }
            }
        }

        public void Play()
        {
            m_IsWantedToPlay = true;
            if (!IsSeeking)
            {
                m_Video.Play();
            }
        }

        public void Pause()
        {
            m_IsWantedToPlay = false;
            m_Video.Pause();
        }

        /// <summary>Goes to a frame and stands there until <see cref="Arrive"/>.</summary>
        public void Seek(long frame)
        {
            m_Target = frame;
            m_Video.Pause();
            Update();
        }

        /// <summary>The frame of the seek is shown: playback goes on from there.</summary>
        public void Arrive()
        {
            m_Target = -1;
            m_IsUnderWay = false;
            if (m_IsWantedToPlay)
            {
                m_Video.Play();
            }
        }

        /// <summary>Whether the picture that is there is the one that the seek was for, or all that it will come to.
        /// </summary>
        public bool HasArrived(out bool isExact)
        {
            long frame = Frame;
            isExact = frame == m_Target;
            if (!m_IsUnderWay || m_Sent != m_Target)
            {
                return isExact && !m_IsUnderWay;
            }
            float now = Time.realtimeSinceStartup;
            bool isBeside = frame >= 0 && Math.Abs(frame - m_Target) == 1;
            return isExact ? m_IsCompleted || now - m_SentAt > SilentSeconds
                : m_IsCompleted && isBeside && now - m_CompletedAt > SettleSeconds;
        }

        /// <summary>Once a frame. Sends the newest target when the engine is free for it.</summary>
        /// <returns>False when a seek has not arrived in its time: it is over, and playback goes on where it is.</returns>
        public bool Update()
        {
            if (!IsSeeking)
            {
                return true;
            }
            float now = Time.realtimeSinceStartup;
            if (m_IsUnderWay && now - m_SentAt > SeekSeconds)
            {
                Arrive();
                return false;
            }
            bool isFree = !m_IsUnderWay || m_IsCompleted && m_Sent != m_Target;
            // What is there already needs no seek, and would perhaps get no answer.
            if (isFree && m_IsPrepared && (m_IsUnderWay || Frame != m_Target))
            {
                m_IsUnderWay = true;
                m_IsCompleted = false;
                m_Sent = m_Target;
                m_SentAt = now;
                m_Video.frame = m_Target;
            }
            return true;
        }

        /// <summary>Whether the end was reached since it was last asked.</summary>
        public bool TakeEnd()
        {
            bool hasLooped = m_HasLooped;
            m_HasLooped = false;
            return hasLooped;
        }

        private void OnPrepared(VideoPlayer video)
        {
            m_IsPrepared = true;
        }

        private void OnError(VideoPlayer video, string message)
        {
            m_Problem = m_Problem ?? message;
        }

        private void OnSeekCompleted(VideoPlayer video)
        {
            m_IsCompleted = true;
            m_CompletedAt = Time.realtimeSinceStartup;
        }

        private void OnLoopPoint(VideoPlayer video)
        {
            m_HasLooped = true;
        }

        public void Dispose()
        {
            m_Video.prepareCompleted -= OnPrepared;
            m_Video.errorReceived -= OnError;
            m_Video.seekCompleted -= OnSeekCompleted;
            m_Video.loopPointReached -= OnLoopPoint;
            m_Video.Stop();
            EngineObject.Destroy(m_Video.gameObject);
        }
    }
}
