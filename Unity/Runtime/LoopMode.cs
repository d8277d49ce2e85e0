namespace Nimb
{
    /// <summary>What comes after the last frame.</summary>
    public enum LoopMode
    {
        /// <summary>Nothing: the last frame stays.</summary>
        Once = 0,
        /// <summary>The first frame.</summary>
        Loop = 1,
        /// <summary>The way back, where the back end can (<see cref="PlayerFeatures.PingPong"/>); otherwise as Loop.
        /// </summary>
        PingPong = 2
    }
}
