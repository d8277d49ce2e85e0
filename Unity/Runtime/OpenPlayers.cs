using System;
using System.Collections.Generic;
using UnityEngine;

namespace Nimb
{
    /// <summary>Players that have a clip: what all of them are told, and what the engine does not tell each.</summary>
    internal static class OpenPlayers
    {
        private static readonly TimeSpan s_Patience = TimeSpan.FromSeconds(5);
        private static readonly List<NimbPlayer> s_Players = new List<NimbPlayer>();
        private static bool s_IsListening;

        public static void Add(NimbPlayer player)
        {
            if (!s_IsListening)
            {
                s_IsListening = true;
                Application.onBeforeRender += BeforeRender;
                Application.quitting += CloseAll;
            }
            if (!s_Players.Contains(player))
            {
                s_Players.Add(player);
            }
        }

        public static void Remove(NimbPlayer player)
        {
            s_Players.Remove(player);
        }

        private static void BeforeRender()
        {
            // From the end: listeners may close players, and open others.
            for (int i = s_Players.Count - 1; i >= 0; --i)
            {
                if (i >= s_Players.Count)
                {
                    continue;
                }
                NimbPlayer player = s_Players[i];
                if (player == null)
                {
                    player.Core.Release();  // destroyed, and never active, so the engine has not told it
                }
                else
                {
                    player.Core.BeforeRender();
                }
            }
        }

        /// <summary>The editor stands still, or goes on.</summary>
        public static void PauseAll(bool isPaused)
        {
            foreach (NimbPlayer player in s_Players.ToArray())
            {
                if (isPaused)
                {
                    player.Core.Suspend(Suspension.EditorPaused);
                }
                else
                {
                    player.Core.Resume(Suspension.EditorPaused);
                }
            }
        }

        /// <summary>Closes all clips and ends all native players and threads, before scripts are reloaded. Waits for
        /// that.</summary>
        public static void CloseAll()
        {
            foreach (NimbPlayer player in s_Players.ToArray())
            {
                player.Core.Release();
            }
            s_Players.Clear();
            QuorPlayerPool.Clear();
            ClipReader.WaitForAll(s_Patience);
        }
    }
}
