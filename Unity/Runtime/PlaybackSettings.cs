using UnityEngine;

namespace Nimb
{
    /// <summary>What a back end is told when it opens a clip.</summary>
    internal struct PlaybackSettings
    {
        public bool Loops;
        public bool DisableAudio;
        /// <summary>Null: the sound goes to the device.</summary>
        public AudioSource AudioSource;
        /// <summary>Smooth normals instead of those in the file.</summary>
        public bool ComputeNormals;
        public bool HasMipMaps;
    }
}
