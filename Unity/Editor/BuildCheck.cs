using UnityEditor;
using UnityEditor.Build;
using UnityEditor.Build.Reporting;
using UnityEngine;
using UnityEngine.Rendering;

namespace Nimb.Editor
{
    /// <summary>Warns before a build for the headset about faults that would only show there.</summary>
    internal sealed class BuildCheck : IPreprocessBuildWithReport
    {
        public int callbackOrder { get { return 0; } }

        public void OnPreprocessBuild(BuildReport report)
        {
            BuildTarget target = report.summary.platform;
            bool isAndroid = target == BuildTarget.Android;
            if (!isAndroid && target.ToString() != "Lumin")  // which newer versions of the engine do not know
            {
                return;
            }
            GraphicsDeviceType[] types = PlayerSettings.GetGraphicsAPIs(target);
            string problem = types.Length == 0 ? null : GraphicsApi.ProblemWith(types[0], RuntimePlatform.Android);
            if (problem != null)
            {
                Debug.LogWarning("Nimb: " + problem);
            }
            if (isAndroid && (PlayerSettings.Android.targetArchitectures & AndroidArchitecture.ARM64) == 0)
            {
                Debug.LogWarning("Nimb: the native library is 64-bit, but the build has no ARM64 part. Tick ARM64 in Project " +
                    "Settings > Player > Other Settings > Target Architectures (it needs IL2CPP).");
            }
            foreach (string line in NativeLibraries.Validate())
            {
                Debug.LogWarning("Nimb: " + line);
            }
        }
    }
}
