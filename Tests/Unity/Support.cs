using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.IO;
using System.Reflection;
using System.Threading;
using Nimb;
using UnityEngine;

/// <summary>What the managed tests share: checks, clips, the engine's way of driving a player.</summary>
internal static class Support
{
    public const int PatienceMilliseconds = 20000;
    private const int EventInitialize = 0;
    private const int OpenGles3 = 11;

    public static readonly string Folder = Path.Combine(Path.GetTempPath(), "nimb-unity-" + Process.GetCurrentProcess().Id);

    private delegate void RenderEvent(int eventId);

    public static void Check(bool condition, string what)
    {
        if (!condition)
        {
            throw new Exception("not so: " + what);
        }
    }

    public static void CheckEqual<T>(T expected, T actual, string what)
    {
        Check(EqualityComparer<T>.Default.Equals(expected, actual), what + " is " + actual + ", expected " + expected);
    }

    /// <summary>Expects a failure whose message names all of these.</summary>
    public static void CheckFails(Action action, params string[] named)
    {
        try
        {
            action();
        }
        catch (ClipException e)
        {
            foreach (string text in named)
            {
                Check(e.Message.Contains(text), "'" + e.Message + "' names '" + text + "'");
            }
            return;
        }
        Check(false, "it fails, naming " + string.Join(", ", named));
    }

    /// <summary>A clip whose frames are numbered from 0, in picture and mesh.</summary>
    public static string MakeClip(string name, int frameCount, int frameRate, int size = 64, int meshColumns = 12,
        bool hasAudio = false, int frameWithoutMesh = -1, bool hasStrips = false)
    {
        string path = Path.Combine(Folder, name);
        StandIn.MakeClip(path, frameCount, frameRate, size, meshColumns, hasAudio ? 1 : 0, frameWithoutMesh,
            hasStrips ? 1 : 0);
        UnityEngine.Video.VideoPlayer.Clips[path] = new double[] { frameCount, frameRate };
        return path;
    }

    public static void RunOnRenderThread(Action action)
    {
        Exception failure = null;
        RenderEvent run = eventId =>
        {
            try
            {
                action();
            }
            catch (Exception e)
            {
                failure = e;
            }
        };
        StandIn.RunEvent(System.Runtime.InteropServices.Marshal.GetFunctionPointerForDelegate(run), 0);
        GC.KeepAlive(run);
        if (failure != null)
        {
            throw failure;
        }
    }

    public static void StartGraphics()
    {
        RunOnRenderThread(() => NimbUnityPluginML.UnitySetGraphicsDevice(IntPtr.Zero, OpenGles3, EventInitialize));
    }

    /// <summary>Calls it every millisecond until it returns true.</summary>
    public static void Until(Func<bool> step, string what)
    {
        Stopwatch watch = Stopwatch.StartNew();
        while (!step())
        {
            Check(watch.ElapsedMilliseconds < PatienceMilliseconds, "in time: " + what);
            Thread.Sleep(1);
        }
    }

    /// <summary>Calls one of the engine's messages, which are private.</summary>
    public static void Send(object component, string message, params object[] arguments)
    {
        component.GetType().GetMethod(message, BindingFlags.Instance | BindingFlags.NonPublic).Invoke(component, arguments);
    }

    /// <summary>A private function without arguments as a delegate, which can be called without allocating.</summary>
    public static Action Bind(object component, string message)
    {
        return (Action)Delegate.CreateDelegate(typeof(Action), component, message);
    }

    /// <summary>Bytes that this thread allocates in so many calls.</summary>
    public static long Allocated(int calls, Action action)
    {
        action();
        long before = GC.GetAllocatedBytesForCurrentThread();
        for (int i = 0; i < calls; ++i)
        {
            action();
        }
        return GC.GetAllocatedBytesForCurrentThread() - before;
    }

    /// <summary>Frames in the order shown: each after the one before, nearly all of them there.</summary>
    public static void CheckInOrder(List<int> shown, int frameCount)
    {
        string list = string.Join(" ", shown);
        for (int i = 1; i < shown.Count; ++i)
        {
            Check(shown[i] > shown[i - 1], "in order: " + list);
        }
        Check(shown.Count >= frameCount - frameCount / 5 - 3 && shown.Count <= frameCount, "nearly all frames: " + list);
    }
}
