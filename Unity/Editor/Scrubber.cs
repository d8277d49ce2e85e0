using System;

namespace Nimb.Editor
{
    /// <summary>The frame that a slider was moved to last. A player is asked for one frame at a time, or it would never get
    /// to any while the mouse moves.</summary>
    internal static class Scrubber
    {
        private const long Nothing = -1;

        private static NimbPlayer s_Player;
        private static long s_Wanted = Nothing;  // not asked for yet
        private static long s_Asked = Nothing;  // last

        /// <summary>What a slider shows: where it was moved to, or where the player is.</summary>
        public static long Shown(NimbPlayer player)
        {
            bool isOnItsWay = s_Player == player && player.IsSeeking;
            return isOnItsWay && s_Wanted != Nothing ? s_Wanted : isOnItsWay && s_Asked != Nothing ? s_Asked
                : Math.Max(0, player.Frame);
        }

        public static void Ask(NimbPlayer player, long frame)
        {
            if (s_Player != player)
            {
                Forget();
            }
            s_Player = player;
            s_Wanted = frame;
            Take();
        }

        /// <summary>Asks for what is still wanted, once the player can; to be called as long as it may be.</summary>
        public static void Take()
        {
            if (s_Player == null || s_Wanted == Nothing || !s_Player.IsOpen || s_Player.IsSeeking)
            {
                return;
            }
            if (s_Wanted != s_Player.Frame || s_Player.IsPlaying)
            {
                s_Player.Seek(s_Wanted, SeekOptions.Pause);
            }
            s_Asked = s_Wanted;
            s_Wanted = Nothing;
        }

        public static void Forget()
        {
            s_Player = null;
            s_Wanted = s_Asked = Nothing;
        }
    }
}
