using UnityEngine;
using UnityEngine.Playables;
using UnityEngine.Timeline;

namespace Nimb.Timeline
{
    /// <summary>Plays clips on a player: the player that is bound to the track shows what the clip under the playhead
    /// says. Clips do not blend.</summary>
    [TrackColor(0.35f, 0.65f, 0.75f)]
    [TrackClipType(typeof(NimbTimelineClip))]
    [TrackBindingType(typeof(NimbPlayer))]
    public sealed class NimbTrack : TrackAsset
    {
        public override Playable CreateTrackMixer(PlayableGraph graph, GameObject go, int inputCount)
        {
            return ScriptPlayable<NimbTrackMixer>.Create(graph, inputCount);
        }

        /// <summary>What a preview in the editor changes, so that the scene is as before when it ends.</summary>
        public override void GatherProperties(PlayableDirector director, IPropertyCollector driver)
        {
            var player = director.GetGenericBinding(this) as NimbPlayer;
            if (player != null)
            {
                driver.AddFromName<NimbPlayer>(player.gameObject, "m_Folder");
                driver.AddFromName<NimbPlayer>(player.gameObject, "m_Path");
                driver.AddFromName<NimbPlayer>(player.gameObject, "m_Speed");
            }
            base.GatherProperties(director, driver);
        }
    }
}
