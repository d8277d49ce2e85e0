using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.IO;
using System.Net;
using System.Threading;
using Nimb;
using UnityEngine;
using UnityEngine.Video;
using static Support;

/// <summary>The portable back end with a video player that has every bad habit.</summary>
internal static class PortableTest
{
    /// <summary>Whatever is asked of it, and whatever the video player does, picture and mesh are of one frame: Step looks
    /// at that in every frame of the engine.</summary>
    public static void RandomSequencesKeepPictureAndMeshTogether()
    {
        PlayRandomly(PlayerBackend.Portable, 200);
        PlayRandomly(PlayerBackend.Platform, 40);
    }

    private static void PlayRandomly(PlayerBackend backend, int rounds)
    {
        string path = MakeClip("random.mp4", 90, 30);
        var random = new Random(12345);
        int shown = 0, done = 0, requests = 0;
        for (int round = 0; round < rounds; ++round)
        {
            using (var scene = new Scene(backend) { FrameSeconds = 1.0 / 72 })
            {
                VideoPlayer.TheHabits = new VideoPlayer.Habits
                {
                    Latency = random.Next(6),
                    LateShare = random.NextDouble() * 0.5,
                    SkippedShare = random.NextDouble() * 0.5,
                    IsSilentAboutSameFrame = random.Next(2) == 0
                };
                scene.Open(ClipFolder.Absolute, path);
                for (int i = 0; i < 12; ++i)
                {
                    requests += Act(scene.Player, random) ? 1 : 0;
                    for (int frame = random.Next(20); frame > 0; --frame)
                    {
                        scene.Step();
                        Thread.Sleep(random.Next(2));
                    }
                }
                UnityEngine.Time.Skipped += 1.5f;  // which is how long a video player may stay silent
                scene.StepUntil(() => !scene.Player.IsSeeking, "all requests end");
                shown += scene.Shown.Count;
                done += scene.Ends.FindAll(end => end.Result == NimbSeekResult.Done).Count;
                foreach (SeekEnd end in scene.Ends)
                {
                    CheckEqual(1, scene.Ends.FindAll(other => other.Ticket == end.Ticket).Count, "ends of a ticket");
                    Check(end.Result != NimbSeekResult.Failed, "it fails: " + end.Reason);
                }
            }
        }
        Console.WriteLine(backend + ": " + shown + " frames shown, " + done + " of " + requests + " requests done");
        Check(shown > rounds * 3 && done > rounds, "there was much to see");
    }

    /// <returns>Whether it was a request for a frame.</returns>
    private static bool Act(NimbPlayer player, Random random)
    {
        switch (random.Next(10))
        {
            case 0: player.Pause(); return false;
            case 1: player.Rewind(); return false;
            case 2: player.LoopMode = (LoopMode)random.Next(2); return false;
            case 3: player.Speed = 0.5f + 2 * (float)random.NextDouble(); return false;
            case 4: player.SetPlayRange(20, 20 + random.Next(60)); return false;
            case 5: player.ClearPlayRange(); return false;
            case 6: return player.Step(random.Next(7) - 3) != 0;
            case 7: return player.Seek(random.Next(90), (SeekOptions)random.Next(2)) != 0;
            default: player.Play(); return false;
        }
    }

    public static void VideoPlayersThatMissAreNotBelieved()
    {
        MakeClip("missed.mp4", 60, 30);
        using (var scene = new Scene(PlayerBackend.Portable))
        {
            scene.Open("missed.mp4");
            scene.StepUntilShown(1);
            VideoPlayer.TheHabits.SeekError = 1;
            SeekEnd end = scene.EndOf(scene.Player.Seek(30, SeekOptions.Pause));
            Check(end.Result == NimbSeekResult.Done && end.Frame == 31, "the frame that came is told: " + end.Frame);
            VideoPlayer.TheHabits.NeverShowsSeeks = true;
            long ticket = scene.Player.Seek(10);
            scene.Step();
            UnityEngine.Time.Skipped += 5;
            end = scene.EndOf(ticket);
            Check(end.Result == NimbSeekResult.Failed && end.Reason == NimbSeekReason.NoPicture, "what never comes fails");
            CheckEqual(31, scene.PictureNumber, "what is shown stays");
        }
    }

    public static void StripsBecomeTriangles()
    {
        MakeClip("strips.mp4", 20, 30, hasStrips: true);
        using (var scene = new Scene(PlayerBackend.Portable))
        {
            scene.Open("strips.mp4");
            scene.Player.Play();
            scene.StepUntilHeard("looped");
            CheckEqual(11u * 9 * 6, scene.Player.Mesh.GetIndexCount(0), "indices");
        }
    }

    public static void TroubleIsTold()
    {
        MakeClip("hole.mp4", 30, 30, frameWithoutMesh: 15);
        using (var scene = new Scene(PlayerBackend.Portable))
        {
            scene.Open("hole.mp4");
            scene.Player.LoopMode = LoopMode.Once;
            scene.Player.Play();
            scene.StepUntilHeard("ended");
            Check(scene.Troubles.Exists(what => what.Contains("1 picture(s) without a mesh from frame 15")),
                string.Join("; ", scene.Troubles));
            Check(!scene.Shown.Contains(15) && scene.Shown.Contains(16), "it is passed over");
            CheckEqual(NimbSeekReason.NoMesh, scene.EndOf(scene.Player.Seek(15)).Reason, "the reason");
            scene.Troubles.Clear();
            scene.Player.Rewind();
            scene.Player.Play();
            Application.Render();
            UnityEngine.Time.Skipped += 4;
            Until(() => { scene.LateUpdate(); Application.Render(); return scene.Troubles.Count > 0; }, "a video player that hangs");
            Check(scene.Troubles[0].Contains("stands still"), scene.Troubles[0]);
        }
    }

    public static void OutputsAreWhatWasAskedFor()
    {
        MakeClip("output.mp4", 10, 30);
        using (var scene = new Scene(PlayerBackend.Portable))
        {
            NimbPlayer player = scene.Player;
            var renderer = player.GetComponent<MeshRenderer>();
            Material own = renderer.sharedMaterial = new Material(new Shader());
            var former = new MaterialPropertyBlock();
            former.SetFloat(Shader.PropertyToID("_Other"), 5);
            renderer.SetPropertyBlock(former);
            player.UsePropertyBlock = true;
            player.TextureProperty = "_BaseMap";
            player.MipMaps = true;
            player.TargetTexture = new RenderTexture(8, 8, 0, RenderTextureFormat.ARGB32, RenderTextureReadWrite.sRGB);
            scene.Open("output.mp4");
            scene.StepUntilShown(1);
            var block = new MaterialPropertyBlock();
            renderer.GetPropertyBlock(block);
            Check(renderer.sharedMaterial == own, "the renderer's own material stays");
            Check(block.GetTexture(Shader.PropertyToID("_BaseMap")) == player.Texture, "and gets the picture");
            CheckEqual(5f, block.GetFloat(Shader.PropertyToID("_Other")), "beside what it had");
            CheckEqual(0L, player.TargetTexture.Number, "the picture in the target");
            Check(((RenderTexture)player.Texture).useMipMap, "with mip levels");
            ((RenderTexture)player.Texture).Release();
            scene.PassFrame();
            CheckEqual(0L, player.Texture.Number, "what the device has lost is drawn again");
            player.Close();
            renderer.GetPropertyBlock(block);
            Check(block.GetTexture(Shader.PropertyToID("_BaseMap")) == null && renderer.HasPropertyBlock(), "its block comes back");
        }
    }

    public static void EditModeShowsWhatItIsTold()
    {
        MakeClip("edited.mp4", 30, 30);
        using (var scene = new Scene(PlayerBackend.Portable))
        {
            Application.isPlaying = false;
            try
            {
                scene.Player.Open(ClipFolder.StreamingAssets, "edited.mp4");
                Send(scene.Player, "Start");
                long ticket = scene.Player.Seek(12, SeekOptions.Pause);
                // No cameras render, and the engine updates only while there is something to do.
                Until(() =>
                {
                    Check(scene.Player.IsBusy, "it needs updates");
                    VideoPlayer.UpdateAll(0.02);
                    scene.LateUpdate();
                    return scene.Ends.Count > 0;
                }, "the frame");
                Check(scene.Ends[0].Ticket == ticket && scene.PictureNumber == 12 && scene.MeshNumber == 12, "it is shown");
                Check(!scene.Player.IsBusy, "and needs no more updates");
            }
            finally
            {
                Application.isPlaying = true;
            }
        }
    }

    public static void ClipsComeFromWebServers()
    {
        byte[] clip = File.ReadAllBytes(MakeClip("web.mp4", 40, 30, 64, 60));
        using (var server = new HttpListener())
        {
            string address = "http://127.0.0.1:" + (20000 + Process.GetCurrentProcess().Id % 20000) + "/";
            server.Prefixes.Add(address);
            server.Start();
            var site = new Site(server, clip);
            using (var scene = new Scene(PlayerBackend.Automatic))
            {
                VideoPlayer.Clips[address + "web.mp4"] = new double[] { 40, 30 };
                scene.Open(ClipFolder.Url, address + "web.mp4");
                Check(scene.IsPortable && scene.Player.Limits.Contains("addresses"), "the other back end, and why");
                scene.EndOf(scene.Player.Seek(33));
                CheckEqual(33, scene.PictureNumber, "the frame");
                Check(site.Requests > 1, "it asked again after the server's fault");
                site.HasRanges = false;
                scene.Player.Open(ClipFolder.Url, address + "web.mp4");
                scene.StepUntil(() => scene.Player.Problem != null, "it fails");
                Check(scene.Player.Problem.Contains("ranges"), scene.Player.Problem);
            }
        }
    }

    /// <summary>Serves ranges of one file, but for its first answer.</summary>
    private sealed class Site
    {
        public volatile bool HasRanges = true;
        public volatile int Requests;
        private readonly HttpListener m_Server;
        private readonly byte[] m_File;

        public Site(HttpListener server, byte[] file)
        {
            m_Server = server;
            m_File = file;
            server.BeginGetContext(Serve, null);
        }

        private void Serve(IAsyncResult result)
        {
            try
            {
                HttpListenerContext context = m_Server.EndGetContext(result);
                string[] range = context.Request.Headers["Range"].Substring("bytes=".Length).Split('-');
                int first = int.Parse(range[0]), last = Math.Min(int.Parse(range[1]), m_File.Length - 1);
                if (++Requests == 1)
                {
                    context.Response.StatusCode = 503;
                }
                else if (HasRanges)
                {
                    context.Response.StatusCode = 206;
                    context.Response.Headers["Content-Range"] = "bytes " + first + "-" + last + "/" + m_File.Length;
                    context.Response.OutputStream.Write(m_File, first, last - first + 1);
                }
                context.Response.Close();
                m_Server.BeginGetContext(Serve, null);
            }
            catch (Exception e) when (e is ObjectDisposedException || e is HttpListenerException || e is IOException)
            {
                // The test is over.
            }
        }
    }

    public static void NothingIsLeftBehind()
    {
        string path = MakeClip("often.mp4", 10, 30);
        foreach (PlayerBackend backend in new[] { PlayerBackend.Portable, PlayerBackend.Platform })
        {
            for (int round = 0; round < 20; ++round)
            {
                PlayOnce(backend, path, round);
            }
            OpenPlayers.CloseAll();
            int threads = ThreadCount();
            long memory = Memory();
            for (int round = 0; round < Rounds; ++round)
            {
                PlayOnce(backend, path, round);
            }
            OpenPlayers.CloseAll();
            Console.WriteLine(backend + ": " + threads + " threads and " + (memory >> 20) + " MB before " + Rounds + " rounds, "
                + ThreadCount() + " and " + (Memory() >> 20) + " after");
            Check(ThreadCount() <= threads + 3, "threads");  // the runtime's own pool breathes
            Check(Memory() <= memory + (24 << 20), "memory");
            CheckEqual(0, VideoPlayer.All.Count, "video players");
        }
        using (var scene = new Scene(PlayerBackend.Portable, false))
        {
            scene.Open(ClipFolder.Absolute, path);
            UnityEngine.Object.Destroy(scene.Player);
            Application.Render();
            CheckEqual(0, VideoPlayer.All.Count, "video players of a player that was never active");
        }
    }

    private static int Rounds
    {
        get
        {
            string rounds = Environment.GetEnvironmentVariable("NIMB_UNITY_ROUNDS");
            return string.IsNullOrEmpty(rounds) ? 100 : int.Parse(rounds);
        }
    }

    private static void PlayOnce(PlayerBackend backend, string path, int round)
    {
        using (var scene = new Scene(backend))
        {
            scene.Player.Open(ClipFolder.Absolute, path);
            if (round % 5 == 0)
            {
                scene.Step();
                return;  // while it opens
            }
            scene.StepUntil(() => scene.Player.IsOpen, "it opens");
            scene.Player.Play();
            scene.StepUntilShown(2);
        }
    }

    private static int ThreadCount()
    {
        return Directory.GetDirectories("/proc/self/task").Length;
    }

    private static long Memory()
    {
        GC.Collect();
        GC.WaitForPendingFinalizers();
        string[] fields = File.ReadAllText("/proc/self/statm").Split(' ');
        return long.Parse(fields[1]) * 4096;
    }
}
