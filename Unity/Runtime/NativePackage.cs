using System;
using System.IO;

namespace Nimb
{
    /// <summary>What the package, as it is installed in the editor, says of its native libraries. For the editor alone: a
    /// built application has no package.</summary>
    internal static class NativePackage
    {
        private const string Name = "com.nimb.volumetric-video";

        /// <summary>In the project, for what cannot be added to an installed package.</summary>
        internal const string ProjectFolder = "Assets/Nimb/Plugins";

        // The engine maps this to where the package lies.
        internal static string Folder
        {
            get { return Path.GetFullPath("Packages/" + Name); }
        }

        /// <summary>Why a library is not there, if the package knows.</summary>
        /// <param name="place">Under a Plugins folder; its end is enough.</param>
        /// <returns>A clause without a final stop; null when it should be there.</returns>
        internal static string ReasonForMissing(string place)
        {
            if (Directory.Exists(Folder + "/Native~/Plugins"))
            {
                return "the package came from a repository, which has the scripts alone. Install the tarball of a release, or " +
                    "build the libraries and choose Window > Nimb > Install Native Libraries";
            }
            string list = Folder + "/Native~/missing.txt";
            foreach (string line in File.Exists(list) ? File.ReadAllLines(list) : new string[0])
            {
                int colon = line.IndexOf(": ", StringComparison.Ordinal);
                if (colon > 0 && line.Substring(0, colon).EndsWith(place, StringComparison.Ordinal))
                {
                    return "this package is without it: " + line.Substring(colon + 2);
                }
            }
            return null;
        }
    }
}
