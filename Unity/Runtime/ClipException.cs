using System;

namespace Nimb
{
    /// <summary>A clip that cannot be found, fetched, opened or shown; the message says which and why.</summary>
    public sealed class ClipException : Exception
    {
        public ClipException(string message) : base(message) { }
        public ClipException(string message, Exception cause) : base(message, cause) { }
    }
}
