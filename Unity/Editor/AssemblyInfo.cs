using System.Runtime.CompilerServices;

[assembly: InternalsVisibleTo("Nimb.Editor.Tests")]
[assembly: InternalsVisibleTo("UnityTests")]
