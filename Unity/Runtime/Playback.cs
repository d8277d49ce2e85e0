using System;
using UnityEngine;

namespace Nimb
{
    /// <summary>
    /// One clip in the hands of a back end, from opening to closing. Belongs to the main thread, and keeps it waiting
    /// nowhere: what takes time happens on other threads.
    /// </summary>
    internal abstract class Playback : IDisposable
    {
        public abstract PlayerFeatures Features { get; }

        /// <summary>What the back end cannot do with this clip or here; null when there is nothing to say.</summary>
        public abstract string Limits { get; }

        /// <summary>Once a frame until it returns true.</summary>
        /// <exception cref="ClipException">The clip cannot be opened.</exception>
        public abstract bool FinishOpening();

        // ---- Of an open clip ----

        public abstract ClipInfo Info { get; }
        public abstract Mesh Mesh { get; }
        /// <summary>Row 0 is the picture's top row, as it is for the meshes' texture coordinates.</summary>
        public abstract Texture Texture { get; }
        /// <summary>The texture holds the video's encoded colours and says that it is linear.</summary>
        public abstract bool IsTextureEncoded { get; }

        /// <summary>Number of the frame that is shown; -1 before the first.</summary>
        public abstract long Frame { get; }
        /// <summary>Of that frame in the clip, in seconds.</summary>
        public abstract double Time { get; }

        /// <summary>Why it cannot go on; null as long as it can.</summary>
        public abstract string Problem { get; }

        public abstract bool IsPlaying { get; }
        public abstract bool HasEnded { get; }
        /// <summary>A request for a frame has not ended yet.</summary>
        public abstract bool IsSeeking { get; }

        /// <summary>A clip that has ended starts again.</summary>
        public abstract void Play();
        public abstract void Pause();
        /// <summary>To the first frame of the range, paused.</summary>
        public abstract void Rewind();
        /// <returns>A ticket above 0; 0 when the back end cannot. Tickets that nobody was given may end, too.</returns>
        public abstract long Seek(long frame, SeekOptions options);
        public abstract long SeekTime(double seconds, SeekOptions options);
        public abstract long Step(int frames);
        public abstract bool TakeSeekEnd(out SeekEnd end);
        public abstract bool TakeTrouble(out PlaybackTrouble trouble);

        /// <summary>Frames <paramref name="first"/> to <paramref name="last"/>; the whole clip when last is below 0.</summary>
        public abstract void SetRange(long first, long last, bool loop);
        public abstract void SetSpeed(float speed);
        public abstract void SetVolume(float volume);

        /// <summary>Another device was made, in which nothing of this is any more: it must be opened again.</summary>
        public virtual bool IsStale { get { return false; } }
        /// <summary>There may be another device.</summary>
        public virtual void LookAtDevice() { }

        /// <summary>The player's id for native clocks; -1 without one.</summary>
        public virtual int NativeId { get { return -1; } }
        /// <summary>A native clock has sent the player to a frame.</summary>
        public virtual void ExpectSeek() { }
        /// <summary>The time that a shared clock is at, in seconds of the clip; NaN: its own pace.</summary>
        public virtual void SetReferenceTime(double seconds) { }

        // ---- Each frame of the engine; neither allocates ----

        /// <summary>After scripts have had their say.</summary>
        public abstract PlaybackEvents Update();
        /// <summary>At the last moment before cameras render, when the engine's video textures are those that they will
        /// see.</summary>
        public virtual PlaybackEvents BeforeRender() { return PlaybackEvents.None; }

        // ---- For opening ----

        /// <summary>What the user is told of whatever stopped a thread that opens a clip.</summary>
        protected static ClipException OpeningFault(Exception fault, string location, string library)
        {
            var told = fault as ClipException;
            if (told != null)
            {
                return told;
            }
            bool isLoading = fault is DllNotFoundException || fault is EntryPointNotFoundException
                || fault is BadImageFormatException;
            string problem = isLoading ? NativeLoader.ProblemWith(library) : null;
            return new ClipException(problem ?? "The clip '" + location + "' cannot be opened: " + fault.Message, fault);
        }

        protected static void CheckPicture(ClipInfo info)
        {
            if (Math.Max(info.Width, info.Height) > SystemInfo.maxTextureSize)
            {
                throw new ClipException("The clip's pictures have " + info.Width + " x " + info.Height +
                    " pixels; this device's textures end at " + SystemInfo.maxTextureSize + ".");
            }
        }

        /// <summary>Mesh and texture go. At any time, also while it opens.</summary>
        public abstract void Dispose();
    }
}
