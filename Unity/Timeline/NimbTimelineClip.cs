using UnityEngine;
using UnityEngine.Playables;
using UnityEngine.Timeline;

namespace Nimb.Timeline
{
    /// <summary>A part of a timeline in which a player plays. It may name a clip; otherwise the player's own one
    /// plays.</summary>
    public sealed class NimbTimelineClip : PlayableAsset, ITimelineClipAsset
    {
        [SerializeField, Tooltip("What the path is relative to.")]
        private ClipFolder m_Folder = ClipFolder.StreamingAssets;
        [SerializeField, Tooltip("With forward slashes. Empty: the clip that the player names itself.")]
        private string m_Path = "";
        [SerializeField, Tooltip("Begin again where this is longer than the clip; otherwise the last frame stays.")]
        private bool m_Loop = true;
        [SerializeField, HideInInspector]
        private double m_ClipDuration = 0;

        public ClipFolder Folder { get { return m_Folder; } set { m_Folder = value; } }

        /// <summary>Empty: the clip that the player names itself.</summary>
        public string Path { get { return m_Path; } set { m_Path = value; } }

        public bool Loop { get { return m_Loop; } set { m_Loop = value; } }

        public ClipCaps clipCaps
        {
            get { return ClipCaps.ClipIn | ClipCaps.SpeedMultiplier | ClipCaps.Looping | ClipCaps.Extrapolation; }
        }

        /// <summary>Of the clip, in seconds, once a player has had it open; the timeline's usual length before.</summary>
        public override double duration { get { return m_ClipDuration > 0 ? m_ClipDuration : base.duration; } }

        /// <summary>What <see cref="duration"/> is from now on; above 0.</summary>
        public void SetClipDuration(double seconds)
        {
            m_ClipDuration = seconds;
        }

        public override Playable CreatePlayable(PlayableGraph graph, GameObject owner)
        {
            ScriptPlayable<NimbClipBehaviour> playable = ScriptPlayable<NimbClipBehaviour>.Create(graph);
            playable.GetBehaviour().Clip = this;
            return playable;
        }
    }

    /// <summary>Says which clip a mixer's input is of.</summary>
    public sealed class NimbClipBehaviour : PlayableBehaviour
    {
        public NimbTimelineClip Clip { get; internal set; }
    }
}
