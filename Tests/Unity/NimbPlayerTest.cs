using System;
using System.Collections.Generic;
using Nimb;
using UnityEngine;
using UnityEngine.Rendering;
using static Support;

/// <summary>The component in a stand-in of the engine: its messages are sent, its objects are real GL objects.</summary>
internal static class NimbPlayerTest
{
    private sealed class Scene : IDisposable
    {
        public readonly NimbPlayer Player;
        public readonly List<int> Shown = new List<int>();
        public readonly List<string> Heard = new List<string>();
        public readonly Action LateUpdate;

        public Scene(bool isEnabled = true)
        {
            SystemInfo.graphicsDeviceType = GraphicsDeviceType.OpenGLES3;
            Application.streamingAssetsPath = Folder;
            Application.persistentDataPath = Folder + "/data";
            Player = new GameObject("player", typeof(NimbPlayer)).GetComponent<NimbPlayer>();
            LateUpdate = Bind(Player, "LateUpdate");
            Player.Opened += player => Heard.Add("opened");
            Player.OnLooped.AddListener(player => Heard.Add("looped"));
            Player.Ended += player => Heard.Add("ended");
            Player.OnFailed.AddListener((player, reason) => Heard.Add(reason));
            Player.FrameShown += CheckBounds;
            if (isEnabled)
            {
                Send(Player, "OnEnable");
            }
        }

        /// <summary>One frame of the engine's; picture and mesh must be of the same frame of the clip.</summary>
        public void Step()
        {
            LateUpdate();
            if (!Player.IsOpen)
            {
                return;
            }
            int number = StandIn.PictureNumber(Player.Texture.Objects);
            Check(number >= -1, "the picture is whole");
            CheckEqual(number, StandIn.MeshNumber(Player.Mesh.Objects), "the mesh's number beside the picture's");
            if (number >= 0 && (Shown.Count == 0 || Shown[Shown.Count - 1] != number))
            {
                Shown.Add(number);
            }
        }

        public void CheckBounds(NimbPlayer player)
        {
            Check(Math.Abs(Player.Mesh.bounds.extents.x - 0.1) < 0.01, "the bounds are the frame's");
            Check(Math.Abs(Player.Mesh.bounds.center.x - Player.Frame.minX - 0.1) < 0.01, "and where it is");
            CheckEqual(Player.FileInfo.maxIndexCount, Player.Mesh.GetIndexCount(0), "indices that are drawn");
        }

        public void StepUntilHeard(string what)
        {
            Until(() => { Step(); return Heard.Contains(what); }, what);
        }

        public void StepUntilShown(int count)
        {
            Until(() => { Step(); return Shown.Count >= count; }, count + " frames");
        }

        public void Dispose()
        {
            Send(Player, "OnDisable");
            Send(Player, "OnDestroy");
        }
    }

    public static void PlaysWhatItIsGiven()
    {
        MakeClip("Straße ☃ 録画.mp4", 20, 30, hasAudio: true);
        MakeClip("second.mp4", 10, 50, 128, 20);
        using (var scene = new Scene())
        {
            NimbPlayer player = scene.Player;
            player.Loop = false;
            player.Open(ClipFolder.StreamingAssets, "Straße ☃ 録画.mp4");
            CheckEqual(1, (int)player.FileInfo.hasAudio, "sound");
            player.Play();
            Send(player, "Start");
            scene.StepUntilHeard("ended");
            CheckInOrder(scene.Shown, 20);
            for (int i = 0; i < 5; ++i)
            {
                scene.Step();
            }
            CheckEqual("opened ended", string.Join(" ", scene.Heard), "what was heard");
            Check(player.HasEnded && !player.IsPlaying, "it has ended");
            Check(Math.Abs(player.Frame.minX - scene.Shown[scene.Shown.Count - 1]) < 1.1, "the last box stays");

            scene.Shown.Clear();
            scene.Heard.Clear();
            player.Play();
            Check(!player.HasEnded && player.IsPlaying, "it plays again");
            scene.StepUntilHeard("ended");
            scene.Shown.RemoveAt(0);  // still there from the pass before
            CheckInOrder(scene.Shown, 20);
            Mesh firstMesh = player.Mesh;
            Check(player.GetComponent<MeshFilter>().sharedMesh == firstMesh, "the filter shows the mesh");
            Check(player.GetComponent<MeshRenderer>().sharedMaterial.mainTexture == player.Texture, "and the renderer the texture");

            scene.Shown.Clear();
            scene.Heard.Clear();
            player.Loop = true;
            player.Open(ClipFolder.Absolute, Folder + "/second.mp4");
            Check(firstMesh.IsDestroyed && player.Mesh.vertexCount > firstMesh.vertexCount, "the mesh was made anew");
            CheckEqual(128, player.Texture.width, "the texture's width");
            player.Play();
            scene.StepUntilHeard("looped");
            Check(player.IsPlaying && player.Mesh.bounds.center.y > 0, "it goes on");

            Action<NimbPlayer> close = shown => player.Close();
            player.FrameShown += close;
            Until(() => { scene.LateUpdate(); return !player.IsOpen; }, "a listener closes");
            player.FrameShown -= close;
            Check(player.Mesh == null && player.Frame.vertexCount == 0, "nothing is left");
        }
    }

    public static void LoopsAndRewinds()
    {
        MakeClip("loop.mp4", 10, 50);
        using (var scene = new Scene())
        {
            NimbPlayer player = scene.Player;
            player.Open(ClipFolder.StreamingAssets, "loop.mp4");
            player.Play();
            for (int pass = 0; pass < 3; ++pass)
            {
                scene.Heard.Clear();
                scene.StepUntilHeard("looped");
                Check(player.IsPlaying, "it goes on");
            }
            player.Rewind();
            Check(!player.IsPlaying && player.IsOpen && player.Frame.vertexCount != 0, "it waits, and the frame stays");
            scene.Shown.Clear();
            scene.Heard.Clear();
            player.Speed = 0.5f;
            player.Play();
            scene.StepUntilHeard("looped");
            Check(scene.Shown.Contains(0) || scene.Shown.Contains(1), "it began at the start: " + string.Join(" ", scene.Shown));
        }
    }

    public static void InterruptionsPauseAndGoOn()
    {
        MakeClip("interrupted.mp4", 100, 50);
        using (var scene = new Scene(false))
        {
            NimbPlayer player = scene.Player;
            player.Open(ClipFolder.StreamingAssets, "interrupted.mp4");
            player.Play();
            Check(player.IsOpen && !player.IsPlaying, "disabled from the beginning, it waits");
            Send(player, "OnEnable");
            scene.StepUntilShown(3);
            Send(player, "OnApplicationPause", true);
            Send(player, "OnDisable");
            Check(!player.IsPlaying, "it pauses");
            Send(player, "OnApplicationPause", false);
            Check(!player.IsPlaying, "it is still disabled");
            int shown = scene.Shown.Count;
            scene.Step();
            CheckEqual(shown, scene.Shown.Count, "frames shown");
            Send(player, "OnEnable");
            Check(player.IsPlaying, "it goes on");
            scene.StepUntilShown(shown + 3);

            player.Pause();
            Send(player, "OnApplicationPause", true);
            Send(player, "OnApplicationPause", false);
            Check(!player.IsPlaying, "what was paused stays paused");
            Send(player, "OnApplicationFocus", false);
            player.Play();
            Check(player.IsPlaying, "without focus it plays unless told otherwise");
        }
    }

    public static void FailuresAreToldOnce()
    {
        MakeClip("small.mp4", 5, 50);
        using (var scene = new Scene())
        {
            NimbPlayer player = scene.Player;
            SystemInfo.graphicsDeviceType = GraphicsDeviceType.Vulkan;
            player.Open(ClipFolder.StreamingAssets, "small.mp4");
            Check(scene.Heard.Count == 1 && scene.Heard[0].Contains("OpenGL ES 3") && scene.Heard[0].Contains("Vulkan"),
                "it names the graphics API");
            SystemInfo.graphicsDeviceType = GraphicsDeviceType.OpenGLES3;
            player.Open(ClipFolder.StreamingAssets, "missing.mp4");
            player.Play();
            Send(player, "Start");
            scene.Step();
            Check(scene.Heard.Count == 2 && scene.Heard[1].Contains("missing.mp4"), "it names the clip: " + scene.Heard[1]);
            Check(!player.IsOpen && player.Mesh == null, "nothing is open");
            player.Open(ClipFolder.StreamingAssets, "small.mp4");
            player.Play();
            scene.StepUntilHeard("looped");
        }
    }

    public static void FramesAllocateNothing()
    {
        MakeClip("steady component.mp4", 50, 50);
        using (var scene = new Scene())
        {
            scene.Player.Open(ClipFolder.StreamingAssets, "steady component.mp4");
            scene.Player.Play();
            int shown = 0;
            Action<NimbPlayer> count = player => ++shown;
            scene.Player.FrameShown -= scene.CheckBounds;  // it allocates
            scene.Player.FrameShown += count;
            scene.StepUntilHeard("looped");
            Allocated(2000, scene.LateUpdate);
            scene.Heard.Capacity = 1000;
            shown = 0;
            long bytes = 0, calls = 0;
            Until(() =>
            {
                bytes += Allocated(1000, scene.LateUpdate);
                calls += 1000;
                return shown >= 75;
            }, "75 frames");
            Console.WriteLine(bytes + " bytes in " + calls + " frames of the engine that showed " + shown + " of the clip");
            CheckEqual(0L, bytes, "what is allocated");
            Check(Allocated(1000, () => GC.KeepAlive(new object())) >= 16000, "allocations are seen");
        }
    }
}
