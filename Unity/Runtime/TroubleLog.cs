namespace Nimb
{
    /// <summary>Troubles that nobody has asked for yet: a few, each with its count. Belongs to one thread at a time.
    /// </summary>
    internal sealed class TroubleLog
    {
        private readonly PlaybackTrouble[] m_Troubles = new PlaybackTrouble[8];
        private int m_Count;

        /// <summary>Counts as one more of the last trouble when that has the same reason, or when there is no room.</summary>
        public void Add(long frame, NimbTroubleReason reason)
        {
            if (m_Count > 0 && (m_Troubles[m_Count - 1].Reason == reason || m_Count == m_Troubles.Length))
            {
                ++m_Troubles[m_Count - 1].Count;
                return;
            }
            m_Troubles[m_Count++] = new PlaybackTrouble { Frame = frame, Reason = reason, Count = 1 };
        }

        /// <summary>The oldest.</summary>
        public bool Take(out PlaybackTrouble trouble)
        {
            trouble = m_Troubles[0];
            if (m_Count == 0)
            {
                return false;
            }
            --m_Count;
            for (int i = 0; i < m_Count; ++i)
            {
                m_Troubles[i] = m_Troubles[i + 1];
            }
            return true;
        }
    }
}
