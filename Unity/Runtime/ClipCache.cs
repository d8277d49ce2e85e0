using System;
using System.Collections.Generic;
using System.IO;
using System.Threading.Tasks;

namespace Nimb
{
    /// <summary>
    /// Copies of clips that are shipped inside the application package. A copy appears whole or not at all, and is made
    /// again when the clip's size has changed, as after an update of the application.
    /// </summary>
    public static class ClipCache
    {
        private static readonly Dictionary<string, Task<string>> s_Running = new Dictionary<string, Task<string>>();

        /// <summary>Copies on a thread of its own, unless the copy is there. Calls for a clip that is being copied share
        /// the work.</summary>
        /// <param name="packagePath">A "jar:file://" address.</param>
        /// <param name="folder">Where the copies are.</param>
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
            string target = folder.TrimEnd('/') + "/" + entry;
            try
            {
                using (var archive = new ApplicationPackage(package))
                {
                    if (!IsThere(target, archive.SizeOf(entry)))
                    {
                        Directory.CreateDirectory(Path.GetDirectoryName(target));
                        CopyWhole(archive, entry, target);
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

        private static bool IsThere(string path, long size)
        {
            var file = new FileInfo(path);
            return file.Exists && file.Length == size;
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
