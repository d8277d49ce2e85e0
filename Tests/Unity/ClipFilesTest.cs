using System.IO;
using Nimb.Editor;
using static Support;

/// <summary>What the editor does with files that are dropped onto it.</summary>
internal static class ClipFilesTest
{
    public static void ClipsAreToldFromOtherVideos()
    {
        string clip = MakeClip("dropped.mp4", 5, 25);
        Check(ClipFiles.IsClip(clip), "a clip");
        byte[] bytes = File.ReadAllBytes(clip);
        string other = Path.Combine(Folder, "other.MP4");
        File.WriteAllBytes(other, bytes);
        Check(ClipFiles.IsClip(other), "with a loud name");
        File.Copy(clip, Path.Combine(Folder, "dropped.webm"));
        Check(!ClipFiles.IsClip(Path.Combine(Folder, "dropped.webm")), "of another kind");
        foreach (int length in new[] { 0, 100, 1024, bytes.Length - 800 })
        {
            System.Array.Resize(ref bytes, length);
            File.WriteAllBytes(other, bytes);
            Check(!ClipFiles.IsClip(other), "cut after " + length + " bytes");
        }
        Check(!ClipFiles.IsClip(Path.Combine(Folder, "none.mp4")), "that is not there");
        Directory.CreateDirectory(Path.Combine(Folder, "folder.mp4"));
        Check(!ClipFiles.IsClip(Path.Combine(Folder, "folder.mp4")), "a folder");
    }

    public static void FilesAreCopiedOnceAndNeverLost()
    {
        string source = Path.Combine(Folder, "a clip.mp4"), folder = Path.Combine(Folder, "new/StreamingAssets");
        File.WriteAllText(source, "one");
        CheckEqual("a clip.mp4", ClipFiles.CopyInto(folder, source), "the copy's name");
        CheckEqual("a clip.mp4", ClipFiles.CopyInto(folder, source), "and the second time");
        File.WriteAllText(source, "two");
        CheckEqual("a clip 1.mp4", ClipFiles.CopyInto(folder, source), "of another file of that name");
        CheckEqual("a clip 1.mp4", ClipFiles.CopyInto(folder, source), "and the second time");
        CheckEqual("one", File.ReadAllText(folder + "/a clip.mp4"), "the first copy");
        CheckEqual("two", File.ReadAllText(folder + "/a clip 1.mp4"), "the second copy");

        CheckEqual("a clip.mp4", ClipFiles.Below(folder, folder + "/a clip.mp4"), "the name below the folder");
        CheckEqual("b/c.mp4", ClipFiles.Below(folder + "/", folder + "/x/../b/c.mp4"), "the name further below");
        CheckEqual(null, ClipFiles.Below(folder, folder + "2/a.mp4"), "the name in a folder beside it");
        CheckEqual(null, ClipFiles.Below(folder, source), "the name elsewhere");
    }
}
