using System;

namespace Nimb.Timeline
{
    /// <summary>What a player does for a timeline at one moment.</summary>
    internal enum FollowAction
    {
        None,
        /// <summary>Shows the frame and stays there.</summary>
        Show,
        /// <summary>Goes to the frame and plays on.</summary>
        PlayFrom,
        Play,
        Pause
    }

    /// <summary>What a follower wants done. The frame counts for Show and PlayFrom.</summary>
    internal struct FollowStep
    {
        public readonly FollowAction Action;
        public readonly long Frame;

        public FollowStep(FollowAction action, long frame)
        {
            Action = action;
            Frame = frame;
        }
    }

    /// <summary>Where a player is.</summary>
    internal struct FollowState
    {
        public bool IsPlaying;
        public bool IsSeeking;
        /// <summary>That is shown; -1 before the first.</summary>
        public long Frame;
        /// <summary>Of the clip, in seconds.</summary>
        public double Time;
        public long FrameCount;
        public double FrameRate;
    }

    /// <summary>
    /// Keeps a player where a timeline is; knows neither. A timeline that stands or is scrubbed asks for frames: the newest
    /// one wins, but no request is thrown away for a newer one while it is under way, since a player that is asked anew at
    /// every moment never gets anywhere. A timeline that plays lets the player play and corrects it when it is too far off.
    /// </summary>
    internal sealed class TimelineFollower
    {
        /// <summary>How far apart the two may be, in seconds of the clip.</summary>
        public const double Tolerance = 0.1;
        /// <summary>How long a correction is given to take effect, in seconds.</summary>
        private const double Patience = 0.5;
        private const double LongestLead = 1;
        // Times are sums of many parts: the start of a frame may come out a little before it.
        private const double Rounding = 1e-4;

        private const long Nothing = -1;

        private long m_Wanted = Nothing;  // to be shown, while the timeline stands
        private long m_Asked = Nothing;  // of the player, last
        private bool m_Follows;  // the player was told to play
        private double m_CorrectedAt;
        private bool m_IsOnItsWay;  // to where it was last told to play from
        private double m_Lead;  // how long the player takes to get there, as far as is known

        /// <summary>The time in a clip that a timeline shows past its end: from its start again, or its last moment.</summary>
        public static double TimeInClip(double time, double duration, bool loops)
        {
            if (double.IsNaN(time) || !(duration > 0))
            {
                return 0;
            }
            if (loops)
            {
                // A tiny negative time becomes the duration itself by rounding.
                double wrapped = time - Math.Floor(time / duration) * duration;
                return wrapped < duration ? wrapped : 0;
            }
            return Math.Max(0, Math.Min(time, duration));
        }

        /// <summary>The frame that is shown at a time, from 0 to the last.</summary>
        public static long FrameAt(double time, long frameCount, double frameRate)
        {
            double frame = Math.Floor(time * frameRate + Rounding);
            return frame < 0 || double.IsNaN(frame) ? 0 : frame >= frameCount ? Math.Max(0, frameCount - 1) : (long)frame;
        }

        /// <summary>The timeline stands at a time, or is scrubbed to it.</summary>
        public FollowStep StandAt(double time, FollowState player)
        {
            m_Follows = m_IsOnItsWay = false;
            m_Wanted = FrameAt(time, player.FrameCount, player.FrameRate);
            return TakePending(player);
        }

        /// <summary>What is still to be done for a timeline that stands: call it when a request has ended.</summary>
        public FollowStep TakePending(FollowState player)
        {
            if (m_Follows || m_Wanted == Nothing || player.FrameCount <= 0)
            {
                return new FollowStep(FollowAction.None, 0);
            }
            // One that is under way comes back here when it ends. One that has failed is not repeated.
            bool isUnderway = player.IsSeeking && m_Asked != Nothing;
            if (isUnderway || (m_Wanted == m_Asked && !player.IsPlaying))
            {
                return new FollowStep(FollowAction.None, 0);
            }
            m_Asked = m_Wanted;
            if (player.Frame == m_Wanted && !player.IsPlaying && !player.IsSeeking)
            {
                return new FollowStep(FollowAction.None, 0);
            }
            return new FollowStep(FollowAction.Show, m_Wanted);
        }

        /// <summary>The timeline plays and is at a time.</summary>
        /// <param name="time">In the clip, in seconds.</param>
        /// <param name="speed">Of the clip, above 0.</param>
        /// <param name="loops">The clip's end is next to its start.</param>
        /// <param name="now">Seconds on a clock that runs while the timeline plays.</param>
        /// <param name="player">Where the player is.</param>
        public FollowStep PlayAt(double time, double speed, bool loops, double now, FollowState player)
        {
            double duration = player.FrameRate > 0 ? player.FrameCount / player.FrameRate : 0;
            if (!(duration > 0))
            {
                return new FollowStep(FollowAction.None, 0);
            }
            if (!loops && FrameAt(time, player.FrameCount, player.FrameRate) == player.FrameCount - 1)
            {
                return StandAt(time, player);  // a player that has ended would play from the start
            }
            double behind = Behind(time, player.Time, loops ? duration : 0);
            bool isOff = Math.Abs(behind) > Tolerance;
            if (!m_Follows)
            {
                m_Follows = true;
                m_Wanted = m_Asked = Nothing;
                m_CorrectedAt = now;
                return isOff || player.IsSeeking ? PlayFrom(time, speed, loops, duration, player)
                    : new FollowStep(FollowAction.Play, 0);
            }
            if (player.IsSeeking)
            {
                return new FollowStep(FollowAction.None, 0);
            }
            if (m_IsOnItsWay)
            {
                // By how much it missed, the next one is given beforehand.
                m_IsOnItsWay = false;
                m_Lead = Math.Max(0, Math.Min(LongestLead, m_Lead + behind / speed));
            }
            if (isOff && now - m_CorrectedAt >= Patience)
            {
                m_CorrectedAt = now;
                return PlayFrom(time, speed, loops, duration, player);
            }
            return new FollowStep(player.IsPlaying ? FollowAction.None : FollowAction.Play, 0);
        }

        /// <summary>The timeline has left the clip, or its director has stopped.</summary>
        public FollowStep Leave(FollowState player)
        {
            bool had = m_Follows || m_Wanted != Nothing;
            m_Follows = m_IsOnItsWay = false;
            m_Wanted = m_Asked = Nothing;
            return new FollowStep(had && player.IsPlaying ? FollowAction.Pause : FollowAction.None, 0);
        }

        private FollowStep PlayFrom(double time, double speed, bool loops, double duration, FollowState player)
        {
            m_IsOnItsWay = true;
            double target = TimeInClip(time + m_Lead * speed, duration, loops);
            return new FollowStep(FollowAction.PlayFrom, FrameAt(target, player.FrameCount, player.FrameRate));
        }

        /// <summary>By how much the player is behind, the shorter way round where the clip goes round.</summary>
        private static double Behind(double time, double playerTime, double round)
        {
            double behind = time - playerTime;
            return round > 0 ? behind - Math.Round(behind / round) * round : behind;
        }
    }
}
