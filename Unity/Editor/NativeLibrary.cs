using System;
using System.Collections.Generic;
using UnityEditor;

namespace Nimb.Editor
{
    /// <summary>
    /// The native libraries: which there are, where each belongs, and which platform and processor it is for. The import
    /// settings that come with the package say the same.
    /// </summary>
    internal sealed class NativeLibrary
    {
        public const string LinuxBuildTarget = "Linux64";

        /// <summary>Under the package's or the project's Plugins folder.</summary>
        public readonly string Place;
        public readonly bool ForEditor;
        private readonly string[] m_BuildTargets;
        private readonly string m_Cpu;

        private NativeLibrary(string place, string cpu, bool forEditor, params string[] buildTargets)
        {
            Place = place;
            m_Cpu = cpu;
            ForEditor = forEditor;
            m_BuildTargets = buildTargets;
        }

        public static readonly NativeLibrary[] All =
        {
            new NativeLibrary("Android/arm64-v8a/libNimbUnityPluginML.so", "ARM64", false, "Android", "Lumin"),
            new NativeLibrary("Linux/x86_64/libNimbUnityPluginML.so", "x86_64", true, LinuxBuildTarget),
            new NativeLibrary("Linux/x86_64/libNimbPlatformDesktop.so", "x86_64", true, LinuxBuildTarget)
        };

        /// <summary>The importers of its copies: none when it is missing, several when there are duplicates.</summary>
        public List<PluginImporter> FindImporters()
        {
            var found = new List<PluginImporter>();
            foreach (PluginImporter importer in PluginImporter.GetAllImporters())
            {
                if (importer.assetPath.EndsWith("/" + Place, StringComparison.Ordinal))
                {
                    found.Add(importer);
                }
            }
            return found;
        }

        /// <returns>What is wrong with the settings; null when they are right.</returns>
        public string ProblemWith(PluginImporter importer)
        {
            if (importer.GetCompatibleWithAnyPlatform())
            {
                return "is taken for every platform";
            }
            if (importer.GetCompatibleWithEditor() != ForEditor)
            {
                return ForEditor ? "is not taken for the editor" : "is taken for the editor, which cannot load it";
            }
            if (ForEditor && (importer.GetEditorData("OS") != "Linux" || importer.GetEditorData("CPU") != m_Cpu))
            {
                return "is not taken for the editor on Linux, " + m_Cpu;
            }
            foreach (string target in m_BuildTargets)
            {
                // The known targets differ between versions of the engine.
                if (!Enum.IsDefined(typeof(BuildTarget), target) && target != LinuxBuildTarget)
                {
                    continue;
                }
                if (!importer.GetCompatibleWithPlatform(target) || importer.GetPlatformData(target, "CPU") != m_Cpu)
                {
                    return "is not taken for " + target + ", " + m_Cpu;
                }
            }
            return null;
        }

        public void Apply(PluginImporter importer)
        {
            importer.SetCompatibleWithAnyPlatform(false);
            importer.SetCompatibleWithEditor(ForEditor);
            if (ForEditor)
            {
                importer.SetEditorData("OS", "Linux");
                importer.SetEditorData("CPU", m_Cpu);
            }
            foreach (string target in m_BuildTargets)
            {
                importer.SetCompatibleWithPlatform(target, true);
                importer.SetPlatformData(target, "CPU", m_Cpu);
            }
            importer.SaveAndReimport();
        }
    }
}
