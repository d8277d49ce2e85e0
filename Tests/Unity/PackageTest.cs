using System;
using System.Diagnostics;
using System.IO;
using System.Linq;
using Nimb;
using UnityEngine;
using UnityEngine.Rendering;
using static Support;

/// <summary>Clips inside the application package, which another program has packed.</summary>
internal static class PackageTest
{
    private const string Entry = "assets/clips/a.mp4";

    /// <param name="package">The archive that is made.</param>
    /// <param name="file">What is packed, behind other files.</param>
    /// <param name="method">0 stored, 8 deflated.</param>
    private static string Pack(string package, string file, int method)
    {
        string path = Path.Combine(Folder, package);
        const string program = "import sys, zipfile\n" +
            "with zipfile.ZipFile(sys.argv[1], 'w', int(sys.argv[3])) as z:\n" +
            "    z.writestr('classes.dex', bytes(100))\n" +
            "    z.write(sys.argv[2], sys.argv[4])\n" +
            "    z.comment = b'signed PK'";
        var start = new ProcessStartInfo(Environment.GetEnvironmentVariable("NIMB_PYTHON") ?? "python3",
            "-c \"" + program + "\" \"" + path + "\" \"" + file + "\" " + method + " " + Entry) { UseShellExecute = false };
        using (Process process = Process.Start(start))
        {
            process.WaitForExit();
            CheckEqual(0, process.ExitCode, "the packer's status");
        }
        return "jar:file://" + path + "!/" + Entry;
    }

    private static string Fetch(string address, string folder)
    {
        try
        {
            return ClipCache.Fetch(address, folder).Result;
        }
        catch (AggregateException e)
        {
            throw e.GetBaseException();
        }
    }

    public static void CopiesAreWholeAndRenewed()
    {
        var random = new System.Random(1);
        byte[] noise = new byte[300000];
        random.NextBytes(noise);
        byte[] longer = noise.Concat(Enumerable.Repeat((byte)7, 500000)).ToArray();
        string source = Path.Combine(Folder, "source.bin");
        string folder = Folder + "/copies/";

        foreach (int method in new[] { 0, 8 })
        {
            File.WriteAllBytes(source, noise);
            string address = Pack("app.apk", source, method);
            string copy = Fetch(address, folder);
            CheckEqual(Folder + "/copies/" + Entry, copy, "the place of the copy");
            Check(File.ReadAllBytes(copy).SequenceEqual(noise), "the copy is whole");
            File.SetLastWriteTimeUtc(copy, new DateTime(2001, 1, 1));
            Fetch(address, folder);
            CheckEqual(2001, File.GetLastWriteTimeUtc(copy).Year, "the year of a copy that is kept");

            File.WriteAllBytes(source, longer);
            Fetch(Pack("app.apk", source, method), folder);
            Check(File.ReadAllBytes(copy).SequenceEqual(longer), "the copy is made again when the size changes");
            longer[longer.Length / 2] ^= 1;
            File.WriteAllBytes(source, longer);
            Fetch(Pack("app.apk", source, method), folder);
            Check(File.ReadAllBytes(copy).SequenceEqual(longer), "and when the content alone changes");
            File.WriteAllBytes(copy, new byte[longer.Length]);
            string old = Path.GetDirectoryName(copy) + "/old.mp4", other = Folder + "/copies/other.mp4";
            File.WriteAllText(old, "of a package that had it");
            File.WriteAllText(other, "not a copy");
            Fetch(address, folder);
            Check(File.ReadAllBytes(copy).SequenceEqual(longer), "and when the storage has lost it");
            Check(!File.Exists(old) && File.Exists(other), "old copies go, and nothing else");
        }
        CheckEqual(1, Directory.GetFiles(Folder + "/copies/assets/clips").Length, "files in the copies' folder");
    }

    public static void DamagedPackagesAreRefused()
    {
        string source = Path.Combine(Folder, "text.bin");
        string text = string.Concat(Enumerable.Repeat("some text that packs well; ", 3000));
        File.WriteAllText(source, text);
        string folder = Folder + "/refused";
        string address = Pack("whole.apk", source, 8);
        byte[] whole = File.ReadAllBytes(Path.Combine(Folder, "whole.apk"));
        string damaged = Path.Combine(Folder, "damaged.apk");
        string damagedAddress = address.Replace("whole.apk", "damaged.apk");
        int refused = 0;
        for (int i = 0; i < whole.Length; ++i)
        {
            // Cut there, or with one byte of the headers or the directory changed.
            byte[] cut = whole.Take(i).ToArray();
            byte[] changed = (byte[])whole.Clone();
            changed[i] ^= 0xff;
            foreach (byte[] bytes in new[] { cut, changed })
            {
                File.WriteAllBytes(damaged, bytes);
                try
                {
                    Check(File.ReadAllText(Fetch(damagedAddress, folder)) == text, "the copy is right");
                    Directory.Delete(folder, true);
                }
                catch (ClipException e)
                {
                    ++refused;
                    Check(e.Message.Contains("damaged.apk"), "'" + e.Message + "' names the package");
                    Check(!File.Exists(folder + "/" + Entry) && !File.Exists(folder + "/" + Entry + ".part"), "nothing is left");
                }
            }
        }
        Check(refused >= whole.Length, refused + " refused of " + 2 * whole.Length);
        CheckFails(() => Fetch(address + "x", folder), Entry + "x");
        CheckFails(() => Fetch("jar:file://" + Folder + "/none.apk!/" + Entry, folder), "none.apk");
        CheckFails(() => Fetch("jar:file:///no-separator", folder), "no-separator");
    }

    public static void PlayersShareTheCopy()
    {
        SystemInfo.graphicsDeviceType = GraphicsDeviceType.OpenGLES3;
        Application.streamingAssetsPath = Pack("players.apk", MakeClip("packed.mp4", 10, 50), 0).Replace("/clips/a.mp4", "");
        Application.persistentDataPath = Folder + "/data";
        var players = new NimbPlayer[2];
        for (int i = 0; i < players.Length; ++i)
        {
            players[i] = new GameObject("player", typeof(NimbPlayer)).GetComponent<NimbPlayer>();
            Send(players[i], "OnEnable");
            players[i].LoopMode = LoopMode.Once;
            players[i].Open(ClipFolder.StreamingAssets, "clips/a.mp4");
            Check(players[i].IsOpening && !players[i].IsOpen, "it is being fetched");
            players[i].Play();
        }
        Until(() =>
        {
            Array.ForEach(players, player => Send(player, "LateUpdate"));
            return players.All(player => player.HasEnded);
        }, "both have played");
        foreach (NimbPlayer player in players)
        {
            Check(StandIn.MeshNumber(player.Mesh.Objects) >= 8, "the last frame stays");
            Send(player, "OnDestroy");
        }
    }
}
