using System;
using System.IO;
using System.Net;

namespace Nimb
{
    /// <summary>The bytes of a clip's file. Belongs to one thread, but <see cref="Abort"/> to any.</summary>
    internal abstract class ClipBytes : IDisposable
    {
        public abstract long Size { get; }

        /// <summary>Reads up to <paramref name="count"/> bytes; fewer only at the end.</summary>
        /// <exception cref="IOException">They cannot be read.</exception>
        public abstract int Read(long offset, byte[] to, int count);

        /// <summary>Ends what waits for a server; reading fails from then on.</summary>
        public virtual void Abort() { }

        public abstract void Dispose();

        /// <param name="location">A path, a file: URI, or an address of http or https.</param>
        public static ClipBytes Open(string location)
        {
            if (ClipPath.IsUrl(location))
            {
                return new HttpBytes(location);
            }
            bool isUri = location.StartsWith("file://", StringComparison.Ordinal);
            return new FileBytes(isUri ? new Uri(location).LocalPath : location);
        }
    }

    internal sealed class FileBytes : ClipBytes
    {
        private readonly FileStream m_Stream;

        public FileBytes(string path)
        {
            m_Stream = new FileStream(path, FileMode.Open, FileAccess.Read, FileShare.Read, 1 << 16);
        }

        public override long Size { get { return m_Stream.Length; } }

        public override int Read(long offset, byte[] to, int count)
        {
            m_Stream.Seek(offset, SeekOrigin.Begin);
            int total = 0;
            for (int read = 1; total < count && read > 0; total += read)
            {
                read = m_Stream.Read(to, total, count - total);
            }
            return total;
        }

        public override void Dispose()
        {
            m_Stream.Dispose();
        }
    }
}
