using System;
using UnityEngine;

namespace Nimb
{
    /// <summary>Plays clips one after another on the player of this object. While one plays, the next is prepared.</summary>
    [AddComponentMenu("Nimb/Playlist")]
    [DisallowMultipleComponent]
    [RequireComponent(typeof(NimbPlayer))]
    public sealed class NimbPlaylist : MonoBehaviour
    {
        [Serializable]
        public struct Entry
        {
            [Tooltip("What the path is relative to.")]
            public ClipFolder Folder;
            [Tooltip("With forward slashes.")]
            public string Path;
        }

        [SerializeField]
        private Entry[] m_Clips = new Entry[0];
        [SerializeField]
        private bool m_PlayOnAwake = true;
        [SerializeField, Tooltip("Begin again after the last clip.")]
        private bool m_Loop = true;

        private NimbPlayer m_Player;
        private int m_Index = -1;
        private int m_FailuresInARow;

        /// <summary>The clip that is open or being opened; -1 before the first.</summary>
        public int Index { get { return m_Index; } }
        public bool Loop { get { return m_Loop; } set { m_Loop = value; } }

        /// <summary>Takes effect with the next clip.</summary>
        public Entry[] Clips { get { return m_Clips; } set { m_Clips = value ?? new Entry[0]; } }

        /// <summary>The last clip has ended, or none of them can be played.</summary>
        public event Action<NimbPlaylist> Ended;

        private void OnEnable()
        {
            m_Player = GetComponent<NimbPlayer>();
            m_Player.LoopMode = LoopMode.Once;
            m_Player.Opened += OnOpened;
            m_Player.Ended += OnEnded;
            m_Player.Failed += OnFailed;
        }

        private void OnDisable()
        {
            m_Player.Opened -= OnOpened;
            m_Player.Ended -= OnEnded;
            m_Player.Failed -= OnFailed;
        }

        private void Start()
        {
            if (m_PlayOnAwake && m_Index < 0)
            {
                Play(0);
            }
        }

        /// <summary>Plays a clip, and those after it.</summary>
        /// <param name="index">From 0.</param>
        public void Play(int index)
        {
            if (index < 0 || index >= m_Clips.Length)
            {
                throw new ArgumentOutOfRangeException("index", index, "The playlist has " + m_Clips.Length + " clips.");
            }
            m_Index = index;
            m_Player.Open(m_Clips[index].Folder, m_Clips[index].Path);
            m_Player.Play();
        }

        public void Next()
        {
            int next = IndexAfter(m_Index);
            if (next >= 0)
            {
                Play(next);
            }
            else if (Ended != null)
            {
                Ended(this);
            }
        }

        public void Previous()
        {
            if (m_Clips.Length > 0)
            {
                Play(m_Index > 0 ? m_Index - 1 : m_Loop ? m_Clips.Length - 1 : 0);
            }
        }

        /// <returns>-1: none.</returns>
        private int IndexAfter(int index)
        {
            return index + 1 < m_Clips.Length ? index + 1 : m_Loop && m_Clips.Length > 0 ? 0 : -1;
        }

        private void OnOpened(NimbPlayer player)
        {
            m_FailuresInARow = 0;
            int next = IndexAfter(m_Index);
            if (next >= 0)
            {
                player.Prepare(m_Clips[next].Folder, m_Clips[next].Path);
            }
        }

        private void OnEnded(NimbPlayer player)
        {
            Next();
        }

        private void OnFailed(NimbPlayer player, string reason)
        {
            if (++m_FailuresInARow < m_Clips.Length)
            {
                Next();
            }
            else if (Ended != null)
            {
                Ended(this);
            }
        }
    }
}
