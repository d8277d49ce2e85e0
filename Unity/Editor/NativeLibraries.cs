using System.Collections.Generic;
using System.IO;
using System.Text;
using UnityEditor;
using UnityEngine;

namespace Nimb.Editor
{
    /// <summary>Finds faults in the native libraries of a project and fixes them.</summary>
    internal static class NativeLibraries
    {
        /// <param name="libraries">Those that matter: all, or those that a build needs.</param>
        /// <param name="notes">Gets a line for each library that the package was made without.</param>
        /// <returns>One line for each problem.</returns>
        public static List<string> Validate(IEnumerable<NativeLibrary> libraries, List<string> notes)
        {
            var problems = new List<string>();
            foreach (NativeLibrary library in libraries)
            {
                List<PluginImporter> importers = library.FindImporters();
                if (importers.Count == 0)
                {
                    string reason = NativePackage.ReasonForMissing(library.Place);
                    (reason != null ? notes : problems).Add(library.Place + " is missing" + (reason != null ? ": " + reason : ""));
                }
                if (importers.Count > 1)
                {
                    problems.Add(library.Place + " is there " + importers.Count + " times: keep either the package's or the " +
                        "one in " + NativePackage.ProjectFolder);
                }
                foreach (PluginImporter importer in importers)
                {
                    string problem = library.ProblemWith(importer);
                    if (problem != null)
                    {
                        problems.Add(importer.assetPath + " " + problem);
                    }
                }
            }
            return problems;
        }

        [MenuItem("Window/Nimb/Check Native Libraries")]
        private static void Check()
        {
            var notes = new List<string>();
            List<string> problems = Validate(NativeLibrary.All, notes);
            foreach (string note in notes)
            {
                Debug.Log("Nimb: " + note);
            }
            foreach (string problem in problems)
            {
                Debug.LogError("Nimb: " + problem);
            }
            string left = notes.Count == 0 ? "" : "\n\nNot included:\n" + Lines(notes);
            if (problems.Count == 0)
            {
                string all = notes.Count == 0 ? "All native libraries are there and have the right settings." :
                    notes.Count == NativeLibrary.All.Length ? "There are no native libraries." :
                    "The native libraries that are there have the right settings.";
                EditorUtility.DisplayDialog("Nimb", all + left, "OK");
            }
            else if (EditorUtility.DisplayDialog("Nimb", Lines(problems) + left, "Correct the settings", "Leave them"))
            {
                CorrectSettings();
            }
        }

        private static string Lines(List<string> lines)
        {
            var text = new StringBuilder();
            foreach (string line in lines)
            {
                text.AppendLine(line);
            }
            return text.ToString();
        }

        private static void CorrectSettings()
        {
            foreach (NativeLibrary library in NativeLibrary.All)
            {
                foreach (PluginImporter importer in library.FindImporters())
                {
                    if (library.ProblemWith(importer) != null)
                    {
                        library.Apply(importer);
                    }
                }
            }
        }

        /// <summary>Installs into the project, since nothing can be added to an installed package. Takes what a folder has,
        /// laid out as a package's Plugins folder.</summary>
        [MenuItem("Window/Nimb/Install Native Libraries...")]
        private static void Install()
        {
            string source = EditorUtility.OpenFolderPanel("Folder with Android, Linux, Source, Windows or macOS in it", "", "");
            if (string.IsNullOrEmpty(source))
            {
                return;
            }
            int copied = 0;
            var skipped = new List<string>();
            foreach (NativeLibrary library in NativeLibrary.All)
            {
                string from = Path.Combine(source, library.Place);
                if (!File.Exists(from))
                {
                    skipped.Add(library.Place);
                    continue;
                }
                string to = NativePackage.ProjectFolder + "/" + library.Place;
                Directory.CreateDirectory(Path.GetDirectoryName(to));
                File.Delete(to);  // not overwritten, since the editor may have it loaded
                File.Copy(from, to);
                AssetDatabase.ImportAsset(to);
                library.Apply((PluginImporter)AssetImporter.GetAtPath(to));
                ++copied;
            }
            Debug.Log("Nimb: " + copied + " of " + NativeLibrary.All.Length + " libraries installed in " +
                NativePackage.ProjectFolder + (skipped.Count == 0 ? "" : "; not in the folder: " + string.Join(", ", skipped)));
        }
    }
}
