using UnityEditor.Timeline;
using UnityEngine.Timeline;

namespace Nimb.Timeline.Editor
{
    /// <summary>A new clip on a track is as long as the clip that the track's player has open.</summary>
    [CustomTimelineEditor(typeof(NimbTimelineClip))]
    internal sealed class NimbTimelineClipEditor : ClipEditor
    {
        public override void OnCreate(TimelineClip clip, TrackAsset track, TimelineClip clonedFrom)
        {
            if (clonedFrom != null || TimelineEditor.inspectedDirector == null)
            {
                return;
            }
            var player = TimelineEditor.inspectedDirector.GetGenericBinding(track) as NimbPlayer;
            if (player != null && player.IsOpen && player.Duration > 0)
            {
                ((NimbTimelineClip)clip.asset).SetClipDuration(player.Duration);
                clip.duration = player.Duration;
            }
        }
    }
}
