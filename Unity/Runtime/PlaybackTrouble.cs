namespace Nimb
{
    public enum PlaybackTroubleReason
    {
        None = 0,
        /// <summary>A mesh cannot be decoded: the clip is damaged there.</summary>
        DamagedMesh = 1,
        /// <summary>A picture has no mesh.</summary>
        NoMesh = 2,
        /// <summary>Pictures came whose mesh was not decoded in time: the clip is too large for the device.</summary>
        LostFrames = 3,
        /// <summary>It plays, and nothing new is shown for seconds.</summary>
        Stalled = 4
    }

    /// <summary>Something went wrong while playing, and playing goes on.</summary>
    public struct PlaybackTrouble
    {
        /// <summary>Where it began, counted from 0; -1 when it is not known.</summary>
        public long Frame;
        public PlaybackTroubleReason Reason;
        /// <summary>How many frames it concerns.</summary>
        public int Count;

        public override string ToString()
        {
            string where = Frame >= 0 ? " from frame " + Frame + " on" : "";
            switch (Reason)
            {
                case PlaybackTroubleReason.DamagedMesh:
                    return Count + " damaged mesh(es)" + where;
                case PlaybackTroubleReason.NoMesh:
                    return Count + " picture(s) without a mesh" + where;
                case PlaybackTroubleReason.LostFrames:
                    return Count + " frame(s) not shown, as their meshes came too late" + where;
                case PlaybackTroubleReason.Stalled:
                    return "playback stands still" + where;
                default:
                    return "none";
            }
        }
    }
}
