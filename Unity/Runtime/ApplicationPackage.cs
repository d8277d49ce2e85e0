using System;
using System.Collections.Generic;
using System.IO;
using System.IO.Compression;
using System.Text;

namespace Nimb
{
    /// <summary>
    /// Reads files out of an application package, which is a zip archive: the directory at its end, then single entries,
    /// stored or deflated. Any thread, one at a time.
    /// </summary>
    public sealed class ApplicationPackage : IDisposable
    {
        private const uint EndSignature = 0x06054b50;
        private const uint DirectorySignature = 0x02014b50;
        private const uint LocalSignature = 0x04034b50;
        private const int EndSize = 22;
        private const int DirectoryEntrySize = 46;
        private const int LocalHeaderSize = 30;
        private const int MaxComment = 65535;
        private const int Stored = 0;
        private const int Deflated = 8;
        private const int CopyBlock = 1 << 16;

        private readonly string m_Path;
        private readonly Stream m_Stream;

        private struct Entry
        {
            public int Method;
            public uint Crc;
            public long CompressedSize;
            public long Size;
            public long HeaderOffset;
        }

        /// <exception cref="IOException">The package cannot be read.</exception>
        public ApplicationPackage(string path)
        {
            m_Path = path;
            m_Stream = new FileStream(path, FileMode.Open, FileAccess.Read, FileShare.Read);
        }

        public void Dispose()
        {
            m_Stream.Dispose();
        }

        /// <summary>Whether a file has the size and the checksum of the one inside. Reads all of it.</summary>
        /// <exception cref="IOException">There is none of the name, the package is damaged, or the file cannot be read.
        /// </exception>
        public bool IsSame(string name, string path)
        {
            Entry entry = Find(name);
            var file = new FileInfo(path);
            if (!file.Exists || file.Length != entry.Size)
            {
                return false;
            }
            using (Stream stream = file.OpenRead())
            {
                uint crc;
                return Copy(stream, Stream.Null, entry.Size, out crc) == entry.Size && crc == entry.Crc;
            }
        }

        /// <summary>The names of all files inside.</summary>
        /// <exception cref="IOException">The package is damaged.</exception>
        public HashSet<string> Names()
        {
            var names = new HashSet<string>(StringComparer.Ordinal);
            byte[] directory = ReadDirectory();
            int next;
            for (int at = 0; IsEntry(directory, at, out next); at = next)
            {
                names.Add(Encoding.UTF8.GetString(directory, at + DirectoryEntrySize, UInt16At(directory, at + 28)));
            }
            return names;
        }

        /// <exception cref="IOException">The file is not there, or the package is damaged.</exception>
        public void Extract(string name, Stream target)
        {
            Entry entry = Find(name);
            byte[] header = ReadAt(entry.HeaderOffset, LocalHeaderSize);
            if (UInt32At(header, 0) != LocalSignature)
            {
                throw Damaged(name + " has no header");
            }
            // The local header repeats the name, and has extra bytes of its own.
            m_Stream.Position = entry.HeaderOffset + LocalHeaderSize + UInt16At(header, 26) + UInt16At(header, 28);
            long copied;
            uint crc;
            if (entry.Method == Stored)
            {
                copied = Copy(m_Stream, target, entry.Size, out crc);
            }
            else if (entry.Method == Deflated)
            {
                try
                {
                    using (var inflated = new DeflateStream(m_Stream, CompressionMode.Decompress, true))
                    {
                        copied = Copy(inflated, target, entry.Size, out crc);
                    }
                }
                catch (InvalidDataException)
                {
                    throw Damaged(name + " cannot be decompressed");
                }
            }
            else
            {
                throw new IOException(m_Path + ": " + name + " is compressed by method " + entry.Method +
                    ", which is not supported.");
            }
            if (copied != entry.Size)
            {
                throw Damaged(name + " ends after " + copied + " of " + entry.Size + " bytes");
            }
            if (crc != entry.Crc)
            {
                throw Damaged(name + " has another checksum than the directory says");
            }
        }

        private Entry Find(string name)
        {
            byte[] directory = ReadDirectory();
            byte[] wanted = Encoding.UTF8.GetBytes(name);
            int next;
            for (int at = 0; IsEntry(directory, at, out next); at = next)
            {
                if (IsEqual(directory, at + DirectoryEntrySize, UInt16At(directory, at + 28), wanted))
                {
                    return ReadEntry(directory, at, name);
                }
            }
            throw new FileNotFoundException(m_Path + " holds no file " + name + ".");
        }

        private static bool IsEntry(byte[] directory, int at, out int next)
        {
            next = at + DirectoryEntrySize;
            if (directory.Length - at < DirectoryEntrySize || UInt32At(directory, at) != DirectorySignature)
            {
                return false;
            }
            int nameEnd = next + UInt16At(directory, at + 28);
            next = nameEnd + UInt16At(directory, at + 30) + UInt16At(directory, at + 32);
            return nameEnd <= directory.Length;
        }

        private Entry ReadEntry(byte[] directory, int at, string name)
        {
            var entry = new Entry
            {
                Method = UInt16At(directory, at + 10),
                Crc = UInt32At(directory, at + 16),
                CompressedSize = UInt32At(directory, at + 20),
                Size = UInt32At(directory, at + 24),
                HeaderOffset = UInt32At(directory, at + 42)
            };
            if (entry.Size == uint.MaxValue || entry.HeaderOffset == uint.MaxValue)
            {
                throw new IOException(m_Path + ": " + name + " is too large to be read from a package (4 GiB).");
            }
            if (entry.HeaderOffset + entry.CompressedSize > m_Stream.Length)
            {
                throw Damaged(name + " reaches beyond the end");
            }
            return entry;
        }

        private byte[] ReadDirectory()
        {
            int tailSize = (int)Math.Min(m_Stream.Length, EndSize + MaxComment);
            byte[] tail = ReadAt(m_Stream.Length - tailSize, tailSize);
            for (int at = tailSize - EndSize; at >= 0; --at)
            {
                if (UInt32At(tail, at) == EndSignature)
                {
                    long size = UInt32At(tail, at + 12);
                    long offset = UInt32At(tail, at + 16);
                    if (offset + size > m_Stream.Length || size > int.MaxValue)
                    {
                        throw Damaged("its directory reaches beyond the end");
                    }
                    return ReadAt(offset, (int)size);
                }
            }
            throw Damaged("it has no directory");
        }

        private byte[] ReadAt(long offset, int size)
        {
            var bytes = new byte[size];
            m_Stream.Position = offset;
            int done = 0;
            while (done < size)
            {
                int count = m_Stream.Read(bytes, done, size - done);
                if (count <= 0)
                {
                    throw Damaged("it ends early");
                }
                done += count;
            }
            return bytes;
        }

        private static long Copy(Stream source, Stream target, long size, out uint crc)
        {
            var checksum = new Crc32();
            var block = new byte[CopyBlock];
            long done = 0;
            while (done < size)
            {
                int count = source.Read(block, 0, (int)Math.Min(block.Length, size - done));
                if (count <= 0)
                {
                    break;
                }
                target.Write(block, 0, count);
                checksum.Add(block, count);
                done += count;
            }
            crc = checksum.Value;
            return done;
        }

        private IOException Damaged(string how)
        {
            return new IOException(m_Path + " is damaged: " + how + ".");
        }

        private static bool IsEqual(byte[] bytes, int at, int length, byte[] wanted)
        {
            bool isEqual = length == wanted.Length;
            for (int i = 0; isEqual && i < length; ++i)
            {
                isEqual = bytes[at + i] == wanted[i];
            }
            return isEqual;
        }

        private static int UInt16At(byte[] bytes, int at)
        {
            return bytes[at] | bytes[at + 1] << 8;
        }

        private static uint UInt32At(byte[] bytes, int at)
        {
            return (uint)UInt16At(bytes, at) | (uint)UInt16At(bytes, at + 2) << 16;
        }
    }
}
