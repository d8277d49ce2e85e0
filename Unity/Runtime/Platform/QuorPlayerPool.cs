using System;
using System.Collections.Generic;
using System.Threading;
using System.Threading.Tasks;

namespace Nimb
{
    /// <summary>
    /// Native players that have no clip, for the next one: a player's GL objects cannot be freed when it ends, as its
    /// threads have no context, so it is used again instead. Any thread.
    /// </summary>
    internal static class QuorPlayerPool
    {
        private static readonly Stack<QuorPlayer> s_Idle = new Stack<QuorPlayer>();
        private static readonly object s_Lock = new object();
        private static int s_Closing;  // guarded by s_Lock, like s_Idle

        public static QuorPlayer Take()
        {
            lock (s_Lock)
            {
                if (s_Idle.Count > 0)
                {
                    return s_Idle.Pop();
                }
            }
            return new QuorPlayer();
        }

        /// <summary>Closes a player on another thread, when its clip has opened, and keeps it. No render event may be issued
        /// for it any more.</summary>
        public static void Return(Task<QuorPlayer> opening)
        {
            lock (s_Lock)
            {
                ++s_Closing;
            }
            opening.ContinueWith(Close, TaskScheduler.Default);
        }

        private static void Close(Task<QuorPlayer> opening)
        {
            QuorPlayer player = opening.Exception == null ? opening.Result : null;
            try
            {
                if (player != null)
                {
                    player.Close();
                    player.SetBuffers(IntPtr.Zero, 0, 0, IntPtr.Zero, 0, IntPtr.Zero, 0);
                }
            }
            finally
            {
                lock (s_Lock)
                {
                    if (player != null)
                    {
                        s_Idle.Push(player);
                    }
                    --s_Closing;
                    Monitor.PulseAll(s_Lock);
                }
            }
        }

        /// <summary>Ends all of them, also those that are being closed; waits for that.</summary>
        public static void Clear()
        {
            lock (s_Lock)
            {
                while (s_Closing > 0)
                {
                    Monitor.Wait(s_Lock);
                }
                foreach (QuorPlayer player in s_Idle)
                {
                    player.Dispose();
                }
                s_Idle.Clear();
            }
        }
    }
}
