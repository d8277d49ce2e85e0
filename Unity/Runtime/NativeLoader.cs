using System;
using System.IO;
using UnityEngine;

namespace Nimb
{
    /// <summary>Says why a native library cannot be used: it is missing, or it is there and the system cannot load it.</summary>
    internal static class NativeLoader
    {
        /// <summary>Loads a library, if it is not loaded yet. Belongs to the script thread.</summary>
        /// <param name="library">Its name as in DllImport.</param>
        /// <returns>Null when it can be used; otherwise sentences for the user. Never throws; allocates only then.</returns>
        internal static string ProblemWith(string library)
        {
            bool isProbed;
            try
            {
                isProbed = Probe(library);
                if (isProbed)
                {
                    return null;
                }
            }
            catch (EntryPointNotFoundException)
            {
                return library == "__Internal" ?
                    "The application was built without nimb_clip.cpp, which the package has under Runtime/Plugins/Source." :
                    "The native library " + library + " is of another version than the scripts. Restart the editor, and " +
                    "remove older copies of it.";
            }
            catch (Exception)
            {
                isProbed = true;  // and why it failed is what follows
            }
            try
            {
                return Explain(library, isProbed);
            }
            catch (Exception e)
            {
                return "The native library " + library + " cannot be loaded, and why cannot be found out: " + e.Message;
            }
        }

        /// <summary>Calls a function that does nothing, by which the engine finds and loads the library.</summary>
        /// <returns>False: this one is not known, and nothing was called.</returns>
        private static bool Probe(string library)
        {
            switch (library)
            {
                case NimbUnityPluginML.Library:
                    NimbUnityPluginML.getPlayerFeatures();
                    return true;
                case NimbClipLibrary.Library:
                    NimbClipLibrary.nimb_clip_close(IntPtr.Zero);
                    return true;
                default:
                    return false;
            }
        }

        private static string Explain(string library, bool isProbed)
        {
            string file = FileName(library);
            foreach (string place in Places(file))
            {
                if (File.Exists(place))
                {
                    string words = SystemLoader.Load(place);
                    return words != null ? "The native library " + library + " is there, but cannot be loaded: " + words :
                        isProbed ? "The native library " + place + " can be loaded, but the engine does not use it. " +
                            "Window > Nimb > Check Native Libraries says whether its import settings are right." : null;
                }
            }

            string reason = Application.isEditor ? NativePackage.ReasonForMissing("/" + file) : null;
            if (reason != null)
            {
                return "The native library " + library + " is missing: " + reason + ".";
            }
            if (library == "nimb_clip" && Application.platform == RuntimePlatform.Android)
            {
                return "The portable player's native code is compiled along with the engine's: choose the scripting backend " +
                    "IL2CPP in Project Settings > Player > Other Settings.";
            }
            // Without a file to be seen it may still be where the system looks, as inside an Android package.
            string said = SystemLoader.Load(file);
            return said == null && !isProbed ? null : "The native library " + library + " is missing" +
                (said != null ? " (" + said + ")" : "") + ". Window > Nimb > Check Native Libraries, in the editor, says more.";
        }

        private static string FileName(string library)
        {
            switch (Application.platform)
            {
                case RuntimePlatform.WindowsPlayer:
                case RuntimePlatform.WindowsEditor:
                    return library + ".dll";
                case RuntimePlatform.OSXPlayer:
                case RuntimePlatform.OSXEditor:
                    return library + ".bundle";
                default:
                    return "lib" + library + ".so";
            }
        }

        /// <summary>Where the engine puts libraries into an application, and where the editor has them.</summary>
        private static string[] Places(string file)
        {
            if (!Application.isEditor)
            {
                string data = Application.dataPath;
                return new[] { data + "/Plugins/x86_64/" + file, data + "/Plugins/" + file, data + "/PlugIns/" + file };
            }
            string folder = file.EndsWith(".dll", StringComparison.Ordinal) ? "/Windows/x86_64/" :
                file.EndsWith(".bundle", StringComparison.Ordinal) ? "/macOS/" : "/Linux/x86_64/";
            return new[]
            {
                Path.GetFullPath(NativePackage.ProjectFolder + folder + file),
                NativePackage.Folder + "/Runtime/Plugins" + folder + file
            };
        }
    }
}
