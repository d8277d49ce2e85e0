namespace Nimb
{
    internal static unsafe class TriangleStrip
    {
        /// <summary>A strip's triangles as a list: every other one is turned around, and those without an area, which only
        /// join strips, are left out.</summary>
        /// <returns>How many indices were written; -1 when there is no room.</returns>
        public static int ToList(uint* strip, int count, uint* list, int capacity)
        {
            int written = 0;
            for (int i = 0; i + 2 < count; ++i)
            {
                uint a = strip[i], b = strip[i + 1], c = strip[i + 2];
                if (a == b || b == c || a == c)
                {
                    continue;
                }
                if (written + 3 > capacity)
                {
                    return -1;
                }
                bool isTurned = (i & 1) != 0;
                list[written++] = a;
                list[written++] = isTurned ? c : b;
                list[written++] = isTurned ? b : c;
            }
            return written;
        }

        /// <summary>How many indices the list of any strip of so many may have.</summary>
        public static int ListCapacity(int stripCount)
        {
            return stripCount > 2 ? 3 * (stripCount - 2) : 0;
        }
    }
}
