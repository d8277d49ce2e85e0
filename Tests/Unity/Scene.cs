using System;
using System.Collections.Generic;
using Nimb;
using UnityEngine;
using UnityEngine.Rendering;
using UnityEngine.Video;
using static Support;

/// <summary>A player in a stand-in of the engine: its messages are sent, frames go by, and in each of them picture and mesh
/// must be of the same frame of the clip.</summary>
internal sealed class Scene : IDisposable
{
    public readonly NimbPlayer Player;
    public readonly List<int> Shown = new List<int>();
    public readonly List<string> Heard = new List<string>();
    public readonly List<SeekEnd> Ends = new List<SeekEnd>();
    public readonly List<string> Troubles = new List<string>();
    public readonly Action LateUpdate;

    /// <summary>How long the engine's video players take a frame to be. A real one passes in a millisecond or two, so
    /// meshes have less time than this says.</summary>
    public double FrameSeconds = 1.0 / 240;

    public Scene(PlayerBackend backend, bool isEnabled = true)
    {
        SystemInfo.graphicsDeviceType = GraphicsDeviceType.OpenGLES3;
        Application.platform = RuntimePlatform.LinuxPlayer;
        Application.streamingAssetsPath = Folder;
        Application.persistentDataPath = Folder + "/data";
        VideoPlayer.TheHabits = new VideoPlayer.Habits();
        Player = new GameObject("player", typeof(NimbPlayer)).GetComponent<NimbPlayer>();
        Player.Backend = backend;
        LateUpdate = Bind(Player, "LateUpdate");
        Player.Opened += player => Heard.Add("opened");
        Player.OnLooped.AddListener(player => Heard.Add("looped"));
        Player.Ended += player => Heard.Add("ended");
        Player.OnFailed.AddListener((player, reason) => Heard.Add(reason));
        Player.SeekEnded += (player, end) => Ends.Add(end);
        Player.Trouble += (player, trouble) => Troubles.Add(trouble.ToString());
        if (isEnabled)
        {
            Enable();
        }
    }

    public bool IsPortable { get { return Player.ActiveBackend == PlayerBackend.Portable; } }

    public void Enable()
    {
        Player.isActiveAndEnabled = true;
        Send(Player, "OnEnable");
    }

    public void Disable()
    {
        Player.isActiveAndEnabled = false;
        Send(Player, "OnDisable");
    }

    /// <summary>One frame of the engine's, whose video players do their work before and after scripts.</summary>
    public void PassFrame()
    {
        UnityEngine.Time.unscaledDeltaTime = (float)FrameSeconds;
        VideoPlayer.UpdateAll(FrameSeconds / 2);
        if (Player.isActiveAndEnabled)
        {
            LateUpdate();
        }
        VideoPlayer.UpdateAll(FrameSeconds / 2);
        Application.Render();
    }

    public int PictureNumber
    {
        get
        {
            return Player.Texture.Objects != IntPtr.Zero ? StandIn.PictureNumber(Player.Texture.Objects)
                : (int)Player.Texture.Number;
        }
    }

    public int MeshNumber
    {
        get { return Player.Mesh.Objects != IntPtr.Zero ? StandIn.MeshNumber(Player.Mesh.Objects) : (int)Player.Mesh.Number; }
    }

    /// <summary>A frame of the engine's, and a look at what it shows.</summary>
    public void Step()
    {
        PassFrame();
        if (!Player.IsOpen)
        {
            return;
        }
        int number = PictureNumber;
        Check(number >= -1, "the picture is whole");
        CheckEqual(number, MeshNumber, "the mesh's number beside the picture's");
        Check(!IsPortable || number == Player.Frame, "its frame is the one that it names");
        CheckEqual(Player.Info.Bounds.extents.x, Player.Mesh.bounds.extents.x, "the bounds are those of the clip");
        if (number >= 0 && (Shown.Count == 0 || Shown[Shown.Count - 1] != number))
        {
            Shown.Add(number);
        }
    }

    public void StepUntil(Func<bool> condition, string what)
    {
        try
        {
            Until(() => { Step(); return condition(); }, what);
        }
        catch (Exception e)
        {
            throw new Exception(e.Message + "; " + Standing, e);
        }
    }

    /// <summary>How things stand, for who reads of a failure.</summary>
    private string Standing
    {
        get
        {
            return Player.ActiveBackend + (Player.IsOpen ? " at " + Player.Frame : " not open") +
                (Player.IsPlaying ? ", plays" : "") + (Player.HasEnded ? ", has ended" : "") + (Player.IsSeeking ? ", seeks" : "") +
                "; heard: " + string.Join(" ", Heard) + "; shown: " + string.Join(" ", Shown) +
                "; troubles: " + string.Join(" ", Troubles);
        }
    }

    public void StepUntilHeard(string what)
    {
        StepUntil(() => Heard.Contains(what), what);
    }

    public void StepUntilShown(int count)
    {
        StepUntil(() => Shown.Count >= count, count + " frames");
    }

    public void Open(ClipFolder folder, string path)
    {
        Player.Open(folder, path);
        StepUntil(() => !Player.IsOpening, "it opens");
        Check(Player.IsOpen, "it is open: " + string.Join(" ", Heard));
    }

    public void Open(string name)
    {
        Open(ClipFolder.StreamingAssets, name);
    }

    /// <summary>How a request ended, once it has.</summary>
    public SeekEnd EndOf(long ticket)
    {
        Check(ticket > 0, "there is a ticket");
        StepUntil(() => Ends.Exists(end => end.Ticket == ticket), "the end of " + ticket);
        return Ends.Find(end => end.Ticket == ticket);
    }

    public void Dispose()
    {
        Disable();
        Send(Player, "OnDestroy");
    }
}
