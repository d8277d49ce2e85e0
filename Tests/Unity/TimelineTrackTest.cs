using System;
using Nimb;
using Nimb.Timeline;
using UnityEditor;
using UnityEngine;
using UnityEngine.Playables;
using UnityEngine.Video;
using static Support;

/// <summary>A track with a real player: what the timeline asks for is what is shown.</summary>
internal static class TimelineTrackTest
{
    private sealed class Track : IDisposable
    {
        public readonly Scene Scene = new Scene(PlayerBackend.Portable);
        public readonly NimbTimelineClip[] Clips;
        private readonly ScriptPlayable<NimbTrackMixer> m_Mixer;

        public Track(params string[] names)
        {
            m_Mixer = ScriptPlayable<NimbTrackMixer>.Create(new PlayableGraph(), names.Length);
            Clips = Array.ConvertAll(names, name => new NimbTimelineClip { Path = name });
            for (int i = 0; i < names.Length; ++i)
            {
                m_Mixer.Node.Inputs[i] = Clips[i].CreatePlayable(new PlayableGraph(), null).Node;
            }
        }

        /// <param name="clip">Under the playhead; -1: none.</param>
        /// <param name="time">In it.</param>
        /// <param name="plays">Or stands there.</param>
        public void Evaluate(int clip, double time, bool plays = false)
        {
            for (int i = 0; i < Clips.Length; ++i)
            {
                m_Mixer.Node.Weights[i] = i == clip ? 1 : 0;
                m_Mixer.Node.Inputs[i].Time = time;
            }
            var data = new FrameData
            {
                evaluationType = plays ? FrameData.EvaluationType.Playback : FrameData.EvaluationType.Evaluate,
                effectiveSpeed = 1
            };
            m_Mixer.GetBehaviour().ProcessFrame(m_Mixer, data, Scene.Player);
        }

        /// <summary>In edit mode, where frames of the engine come only when they are asked for.</summary>
        public void RunEditor()
        {
            EditorApplication.Queued = 0;
            EditorApplication.update();
            if (EditorApplication.Queued > 0)
            {
                Scene.Step();
            }
        }

        public void Dispose()
        {
            m_Mixer.GetBehaviour().OnPlayableDestroy(m_Mixer);
            Scene.Dispose();
            Application.isPlaying = true;
        }
    }

    public static void ScrubbingInEditModeEndsAtItsFrame()
    {
        MakeClip("scrubbed.mp4", 60, 30);
        MakeClip("other.mp4", 40, 25);
        var random = new System.Random(3);
        using (var track = new Track("scrubbed.mp4", "other.mp4"))
        {
            Application.isPlaying = false;
            VideoPlayer.TheHabits.Latency = 4;
            NimbPlayer player = track.Scene.Player;
            for (int round = 0; round < 20; ++round)
            {
                int clip = random.Next(2);
                double rate = clip == 0 ? 30 : 25, time = 0;
                for (int i = random.Next(1, 12); i > 0; --i)  // the mouse moves, and comes to rest
                {
                    time = random.NextDouble() * 5;  // the clips begin again within
                    track.Evaluate(clip, time);
                    track.RunEditor();
                }
                long count = clip == 0 ? 60 : 40;
                long wanted = (long)Math.Floor(time * rate + 1e-4) % count;
                // Nobody evaluates the timeline any more.
                Until(() => { track.RunEditor(); return player.IsOpen && player.Frame == wanted && !player.IsBusy; },
                    "frame " + wanted + " of clip " + clip);
                CheckEqual(count / rate, track.Clips[clip].duration, "the clip's length, as the timeline sees it");
            }
            track.Evaluate(-1, 0);
        }
        Check(EditorApplication.update == null, "nothing goes on afterwards");
    }

    public static void PlayingFollowsTheTimelineAndEndsWithIt()
    {
        MakeClip("followed.mp4", 60, 30);
        using (var track = new Track("followed.mp4"))
        {
            NimbPlayer player = track.Scene.Player;
            player.Speed = 2;
            double time = 0.5, step = track.Scene.FrameSeconds;
            int inStep = 0;
            Until(() =>
            {
                track.Evaluate(0, time, true);
                UnityEngine.Time.Skipped += (float)step;
                track.Scene.Step();
                time += step;
                double off = Math.Abs(player.Time - time % 2);  // the clip begins again after two seconds
                inStep = player.IsPlaying && Math.Min(off, 2 - off) < 0.15 ? inStep + 1 : 0;
                return inStep * step >= 1;
            }, "a second in step");
            Check(player.IsPlaying, "it plays");
            CheckEqual(1f, player.Speed, "the timeline's speed");
            track.Evaluate(-1, 0, true);
            Check(!player.IsPlaying, "it pauses where there is no clip");
            track.Evaluate(0, 1, true);
            track.Dispose();
            CheckEqual(2f, player.Speed, "its own speed comes back");
        }
    }
}
