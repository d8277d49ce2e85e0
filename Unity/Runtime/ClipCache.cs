using System;
using System.Collections.Generic;
using System.IO;
using System.Threading.Tasks;

namespace Nimb
{
    /// <summary>
    /// Copies of clips that are shipped inside the application package. A copy appears whole or not at all. It is made
    /// again when its content is not that of the package, as after an update of the application; copies of clips that
    /// the package no longer has are removed.
    /// </summary>
    public static class ClipCache
    {
        private static readonly Dictionary<string, Task<string>> s_Running = new Dictionary<string, Task<string>>();
        // One at a time, for the sake of the storage, and so that nobody removes what another one is writing.
        private static readonly object s_Copying = new object();
        // What each copy was seen to be, so that a process reads a whole copy once.
        private static readonly Dictionary<string, string> s_Seen = new Dictionary<string, string>();

        /// <summary>Copies on a thread of its own, unless the copy is there. Calls for a clip that is being copied share
        /// the work.</summary>
        /// <param name="packagePath">A "jar:file://" address.</param>
        /// <param name="folder">Where the copies are, by their names in the package. For copies alone: files beside
        /// them that the package does not have are removed.</param>
        /// <returns>The path of the copy. Fails with a <see cref="ClipException"/>.</returns>
        public static Task<string> Fetch(string packagePath, string folder)
        {
            lock (s_Running)
            {
                Task<string> running;
                if (!s_Running.TryGetValue(packagePath, out running) || running.IsCompleted)
                {
                    running = Task.Run(() => Copy(packagePath, folder));
                    s_Running[packagePath] = running;
                }
                return running;
            }
        }

        private static string Copy(string packagePath, string folder)
        {
            string package, entry;
            ClipPath.SplitPackagePath(packagePath, out package, out entry);
            folder = folder.TrimEnd('/') + "/";
            string target = folder + entry;
            try
            {
                lock (s_Copying)
                {
                    string signature = Signature(package) + Signature(target);
                    string seen;
                    if (!s_Seen.TryGetValue(target, out seen) || seen != signature)
                    {
                        Refresh(package, entry, folder);
                        s_Seen[target] = Signature(package) + Signature(target);
                    }
                }
            }
            catch (Exception e) when (e is IOException || e is UnauthorizedAccessException)
            {
                throw new ClipException("The clip '" + packagePath + "' cannot be copied to '" + target + "': " + e.Message,
                    e);
            }
            return target;
        }

        /// <summary>Another one when the file has changed.</summary>
        private static string Signature(string path)
        {
            var file = new FileInfo(path);
            return file.Exists ? path + "|" + file.Length + "|" + file.LastWriteTimeUtc.Ticks + "|" : "|";
        }

        private static void Refresh(string package, string entry, string folder)
        {
            using (var archive = new ApplicationPackage(package))
            {
                bool isSame = archive.IsSame(entry, folder + entry);
                RemoveOld(archive, entry, folder);  // before, since they take its room
                if (!isSame)
                {
                    Directory.CreateDirectory(Path.GetDirectoryName(folder + entry));
                    CopyWhole(archive, entry, folder + entry);
                }
            }
        }

        /// <summary>Looks no further than the first folder of the entry's path, which packages have for their assets.
        /// </summary>
        private static void RemoveOld(ApplicationPackage archive, string entry, string folder)
        {
            string top = folder + entry.Split('/')[0];
            if (!Directory.Exists(top))
            {
                return;
            }
            HashSet<string> names = archive.Names();
            foreach (string file in Directory.GetFiles(top, "*", SearchOption.AllDirectories))
            {
                if (names.Contains(file.Substring(folder.Length).Replace('\\', '/')))
                {
                    continue;
                }
                try
                {
                    File.Delete(file);
                }
                catch (Exception e) when (e is IOException || e is UnauthorizedAccessException)
                {
                    // It only takes room; the next one tries again.
                }
            }
        }

        private static void CopyWhole(ApplicationPackage archive, string entry, string target)
        {
            string part = target + ".part";
            try
            {
                using (var stream = new FileStream(part, FileMode.Create, FileAccess.Write))
                {
                    archive.Extract(entry, stream);
                    stream.Flush(true);
                }
                if (File.Exists(target))
                {
                    File.Replace(part, target, null);
                }
                else
                {
                    File.Move(part, target);
                }
            }
            finally
            {
                File.Delete(part);  // gone already unless it failed
            }
        }
    }
}
