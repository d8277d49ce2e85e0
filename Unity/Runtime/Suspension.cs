using System;

namespace Nimb
{
    /// <summary>Why playback stands still although it is wanted. It goes on when the last reason is over.</summary>
    [Flags]
    internal enum Suspension
    {
        None = 0,
        Disabled = 1,
        ApplicationPaused = 2,
        Unfocused = 4,
        EditorPaused = 8
    }
}
