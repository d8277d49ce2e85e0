using System.IO;
using UnityEditor;
using UnityEngine;

namespace Nimb.Editor
{
    /// <summary>The first frame of a clip in StreamingAssets, whose files the editor takes for plain ones.</summary>
    [CustomPreview(typeof(DefaultAsset))]
    internal sealed class ClipPreview : ObjectPreview
    {
        private string m_Path;  // null: not a clip

        public override void Initialize(Object[] targets)
        {
            base.Initialize(targets);
            string path = targets.Length == 1 ? AssetDatabase.GetAssetPath(targets[0]) : null;
            m_Path = !string.IsNullOrEmpty(path) && ClipFiles.IsClip(path) ? Path.GetFullPath(path).Replace('\\', '/') : null;
        }

        public override bool HasPreviewGUI()
        {
            return m_Path != null && !Application.isPlaying;
        }

        public override GUIContent GetPreviewTitle()
        {
            return new GUIContent("Clip");
        }

        public override void OnPreviewGUI(Rect r, GUIStyle background)
        {
            ClipStage.DrawClip(m_Path, r, background);
        }
    }

    /// <summary>The frame that a player shows.</summary>
    [CustomPreview(typeof(NimbPlayer))]
    internal sealed class PlayerPreview : ObjectPreview
    {
        public override bool HasPreviewGUI()
        {
            return target is NimbPlayer;
        }

        public override GUIContent GetPreviewTitle()
        {
            return new GUIContent("Frame");
        }

        public override void OnPreviewGUI(Rect r, GUIStyle background)
        {
            ClipStage.DrawPlayer((NimbPlayer)target, r, background);
        }
    }
}
