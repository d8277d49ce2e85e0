using System;
using System.IO;
using Nimb;
using static Support;

/// <summary>What the player without an engine refuses; what it plays, the component's tests show.</summary>
internal static class QuorPlayerTest
{
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
            Check(player.IsOpen && player.FileInfo.frameCount == 5 && !player.Pause(), "the next one opens");
            player.Close();
            Check(!player.IsOpen && !player.Play() && player.State == NimbState.Closed, "and closes");
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
        CheckFails(() => ClipPath.Resolve(ClipFolder.Url, "clip.mp4", "/s", "/p"), "clip.mp4", "http");
        CheckEqual("C:\\clip.mp4", ClipPath.Resolve(ClipFolder.Absolute, "C:\\clip.mp4", "/s", "/p"), "the path");
        CheckEqual("/s/a/b.mp4", ClipPath.Resolve(ClipFolder.StreamingAssets, "a/b.mp4", "/s/", "/p"), "the path");
    }
}
