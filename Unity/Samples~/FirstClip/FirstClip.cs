using System.IO;
using Nimb;
using UnityEngine;

/// <summary>
/// Plays the clip that comes with the sample, in the editor and in builds, and turns the player, to be seen from all sides.
/// The clip is an asset, of which the engine gives the bytes, while players read files; so it is written to one first.
/// Clips of your own need none of this: put them into Assets/StreamingAssets.
/// </summary>
[RequireComponent(typeof(NimbPlayer))]
public sealed class FirstClip : MonoBehaviour
{
    private const string FileName = "nimb-first-clip.mp4";

    [SerializeField]
    private TextAsset m_Clip = null;
    [SerializeField, Tooltip("In a second.")]
    private float m_DegreesTurned = 20;

    private void Start()
    {
        if (m_Clip == null)
        {
            Debug.LogWarning("The sample's clip is made with the package's native libraries, and sources alone do not have " +
                "it. 'nimb demo' writes the same clip; see How to get a clip in the package's documentation.");
            return;
        }
        string path = Path.Combine(Application.persistentDataPath, FileName);
        byte[] bytes = m_Clip.bytes;
        if (!File.Exists(path) || new FileInfo(path).Length != bytes.Length)
        {
            File.WriteAllBytes(path, bytes);
        }
        var player = GetComponent<NimbPlayer>();
        player.Open(ClipFolder.PersistentData, FileName);
        player.Play();
    }

    private void Update()
    {
        transform.Rotate(0, m_DegreesTurned * Time.deltaTime, 0);
    }
}
