using System;
using System.IO;
using System.Text;

namespace Nimb.Editor
{
    /// <summary>Which files are clips, and where a player looks for them.</summary>
    internal static class ClipFiles
    {
        // The attribute that says how many frames there are. Every clip has it, no other video does, and a player reads it
        // from the same place.
        private const string FrameCountAttribute = "{36B53E4E-0A14-42F8-8143-DCA29E480AA8}";
        private const int TailSize = 1024;

        /// <summary>Whether it is a video with meshes. False also for what cannot be read.</summary>
        public static bool IsClip(string path)
        {
            if (!path.EndsWith(".mp4", StringComparison.OrdinalIgnoreCase))
            {
                return false;
            }
            try
            {
                using (FileStream file = File.OpenRead(path))
                {
                    file.Seek(-Math.Min(TailSize, file.Length), SeekOrigin.End);
                    byte[] tail = new byte[TailSize];
                    int size = 0, read;
                    while ((read = file.Read(tail, size, TailSize - size)) > 0)
                    {
                        size += read;
                    }
                    return Encoding.ASCII.GetString(tail, 0, size).Contains(FrameCountAttribute);
                }
            }
            catch (IOException)
            {
                return false;
            }
            catch (UnauthorizedAccessException)
            {
                return false;
            }
        }

        /// <summary>The path as a player names it, below the folder; null when the file is elsewhere.</summary>
        public static string Below(string folder, string file)
        {
            string root = Path.GetFullPath(folder).Replace('\\', '/').TrimEnd('/') + "/";
            string full = Path.GetFullPath(file).Replace('\\', '/');
            return full.StartsWith(root, StringComparison.Ordinal) ? full.Substring(root.Length) : null;
        }

        /// <summary>Copies a file into a folder, which is made if need be. One of the same name and content is taken as it
        /// is, another one of the same name is kept beside it.</summary>
        /// <returns>The name of the copy.</returns>
        public static string CopyInto(string folder, string file)
        {
            Directory.CreateDirectory(folder);
            string stem = Path.GetFileNameWithoutExtension(file), extension = Path.GetExtension(file);
            string name = stem + extension;
            for (int i = 1; File.Exists(Path.Combine(folder, name)); ++i)
            {
                if (HaveSameContent(Path.Combine(folder, name), file))
                {
                    return name;
                }
                name = stem + " " + i + extension;
            }
            File.Copy(file, Path.Combine(folder, name));
            return name;
        }

        private static bool HaveSameContent(string a, string b)
        {
            using (FileStream first = File.OpenRead(a), second = File.OpenRead(b))
            {
                if (first.Length != second.Length)
                {
                    return false;
                }
                using (BufferedStream one = new BufferedStream(first, 1 << 16), other = new BufferedStream(second, 1 << 16))
                {
                    int value;
                    while ((value = one.ReadByte()) == other.ReadByte())
                    {
                        if (value < 0)
                        {
                            return true;
                        }
                    }
                    return false;
                }
            }
        }
    }
}
