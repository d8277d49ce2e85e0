using System;
using System.IO;
using System.Linq;
using System.Text;
using Nimb;
using Nimb.Editor;
using UnityEditor;
using UnityEngine;
using static Support;

/// <summary>What is said of native libraries that cannot be used, with Linux's loader.</summary>
internal static class NativeLoaderTest
{
    private static void CheckSays(string library, params string[] texts)
    {
        string problem = NativeLoader.ProblemWith(library);
        foreach (string text in texts)
        {
            Check(problem != null && problem.Contains(text), "'" + problem + "' says '" + text + "'");
        }
    }

    private static void Replace(byte[] bytes, string from, string to)
    {
        int at = Encoding.ASCII.GetString(bytes).IndexOf(from, StringComparison.Ordinal);
        Check(at > 0, "the library names " + from);
        Encoding.ASCII.GetBytes(to).CopyTo(bytes, at);
    }

    public static void ABuildNeedsTheLibrariesOfItsPlatformAlone()
    {
        Func<BuildTarget, string> needs = target => string.Join(" ", NativeLibrary.All.Where(library => library.IsFor(target))
            .Select(library => library.Place.Substring(0, library.Place.IndexOf('/'))).OrderBy(name => name, StringComparer.Ordinal));
        CheckEqual("Android Source", needs(BuildTarget.Android), "what Android needs");
        CheckEqual("Source", needs(BuildTarget.iOS), "what iOS needs");
        CheckEqual("Linux Linux Linux", needs(BuildTarget.StandaloneLinux64), "what Linux needs");
        CheckEqual("Windows", needs(BuildTarget.StandaloneWindows64), "what Windows needs");
        CheckEqual("macOS", needs(BuildTarget.StandaloneOSX), "what macOS needs");
        CheckEqual("", needs(BuildTarget.WebGL) + needs(BuildTarget.StandaloneWindows), "what there is for others");
    }

    public static void ALibraryThatLoadsHasNoProblem()
    {
        CheckEqual(0L, Allocated(100, () => NativeLoader.ProblemWith(NimbUnityPluginML.Library)), "bytes allocated");
        Check(NativeLoader.ProblemWith(NimbUnityPluginML.Library) == null, "it can be used");
    }

    public static void ALibraryInAnApplicationIsMissingOrCannotBeLoaded()
    {
        Application.dataPath = Folder + "/Game_Data";
        string place = Directory.CreateDirectory(Application.dataPath + "/Plugins/x86_64").FullName;
        CheckSays("Absent", "Absent is missing", "libAbsent.so: cannot open shared object file");

        File.WriteAllText(place + "/libText.so", "not a library");
        CheckSays("Text", "is there, but cannot be loaded", "libText.so", "file too short");

        byte[] bytes = File.ReadAllBytes(Environment.GetEnvironmentVariable("NIMB_LIBRARY"));
        File.WriteAllBytes(place + "/libWhole.so", bytes);
        Check(NativeLoader.ProblemWith("Whole") == null, "it can be loaded");
        Replace(bytes, "libc.so.6", "libq.so.6");
        File.WriteAllBytes(place + "/libDependent.so", bytes);
        CheckSays("Dependent", "is there, but cannot be loaded", "libq.so.6: cannot open shared object file");
    }

    public static void AnEditorSaysWhatThePackageKnows()
    {
        string old = Directory.GetCurrentDirectory();
        string package = Directory.CreateDirectory(Folder + "/project/Packages/com.nimb.volumetric-video").FullName;
        Application.isEditor = true;
        Directory.SetCurrentDirectory(Folder + "/project");
        try
        {
            CheckSays("Absent", "Absent is missing", "Check Native Libraries");
            Directory.CreateDirectory(package + "/Native~");
            File.WriteAllText(package + "/Native~/missing.txt", "macOS/other: no reason\nLinux/x86_64/libAbsent.so: nobody made it\n");
            CheckSays("Absent", "is missing: this package is without it: nobody made it.");
            Directory.CreateDirectory(package + "/Native~/Plugins");
            CheckSays("Absent", "is missing: the package came from a repository", "Install Native Libraries.");

            string place = Directory.CreateDirectory(Folder + "/project/Assets/Nimb/Plugins/Linux/x86_64").FullName;
            File.WriteAllText(place + "/libAbsent.so", "not a library");
            CheckSays("Absent", "cannot be loaded", "file too short");
        }
        finally
        {
            Application.isEditor = false;
            Directory.SetCurrentDirectory(old);
        }
    }
}
