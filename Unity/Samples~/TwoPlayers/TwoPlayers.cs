using Nimb;
using UnityEngine;

/// <summary>
/// Two clips of the same length in step. A clock has both players: it starts them together once both have their first
/// frame, keeps them together, and goes on through the end of the clips.
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

    private NimbPlayerClock m_Clock;

    /// <summary>How far the left player is ahead of the right one, in seconds.</summary>
    public double Skew { get { return m_Left.Time - m_Right.Time; } }

    private void Start()
    {
        Open(m_Left, m_LeftClip);
        Open(m_Right, m_RightClip);
        m_Clock = gameObject.AddComponent<NimbPlayerClock>();
        m_Clock.Players = new[] { m_Left, m_Right };
        PlayBoth();
    }

    private static void Open(NimbPlayer player, string clip)
    {
        player.PlayOnAwake = false;
        player.LoopMode = LoopMode.Loop;
        player.Open(ClipFolder.StreamingAssets, clip);
    }

    public void PlayBoth()
    {
        m_Clock.Play();
    }

    public void PauseBoth()
    {
        m_Clock.Pause();
    }
}
