using System;
using System.Collections.Generic;
using UnityEditor;

namespace Nimb.Editor
{
    /// <summary>
    /// The native libraries: which there are, where each belongs, and which platforms and processor it is for. The import
    /// settings that come with the package say the same.
    /// </summary>
    internal sealed class NativeLibrary
    {
        private const string AppleMobile = "iOS", RetiredHeadset = "Lumin";

        /// <summary>Under the package's or the project's Plugins folder.</summary>
        public readonly string Place;
        private readonly string m_Cpu;
        private readonly string m_EditorSystem;  // null: not for the editor
        private readonly string[] m_Platforms;

        private NativeLibrary(string place, string cpu, string editorSystem, params string[] platforms)
        {
            Place = place;
            m_Cpu = cpu;
            m_EditorSystem = editorSystem;
            m_Platforms = platforms;
        }

        public static readonly NativeLibrary Headset =
            new NativeLibrary("Android/arm64-v8a/libNimbUnityPluginML.so", "ARM64", null, "Android", RetiredHeadset);

        public static readonly NativeLibrary[] All =
        {
            Headset,
            new NativeLibrary("Linux/x86_64/libNimbUnityPluginML.so", "x86_64", "Linux", "Linux64"),
            new NativeLibrary("Linux/x86_64/libNimbPlatformDesktop.so", "x86_64", "Linux", "Linux64"),
            new NativeLibrary("Linux/x86_64/libnimb_clip.so", "x86_64", "Linux", "Linux64"),
            new NativeLibrary("Source/nimb_clip.cpp", "ARM64", null, "Android", AppleMobile),
            new NativeLibrary("Windows/x86_64/nimb_clip.dll", "x86_64", "Windows", "Win64"),
            new NativeLibrary("macOS/nimb_clip.bundle", "AnyCPU", "OSX", "OSXUniversal")
        };

        /// <summary>Whether a build for this target needs it.</summary>
        public bool IsFor(BuildTarget target)
        {
            return Array.IndexOf(m_Platforms, PlatformOf(target.ToString())) >= 0;
        }

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
            bool isForEditor = m_EditorSystem != null;
            if (importer.GetCompatibleWithAnyPlatform())
            {
                return "is taken for every platform";
            }
            if (importer.GetCompatibleWithEditor() != isForEditor)
            {
                return isForEditor ? "is not taken for the editor" : "is taken for the editor, which cannot load it";
            }
            if (isForEditor && (importer.GetEditorData("OS") != m_EditorSystem || importer.GetEditorData("CPU") != m_Cpu))
            {
                return "is not taken for the editor on " + m_EditorSystem + ", " + m_Cpu;
            }
            foreach (string platform in m_Platforms)
            {
                if (!IsKnown(platform))
                {
                    continue;
                }
                if (!importer.GetCompatibleWithPlatform(platform) ||
                    platform != AppleMobile && importer.GetPlatformData(platform, "CPU") != m_Cpu)
                {
                    return "is not taken for " + platform + ", " + m_Cpu;
                }
            }
            return null;
        }

        public void Apply(PluginImporter importer)
        {
            importer.SetCompatibleWithAnyPlatform(false);
            importer.SetCompatibleWithEditor(m_EditorSystem != null);
            if (m_EditorSystem != null)
            {
                importer.SetEditorData("OS", m_EditorSystem);
                importer.SetEditorData("CPU", m_Cpu);
            }
            foreach (string platform in m_Platforms)
            {
                if (!IsKnown(platform))
                {
                    continue;
                }
                importer.SetCompatibleWithPlatform(platform, true);
                if (platform == AppleMobile)
                {
                    importer.SetPlatformData(platform, "CompileFlags", "-std=c++14");
                }
                else
                {
                    importer.SetPlatformData(platform, "CPU", m_Cpu);
                }
            }
            importer.SaveAndReimport();
        }

        // The known targets differ between versions of the engine.
        private static bool IsKnown(string platform)
        {
            return platform != RetiredHeadset || Enum.IsDefined(typeof(BuildTarget), platform);
        }

        /// <summary>A build target's name in import settings.</summary>
        private static string PlatformOf(string target)
        {
            switch (target)
            {
                case "StandaloneLinux64": return "Linux64";
                case "StandaloneOSX": return "OSXUniversal";
                case "StandaloneWindows64": return "Win64";
                default: return target;
            }
        }
    }
}
