using System;
using System.Threading.Tasks;
using UnityEngine;

namespace Nimb
{
    /// <summary>A clip on its way from its name to a back end that plays it. Belongs to the main thread.</summary>
    internal sealed class ClipSession : IDisposable
    {
        private const string CopiesFolder = "/NimbClips";

        private readonly PlayerBackend m_Wanted;
        private readonly PlaybackSettings m_Settings;
        private Task<string> m_Fetch;  // of a clip that is being copied out of the application package

        public readonly ClipFolder Folder;
        public readonly string Path;

        /// <summary>Null while the clip is fetched.</summary>
        public Playback Playback { get; private set; }
        public PlayerBackend Backend { get; private set; }
        /// <summary>Why the choice fell on another back end than Platform; null when it did not.</summary>
        public string ChoiceReason { get; private set; }
        public bool IsOpen { get; private set; }

        /// <exception cref="ClipException">It is clear at once that the clip cannot be opened.</exception>
        public ClipSession(ClipFolder folder, string path, PlayerBackend wanted, PlaybackSettings settings)
        {
            Folder = folder;
            Path = path;
            m_Wanted = wanted;
            m_Settings = settings;
            string location = ClipPath.Resolve(folder, path, Application.streamingAssetsPath, Application.persistentDataPath);
            if (ClipPath.IsInsidePackage(location))
            {
                m_Fetch = ClipCache.Fetch(location, Application.persistentDataPath + CopiesFolder);
            }
            else
            {
                Begin(location);
            }
        }

        private void Begin(string location)
        {
            string reason;
            Backend = BackendChoice.Choose(m_Wanted, ClipPath.IsUrl(location), out reason);
            ChoiceReason = reason;
            if (Backend == PlayerBackend.Platform)
            {
                Playback = new PlatformPlayback(location, m_Settings);
            }
            else
            {
                Playback = new PortablePlayback(location, m_Settings);
            }
        }

        /// <summary>Once a frame while it is not open.</summary>
        /// <returns>True when it has just opened.</returns>
        /// <exception cref="ClipException">It cannot be opened.</exception>
        public bool Poll()
        {
            if (m_Fetch != null && m_Fetch.IsCompleted)
            {
                Task<string> fetch = m_Fetch;
                m_Fetch = null;
                if (fetch.IsFaulted)
                {
                    throw new ClipException(fetch.Exception.GetBaseException().Message);
                }
                Begin(fetch.Result);
            }
            if (Playback == null || IsOpen)
            {
                return false;
            }
            try
            {
                IsOpen = Playback.FinishOpening();
                return IsOpen;
            }
            catch (ClipException e) when (ChoiceReason != null && HasOnlyPlatform)
            {
                throw new ClipException(e.Message + " The native player, which could, was not taken: " + ChoiceReason, e);
            }
        }

        /// <summary>The engine's video player reads no MP4 files there.</summary>
        private static bool HasOnlyPlatform
        {
            get { return Application.platform == RuntimePlatform.LinuxEditor || Application.platform == RuntimePlatform.LinuxPlayer; }
        }

        public bool Is(ClipFolder folder, string path)
        {
            return Folder == folder && Path == path;
        }

        public void Dispose()
        {
            m_Fetch = null;
            IsOpen = false;
            if (Playback != null)
            {
                Playback.Dispose();
                Playback = null;
            }
        }
    }
}
