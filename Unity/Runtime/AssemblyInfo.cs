using System.Runtime.CompilerServices;

[assembly: InternalsVisibleTo("Nimb.Editor")]
[assembly: InternalsVisibleTo("UnityTests")]
