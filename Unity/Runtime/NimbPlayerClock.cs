using System;
using System.Collections.Generic;
using UnityEngine;

namespace Nimb
{
    /// <summary>
    /// One clock for several players: they start together when all have their frame, and go on together. Players that all
    /// have the native back end show the same time in every frame of the engine; others are kept at the clock's time as
    /// closely as the engine's video player does it.
    /// </summary>
    [AddComponentMenu("Nimb/Player Clock")]
    [DefaultExecutionOrder(-50)]  // before its players
    public sealed class NimbPlayerClock : MonoBehaviour
    {
        // For a player that does not come.
        private const float PatienceSeconds = 2;
        private const double TicksPerSecond = 1e7;

        private static readonly Predicate<NimbPlayer> s_IsGone = player => player == null;

        [SerializeField]
        private NimbPlayer[] m_Players = new NimbPlayer[0];
        [SerializeField]
        private bool m_PlayOnAwake = true;
        [SerializeField, Range(0.1f, 4)]
        private float m_Speed = 1;

        private readonly List<NimbPlayer> m_Present = new List<NimbPlayer>();  // without gaps in the list
        private int m_Native = -1;  // the native clock, which all players have joined
        private bool m_IsWantedToPlay;
        private bool m_IsGathering;  // its players go to the clock's time
        private bool m_IsAsked;
        private float m_GatheringSince;
        private double m_Time;

        public NimbPlayer[] Players
        {
            get { return m_Players; }
            set
            {
                LeaveNative();
                m_Players = value ?? new NimbPlayer[0];
            }
        }

        /// <summary>Seconds of the clips; goes on through loops.</summary>
        public double Time { get { return m_Time; } }

        /// <summary>Also while it waits for players.</summary>
        public bool IsPlaying { get { return m_IsWantedToPlay; } }

        /// <summary>1 is normal.</summary>
        public float Speed
        {
            get { return m_Speed; }
            set
            {
                m_Speed = Mathf.Clamp(value, 0.1f, 4);
                ApplySpeed();
            }
        }

        /// <summary>From where the clock is, as soon as all players are there.</summary>
        public void Play()
        {
            m_IsWantedToPlay = true;
            Gather();
        }

        public void Pause()
        {
            m_IsWantedToPlay = false;
            m_IsGathering = false;
            if (m_Native >= 0)
            {
                NimbUnityPluginML.PausePlayerClock(m_Native);
                return;
            }
            ListPlayers();
            foreach (NimbPlayer player in m_Present)
            {
                player.Pause();
            }
        }

        /// <summary>Plays on from there if it plays.</summary>
        /// <param name="seconds">Of the clips.</param>
        public void Seek(double seconds)
        {
            m_Time = Math.Max(0, seconds);
            Gather();
        }

        private void ListPlayers()
        {
            m_Present.Clear();
            foreach (NimbPlayer player in m_Players)
            {
                if (player != null)
                {
                    m_Present.Add(player);
                }
            }
        }

        private void Gather()
        {
            ListPlayers();
            m_IsGathering = true;
            m_IsAsked = false;
            m_GatheringSince = UnityEngine.Time.realtimeSinceStartup;
            SetReferences(double.NaN);
        }

        private void Start()
        {
            if (m_PlayOnAwake && !m_IsWantedToPlay)
            {
                Play();
            }
        }

        private void Update()
        {
            m_Present.RemoveAll(s_IsGone);
            if (m_IsGathering)
            {
                GoOnGathering();
            }
            else if (m_Native >= 0)
            {
                var info = new NimbClockInfo();
                NimbUnityPluginML.GetPlayerClockInfo(m_Native, ref info);
                m_Time = info.time / TicksPerSecond;
            }
            else if (m_IsWantedToPlay)
            {
                m_Time += UnityEngine.Time.unscaledDeltaTime * m_Speed;
                SetReferences(m_Time);
            }
        }

        private void GoOnGathering()
        {
            bool areOpen = true;
            foreach (NimbPlayer player in m_Present)
            {
                areOpen &= !player.IsOpening;
            }
            if (!areOpen)
            {
                m_GatheringSince = UnityEngine.Time.realtimeSinceStartup;
                return;
            }
            if (!m_IsAsked)
            {
                m_IsAsked = true;
                Ask();
            }
            if (m_Native < 0 && !HaveArrived() && UnityEngine.Time.realtimeSinceStartup - m_GatheringSince < PatienceSeconds)
            {
                return;
            }
            m_IsGathering = false;
            if (m_IsWantedToPlay && m_Native < 0)
            {
                foreach (NimbPlayer player in m_Present)
                {
                    player.Play();
                }
            }
        }

        private void Ask()
        {
            JoinNative();
            ApplySpeed();
            if (m_Native >= 0)
            {
                NimbSeekOption options = m_IsWantedToPlay ? 0 : NimbSeekOption.Pause;
                NimbUnityPluginML.SeekPlayerClock(m_Native, (long)(m_Time * TicksPerSecond), options);
                if (m_IsWantedToPlay)
                {
                    NimbUnityPluginML.PlayPlayerClock(m_Native);
                }
                foreach (NimbPlayer player in m_Present)
                {
                    player.Active.ExpectSeek();
                }
                return;
            }
            foreach (NimbPlayer player in m_Present)
            {
                player.SeekTime(TimeIn(player), SeekOptions.Pause);
            }
        }

        private bool HaveArrived()
        {
            foreach (NimbPlayer player in m_Present)
            {
                if (player.IsOpen && player.IsSeeking)
                {
                    return false;
                }
            }
            return true;
        }

        /// <summary>The clock's time in a player's clip: wrapped where that loops.</summary>
        private double TimeIn(NimbPlayer player)
        {
            double duration = player.Duration;
            return duration > 0 && player.LoopMode != LoopMode.Once ? m_Time % duration : Math.Min(m_Time, duration);
        }

        private void SetReferences(double time)
        {
            foreach (NimbPlayer player in m_Present)
            {
                if (player.IsOpen)
                {
                    player.Active.SetReferenceTime(double.IsNaN(time) ? time : TimeIn(player));
                }
            }
        }

        private void ApplySpeed()
        {
            if (m_Native >= 0)
            {
                NimbUnityPluginML.SetPlayerClockSpeed(m_Native, m_Speed);
                return;
            }
            foreach (NimbPlayer player in m_Present)
            {
                player.Speed = m_Speed;
            }
        }

        // ---- The native clock ----

        /// <summary>When all players are native ones. Those that have opened another clip since have to join anew.</summary>
        private void JoinNative()
        {
            LeaveNative();
            foreach (NimbPlayer player in m_Present)
            {
                if (!player.IsOpen || player.Active.NativeId < 0)
                {
                    return;
                }
            }
            m_Native = m_Present.Count > 0 ? NimbUnityPluginML.CreatePlayerClock() : -1;
            if (m_Native >= 0)
            {
                foreach (NimbPlayer player in m_Present)
                {
                    NimbUnityPluginML.JoinPlayerClock(m_Native, player.Active.NativeId);
                }
            }
        }

        private void LeaveNative()
        {
            if (m_Native >= 0)
            {
                NimbUnityPluginML.DestroyPlayerClock(m_Native);
                m_Native = -1;
            }
        }

        // ---- Interruptions ----

        private void OnApplicationPause(bool isPaused)
        {
            if (!isPaused && m_IsWantedToPlay)
            {
                Gather();
            }
        }

        private void OnDisable()
        {
            SetReferences(double.NaN);
            if (m_IsWantedToPlay)
            {
                Pause();
            }
            LeaveNative();
        }
    }
}
