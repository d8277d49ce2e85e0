using System;
using System.Collections.Generic;
using System.IO;
using System.Reflection;

/// <summary>Runs the tests of one class, or all; every public function is a test.</summary>
internal static class Program
{
    private static readonly Type[] s_Classes =
    {
        typeof(InterfaceTest), typeof(QuorPlayerTest), typeof(NimbPlayerTest), typeof(PortableTest), typeof(PackageTest),
        typeof(NativeLoaderTest), typeof(TimelineTest), typeof(TimelineTrackTest),
        typeof(EditModeTest), typeof(ClipFilesTest)
    };

    private static void Main(string[] names)
    {
        int failed = 0, run = 0;
        Directory.CreateDirectory(Support.Folder);
        foreach (Type type in s_Classes)
        {
            if (names.Length != 0 && Array.IndexOf(names, type.Name) < 0)
            {
                continue;
            }
            foreach (MethodInfo test in type.GetMethods(BindingFlags.Static | BindingFlags.Public))
            {
                ++run;
                failed += Run(type.Name + "." + test.Name, (Action)Delegate.CreateDelegate(typeof(Action), test)) ? 0 : 1;
            }
        }
        Directory.Delete(Support.Folder, true);
        Console.WriteLine(run - failed + " passed, " + failed + " failed");
        Console.Out.Flush();
        // Not by returning: Mono would wait for the render thread, which it knows since it has called managed code.
        UnityEngine.StandIn.Exit(failed == 0 && run > 0 ? 0 : 1);
    }

    private static bool Run(string name, Action test)
    {
        Console.WriteLine(name);
        try
        {
            test();
            return true;
        }
        catch (Exception e)
        {
            Console.WriteLine("FAILED " + name + ": " + e);
            return false;
        }
    }
}
