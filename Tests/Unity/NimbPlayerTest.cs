using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.Reflection;
using Nimb;
using UnityEngine;
using UnityEngine.Rendering;
using static Support;

/// <summary>What the component does with either back end, in a stand-in of the engine.</summary>
internal static class NimbPlayerTest
{
    private static void ForBoth(Action<PlayerBackend> test)
    {
        test(PlayerBackend.Platform);
        test(PlayerBackend.Portable);
    }

    public static void PlaysWhatItIsGiven()
    {
        MakeClip("Straße ☃ 録画.mp4", 20, 30, hasAudio: true);
        MakeClip("second.mp4", 10, 50, 128, 20);
        ForBoth(backend =>
        {
            using (var scene = new Scene(backend))
            {
                NimbPlayer player = scene.Player;
                var filter = player.GetComponent<MeshFilter>();
                var renderer = player.GetComponent<MeshRenderer>();
                Mesh ownMesh = filter.sharedMesh = new Mesh();
                Material ownMaterial = renderer.sharedMaterial = new Material(new Shader());
                player.LoopMode = LoopMode.Once;
                player.Open(ClipFolder.StreamingAssets, "Straße ☃ 録画.mp4");
                player.Play();
                Send(player, "Start");
                Check(player.IsOpening, "it opens on other threads");
                scene.StepUntilHeard("ended");
                CheckEqual(backend, player.ActiveBackend, "the back end");
                Check(player.Info.HasSound && player.FrameCount == 20 && Math.Abs(player.FrameRate - 30) < 0.1, "its facts");
                CheckInOrder(scene.Shown, 20);
                CheckEqual("opened ended", string.Join(" ", scene.Heard), "what was heard");
                Check(player.HasEnded && !player.IsPlaying, "it has ended");
                Check(filter.sharedMesh == player.Mesh, "the filter shows the mesh");
                Check(renderer.sharedMaterial.mainTexture == player.Texture, "and the renderer the texture");

                scene.Shown.Clear();
                scene.Heard.Clear();
                player.Play();
                scene.StepUntilHeard("ended");
                scene.Shown.Remove(19);  // still there from the pass before
                CheckInOrder(scene.Shown, 20);

                Mesh firstMesh = player.Mesh;
                player.LoopMode = LoopMode.Loop;
                scene.Open(ClipFolder.Absolute, Folder + "/second.mp4");
                Check(firstMesh.IsDestroyed && player.Mesh.vertexCount > firstMesh.vertexCount, "the mesh was made anew");
                CheckEqual(128, player.Texture.width, "the texture's width");
                player.Play();
                scene.StepUntilHeard("looped");
                Check(player.IsPlaying, "it goes on");

                Action<NimbPlayer> close = shown => player.Close();
                player.FrameShown += close;
                Until(() => { scene.PassFrame(); return !player.IsOpen; }, "a listener closes");
                player.FrameShown -= close;
                Check(player.Mesh == null && player.Frame == -1 && player.Texture == null, "nothing is left");
                Check(filter.sharedMesh == ownMesh && renderer.sharedMaterial == ownMaterial, "its own things come back");
            }
        });
    }

    public static void GoesToFrames()
    {
        MakeClip("seek.mp4", 60, 30);
        ForBoth(backend =>
        {
            using (var scene = new Scene(backend))
            {
                NimbPlayer player = scene.Player;
                player.Open(ClipFolder.StreamingAssets, "seek.mp4");
                long early = player.Seek(5), late = player.Seek(7);
                CheckEqual(7L, scene.EndOf(late).Frame, "a request while it opens waits for that");
                CheckEqual(NimbSeekResult.Superseded, scene.EndOf(early).Result, "and the newest counts");
                foreach (int frame in new[] { 40, 39, 41, 41, 0, 59 })
                {
                    scene.Shown.Clear();
                    int before = scene.PictureNumber;
                    SeekEnd end = scene.EndOf(player.Seek(frame, SeekOptions.Pause));
                    CheckEqual(NimbSeekResult.Done, end.Result, "the result");
                    CheckEqual(frame, scene.PictureNumber, "the frame that is shown");
                    Check(end.Frame == frame && Math.Abs(end.Time - frame / 30.0) < 0.001, "and told");
                    Check(scene.Shown.TrueForAll(number => number == before || number == frame), "no other frame was shown");
                }
                scene.Step();
                Check(player.Frame == 59 && Math.Abs(player.Time - 59 / 30.0) < 0.001, "time");
                scene.EndOf(player.Step(-3));
                CheckEqual(56, scene.PictureNumber, "the frame after a step");
                scene.EndOf(player.SeekTime(1.01));
                CheckEqual(30, scene.PictureNumber, "the frame at a time");
                CheckEqual(NimbSeekReason.OutOfRange, scene.EndOf(player.Seek(60)).Reason, "the reason");

                UnityEngine.Video.VideoPlayer.TheHabits.Latency = 4;
                player.Seek(20);
                scene.PassFrame();
                player.Seek(56);
                player.Seek(25);
                scene.Shown.Clear();
                int start = scene.PictureNumber;
                scene.EndOf(player.Seek(50, SeekOptions.Pause));
                for (int i = 0; i < 30; ++i)
                {
                    scene.Step();
                }
                Check(scene.Shown.TrueForAll(number => number == start || number == 50), "targets that were given up: " +
                    string.Join(" ", scene.Shown));
                UnityEngine.Video.VideoPlayer.TheHabits.Latency = 0;

                player.Speed = 4;
                player.Play();
                System.Threading.Tasks.Task<SeekEnd> task = player.SeekAsync(10);
                scene.StepUntil(() => task.IsCompleted, "the task");
                Check(task.Result.Result == NimbSeekResult.Done && player.IsPlaying, "it plays on from there");
                scene.StepUntil(() => player.Frame >= 20, "at four times the speed");
                Check(Math.Abs(player.Time - player.Frame / 30.0) < 0.001, "time is of the clip at every speed");
                long last = player.Seek(30);
                int id = player.Active.NativeId;
                player.Close();
                Until(() => id < 0 || NimbUnityPluginML.GetQuorState(id) == NimbState.Closed, "the native player closes");
                CheckEqual(NimbSeekReason.Closed, scene.Ends[scene.Ends.Count - 1].Reason, "what closing says");
                CheckEqual(last, scene.Ends[scene.Ends.Count - 1].Ticket, "of the request that was open");
            }
        });
    }

    public static void LoopsRewindsAndStaysInItsRange()
    {
        MakeClip("loop.mp4", 30, 50);
        ForBoth(backend =>
        {
            using (var scene = new Scene(backend))
            {
                NimbPlayer player = scene.Player;
                scene.Open("loop.mp4");
                scene.StepUntilShown(1);
                CheckEqual(0, scene.Shown[0], "the still after opening");
                player.Play();
                for (int pass = 0; pass < 2; ++pass)
                {
                    scene.Heard.Clear();
                    scene.StepUntilHeard("looped");
                    Check(player.IsPlaying, "it goes on");
                }
                player.Rewind();
                Check(!player.IsPlaying && player.IsOpen, "it waits");
                scene.StepUntil(() => scene.PictureNumber == 0, "at the start");

                player.SetPlayRange(10, 15);
                player.Seek(10);
                player.Play();
                scene.StepUntil(() => scene.PictureNumber == 10, "the range's first");
                scene.Shown.Clear();
                scene.Heard.Clear();
                scene.StepUntil(() => scene.Heard.FindAll(what => what == "looped").Count >= 2, "the range loops");
                Check(scene.Shown.TrueForAll(frame => frame >= 10 && frame <= 15), string.Join(" ", scene.Shown));
                player.LoopMode = LoopMode.Once;
                scene.StepUntilHeard("ended");
                scene.StepUntil(() => scene.PictureNumber == 15, "the range's last");

                scene.Heard.Clear();
                player.ClearPlayRange();
                player.Seek(20);
                player.Play();
                scene.StepUntilHeard("ended");
                scene.StepUntil(() => scene.PictureNumber == 29, "the last frame");
            }
        });
    }

    public static void InterruptionsPauseAndGoOn()
    {
        MakeClip("interrupted.mp4", 100, 50);
        ForBoth(backend =>
        {
            using (var scene = new Scene(backend, false))
            {
                NimbPlayer player = scene.Player;
                scene.Open("interrupted.mp4");
                player.Play();
                Check(!player.IsPlaying, "disabled from the beginning, it waits");
                scene.Enable();
                scene.StepUntilShown(3);
                Send(player, "OnApplicationPause", true);
                scene.Disable();
                Check(!player.IsPlaying, "it pauses");
                Send(player, "OnApplicationPause", false);
                Check(!player.IsPlaying, "it is still disabled");
                scene.Enable();
                Check(player.IsPlaying, "it goes on");
                scene.StepUntilShown(scene.Shown.Count + 3);

                player.Pause();
                Send(player, "OnApplicationPause", true);
                Send(player, "OnApplicationPause", false);
                Check(!player.IsPlaying, "what was paused stays paused");
                Send(player, "OnApplicationFocus", false);
                player.Play();
                Check(player.IsPlaying, "without focus it plays unless told otherwise");
                OpenPlayers.PauseAll(true);
                Check(!player.IsPlaying, "the editor stands still");
                OpenPlayers.PauseAll(false);
                Check(player.IsPlaying, "and goes on");
            }
        });
    }

    public static void FailuresAreToldOnce()
    {
        MakeClip("small.mp4", 5, 50);
        System.IO.File.WriteAllBytes(Folder + "/empty.mp4", new byte[5000]);
        using (var scene = new Scene(PlayerBackend.Platform))
        {
            NimbPlayer player = scene.Player;
            SystemInfo.graphicsDeviceType = GraphicsDeviceType.Vulkan;
            player.Open(ClipFolder.StreamingAssets, "small.mp4");
            Check(scene.Heard.Count == 1 && scene.Heard[0].Contains("OpenGL ES 3") && scene.Heard[0].Contains("Vulkan"),
                "it names the graphics API");
            SystemInfo.graphicsDeviceType = GraphicsDeviceType.OpenGLES3;
            scene.Open("small.mp4");
        }
        ForBoth(backend =>
        {
            using (var scene = new Scene(backend))
            {
                NimbPlayer player = scene.Player;
                foreach (string name in new[] { "missing.mp4", "empty.mp4" })
                {
                    scene.Heard.Clear();
                    player.Open(ClipFolder.StreamingAssets, name);
                    player.Play();
                    Send(player, "Start");
                    scene.StepUntil(() => scene.Heard.Count > 0, "it fails");
                    scene.Step();
                    Check(scene.Heard.Count == 1 && scene.Heard[0].Contains(name), "it names the clip: " + scene.Heard[0]);
                    Check(!player.IsOpen && player.Mesh == null && player.Problem == scene.Heard[0], "nothing is open");
                }
                Action<NimbPlayer> throws = shown => { throw new InvalidOperationException("a listener's fault"); };
                player.Opened += throws;
                scene.Open("small.mp4");
                player.Play();
                scene.StepUntilHeard("looped");
                Check(player.Problem == null, "all is well again");
            }
        });
    }

    public static void ANewDeviceBringsTheSameFrameBack()
    {
        MakeClip("device.mp4", 100, 25);
        using (var scene = new Scene(PlayerBackend.Platform))
        {
            NimbPlayer player = scene.Player;
            scene.Open("device.mp4");
            scene.EndOf(player.Seek(40));
            scene.Step();
            player.Play();
            Mesh mesh = player.Mesh;
            FieldInfo context = typeof(PlatformPlayback).GetField("m_Context", BindingFlags.Instance | BindingFlags.NonPublic);
            context.SetValue(player.Active, 12345u);
            scene.Step();
            Check(player.IsOpening && mesh.IsDestroyed, "what belonged to the old device goes");
            scene.Shown.Clear();
            scene.StepUntil(() => player.IsOpen && player.Frame > 45, "it plays on");
            Check(scene.Shown.TrueForAll(frame => frame >= 40) && scene.Heard.Count == 2, "from there: " + string.Join(" ", scene.Shown));
        }
    }

    /// <summary>Nothing managed may be called by the render thread: the runtime would wait for that thread when it unloads
    /// the scripts' domain.</summary>
    public static void ScriptsCanBeUnloaded()
    {
        string path = MakeClip("unloaded.mp4", 20, 30);
        AppDomain domain = AppDomain.CreateDomain("scripts", null, AppDomain.CurrentDomain.SetupInformation);
        domain.SetData("clip", path);
        domain.DoCallBack(PlayInDomain);
        Stopwatch watch = Stopwatch.StartNew();
        AppDomain.Unload(domain);
        Console.WriteLine("unloaded in " + watch.ElapsedMilliseconds + " ms");
        Check(watch.ElapsedMilliseconds < 10000, "the domain goes");  // a minute if it has to wait for the render thread
    }

    private static void PlayInDomain()
    {
        var path = (string)AppDomain.CurrentDomain.GetData("clip");
        UnityEngine.Video.VideoPlayer.Clips[path] = new double[] { 20, 30 };
        ForBoth(backend =>
        {
            using (var scene = new Scene(backend))
            {
                scene.Open(ClipFolder.Absolute, path);
                scene.Player.Play();
                scene.StepUntilShown(3);
            }
        });
        OpenPlayers.CloseAll();
    }

    public static void PlaysOneClipAfterAnother()
    {
        for (int i = 0; i < 3; ++i)
        {
            MakeClip("list" + i + ".mp4", 10 + i, 50);
        }
        ForBoth(backend =>
        {
            using (var scene = new Scene(backend))
            {
                var list = scene.Player.gameObject.AddComponent<NimbPlaylist>();
                list.Clips = new[] { new NimbPlaylist.Entry { Path = "list0.mp4" }, new NimbPlaylist.Entry { Path = "nowhere.mp4" },
                    new NimbPlaylist.Entry { Path = "list1.mp4" }, new NimbPlaylist.Entry { Path = "list2.mp4" } };
                list.Loop = false;
                bool hasEnded = false;
                list.Ended += ended => hasEnded = true;
                var counts = new List<long>();
                scene.Player.Opened += player => counts.Add(player.FrameCount);
                Send(list, "OnEnable");
                Send(list, "Start");
                scene.StepUntil(() => hasEnded, "the list's end");
                CheckEqual("10 11 12", string.Join(" ", counts), "the clips that were open");

                scene.Open("list0.mp4");
                scene.Player.Prepare(ClipFolder.StreamingAssets, "list2.mp4");
                Until(() => { scene.PassFrame(); return true; }, "");
                for (int i = 0; i < 300; ++i)
                {
                    scene.Step();
                    System.Threading.Thread.Sleep(1);
                }
                scene.Player.Open(ClipFolder.StreamingAssets, "list2.mp4");
                Check(scene.Player.IsOpen, "what was prepared is open at once");
                Send(list, "OnDisable");
            }
        });
    }

    public static void PlayersShareAClock()
    {
        MakeClip("clock a.mp4", 50, 50);
        MakeClip("clock b.mp4", 50, 50);
        ForBoth(backend =>
        {
            using (var left = new Scene(backend))
            using (var right = new Scene(backend))
            {
                left.Open("clock a.mp4");
                right.Open("clock b.mp4");
                var clock = new GameObject("clock", typeof(NimbPlayerClock)).GetComponent<NimbPlayerClock>();
                clock.Players = new[] { left.Player, right.Player };
                Action update = Bind(clock, "Update");
                clock.Seek(0.5);
                clock.Play();
                long skew = 0;
                Until(() =>
                {
                    update();
                    left.Step();
                    right.LateUpdate();
                    Application.Render();
                    bool areBoth = left.Player.IsPlaying && right.Player.IsPlaying && !left.Player.IsSeeking && !right.Player.IsSeeking;
                    bool haveBegun = areBoth && left.Player.Frame >= 25 && right.Player.Frame >= 25;
                    skew = Math.Max(skew, haveBegun ? Math.Abs(left.Player.Frame - right.Player.Frame) : 0);
                    return areBoth && left.Player.Frame >= 35 && left.Player.Frame < 48;
                }, "both play");
                Check(left.Shown.Exists(frame => frame == 25) && !left.Shown.Exists(frame => frame > 0 && frame < 25),
                    "it began where the clock was: " + string.Join(" ", left.Shown));
                Check(skew <= (backend == PlayerBackend.Platform ? 1 : 3), "they are in step: " + skew);
                Check(clock.Time > 0.6 && clock.Time < 2, "the clock's time: " + clock.Time);
                clock.Pause();
                Check(!left.Player.IsPlaying && !right.Player.IsPlaying, "both stand still");
                Send(clock, "OnDisable");
            }
        });
    }

    public static void FramesAllocateNothing()
    {
        MakeClip("steady component.mp4", 50, 50);
        ForBoth(backend =>
        {
            using (var scene = new Scene(backend))
            {
                scene.Open("steady component.mp4");
                scene.Player.Play();
                int shown = 0;
                scene.Player.FrameShown += player => ++shown;
                scene.StepUntilHeard("looped");
                Action frame = scene.LateUpdate;
                Action render = Application.Render;
                Allocated(1000, frame);
                Allocated(10, render);
                scene.Heard.Capacity = 1000;
                shown = 0;
                long bytes = 0, calls = 0;
                Until(() =>
                {
                    UnityEngine.Video.VideoPlayer.UpdateAll(0.02);
                    bytes += Allocated(backend == PlayerBackend.Portable ? 1 : 1000, frame) + Allocated(1, render);
                    ++calls;
                    return shown >= 75;
                }, "75 frames");
                Console.WriteLine(bytes + " bytes in " + calls + " rounds that showed " + shown + " frames of the clip");
                CheckEqual(0L, bytes, "what is allocated");
                Check(Allocated(1000, () => GC.KeepAlive(new object())) >= 16000, "allocations are seen");
            }
        });
    }
}
