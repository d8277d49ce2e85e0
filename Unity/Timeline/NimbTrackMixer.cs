using System;
using UnityEngine;
using UnityEngine.Playables;

namespace Nimb.Timeline
{
    /// <summary>Follows a track: finds the clip under the playhead, and has the bound player do what the follower says.
    /// </summary>
    public sealed class NimbTrackMixer : PlayableBehaviour
    {
        private readonly TimelineFollower m_Follower = new TimelineFollower();
        private readonly Action<NimbPlayer> m_OnOpened;
        private readonly Action<NimbPlayer, SeekEnd> m_OnSeekEnded;
        private NimbPlayer m_Player;
        private NimbTimelineClip m_Clip;  // that the player was opened for
        private bool m_HasOpened;
        private double m_Time;  // of the timeline in its clip, which loops may repeat
        private bool m_IsStanding = true;
        private float m_OwnSpeed;  // of the player, before the timeline set it

        public NimbTrackMixer()
        {
            // A timeline that stands is not evaluated again by itself when a clip is open or a frame has come.
            m_OnOpened = player => Stand();
            m_OnSeekEnded = (player, end) =>
            {
                if (end.Result != NimbSeekResult.Superseded)
                {
                    FollowState state = StateOf(player);
                    state.IsSeeking = false;
                    Do(m_Follower.TakePending(state));
                }
            };
        }

        public override void ProcessFrame(Playable playable, FrameData info, object playerData)
        {
            Bind(playerData as NimbPlayer);
            if (m_Player == null)
            {
                return;
            }
            int active = ActiveInput(playable);
            if (active < 0)
            {
                Do(m_Follower.Leave(StateOf(m_Player)));
                return;
            }
            var input = (ScriptPlayable<NimbClipBehaviour>)playable.GetInput(active);
            NimbTimelineClip clip = input.GetBehaviour().Clip;
            OpenFor(clip);
            m_Time = input.GetTime();
            double speed = info.effectiveSpeed * input.GetSpeed();
            m_IsStanding = info.evaluationType != FrameData.EvaluationType.Playback || speed <= 0 || !Application.isPlaying;
            if (m_IsStanding)
            {
                Stand();
                return;
            }
            if (!IsReady())
            {
                return;
            }
            // Only when it changes: it is a setting of the player's.
            if (m_Player.Speed != (float)speed)
            {
                m_Player.Speed = (float)speed;
            }
            double time = TimelineFollower.TimeInClip(m_Time, m_Player.Duration, clip.Loop);
            Do(m_Follower.PlayAt(time, speed, clip.Loop, Time.realtimeSinceStartup, StateOf(m_Player)));
        }

        private void Stand()
        {
            if (m_IsStanding && IsReady())
            {
                double time = TimelineFollower.TimeInClip(m_Time, m_Player.Duration, m_Clip.Loop);
                Do(m_Follower.StandAt(time, StateOf(m_Player)));
            }
        }

        private bool IsReady()
        {
            if (m_Clip == null || !m_Player.IsOpen || m_Player.FrameRate <= 0)
            {
                return false;
            }
            m_Clip.SetClipDuration(m_Player.Duration);
            return true;
        }

        /// <summary>The director has been paused or stopped, or the track is over.</summary>
        public override void OnBehaviourPause(Playable playable, FrameData info)
        {
            if (m_Player != null)
            {
                Do(m_Follower.Leave(StateOf(m_Player)));
            }
        }

        public override void OnPlayableDestroy(Playable playable)
        {
            Bind(null);
        }

        private static int ActiveInput(Playable playable)
        {
            for (int i = playable.GetInputCount() - 1; i >= 0; --i)
            {
                if (playable.GetInputWeight(i) > 0)
                {
                    return i;
                }
            }
            return -1;
        }

        private void Bind(NimbPlayer player)
        {
            if (ReferenceEquals(player, m_Player))
            {
                return;
            }
            // The old one may have been destroyed meanwhile, which compares as null.
            if (m_Player != null)
            {
                m_Player.Opened -= m_OnOpened;
                m_Player.SeekEnded -= m_OnSeekEnded;
                Do(m_Follower.Leave(StateOf(m_Player)));
                m_Player.Speed = m_OwnSpeed;
                if (m_HasOpened && !Application.isPlaying)
                {
                    m_Player.Close();  // a preview leaves nothing behind
                }
            }
            m_Player = player;
            m_Clip = null;
            m_HasOpened = false;
            if (m_Player != null)
            {
                m_OwnSpeed = m_Player.Speed;
                m_Player.Opened += m_OnOpened;
                m_Player.SeekEnded += m_OnSeekEnded;
            }
            UpdatesInEditMode(m_Player != null);
        }

        /// <summary>Once for each clip: one that cannot be opened is not tried again at every frame.</summary>
        private void OpenFor(NimbTimelineClip clip)
        {
            if (ReferenceEquals(clip, m_Clip))
            {
                return;
            }
            m_Clip = clip;
            bool isNamed = !string.IsNullOrEmpty(clip.Path);
            bool isOther = isNamed && (clip.Folder != m_Player.Folder || clip.Path != m_Player.Path);
            if (isOther || (!m_Player.IsOpen && !m_Player.IsOpening))
            {
                m_HasOpened = true;
                m_Follower.Leave(StateOf(m_Player));
                if (isOther)
                {
                    m_Player.Open(clip.Folder, clip.Path);
                }
                else
                {
                    m_Player.Open();
                }
            }
        }

        private void Do(FollowStep step)
        {
            switch (step.Action)
            {
                case FollowAction.Show:
                    m_Player.Seek(step.Frame, SeekOptions.Pause);
                    break;
                case FollowAction.PlayFrom:
                    m_Player.Seek(step.Frame);
                    m_Player.Play();
                    break;
                case FollowAction.Play:
                    m_Player.Play();
                    break;
                case FollowAction.Pause:
                    m_Player.Pause();
                    break;
            }
        }

        private static FollowState StateOf(NimbPlayer player)
        {
            return new FollowState
            {
                IsPlaying = player.IsPlaying,
                IsSeeking = player.IsSeeking,
                Frame = player.Frame,
                Time = player.Time,
                FrameCount = player.FrameCount,
                FrameRate = player.FrameRate
            };
        }

#if UNITY_EDITOR
        /// <summary>In edit mode the engine updates nothing by itself, and a request takes several updates.</summary>
        private void UpdatesInEditMode(bool isBound)
        {
            UnityEditor.EditorApplication.update -= QueueUpdate;
            if (isBound)
            {
                UnityEditor.EditorApplication.update += QueueUpdate;
            }
        }

        private void QueueUpdate()
        {
            if (!Application.isPlaying && m_Player != null && m_Player.IsBusy)
            {
                UnityEditor.EditorApplication.QueuePlayerLoopUpdate();
            }
        }
#else
        private static void UpdatesInEditMode(bool isBound) { }
#endif
    }
}
