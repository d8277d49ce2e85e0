using System;
using System.Collections.Generic;
using System.Linq;
using System.Reflection;
using System.Runtime.InteropServices;
using Nimb;
using UnityEngine;
using static Support;

/// <summary>The declarations of the native interface against the library itself.</summary>
internal static class InterfaceTest
{
    public static void RecordsAreLaidOutAsInTheHeader()
    {
        var managed = new SortedDictionary<string, string>(StringComparer.Ordinal);
        foreach (Type record in new[] { typeof(NimbOpenInfo), typeof(NimbFileInfo), typeof(NimbFrameInfo),
                     typeof(NimbSeekEnd), typeof(NimbClockInfo), typeof(NimbShownFrame), typeof(NimbTrouble),
                     typeof(NimbDeviceInfo) })
        {
            managed[record.Name] = "0 " + Marshal.SizeOf(record);
            foreach (FieldInfo field in record.GetFields())
            {
                managed[record.Name + "." + field.Name] = Marshal.OffsetOf(record, field.Name) + " " +
                    Marshal.SizeOf(field.FieldType.IsEnum ? typeof(int) : field.FieldType);
            }
        }
        foreach (Type values in new[] { typeof(NimbState), typeof(NimbFeature), typeof(NimbSeekOption),
                     typeof(NimbSeekResult), typeof(NimbSeekReason), typeof(NimbTroubleReason), typeof(NimbDevice) })
        {
            foreach (object value in Enum.GetValues(values))
            {
                managed[values.Name + "." + value] = (int)value + " 0";
            }
        }

        var native = new SortedDictionary<string, string>(StringComparer.Ordinal);
        foreach (string line in Marshal.PtrToStringAnsi(StandIn.Layout()).TrimEnd().Split('\n'))
        {
            int space = line.IndexOf(' ');
            native[line.Substring(0, space)] = line.Substring(space + 1);
        }
        Check(native.Count > 30, "the header was read");
        foreach (string name in managed.Keys.Union(native.Keys))
        {
            string here, there;
            managed.TryGetValue(name, out here);
            native.TryGetValue(name, out there);
            CheckEqual(there, here, name + " (offset or value, size)");
        }
    }

    public static void EveryFunctionAnswers()
    {
        NimbUnityPluginML.UnityPluginLoad(IntPtr.Zero);
        StartGraphics();
        var open = new NimbOpenInfo { disableAudio = 1 };
        var file = new NimbFileInfo();
        var frame = new NimbFrameInfo { frameId = 7 };
        byte[] path = System.Text.Encoding.UTF8.GetBytes(MakeClip("interface.mp4", 10, 30, hasAudio: true) + "\0");

        int id = NimbUnityPluginML.CreateQuorObject();
        CheckEqual(NimbState.Initialized, NimbUnityPluginML.GetQuorState(id), "the state");
        Check(NimbUnityPluginML.SetComputeNormals(id, false), "normals are set");
        Check(NimbUnityPluginML.OpenQuorObject(id, path, ref open), "it opens");
        Check(NimbUnityPluginML.GetQuorObjectFileInfo(id, ref file), "the file says what it is");
        CheckEqual(10u, file.frameCount, "frames");
        CheckEqual(64u, file.textureHeight, "height");
        CheckEqual(0, (int)file.hasAudio, "sound, which is left alone,");
        Check(Math.Abs(file.maxX - 9.2) < 0.01 && Math.Abs(file.duration - 3333333) < 100000, "box and duration");
        Check(NimbUnityPluginML.GetQuorObjectFrameInfo(id, ref frame), "the frame says what it is");
        CheckEqual(0u, frame.frameId, "a frame before the first");
        CheckEqual(1, NimbUnityPluginML.SetUnityBuffers(id, IntPtr.Zero, 0, 0, IntPtr.Zero, 0, IntPtr.Zero, 0), "SetUnityBuffers");
        Check(NimbUnityPluginML.PlayQuorObject(id), "it plays");
        Check(!NimbUnityPluginML.PlayQuorObject(id), "it does not play twice");
        NimbUnityPluginML.SetClockScale(id, 2);
        Check(!NimbUnityPluginML.SetAudioVolume(id, 0.5f), "there is no sound");
        Check(NimbUnityPluginML.PauseQuorObject(id), "it pauses");
        var end = new NimbSeekEnd();
        CheckEqual(NimbFeature.Seek | NimbFeature.PlayRange | NimbFeature.Clock | NimbFeature.Device |
            NimbFeature.ShownFrame | NimbFeature.Trouble, NimbUnityPluginML.getPlayerFeatures(), "the features");
        Check(NimbUnityPluginML.SetPlayRange(id, 2, 6, true) && !NimbUnityPluginML.SetPlayRange(id, 2, 10, true), "a range");
        CheckEqual(1L, NimbUnityPluginML.SeekQuorObject(id, 4, NimbSeekOption.Pause), "a ticket");
        CheckEqual(2L, NimbUnityPluginML.SeekQuorObjectToTime(id, 3000000, 0), "a ticket");
        CheckEqual(3L, NimbUnityPluginML.StepQuorObject(id, -1), "a ticket");
        Check(NimbUnityPluginML.RewindQuorObject(id), "it rewinds");
        for (long ticket = 1; ticket <= 3; ++ticket)
        {
            Check(NimbUnityPluginML.TakeSeekEnd(id, ref end), "it ended");
            CheckEqual(ticket, end.ticket, "the ticket");
            CheckEqual(NimbSeekResult.Superseded, end.result, "how it ended");
        }
        CheckEqual(8L, end.frame, "a step back from the newest");
        Check(!NimbUnityPluginML.TakeSeekEnd(id, ref end), "that was all");
        CheckEqual(NimbState.Paused, NimbUnityPluginML.GetQuorState(id), "the state");
        var shown = new NimbShownFrame { frame = 7, count = 7 };
        Check(NimbUnityPluginML.GetShownFrame(id, ref shown) && shown.frame == -1 && shown.count == 0, "nothing was shown");
        var trouble = new NimbTrouble();
        Check(!NimbUnityPluginML.TakeTrouble(id, ref trouble), "nothing went wrong");
        var device = new NimbDeviceInfo();
        Check(NimbUnityPluginML.GetDeviceInfo(ref device), "the device");
        CheckEqual(NimbDevice.Ready, device.status, "the device");
        uint context = device.context;
        StandIn.RunEvent(NimbUnityPluginML.GetDeviceEventFunc(), 11);
        Check(NimbUnityPluginML.GetDeviceInfo(ref device) && device.context == context && context > 0, "the same context");
        int clock = NimbUnityPluginML.CreatePlayerClock();
        var reading = new NimbClockInfo();
        Check(clock >= 0 && NimbUnityPluginML.JoinPlayerClock(clock, id), "it joins a clock");
        Check(NimbUnityPluginML.PlayPlayerClock(clock), "the clock plays");
        CheckEqual(NimbState.Playing, NimbUnityPluginML.GetQuorState(id), "the state");
        Check(NimbUnityPluginML.SetPlayerClockSpeed(clock, 2), "the clock's speed");
        CheckEqual(1, NimbUnityPluginML.SeekPlayerClock(clock, 2000000, NimbSeekOption.Pause), "players that go there");
        Check(NimbUnityPluginML.GetPlayerClockInfo(clock, ref reading), "the clock says what it is");
        Check(reading.time == 2000000 && reading.speed == 2 && reading.players == 1 && reading.awaited == 1 &&
            reading.isPlaying == 0, "the clock's time, speed, players and state");
        Check(NimbUnityPluginML.PausePlayerClock(clock), "the clock pauses");
        Check(NimbUnityPluginML.LeavePlayerClock(id) && !NimbUnityPluginML.LeavePlayerClock(id), "it leaves, once");
        Check(NimbUnityPluginML.DestroyPlayerClock(clock) && !NimbUnityPluginML.DestroyPlayerClock(clock), "the clock goes");
        Check(NimbUnityPluginML.CloseQuorObject(id), "it closes");
        Check(NimbUnityPluginML.DestroyQuorObject(id), "it goes");

        Check(!NimbUnityPluginML.OpenQuorObject(id, path, ref open) && !NimbUnityPluginML.RewindQuorObject(id) &&
            !NimbUnityPluginML.CloseQuorObject(id) && !NimbUnityPluginML.DestroyQuorObject(id), "it is gone");
        CheckEqual(NimbState.NotFound, NimbUnityPluginML.GetQuorState(id), "the state");
        CheckEqual(0, NimbUnityPluginML.SetUnityBuffers(id, IntPtr.Zero, 0, 0, IntPtr.Zero, 0, IntPtr.Zero, 0), "SetUnityBuffers");

        Check(NimbUnityPluginML.SetQuorObjectAudio3DPosition(id, 1, 2, 3) && NimbUnityPluginML.SetUseGPU(id, true) &&
            NimbUnityPluginML.TestUnityBuffersValid(id) && NimbUnityPluginML.ReleaseUnityBuffers(id), "what does nothing succeeds");
        Check(Marshal.PtrToStringAnsi(NimbUnityPluginML.getPlatformABI()).StartsWith("This native library"), "the ABI's text");
        StandIn.RunEvent(NimbUnityPluginML.GetRenderEventFunc(), 0);
        StandIn.RunEvent(NimbUnityPluginML.GetUnityRenderModeEventFunc(), id);
        RunOnRenderThread(() => NimbUnityPluginML.UnityRenderEvent(0));
        RunOnRenderThread(() => NimbUnityPluginML.OnUnityRenderModeEvent(id));
    }
}
