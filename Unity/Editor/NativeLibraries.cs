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
        private const string ProjectFolder = "Assets/Nimb/Plugins";

        /// <returns>One line for each problem.</returns>
        public static List<string> Validate()
        {
            var problems = new List<string>();
            foreach (NativeLibrary library in NativeLibrary.All)
            {
                List<PluginImporter> importers = library.FindImporters();
                if (importers.Count == 0)
                {
                    problems.Add(library.Place + " is missing");
                }
                if (importers.Count > 1)
                {
                    problems.Add(library.Place + " is there " + importers.Count + " times: keep either the package's or the " +
                        "one in " + ProjectFolder);
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
            List<string> problems = Validate();
            if (problems.Count == 0)
            {
                EditorUtility.DisplayDialog("Nimb", "All native libraries are there and have the right settings.", "OK");
                return;
            }
            var text = new StringBuilder();
            foreach (string problem in problems)
            {
                Debug.LogError("Nimb: " + problem);
                text.AppendLine(problem);
            }
            if (EditorUtility.DisplayDialog("Nimb", text.ToString(), "Correct the settings", "Leave them"))
            {
                CorrectSettings();
            }
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

        /// <summary>Installs into the project, since nothing can be added to an installed package.</summary>
        [MenuItem("Window/Nimb/Install Native Libraries...")]
        private static void Install()
        {
            string source = EditorUtility.OpenFolderPanel("Folder with Android/arm64-v8a and Linux/x86_64", "", "");
            if (string.IsNullOrEmpty(source))
            {
                return;
            }
            int copied = 0;
            foreach (NativeLibrary library in NativeLibrary.All)
            {
                string from = Path.Combine(source, library.Place);
                if (!File.Exists(from))
                {
                    Debug.LogWarning("Nimb: " + from + " does not exist; skipped");
                    continue;
                }
                string to = ProjectFolder + "/" + library.Place;
                Directory.CreateDirectory(Path.GetDirectoryName(to));
                File.Delete(to);  // not overwritten, since the editor may have it loaded
                File.Copy(from, to);
                AssetDatabase.ImportAsset(to);
                library.Apply((PluginImporter)AssetImporter.GetAtPath(to));
                ++copied;
            }
            Debug.Log("Nimb: " + copied + " of " + NativeLibrary.All.Length + " libraries installed in " + ProjectFolder);
        }
    }
}
