namespace Nimb
{
    /// <summary>Something went wrong while playing, and playing goes on.</summary>
    public struct PlaybackTrouble
    {
        /// <summary>Where it began, counted from 0; -1 when it is not known.</summary>
        public long Frame;
        public NimbTroubleReason Reason;
        /// <summary>How many frames it concerns.</summary>
        public int Count;

        public override string ToString()
        {
            string where = Frame >= 0 ? " from frame " + Frame + " on" : "";
            switch (Reason)
            {
                case NimbTroubleReason.DamagedMesh:
                    return Count + " damaged mesh(es)" + where;
                case NimbTroubleReason.NoMesh:
                    return Count + " picture(s) without a mesh" + where;
                case NimbTroubleReason.LostFrames:
                    return Count + " frame(s) not shown, as their meshes came too late" + where;
                case NimbTroubleReason.Stalled:
                    return "playback stands still" + where;
                default:
                    return "none";
            }
        }
    }
}
