using System;
using System.Collections.Generic;
using System.IO;
using Nimb;
using UnityEngine;
using static Support;

/// <summary>The player without an engine, on the real library and real GL objects.</summary>
internal static class QuorPlayerTest
{
    /// <summary>A player with objects for its clip, driven by render events.</summary>
    private sealed class Scene : IDisposable
    {
        public readonly QuorPlayer Player = new QuorPlayer();
        public readonly List<int> Shown = new List<int>();
        private IntPtr m_Objects;

        public void Open(string path, bool loop = false, bool disableAudio = false)
        {
            Player.Open(path, loop, disableAudio);
            NimbFileInfo file = Player.FileInfo;
            Close();
            m_Objects = StandIn.CreateObjects((int)file.textureWidth, (int)file.textureHeight, (int)file.maxVertexCount,
                (int)file.maxIndexCount);
            Player.SetBuffers(Name(0), (int)file.textureWidth, (int)file.textureHeight, Name(1), (int)file.maxVertexCount, Name(2),
                (int)file.maxIndexCount);
        }

        private IntPtr Name(int which)
        {
            return new IntPtr(StandIn.ObjectName(m_Objects, which));
        }

        public void Render()
        {
            StandIn.RunEvent(QuorPlayer.RenderEventFunction, Player.Id);
        }

        /// <summary>One rendered frame; what the objects hold must be one and the same frame of the clip.</summary>
        public PlaybackEvents Step()
        {
            Render();
            PlaybackEvents events = Player.Update();
            int number = StandIn.PictureNumber(m_Objects);
            CheckEqual(number, StandIn.MeshNumber(m_Objects), "the mesh's number beside the picture's");
            Check(number >= -1, "the picture is whole");
            if (number >= 0 && (Shown.Count == 0 || Shown[Shown.Count - 1] != number))
            {
                Shown.Add(number);
            }
            if ((events & PlaybackEvents.FrameShown) != 0 && Player.IsPlaying)
            {
                Check(Math.Abs(Player.Frame.minX - Player.Frame.maxX + 0.2) < 0.01, "the box is a frame's");
            }
            return events;
        }

        public int StepUntil(PlaybackEvents wanted)
        {
            int shown = 0;
            Until(() =>
            {
                PlaybackEvents events = Step();
                shown += (events & PlaybackEvents.FrameShown) != 0 ? 1 : 0;
                return (events & wanted) != 0;
            }, wanted.ToString());
            return shown;
        }

        private void Close()
        {
            if (m_Objects != IntPtr.Zero)
            {
                StandIn.DestroyObjects(m_Objects);
            }
        }

        public void Dispose()
        {
            Player.Dispose();
            Close();
        }
    }

    public static void PlaysToTheEndAndAgain()
    {
        StartGraphics();
        string clip = MakeClip("Straße ☃ 録画.mp4", 30, 30, hasAudio: true);
        using (var scene = new Scene())
        {
            scene.Open(clip);
            Check(scene.Player.FileInfo.hasAudio == 1 && !scene.Player.Pause(), "open, not playing");
            for (int pass = 0; pass < 2; ++pass)
            {
                scene.Shown.Clear();
                Check(scene.Player.Play() && scene.Player.IsPlaying, "it plays");
                int events = scene.StepUntil(PlaybackEvents.Ended);
                Check(scene.Player.HasEnded && !scene.Player.IsPlaying, "it has ended");
                if (pass > 0)
                {
                    scene.Shown.RemoveAt(0);  // still there from the pass before
                }
                CheckInOrder(scene.Shown, 30);
                Check(Math.Abs(events - scene.Shown.Count) <= 4, events + " events for " + scene.Shown.Count + " frames");
                Check(Math.Abs(scene.Player.Frame.minX - scene.Shown[scene.Shown.Count - 1]) < 1.1, "the last box");
                for (int i = 0; i < 5; ++i)
                {
                    Check((scene.Step() & PlaybackEvents.Ended) == 0, "the end is reported once");
                }
            }
            scene.Player.Close();
            Check(!scene.Player.IsOpen && !scene.Player.Play() && scene.Player.State == NimbState.Closed, "it is closed");
        }
    }

    public static void LoopsAndRewinds()
    {
        StartGraphics();
        using (var scene = new Scene())
        {
            scene.Open(MakeClip("loop.mp4", 10, 50), true);
            scene.Player.Play();
            for (int pass = 0; pass < 3; ++pass)
            {
                scene.StepUntil(PlaybackEvents.Looped);
                Check(scene.Player.IsPlaying, "it goes on");
            }
            scene.Player.Rewind();
            Check(!scene.Player.IsPlaying && scene.Player.State == NimbState.Paused, "it waits at the start");
            scene.Shown.Clear();
            scene.Player.Speed = 0.5f;
            scene.Player.Play();
            scene.StepUntil(PlaybackEvents.Looped);
            Check(scene.Shown.Contains(0) || scene.Shown.Contains(1), "it began at the start: " + string.Join(" ", scene.Shown));

            scene.Open(MakeClip("other.mp4", 10, 50, 128, 20));
            CheckEqual(128u, scene.Player.FileInfo.textureWidth, "the other clip's width");
            Check(scene.Player.Frame.vertexCount == 0 && scene.Player.Update() == PlaybackEvents.None, "nothing of before");
            scene.Player.Speed = 1;
            scene.Player.Play();
            scene.Shown.Clear();
            scene.StepUntil(PlaybackEvents.Ended);
            CheckInOrder(scene.Shown, 10);
        }
    }

    public static void FailuresSayWhatAndWhere()
    {
        string empty = Path.Combine(Folder, "empty.mp4");
        File.WriteAllBytes(empty, new byte[5000]);
        using (var player = new QuorPlayer())
        {
            CheckFails(() => player.Open("", false, false), "No clip");
            CheckFails(() => player.Open("/nowhere/clip.mp4", false, false), "/nowhere/clip.mp4", "not exist");
            CheckFails(() => player.Open(Folder, false, false), Folder);
            CheckFails(() => player.Open(empty, false, false), empty, "[" + player.Id + "]");
            Check(!player.IsOpen && !player.Play() && !player.Pause(), "nothing is open");
            player.Open(MakeClip("good.mp4", 5, 50), false, true);
            Check(player.IsOpen, "the next one opens");
            player.Dispose();
            player.Dispose();
            try
            {
                player.Open("/x", false, false);
                Check(false, "a player that is gone opens nothing");
            }
            catch (ObjectDisposedException)
            {
            }
        }
        CheckFails(() => ClipPath.Resolve(ClipFolder.StreamingAssets, "../secret", "/s", "/p"), "../secret");
        CheckFails(() => ClipPath.Resolve(ClipFolder.PersistentData, "/etc/clip", "/s", "/p"), "/etc/clip");
        CheckFails(() => ClipPath.Resolve(ClipFolder.Absolute, "clip.mp4", "/s", "/p"), "clip.mp4");
        CheckEqual("/s/a/b.mp4", ClipPath.Resolve(ClipFolder.StreamingAssets, "a/b.mp4", "/s/", "/p"), "the path");
    }

    public static void FramesAllocateNothing()
    {
        StartGraphics();
        using (var scene = new Scene())
        {
            scene.Open(MakeClip("steady.mp4", 50, 50), true);
            scene.Player.Play();
            int shown = 0;
            Action frame = () =>
            {
                scene.Render();
                shown += (scene.Player.Update() & PlaybackEvents.FrameShown) != 0 ? 1 : 0;
            };
            Allocated(2000, frame);
            shown = 0;
            int collections = GC.CollectionCount(0);
            long bytes = 0, calls = 0;
            Until(() =>
            {
                bytes += Allocated(1000, frame);
                calls += 1000;
                return shown >= 75;
            }, "75 frames");
            Console.WriteLine(bytes + " bytes in " + calls + " calls that showed " + shown + " frames");
            CheckEqual(0L, bytes, "what is allocated");
            CheckEqual(collections, GC.CollectionCount(0), "collections");
            Check(Allocated(1000, () => GC.KeepAlive(new object())) >= 16000, "allocations are seen");
        }
    }
}
