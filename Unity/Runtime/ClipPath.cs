using System;
using System.IO;

namespace Nimb
{
    /// <summary>What a clip's path is relative to.</summary>
    public enum ClipFolder
    {
        /// <summary>Files that are shipped with the application, read-only.</summary>
        StreamingAssets = 0,
        /// <summary>Files that the application fetched or made.</summary>
        PersistentData = 1,
        /// <summary>The path is complete: absolute, or a file: URI.</summary>
        Absolute = 2,
        /// <summary>An address of http or https, on a server that serves ranges of files.</summary>
        Url = 3
    }

    /// <summary>Where a clip is.</summary>
    public static class ClipPath
    {
        private const string PackagePrefix = "jar:file://";
        private const string PackageSeparator = "!/";

        /// <param name="folder">What <paramref name="path"/> is relative to.</param>
        /// <param name="path">With forward slashes.</param>
        /// <param name="streamingAssets">The engine's path of that folder; inside an application package it is a
        /// "jar:file://" address.</param>
        /// <param name="persistentData">The engine's path of that folder.</param>
        /// <exception cref="ClipException">The path does not fit the folder.</exception>
        public static string Resolve(ClipFolder folder, string path, string streamingAssets, string persistentData)
        {
            if (string.IsNullOrEmpty(path))
            {
                throw new ClipException("No clip is named.");
            }
            if (folder == ClipFolder.Url)
            {
                if (!IsUrl(path))
                {
                    throw new ClipException("The clip's address '" + path + "' does not begin with http:// or https://.");
                }
                return path;
            }
            bool isAbsolute = IsAbsolute(path);
            if (folder == ClipFolder.Absolute)
            {
                if (!isAbsolute)
                {
                    throw new ClipException("The clip's path '" + path + "' is not absolute.");
                }
                return path;
            }
            if (isAbsolute || Array.IndexOf(path.Split('/'), "..") >= 0)
            {
                throw new ClipException("The clip's path '" + path + "' leads out of the folder " + folder + ".");
            }
            string root = folder == ClipFolder.StreamingAssets ? streamingAssets : persistentData;
            return root.TrimEnd('/') + "/" + path;
        }

        private static bool IsAbsolute(string path)
        {
            bool hasDrive = path.Length > 2 && char.IsLetter(path[0]) && path[1] == ':' && (path[2] == '/' || path[2] == '\\');
            return hasDrive || path[0] == '/' || path.StartsWith(@"\\", StringComparison.Ordinal)
                || path.StartsWith("file://", StringComparison.Ordinal);
        }

        /// <summary>Whether it is an address that only the portable back end reads.</summary>
        public static bool IsUrl(string path)
        {
            return path.StartsWith("http://", StringComparison.OrdinalIgnoreCase)
                || path.StartsWith("https://", StringComparison.OrdinalIgnoreCase);
        }

        /// <summary>Whether the clip sits inside the application package, where the player cannot read it.</summary>
        public static bool IsInsidePackage(string path)
        {
            return path.StartsWith(PackagePrefix, StringComparison.Ordinal);
        }

        /// <summary>Takes "jar:file:///app/base.apk!/assets/clip.mp4" apart.</summary>
        public static void SplitPackagePath(string path, out string package, out string entry)
        {
            int separator = path.LastIndexOf(PackageSeparator, StringComparison.Ordinal);
            if (!IsInsidePackage(path) || separator < PackagePrefix.Length)
            {
                throw new ClipException("'" + path + "' does not name a file inside an application package.");
            }
            package = path.Substring(PackagePrefix.Length, separator - PackagePrefix.Length);
            entry = path.Substring(separator + PackageSeparator.Length);
        }
    }
}
