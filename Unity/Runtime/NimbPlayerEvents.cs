using System;
using UnityEngine.Events;

namespace Nimb
{
    /// <summary>An event of a player for the inspector.</summary>
    [Serializable]
    public sealed class NimbPlayerEvent : UnityEvent<NimbPlayer> { }

    /// <summary>A failure, with its reason.</summary>
    [Serializable]
    public sealed class NimbPlayerFailedEvent : UnityEvent<NimbPlayer, string> { }
}
