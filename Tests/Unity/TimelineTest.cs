using System;
using Nimb.Timeline;
using static Support;

/// <summary>A follower and a player that takes its time: requests end late, and its clock runs at a rate of its own.
/// </summary>
internal static class TimelineTest
{
    private const double Tick = 1.0 / 60;

    private sealed class Model
    {
        public readonly TimelineFollower Follower = new TimelineFollower();
        public FollowState State;
        public double Now;
        public double Rate = 1;
        public double SeekSeconds = 0.08;
        public bool Loops;
        public bool Fails;
        public int Requests;
        public int Ended;
        private double m_SeekEnd;
        private long m_Target;
        private bool m_PlayAfter;

        public Model(long frameCount = 250, double frameRate = 25)
        {
            State.FrameCount = frameCount;
            State.FrameRate = frameRate;
            State.Frame = -1;
        }

        public void Do(FollowStep step)
        {
            switch (step.Action)
            {
                case FollowAction.Show:
                case FollowAction.PlayFrom:
                    m_PlayAfter = step.Action == FollowAction.PlayFrom;
                    Check(step.Frame >= 0 && step.Frame < State.FrameCount, "frame " + step.Frame + " is in the clip");
                    Check(m_PlayAfter || !State.IsSeeking || State.IsPlaying, "nothing is under way");
                    Check(m_PlayAfter || State.IsPlaying || step.Frame != State.Frame, "the frame is not there yet");
                    State.IsPlaying = m_PlayAfter;
                    State.IsSeeking = true;
                    m_Target = step.Frame;
                    m_SeekEnd = Now + SeekSeconds;
                    ++Requests;
                    break;
                case FollowAction.Play:
                    State.IsPlaying = true;
                    if (State.Frame == State.FrameCount - 1)
                    {
                        State.Time = 0;  // as players do that have ended
                    }
                    break;
                case FollowAction.Pause:
                    State.IsPlaying = false;
                    break;
            }
        }

        public void Run()
        {
            Now += Tick;
            if (State.IsSeeking && Now >= m_SeekEnd)
            {
                State.IsSeeking = false;
                State.IsPlaying = m_PlayAfter;
                State.Time = Fails ? State.Time : m_Target / State.FrameRate;
                ++Ended;
            }
            else if (State.IsPlaying && !State.IsSeeking)
            {
                State.Time += Tick * Rate;
            }
            double duration = State.FrameCount / State.FrameRate;
            if (State.Time >= duration && Loops)
            {
                State.Time -= duration;
            }
            else if (State.Time >= duration)
            {
                State.Time = duration;
                State.IsPlaying = State.IsSeeking && m_PlayAfter;
            }
            State.Frame = Ended > 0 || State.IsPlaying
                ? TimelineFollower.FrameAt(State.Time, State.FrameCount, State.FrameRate) : State.Frame;
            if (!State.IsSeeking)
            {
                Do(Follower.TakePending(State));
            }
        }
    }

    public static void EveryFrameBeginsAtItsTime()
    {
        foreach (double rate in new[] { 10, 24000 / 1001.0, 24, 25, 30000 / 1001.0, 30, 50, 60000 / 1001.0, 60, 90 })
        {
            const long count = 60000;
            double duration = count / rate, sum = 0;
            for (long frame = 0; frame < count; ++frame, sum += 1 / rate)
            {
                CheckEqual(frame, TimelineFollower.FrameAt(frame / rate, count, rate), "the frame at its start");
                CheckEqual(frame, TimelineFollower.FrameAt(sum, count, rate), "and by adding up frames");
                CheckEqual(frame, TimelineFollower.FrameAt((frame + 0.99) / rate, count, rate), "and to its end");
                double inClip = TimelineFollower.TimeInClip(frame / rate + 3 * duration, duration, true);
                CheckEqual(frame, TimelineFollower.FrameAt(inClip, count, rate), "and in the fourth round");
            }
        }
        CheckEqual(9L, TimelineFollower.FrameAt(7, 10, 5), "the frame behind the end");
        CheckEqual(0L, TimelineFollower.FrameAt(-7, 10, 5), "the frame before the start");
        CheckEqual(0L, TimelineFollower.FrameAt(double.NaN, 10, 5), "the frame at no time");
        CheckEqual(2.0, TimelineFollower.TimeInClip(5, 2, false), "the last moment stays");
        CheckEqual(0.0, TimelineFollower.TimeInClip(-1e-20, 2, true), "just before the start");
        CheckEqual(1.5, TimelineFollower.TimeInClip(-0.5, 2, true), "before the start");
        CheckEqual(0.0, TimelineFollower.TimeInClip(3, 0, true), "of nothing");
    }

    public static void ScrubbingNeverStarvesThePlayer()
    {
        var random = new Random(7);
        foreach (double seconds in new[] { 0, 0.01, 0.08, 0.4 })
        {
            var model = new Model { SeekSeconds = seconds };
            double time = 0;
            for (int i = 0; i < 600; ++i)
            {
                if (i % 7 != 0)  // now and then the mouse rests
                {
                    time = random.NextDouble() * 10;
                }
                model.Do(model.Follower.StandAt(time, model.State));
                model.Run();
            }
            double possible = Math.Min(600, 10 / Math.Max(seconds, Tick));
            Check(model.Ended > possible * 0.6, model.Ended + " frames came of " + possible + " possible ones");
            int until = model.Requests + 2;
            for (int i = 0; i < 60; ++i)
            {
                model.Run();  // the timeline stands, and nobody asks again
            }
            CheckEqual(TimelineFollower.FrameAt(time, 250, 25), model.State.Frame, "the frame in the end");
            Check(model.Requests <= until, "it rests then");
        }
    }

    public static void PlayingStaysInStep()
    {
        foreach (bool loops in new[] { false, true })
        {
            foreach (double rate in new[] { 0.97, 1.0, 1.05 })
            {
                var model = new Model { Rate = rate, SeekSeconds = 0.4, Loops = loops };
                double time = 3;
                for (int i = 0; i < 60 * 12; ++i, time += Tick)
                {
                    double inClip = TimelineFollower.TimeInClip(time, 10, loops);
                    model.Do(model.Follower.PlayAt(inClip, 1, loops, model.Now, model.State));
                    model.Run();
                    double off = Math.Abs(model.State.Time - inClip);
                    off = loops ? Math.Min(off, 10 - off) : off;
                    Check(i < 200 || model.State.IsSeeking || off < TimelineFollower.Tolerance + 0.1,
                        "at " + time + " it is off by " + off);
                }
                Check(model.Requests <= (rate == 1 ? 3 : 7), model.Requests + " corrections in 12 s");
                if (!loops)
                {
                    CheckEqual(249L, model.State.Frame, "the last frame stays");
                    Check(!model.State.IsPlaying, "it has not begun again");
                }
                double standing = 4.42;
                model.Do(model.Follower.StandAt(standing, model.State));
                for (int i = 0; i < 60; ++i)
                {
                    model.Run();
                }
                Check(!model.State.IsPlaying && model.State.Frame == 110, "it stands at the frame: " + model.State.Frame);
            }
        }
    }

    public static void TheEndOfALoopIsNextToItsStart()
    {
        foreach (double late in new[] { -0.05, 0.05, -0.5, 0.5 })
        {
            var model = new Model();
            model.Do(model.Follower.PlayAt(0, 1, true, 0, model.State));
            double time = late > 0 ? 0.02 : 9.98;
            model.State.Time = TimelineFollower.TimeInClip(time - late, 10, true);
            FollowAction action = model.Follower.PlayAt(time, 1, true, 5, model.State).Action;
            CheckEqual(Math.Abs(late) > 0.1, action == FollowAction.PlayFrom, "it is corrected when late by " + late);
        }
    }

    public static void FailedRequestsAreNotRepeated()
    {
        var model = new Model { Fails = true };
        for (int i = 0; i < 60; ++i)
        {
            model.Do(model.Follower.StandAt(4, model.State));
            model.Run();
        }
        CheckEqual(1, model.Requests, "requests for a frame that cannot be shown");
        model.Do(model.Follower.StandAt(5, model.State));
        CheckEqual(2, model.Requests, "requests when another one is wanted");
    }

    public static void LeavingPausesOnce()
    {
        var model = new Model();
        model.State.IsPlaying = true;
        CheckEqual(FollowAction.None, model.Follower.Leave(model.State).Action, "to a player that others play");
        model.State.IsPlaying = false;
        model.Do(model.Follower.PlayAt(0, 1, false, 0, model.State));
        Check(model.State.IsPlaying, "it plays");
        CheckEqual(FollowAction.Pause, model.Follower.Leave(model.State).Action, "when the timeline leaves");
        CheckEqual(FollowAction.None, model.Follower.Leave(model.State).Action, "when it has left");
        CheckEqual(FollowAction.None, model.Follower.TakePending(model.State).Action, "and nothing is left over");
        model.State.FrameCount = 0;
        CheckEqual(FollowAction.None, model.Follower.StandAt(1, model.State).Action, "without frames");
        CheckEqual(FollowAction.None, model.Follower.PlayAt(1, 1, true, 0, model.State).Action, "without frames");
    }
}
