using System;
using System.IO;
using System.Net;

namespace Nimb
{
    /// <summary>
    /// A file on a web server that serves ranges. Read in blocks, of which some are kept: a clip's samples lie one after
    /// another, and its index at one of the ends.
    /// </summary>
    internal sealed class HttpBytes : ClipBytes
    {
        private const int BlockSize = 1 << 18;
        private const int KeptBlocks = 8;
        private const int Attempts = 3;
        private const int TimeoutMilliseconds = 15000;

        private sealed class Block
        {
            public readonly byte[] Bytes = new byte[BlockSize];
            public long Number = -1;
            public int Length;
            public long LastUse;
        }

        private readonly string m_Address;
        private readonly Block[] m_Blocks = new Block[KeptBlocks];
        private readonly object m_Lock = new object();
        private HttpWebRequest m_Request;  // under way, guarded by m_Lock
        private bool m_IsAborted;  // guarded by m_Lock
        private long m_Uses;
        private long m_Size;

        public HttpBytes(string address)
        {
            m_Address = address;
            for (int i = 0; i < m_Blocks.Length; ++i)
            {
                m_Blocks[i] = new Block();
            }
            Fill(m_Blocks[0], 0);
        }

        public override long Size { get { return m_Size; } }

        public override int Read(long offset, byte[] to, int count)
        {
            int total = 0;
            while (total < count && offset < m_Size)
            {
                Block block = Find(offset / BlockSize);
                int from = (int)(offset % BlockSize);
                int length = Math.Min(count - total, block.Length - from);
                if (length <= 0)
                {
                    throw new IOException(m_Address + " ends before its time");
                }
                Buffer.BlockCopy(block.Bytes, from, to, total, length);
                total += length;
                offset += length;
            }
            return total;
        }

        private Block Find(long number)
        {
            Block oldest = m_Blocks[0];
            foreach (Block block in m_Blocks)
            {
                if (block.Number == number)
                {
                    block.LastUse = ++m_Uses;
                    return block;
                }
                if (block.LastUse < oldest.LastUse)
                {
                    oldest = block;
                }
            }
            Fill(oldest, number);
            return oldest;
        }

        private void Fill(Block block, long number)
        {
            block.Number = -1;
            for (int attempt = 1; ; ++attempt)
            {
                try
                {
                    Fetch(block, number * BlockSize);
                    block.Number = number;
                    block.LastUse = ++m_Uses;
                    return;
                }
                catch (WebException e)
                {
                    // What the server refuses, it will refuse again.
                    var response = e.Response as HttpWebResponse;
                    if (attempt == Attempts || IsAborted || response != null && (int)response.StatusCode < 500)
                    {
                        throw new IOException(m_Address + ": " + e.Message, e);
                    }
                }
            }
        }

        private void Fetch(Block block, long offset)
        {
            HttpWebRequest request = Begin(offset);
            try
            {
                using (var response = (HttpWebResponse)request.GetResponse())
                {
                    long size = SizeOf(response, offset);
                    if (m_Size != 0 && size != m_Size)
                    {
                        throw new IOException(m_Address + " has changed while it was read");
                    }
                    m_Size = size;
                    block.Length = 0;
                    using (Stream body = response.GetResponseStream())
                    {
                        int wanted = (int)Math.Min(BlockSize, size - offset);
                        for (int read = 1; block.Length < wanted && read > 0; block.Length += read)
                        {
                            read = body.Read(block.Bytes, block.Length, wanted - block.Length);
                        }
                        if (block.Length < wanted)
                        {
                            throw new WebException("the answer was cut off");
                        }
                    }
                }
            }
            catch (IOException e) when (!(e.InnerException is WebException) && !e.Message.StartsWith(m_Address, StringComparison.Ordinal))
            {
                throw new WebException(e.Message, e);  // the connection broke: worth another attempt
            }
            finally
            {
                lock (m_Lock)
                {
                    m_Request = null;
                }
            }
        }

        private HttpWebRequest Begin(long offset)
        {
            var request = (HttpWebRequest)WebRequest.Create(m_Address);
            request.AddRange(offset, offset + BlockSize - 1);
            request.Timeout = TimeoutMilliseconds;
            request.ReadWriteTimeout = TimeoutMilliseconds;
            lock (m_Lock)
            {
                if (m_IsAborted)
                {
                    throw new IOException(m_Address + " is not read any more");
                }
                m_Request = request;
            }
            return request;
        }

        /// <summary>Of "bytes 0-99/1234".</summary>
        private long SizeOf(HttpWebResponse response, long offset)
        {
            string range = response.Headers["Content-Range"];
            long size;
            if (response.StatusCode == HttpStatusCode.PartialContent && range != null
                && range.StartsWith("bytes " + offset + "-", StringComparison.Ordinal)
                && long.TryParse(range.Substring(range.IndexOf('/') + 1), out size) && size > offset)
            {
                return size;
            }
            throw new IOException(m_Address + ": the server does not serve ranges of files, which clips need");
        }

        private bool IsAborted
        {
            get
            {
                lock (m_Lock)
                {
                    return m_IsAborted;
                }
            }
        }

        public override void Abort()
        {
            HttpWebRequest request;
            lock (m_Lock)
            {
                m_IsAborted = true;
                request = m_Request;
            }
            if (request != null)
            {
                request.Abort();
            }
        }

        public override void Dispose()
        {
            Abort();
        }
    }
}
