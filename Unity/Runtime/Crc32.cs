namespace Nimb
{
    /// <summary>The checksum that zip archives hold of each file.</summary>
    internal struct Crc32
    {
        private static readonly uint[] s_Table = MakeTable();
        private uint m_Inverse;  // so that a new one is that of nothing

        public uint Value { get { return m_Inverse; } }

        private static uint[] MakeTable()
        {
            var table = new uint[256];
            for (uint i = 0; i < table.Length; ++i)
            {
                uint value = i;
                for (int bit = 0; bit < 8; ++bit)
                {
                    value = (value & 1) != 0 ? value >> 1 ^ 0xedb88320 : value >> 1;
                }
                table[i] = value;
            }
            return table;
        }

        public void Add(byte[] bytes, int count)
        {
            uint value = ~m_Inverse;
            for (int i = 0; i < count; ++i)
            {
                value = value >> 8 ^ s_Table[(byte)(value ^ bytes[i])];
            }
            m_Inverse = ~value;
        }
    }
}
