using System;
using System.Threading.Tasks;
using UnityEngine;
using UnityEngine.Serialization;

namespace Nimb
{
    /// <summary>
    /// Plays a volumetric clip on this object. The clip is opened at the start and whenever <see cref="Open()"/> is called;
    /// mesh, texture and material are made for it and assigned to the mesh filter and the renderer, and what those had
    /// comes back when it is closed. In edit mode it only does what it is told, for previews. Main thread; nothing waits.
    /// </summary>
    [AddComponentMenu("Nimb/Volumetric Player")]
    [DisallowMultipleComponent]
    [ExecuteAlways]
    [RequireComponent(typeof(MeshFilter), typeof(MeshRenderer))]
    public sealed class NimbPlayer : MonoBehaviour
    {
        private const float SlowestSpeed = 0.1f;
        private const float HighestSpeed = 4;

        [Header("Clip")]
        [SerializeField, Tooltip("Automatic: the native player where it works, otherwise the engine's video player.")]
        private PlayerBackend m_Backend = PlayerBackend.Automatic;
        [SerializeField, Tooltip("What the path is relative to.")]
        private ClipFolder m_Folder = ClipFolder.StreamingAssets;
        [SerializeField, Tooltip("With forward slashes. Read when a clip is opened.")]
        private string m_Path = "";

        [Header("Playback")]
        [SerializeField]
        private bool m_PlayOnAwake = true;
        [SerializeField, FormerlySerializedAs("m_Loop"), Tooltip("What comes after the last frame.")]
        private LoopMode m_LoopMode = LoopMode.Loop;
        [SerializeField, Range(0, 1)]
        private float m_Volume = 1;
        [SerializeField, Tooltip("Play without sound. Read when a clip is opened.")]
        private bool m_DisableAudio = false;
        [SerializeField, Tooltip("Where the sound comes from, if the back end can. Read when a clip is opened.")]
        private AudioSource m_AudioSource = null;
        [SerializeField, Range(SlowestSpeed, HighestSpeed)]
        private float m_Speed = 1;
        [SerializeField, Tooltip("Pause while the application has no input focus.")]
        private bool m_PauseWithoutFocus = false;

        [Header("Mesh and picture. Read when a clip is opened")]
        [SerializeField, Tooltip("Compute smooth normals instead of using those in the file.")]
        private bool m_ComputeNormals = true;
        [SerializeField, Tooltip("Used as a template. Without one, a material of the shader below is made.")]
        private Material m_Material = null;
        [SerializeField, Tooltip("Nimb/Unlit unless it is assigned.")]
        private Shader m_Shader = null;
        [SerializeField, Tooltip("Where the material takes the picture from; empty: its main texture.")]
        private string m_TextureProperty = "";
        [SerializeField, Tooltip("Leave the renderer its own material, and only give it the picture.")]
        private bool m_UsePropertyBlock = false;
        [SerializeField, Tooltip("Hand out the picture as an sRGB render texture with mip levels: for distant figures, and " +
            "for materials and shader graphs that are not this package's. Costs a copy of each picture.")]
        private bool m_MipMaps = false;
        [SerializeField, Tooltip("Gets a copy of each picture; of any size.")]
        private RenderTexture m_TargetTexture = null;

        [Header("Events")]
        [SerializeField]
        private NimbPlayerEvent m_OnOpened = new NimbPlayerEvent();
        [SerializeField]
        private NimbPlayerEvent m_OnFrameShown = new NimbPlayerEvent();
        [SerializeField]
        private NimbPlayerEvent m_OnLooped = new NimbPlayerEvent();
        [SerializeField]
        private NimbPlayerEvent m_OnEnded = new NimbPlayerEvent();
        [SerializeField]
        private NimbPlayerSeekEvent m_OnSeekEnded = new NimbPlayerSeekEvent();
        [SerializeField]
        private NimbPlayerTroubleEvent m_OnTrouble = new NimbPlayerTroubleEvent();
        [SerializeField]
        private NimbPlayerFailedEvent m_OnFailed = new NimbPlayerFailedEvent();

        private readonly PlayerCore m_Core;

        public NimbPlayer()
        {
            m_Core = new PlayerCore(this);
        }

        internal PlayerCore Core { get { return m_Core; } }

        // The same as the inspector's events.
        public event Action<NimbPlayer> Opened { add { m_OnOpened.Raised += value; } remove { m_OnOpened.Raised -= value; } }
        public event Action<NimbPlayer> FrameShown { add { m_OnFrameShown.Raised += value; } remove { m_OnFrameShown.Raised -= value; } }
        public event Action<NimbPlayer> Looped { add { m_OnLooped.Raised += value; } remove { m_OnLooped.Raised -= value; } }
        public event Action<NimbPlayer> Ended { add { m_OnEnded.Raised += value; } remove { m_OnEnded.Raised -= value; } }
        public event Action<NimbPlayer, SeekEnd> SeekEnded { add { m_OnSeekEnded.Raised += value; } remove { m_OnSeekEnded.Raised -= value; } }
        public event Action<NimbPlayer, PlaybackTrouble> Trouble { add { m_OnTrouble.Raised += value; } remove { m_OnTrouble.Raised -= value; } }
        public event Action<NimbPlayer, string> Failed { add { m_OnFailed.Raised += value; } remove { m_OnFailed.Raised -= value; } }

        public NimbPlayerEvent OnOpened { get { return m_OnOpened; } }
        public NimbPlayerEvent OnFrameShown { get { return m_OnFrameShown; } }
        public NimbPlayerEvent OnLooped { get { return m_OnLooped; } }
        public NimbPlayerEvent OnEnded { get { return m_OnEnded; } }
        public NimbPlayerSeekEvent OnSeekEnded { get { return m_OnSeekEnded; } }
        public NimbPlayerTroubleEvent OnTrouble { get { return m_OnTrouble; } }
        public NimbPlayerFailedEvent OnFailed { get { return m_OnFailed; } }

        // ---- The clip ----

        public ClipFolder Folder { get { return m_Folder; } }
        public string Path { get { return m_Path; } }

        /// <summary>A clip is open: <see cref="Info"/> is filled, its first frame comes as a still.</summary>
        public bool IsOpen { get { return m_Core.IsOpen; } }

        /// <summary>A clip is being fetched or opened, which happens on other threads.</summary>
        public bool IsOpening { get { return m_Core.IsOpening; } }

        /// <summary>It needs frames of the engine: to open, to go to a frame, to show the first one, or to play. For editors,
        /// which have none by themselves.</summary>
        public bool IsBusy { get { return IsOpening || IsOpen && (IsPlaying || IsSeeking || Frame < 0); } }

        /// <summary>Why the last clip failed; null when it did not.</summary>
        public string Problem { get { return m_Core.Problem; } }

        /// <summary>Of the open clip; zeros without one.</summary>
        public ClipInfo Info { get { return IsOpen ? Active.Info : new ClipInfo(); } }
        /// <summary>Seconds; 0 without a clip.</summary>
        public double Duration { get { return Info.Duration; } }
        public long FrameCount { get { return Info.FrameCount; } }
        public double FrameRate { get { return Info.FrameRate; } }

        /// <summary>The one that is asked for; takes effect with the next clip.</summary>
        public PlayerBackend Backend { get { return m_Backend; } set { m_Backend = value; } }

        /// <summary>The one that plays the clip; Automatic while there is none.</summary>
        public PlayerBackend ActiveBackend { get { return m_Core.Backend; } }

        /// <summary>Of the open clip's back end.</summary>
        public PlayerFeatures Features { get { return IsOpen ? Active.Features : PlayerFeatures.None; } }

        /// <summary>What the back end cannot do with this clip, or why it was taken instead of the native player; null when
        /// there is nothing to say.</summary>
        public string Limits { get { return m_Core.Limits; } }

        internal Playback Active { get { return m_Core.Active; } }

        /// <summary>Opens another clip; see <see cref="Open()"/>.</summary>
        public void Open(ClipFolder folder, string path)
        {
            m_Folder = folder;
            m_Path = path;
            m_Core.Open();
        }

        /// <summary>Opens the clip, closing one that is open. Opened or Failed tells the outcome some frames later.</summary>
        public void Open()
        {
            m_Core.Open();
        }

        /// <summary>Opens the clip that comes next beside the one that is open, so that Open of it has nothing to wait for.
        /// Another one takes it away, as the end of the component does.</summary>
        public void Prepare(ClipFolder folder, string path)
        {
            m_Core.Prepare(folder, path);
        }

        /// <summary>The last frame goes too.</summary>
        public void Close()
        {
            m_Core.Close();
        }

        // ---- Control ----

        public bool IsPlaying { get { return IsOpen && Active.IsPlaying; } }
        public bool HasEnded { get { return IsOpen && Active.HasEnded; } }
        /// <summary>A request for a frame has not ended.</summary>
        public bool IsSeeking { get { return m_Core.IsSeeking; } }

        /// <summary>Number of the frame that is shown, counted from 0; -1 before the first.</summary>
        public long Frame { get { return IsOpen ? Active.Frame : -1; } }
        /// <summary>Of that frame in the clip, in seconds, at every speed.</summary>
        public double Time { get { return IsOpen && Frame >= 0 ? Active.Time : 0; } }
        /// <summary>From 0 to 1.</summary>
        public double NormalizedTime { get { return Duration > 0 ? Time / Duration : 0; } }

        public bool PlayOnAwake { get { return m_PlayOnAwake; } set { m_PlayOnAwake = value; } }
        /// <summary>Takes effect with the next clip.</summary>
        public bool ComputeNormals { get { return m_ComputeNormals; } set { m_ComputeNormals = value; } }

        public LoopMode LoopMode
        {
            get { return m_LoopMode; }
            set
            {
                m_LoopMode = value;
                m_Core.ApplyRange();
            }
        }

        /// <summary>From 0, silence, to 1. With an AudioSource, its volume.</summary>
        public float Volume
        {
            get { return m_Volume; }
            set
            {
                m_Volume = Mathf.Clamp01(value);
                m_Core.ApplySettings();
            }
        }

        /// <summary>1 is normal; from 0.1 to 4.</summary>
        public float Speed
        {
            get { return m_Speed; }
            set
            {
                m_Speed = Mathf.Clamp(value, SlowestSpeed, HighestSpeed);
                m_Core.ApplySettings();
            }
        }

        /// <summary>Plays, as soon as the clip is open. A clip that has ended starts again.</summary>
        public void Play()
        {
            m_Core.Play();
        }

        /// <summary>The frame stays.</summary>
        public void Pause()
        {
            m_Core.Pause();
        }

        /// <summary>Back to the first frame of the range, paused.</summary>
        public void Rewind()
        {
            m_Core.Rewind();
        }

        /// <summary>Goes to a frame, counted from 0. It is shown when SeekEnded tells of the ticket with Done; until then, no
        /// other frame is shown. A newer request supersedes the one before. While a clip opens, it waits for that.</summary>
        /// <returns>A ticket above 0; 0 when there is no clip, or the back end cannot (<see cref="Features"/>).</returns>
        public long Seek(long frame, SeekOptions options = SeekOptions.None)
        {
            return m_Core.Seek(Math.Max(0, frame), 0, options, null);
        }

        /// <summary>Goes to the frame that is shown at a time of the clip, in seconds: the last one that begins at or before
        /// it. Times beyond the ends mean the first and the last frame.</summary>
        public long SeekTime(double seconds, SeekOptions options = SeekOptions.None)
        {
            return m_Core.Seek(-1, Math.Max(0, seconds), options, null);
        }

        /// <summary>The same, to be awaited.</summary>
        public Task<SeekEnd> SeekAsync(long frame, SeekOptions options = SeekOptions.None)
        {
            return m_Core.SeekAsync(Math.Max(0, frame), 0, options);
        }

        public Task<SeekEnd> SeekTimeAsync(double seconds, SeekOptions options = SeekOptions.None)
        {
            return m_Core.SeekAsync(-1, Math.Max(0, seconds), options);
        }

        /// <summary>So many frames further, or back if below 0; not beyond the ends. Stays paused there.</summary>
        public long Step(int frames)
        {
            return m_Core.Step(frames);
        }

        /// <summary>Playback stays within these frames, both included, until ClearPlayRange or the next clip.</summary>
        /// <exception cref="ArgumentOutOfRangeException">There are no such frames.</exception>
        public void SetPlayRange(long first, long last)
        {
            if (first < 0 || last < first || IsOpen && last >= FrameCount)
            {
                throw new ArgumentOutOfRangeException("last", "There are no frames " + first + " to " + last + ".");
            }
            m_Core.SetRange(first, last);
        }

        public void ClearPlayRange()
        {
            m_Core.SetRange(0, -1);
        }

        // ---- Output ----

        /// <summary>Null without a clip. Another one is made for every clip.</summary>
        public Mesh Mesh { get { return IsOpen ? Active.Mesh : null; } }
        /// <summary>Null without a clip. Another one is made for every clip. Row 0 is the picture's top row.</summary>
        public Texture Texture { get { return m_Core.Texture; } }
        /// <summary>Gets a copy of each picture; may be null.</summary>
        public RenderTexture TargetTexture
        {
            get { return m_TargetTexture; }
            set
            {
                m_TargetTexture = value;
                m_Core.RefreshOutput();
            }
        }

        /// <summary>Takes effect with the next clip, like the next two.</summary>
        public string TextureProperty { get { return m_TextureProperty; } set { m_TextureProperty = value; } }
        public bool UsePropertyBlock { get { return m_UsePropertyBlock; } set { m_UsePropertyBlock = value; } }
        public bool MipMaps { get { return m_MipMaps; } set { m_MipMaps = value; } }

        internal PlaybackSettings PlaybackSettings
        {
            get
            {
                return new PlaybackSettings
                {
                    Loops = m_LoopMode != LoopMode.Once,
                    DisableAudio = m_DisableAudio,
                    AudioSource = m_AudioSource,
                    ComputeNormals = m_ComputeNormals,
                    HasMipMaps = m_MipMaps
                };
            }
        }

        internal OutputSettings OutputSettings
        {
            get
            {
                return new OutputSettings
                {
                    Material = m_Material,
                    Shader = m_Shader,
                    TextureProperty = m_TextureProperty,
                    UsePropertyBlock = m_UsePropertyBlock,
                    HasMipMaps = m_MipMaps
                };
            }
        }

        // ---- What the engine says ----

        private void Start()
        {
            if (Application.isPlaying && !string.IsNullOrEmpty(m_Path) && !m_Core.WasOpened)
            {
                Open();
                if (m_PlayOnAwake)
                {
                    Play();
                }
            }
        }

        // After scripts have had their say, and before cameras render.
        private void LateUpdate()
        {
            m_Core.Update();
        }

        private void OnEnable()
        {
            m_Core.Resume(Suspension.Disabled);
        }

        private void OnDisable()
        {
            m_Core.Suspend(Suspension.Disabled);
        }

        private void OnApplicationPause(bool isPaused)
        {
            if (isPaused)
            {
                m_Core.Suspend(Suspension.ApplicationPaused);
            }
            else
            {
                m_Core.LookAtDevice();
                m_Core.Resume(Suspension.ApplicationPaused);
            }
        }

        private void OnApplicationFocus(bool hasFocus)
        {
            if (hasFocus)
            {
                m_Core.Resume(Suspension.Unfocused);
            }
            else if (m_PauseWithoutFocus)
            {
                m_Core.Suspend(Suspension.Unfocused);
            }
        }

        private void OnValidate()
        {
            m_Core.ApplySettings();
            m_Core.ApplyRange();
        }

        private void OnDestroy()
        {
            m_Core.Release();
        }
    }
}
