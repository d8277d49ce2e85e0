using Nimb;
using UnityEngine;

/// <summary>Put this on an empty object of an empty scene, name a clip in StreamingAssets, and press Play: a player is made,
/// and a camera where there is none, which looks at the clip.</summary>
public sealed class MinimalScene : MonoBehaviour
{
    [SerializeField]
    private string m_Clip = "clip.mp4";

    private void Start()
    {
        var player = new GameObject("Player", typeof(NimbPlayer)).GetComponent<NimbPlayer>();
        player.Opened += LookAtClip;
        player.Ended += ended => Debug.Log("The clip has ended.");
        player.Failed += (failed, reason) => Debug.Log("No clip: " + reason);
        player.LoopMode = LoopMode.Loop;
        player.Open(ClipFolder.StreamingAssets, m_Clip);
        player.Play();
    }

    private static void LookAtClip(NimbPlayer player)
    {
        Bounds bounds = player.Info.Bounds;  // of all frames
        Camera view = Camera.main != null ? Camera.main : new GameObject("Camera", typeof(Camera)).GetComponent<Camera>();
        float distance = bounds.extents.magnitude * 2.5f;
        view.transform.position = bounds.center + Vector3.back * distance;
        view.transform.LookAt(bounds.center);
        view.nearClipPlane = distance * 0.01f;
        view.farClipPlane = distance * 10;
    }
}
