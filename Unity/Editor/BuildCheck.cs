using System;
using System.Collections.Generic;
using UnityEditor;
using UnityEditor.Build;
using UnityEditor.Build.Reporting;
using UnityEngine;
using UnityEngine.Rendering;

namespace Nimb.Editor
{
    /// <summary>Warns before a build about faults that would only show in what is built.</summary>
    internal sealed class BuildCheck : IPreprocessBuildWithReport
    {
        public int callbackOrder { get { return 0; } }

        public void OnPreprocessBuild(BuildReport report)
        {
            BuildTarget target = report.summary.platform;
            NativeLibrary[] libraries = Array.FindAll(NativeLibrary.All, library => library.IsFor(target));
            if (libraries.Length == 0)
            {
                Debug.LogWarning("Nimb: there is no native code for " + target + ", so no clip will play there.");
                return;
            }
            var notes = new List<string>();
            foreach (string line in NativeLibraries.Validate(libraries, notes))
            {
                Debug.LogWarning("Nimb: " + line);
            }
            foreach (string line in notes)
            {
                Debug.Log("Nimb: " + line);
            }
            if (NativeLibrary.Headset.IsFor(target))
            {
                CheckAndroid(target);
            }
        }

        private static void CheckAndroid(BuildTarget target)
        {
            GraphicsDeviceType[] types = PlayerSettings.GetGraphicsAPIs(target);
            string problem = types.Length == 0 || NativeLibrary.Headset.FindImporters().Count == 0 ? null :
                GraphicsApi.ProblemWith(types[0], RuntimePlatform.Android);
            if (problem != null)
            {
                Debug.LogWarning("Nimb: " + problem);
            }
            if (target == BuildTarget.Android && (PlayerSettings.Android.targetArchitectures & AndroidArchitecture.ARM64) == 0)
            {
                Debug.LogWarning("Nimb: the native code is for 64-bit Arm, but the build has no ARM64 part. Tick ARM64 in Project " +
                    "Settings > Player > Other Settings > Target Architectures, which takes the scripting backend IL2CPP.");
            }
        }
    }
}
