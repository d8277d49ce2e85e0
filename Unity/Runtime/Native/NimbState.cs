namespace Nimb
{
    /// <summary>Results of <see cref="NimbUnityPluginML.GetQuorState"/>.</summary>
    public enum NimbState
    {
        /// <summary>Never seen from outside.</summary>
        Empty = 0,
        /// <summary>No file was ever opened.</summary>
        Initialized = 1,
        Opened = 2,
        /// <summary>Also at the end of a file that does not loop.</summary>
        Playing = 3,
        /// <summary>Also after a rewind.</summary>
        Paused = 4,
        /// <summary>May be opened again.</summary>
        Closed = 5,
        /// <summary>No player has this id.</summary>
        NotFound = 6
    }
}
