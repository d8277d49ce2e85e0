using System;
using UnityEngine;
using UnityEngine.Events;

namespace Nimb
{
    /// <summary>An event of a player, for the inspector and for scripts. What a listener throws is logged and concerns
    /// nobody else.</summary>
    [Serializable]
    public sealed class NimbPlayerEvent : UnityEvent<NimbPlayer>
    {
        internal event Action<NimbPlayer> Raised;

        internal void Raise(NimbPlayer player)
        {
            try
            {
                Invoke(player);
                if (Raised != null)
                {
                    Raised(player);
                }
            }
            catch (Exception e)
            {
                Debug.LogException(e, player);
            }
        }
    }

    /// <summary>The same with something to tell.</summary>
    public abstract class NimbPlayerEvent<T> : UnityEvent<NimbPlayer, T>
    {
        internal event Action<NimbPlayer, T> Raised;

        internal void Raise(NimbPlayer player, T what)
        {
            try
            {
                Invoke(player, what);
                if (Raised != null)
                {
                    Raised(player, what);
                }
            }
            catch (Exception e)
            {
                Debug.LogException(e, player);
            }
        }
    }

    /// <summary>A failure, with its reason.</summary>
    [Serializable]
    public sealed class NimbPlayerFailedEvent : NimbPlayerEvent<string> { }

    /// <summary>The end of a request for a frame.</summary>
    [Serializable]
    public sealed class NimbPlayerSeekEvent : NimbPlayerEvent<SeekEnd> { }

    /// <summary>Trouble while playing.</summary>
    [Serializable]
    public sealed class NimbPlayerTroubleEvent : NimbPlayerEvent<PlaybackTrouble> { }
}
