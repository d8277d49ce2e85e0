// Playables and the timeline's types as far as the package uses them; with what a test needs to evaluate a track.
using System;

namespace UnityEngine.Playables
{
    public struct PlayableGraph { }
    /// <summary>Of the stand-in: what is behind the structures.</summary>
    public sealed class PlayableNode
    {
        public object Behaviour;
        public PlayableNode[] Inputs;
        public float[] Weights;
        public double Time, Speed = 1;
    }
    public interface IPlayable { PlayableNode Node { get; } }
    public interface IPlayableBehaviour { }
    public struct Playable : IPlayable { public PlayableNode Node { get; set; } }
    public struct ScriptPlayable<T> : IPlayable where T : class, IPlayableBehaviour, new()
    {
        public PlayableNode Node { get; set; }
        public static ScriptPlayable<T> Create(PlayableGraph graph, int inputCount = 0)
        {
            return new ScriptPlayable<T> { Node = new PlayableNode
            {
                Behaviour = new T(), Inputs = new PlayableNode[inputCount], Weights = new float[inputCount]
            } };
        }
        public T GetBehaviour() { return (T)Node.Behaviour; }
        public static implicit operator Playable(ScriptPlayable<T> playable) { return new Playable { Node = playable.Node }; }
        public static explicit operator ScriptPlayable<T>(Playable playable)
        {
            return new ScriptPlayable<T> { Node = playable.Node };
        }
    }
    public static class PlayableExtensions
    {
        public static int GetInputCount<U>(this U playable) where U : struct, IPlayable { return playable.Node.Inputs.Length; }
        public static Playable GetInput<U>(this U playable, int inputPort) where U : struct, IPlayable
        {
            return new Playable { Node = playable.Node.Inputs[inputPort] };
        }
        public static float GetInputWeight<U>(this U playable, int inputIndex) where U : struct, IPlayable
        {
            return playable.Node.Weights[inputIndex];
        }
        public static double GetTime<U>(this U playable) where U : struct, IPlayable { return playable.Node.Time; }
        public static double GetSpeed<U>(this U playable) where U : struct, IPlayable { return playable.Node.Speed; }
    }
    public struct FrameData
    {
        public enum EvaluationType { Evaluate, Playback }
        public EvaluationType evaluationType { get; set; }
        public float effectiveSpeed { get; set; }
    }
    public abstract class PlayableBehaviour : IPlayableBehaviour
    {
        public virtual void OnBehaviourPause(Playable playable, FrameData info) { }
        public virtual void OnPlayableDestroy(Playable playable) { }
        public virtual void ProcessFrame(Playable playable, FrameData info, object playerData) { }
    }
    public abstract class PlayableAsset : Object
    {
        public virtual double duration { get { return 5; } }
        public abstract Playable CreatePlayable(PlayableGraph graph, GameObject owner);
    }
    public sealed class PlayableDirector : Behaviour { public Object GetGenericBinding(Object key) { return null; } }
}

namespace UnityEngine.Timeline
{
    using UnityEngine.Playables;

    [Flags]
    public enum ClipCaps { None = 0, Looping = 1, Extrapolation = 2, ClipIn = 4, SpeedMultiplier = 8, Blending = 16 }
    public interface ITimelineClipAsset { ClipCaps clipCaps { get; } }
    public interface IPropertyCollector { void AddFromName<T>(GameObject obj, string name) where T : Component; }
    public sealed class TimelineClip
    {
        public double duration { get; set; }
        public Object asset { get; set; }
    }
    public abstract class TrackAsset : PlayableAsset
    {
        public virtual Playable CreateTrackMixer(PlayableGraph graph, GameObject go, int inputCount) { return new Playable(); }
        public virtual void GatherProperties(PlayableDirector director, IPropertyCollector driver) { }
        public sealed override Playable CreatePlayable(PlayableGraph graph, GameObject go) { return new Playable(); }
    }
    public sealed class TrackColorAttribute : Attribute { public TrackColorAttribute(float r, float g, float b) { } }
    public sealed class TrackClipTypeAttribute : Attribute { public TrackClipTypeAttribute(Type clipClass) { } }
    public sealed class TrackBindingTypeAttribute : Attribute { public TrackBindingTypeAttribute(Type type) { } }
}

namespace UnityEditor.Timeline
{
    using UnityEngine.Playables;
    using UnityEngine.Timeline;

    public static class TimelineEditor { public static PlayableDirector inspectedDirector { get { return null; } } }
    public class ClipEditor
    {
        public virtual void OnCreate(TimelineClip clip, TrackAsset track, TimelineClip clonedFrom) { }
    }
    public sealed class CustomTimelineEditorAttribute : Attribute { public CustomTimelineEditorAttribute(Type type) { } }
}
