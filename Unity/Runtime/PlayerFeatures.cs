using System;

namespace Nimb
{
    /// <summary>What a back end can do.</summary>
    [Flags]
    public enum PlayerFeatures
    {
        None = 0,
        /// <summary>The number of the picture that is shown is known exactly, so every mesh is that of its picture.</summary>
        ExactFrames = 1,
        /// <summary>Going to frames and times, stepping, the first frame as a still after opening.</summary>
        Seek = 2,
        PlayRange = 4,
        PingPong = 8,
        /// <summary>Players on a <see cref="NimbPlayerClock"/> share a clock, not just starts.</summary>
        SharedClock = 16,
        /// <summary>Sound through an AudioSource: spatial, and mixed by the engine.</summary>
        AudioSource = 32,
        /// <summary>Clips at http and https addresses.</summary>
        Urls = 64,
        /// <summary>The mesh can be read by scripts, colliders and effects.</summary>
        ReadableMesh = 128
    }
}
