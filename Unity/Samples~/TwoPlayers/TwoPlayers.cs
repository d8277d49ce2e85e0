using Nimb;
using UnityEngine;

/// <summary>
/// Two clips of the same length that start, pause and begin again together. Every player has a clock of its own, which
/// starts with its first frame; so both are open before either plays, and neither loops by itself: when both have ended,
/// both start again.
/// </summary>
public sealed class TwoPlayers : MonoBehaviour
{
    [SerializeField]
    private NimbPlayer m_Left = null;
    [SerializeField]
    private NimbPlayer m_Right = null;
    [SerializeField]
    private string m_LeftClip = "left.mp4";
    [SerializeField]
    private string m_RightClip = "right.mp4";

    private bool m_Started;

    /// <summary>How far the left player is ahead of the right one, in seconds.</summary>
    public double Skew { get { return m_Left.Time - m_Right.Time; } }

    private void Start()
    {
        Open(m_Left, m_LeftClip);
        Open(m_Right, m_RightClip);
    }

    private static void Open(NimbPlayer player, string clip)
    {
        player.PlayOnAwake = false;
        player.Loop = false;
        player.Open(ClipFolder.StreamingAssets, clip);
    }

    private void Update()
    {
        bool areOpen = m_Left.IsOpen && m_Right.IsOpen;
        bool haveEnded = m_Left.HasEnded && m_Right.HasEnded;
        if (areOpen && (!m_Started || haveEnded))
        {
            m_Started = true;
            PlayBoth();
        }
    }

    public void PlayBoth()
    {
        if (m_Left.HasEnded || m_Right.HasEnded)
        {
            m_Left.Rewind();
            m_Right.Rewind();
        }
        m_Left.Play();
        m_Right.Play();
    }

    public void PauseBoth()
    {
        m_Left.Pause();
        m_Right.Pause();
    }
}
