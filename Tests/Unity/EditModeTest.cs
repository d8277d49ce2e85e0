using Nimb;
using Nimb.Editor;
using UnityEditor;
using UnityEditor.SceneManagement;
using UnityEngine;
using UnityEngine.Video;
using static Support;

/// <summary>The inspector's preview, in an editor whose engine has no frames but those that are asked for.</summary>
internal static class EditModeTest
{
    private static void RunEditor(Scene scene)
    {
        EditorApplication.Queued = 0;
        EditorApplication.timeSinceStartup += 0.01;
        if (EditorApplication.update != null)
        {
            EditorApplication.update();
        }
        if (EditorApplication.Queued > 0)
        {
            scene.Step();
        }
    }

    private static void RunUntilShown(Scene scene, long frame)
    {
        Until(() => { RunEditor(scene); return scene.Player.Frame == frame && !scene.Player.IsBusy; }, "frame " + frame);
    }

    public static void PreviewShowsWhatTheSliderSaysAndLeavesNothing()
    {
        string path = MakeClip("preview.mp4", 50, 25);
        using (var scene = new Scene(PlayerBackend.Portable))
        {
            try
            {
                Application.isPlaying = false;
                VideoPlayer.TheHabits.Latency = 3;
                NimbPlayer player = scene.Player;
                var filter = player.GetComponent<MeshFilter>();
                Mesh own = filter.sharedMesh = new Mesh();
                player.Open(ClipFolder.Absolute, path);  // names the clip, as the inspector does
                EditModePreview.Begin(player);
                RunUntilShown(scene, 0);
                Check(EditModePreview.IsShowing(player) && filter.sharedMesh != own, "the preview is on the object");

                int dragged = 0;
                Until(() =>
                {
                    dragged = dragged % 39 + 1;
                    EditModePreview.Show(dragged);
                    CheckEqual((long)dragged, Scrubber.Shown(player), "the slider stays where the mouse is");
                    RunEditor(scene);
                    return scene.Shown.Count > 5;
                }, "frames are shown on the way");
                EditModePreview.Show(39);
                RunUntilShown(scene, 39);

                player.LoopMode = LoopMode.Once;
                EditModePreview.Play();
                RunUntilShown(scene, 49);
                Until(() => { RunEditor(scene); return !EditModePreview.IsPlaying; }, "it ends");
                CheckEqual(49L, player.Frame, "the last frame stays");

                EditorSceneManager.Save();
                Check(!player.IsOpen && filter.sharedMesh == own, "nothing of it is saved");
                Check(EditorApplication.update == null, "nothing goes on afterwards");
            }
            finally
            {
                Application.isPlaying = true;
            }
        }
    }
}
