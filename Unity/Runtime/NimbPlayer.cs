using System;
using System.Threading.Tasks;
using UnityEngine;

namespace Nimb
{
    /// <summary>
    /// Plays a volumetric clip on this object. The clip is opened at the start and whenever <see cref="Open()"/> is called;
    /// mesh, texture and material are made for it and assigned to the mesh filter and the renderer.
    /// </summary>
    [AddComponentMenu("Nimb/Volumetric Player")]
    [DisallowMultipleComponent]
    [RequireComponent(typeof(MeshFilter), typeof(MeshRenderer))]
    public sealed class NimbPlayer : MonoBehaviour
    {
        private const string CopiesFolder = "/NimbClips";
        private const string DefaultShader = "Nimb/Unlit";

        [Flags]
        private enum Suspension
        {
            None = 0,
            Disabled = 1,
            ApplicationPaused = 2,
            Unfocused = 4
        }

        [Header("Clip")]
        [SerializeField, Tooltip("What the path is relative to.")]
        private ClipFolder m_Folder = ClipFolder.StreamingAssets;
        [SerializeField, Tooltip("With forward slashes. Read when a clip is opened.")]
        private string m_Path = "";

        [Header("Playback")]
        [SerializeField]
        private bool m_PlayOnAwake = true;
        [SerializeField, Tooltip("Read when a clip is opened.")]
        private bool m_Loop = true;
        [SerializeField, Range(0, 1)]
        private float m_Volume = 1;
        [SerializeField, Tooltip("Play without sound. Read when a clip is opened.")]
        private bool m_DisableAudio = false;
        [SerializeField, Range(0.1f, 4)]
        private float m_Speed = 1;
        [SerializeField, Tooltip("Pause while the application has no input focus.")]
        private bool m_PauseWithoutFocus = false;

        [Header("Mesh")]
        [SerializeField, Tooltip("Compute smooth normals instead of using those in the file. Read when a clip is opened.")]
        private bool m_ComputeNormals = true;
        [SerializeField, Tooltip("Draw each frame's own number of triangles instead of the whole buffers, whose rest is " +
            "empty. Saves work when frames differ much; may show a growing frame's last triangles one frame late.")]
        private bool m_TrimToFrame = false;
        [SerializeField, Tooltip("Used as a template. Without one, a material of the shader below is made.")]
        private Material m_Material = null;
        [SerializeField, Tooltip("Nimb/Unlit unless it is assigned.")]
        private Shader m_Shader = null;

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
        private NimbPlayerFailedEvent m_OnFailed = new NimbPlayerFailedEvent();

        private QuorPlayer m_Player;
        private FrameTarget m_Target;
        private Material m_OwnMaterial;
        private Task<string> m_Fetch;  // of a clip that is being copied out of the application package
        private bool m_WasOpened;  // or was to be: Start does not replace what a script has opened
        private bool m_PlayWhenOpened;
        private Suspension m_Suspension = Suspension.Disabled;  // until OnEnable, which may never come
        private bool m_PlayWhenResumed;

        // The same as the inspector's events.
        public event Action<NimbPlayer> Opened;
        public event Action<NimbPlayer> FrameShown;
        public event Action<NimbPlayer> Looped;
        public event Action<NimbPlayer> Ended;
        public event Action<NimbPlayer, string> Failed;

        public NimbPlayerEvent OnOpened { get { return m_OnOpened; } }
        public NimbPlayerEvent OnFrameShown { get { return m_OnFrameShown; } }
        public NimbPlayerEvent OnLooped { get { return m_OnLooped; } }
        public NimbPlayerEvent OnEnded { get { return m_OnEnded; } }
        public NimbPlayerFailedEvent OnFailed { get { return m_OnFailed; } }

        public ClipFolder Folder { get { return m_Folder; } }
        public string Path { get { return m_Path; } }

        /// <summary>A clip is open: <see cref="FileInfo"/> is filled and Play starts at once.</summary>
        public bool IsOpen { get { return m_Player != null && m_Player.IsOpen; } }

        /// <summary>A clip is being fetched from the application package.</summary>
        public bool IsOpening { get { return m_Fetch != null; } }

        public bool IsPlaying { get { return m_Player != null && m_Player.IsPlaying; } }
        public bool HasEnded { get { return m_Player != null && m_Player.HasEnded; } }

        /// <summary>Of the open clip; zeros without one.</summary>
        public NimbFileInfo FileInfo { get { return m_Player != null ? m_Player.FileInfo : new NimbFileInfo(); } }

        /// <summary>The last frame shown: its box, counts and time.</summary>
        public NimbFrameInfo Frame { get { return m_Player != null ? m_Player.Frame : new NimbFrameInfo(); } }

        /// <summary>Seconds on the player's clock: of the clip while the speed is 1.</summary>
        public double Time { get { return m_Player != null ? m_Player.Time : 0; } }

        /// <summary>Null without a clip. Another one is made for every clip.</summary>
        public Mesh Mesh { get { return m_Target != null ? m_Target.Mesh : null; } }

        /// <summary>Null without a clip. Another one is made for every clip.</summary>
        public Texture2D Texture { get { return m_Target != null ? m_Target.Texture : null; } }

        public bool PlayOnAwake { get { return m_PlayOnAwake; } set { m_PlayOnAwake = value; } }

        /// <summary>Takes effect with the next clip.</summary>
        public bool Loop { get { return m_Loop; } set { m_Loop = value; } }

        /// <summary>Takes effect with the next clip.</summary>
        public bool ComputeNormals { get { return m_ComputeNormals; } set { m_ComputeNormals = value; } }

        /// <summary>From 0, silence, to 1.</summary>
        public float Volume
        {
            get { return m_Volume; }
            set
            {
                m_Volume = Mathf.Clamp01(value);
                ApplySettings();
            }
        }

        /// <summary>1 is normal; from 0.1 to 4.</summary>
        public float Speed
        {
            get { return m_Speed; }
            set
            {
                m_Speed = Mathf.Clamp(value, 0.1f, 4);
                ApplySettings();
            }
        }

        /// <summary>Opens another clip; see <see cref="Open()"/>.</summary>
        public void Open(ClipFolder folder, string path)
        {
            m_Folder = folder;
            m_Path = path;
            Open();
        }

        /// <summary>Opens the clip, closing one that is open. Opened or Failed tells the outcome: before this returns, or
        /// some frames later when the clip has to be copied out of the application package first.</summary>
        public void Open()
        {
            m_WasOpened = true;
            Close();
            try
            {
                string problem = GraphicsApi.ProblemWith(SystemInfo.graphicsDeviceType, Application.platform);
                if (problem != null)
                {
                    throw new ClipException(problem);
                }
                string path = ClipPath.Resolve(m_Folder, m_Path, Application.streamingAssetsPath,
                    Application.persistentDataPath);
                if (ClipPath.IsInsidePackage(path))
                {
                    m_Fetch = ClipCache.Fetch(path, Application.persistentDataPath + CopiesFolder);
                }
                else
                {
                    OpenFile(path);
                }
            }
            catch (ClipException e)
            {
                Fail(e.Message);
            }
        }

        /// <summary>Plays, as soon as the clip is open. A clip that has ended starts again.</summary>
        public void Play()
        {
            if (m_Fetch != null)
            {
                m_PlayWhenOpened = true;
            }
            else if (m_Suspension != Suspension.None)
            {
                m_PlayWhenResumed = IsOpen;
            }
            else if (IsOpen)
            {
                m_Player.Play();
            }
        }

        /// <summary>The frame stays.</summary>
        public void Pause()
        {
            m_PlayWhenOpened = false;
            m_PlayWhenResumed = false;
            if (m_Player != null)
            {
                m_Player.Pause();
            }
        }

        /// <summary>Back to the start, paused. The frame stays until the first one is shown.</summary>
        public void Rewind()
        {
            m_PlayWhenResumed = false;
            if (m_Player != null)
            {
                m_Player.Rewind();
            }
        }

        /// <summary>The last frame goes too.</summary>
        public void Close()
        {
            m_Fetch = null;
            m_PlayWhenOpened = false;
            m_PlayWhenResumed = false;
            if (m_Player != null)
            {
                m_Player.Close();
                // Before the objects: nothing must point to them any more.
                m_Player.SetBuffers(IntPtr.Zero, 0, 0, IntPtr.Zero, 0, IntPtr.Zero, 0);
            }
            ReleaseTarget();
        }

        private void OpenFile(string path)
        {
            if (m_Player == null)
            {
                m_Player = MakePlayer();
                ApplySettings();
            }
            m_Player.SetComputeNormals(m_ComputeNormals);
            m_Player.Open(path, m_Loop, m_DisableAudio);
            try
            {
                MakeTarget();
            }
            catch (Exception)
            {
                Close();
                throw;
            }
            RenderDevice.AnnounceOnce();
            m_OnOpened.Invoke(this);
            if (Opened != null)
            {
                Opened(this);
            }
        }

        private static QuorPlayer MakePlayer()
        {
            try
            {
                return new QuorPlayer();
            }
            catch (DllNotFoundException)
            {
                throw new ClipException("The native library " + NimbUnityPluginML.Library + " is missing for this platform. " +
                    "See Window > Nimb > Check Native Libraries in the editor.");
            }
            catch (InvalidOperationException e)
            {
                throw new ClipException(e.Message, e);
            }
        }

        private void MakeTarget()
        {
            NimbFileInfo file = m_Player.FileInfo;
            if (Math.Max(file.textureWidth, file.textureHeight) > SystemInfo.maxTextureSize)
            {
                throw new ClipException("The clip's pictures have " + file.textureWidth + " x " + file.textureHeight +
                    " pixels; this device's textures end at " + SystemInfo.maxTextureSize + ".");
            }
            Shader shader = m_Shader != null ? m_Shader : Shader.Find(DefaultShader);
            if (m_Material == null && shader == null)
            {
                throw new ClipException("The shader " + DefaultShader + " is not in this build: assign it to the player.");
            }
            m_Target = new FrameTarget(file);
            m_Target.HandTo(m_Player);
            m_OwnMaterial = m_Material != null ? new Material(m_Material) : new Material(shader);
            m_OwnMaterial.hideFlags = HideFlags.DontSave;
            m_OwnMaterial.mainTexture = m_Target.Texture;
            GetComponent<MeshFilter>().sharedMesh = m_Target.Mesh;
            GetComponent<MeshRenderer>().sharedMaterial = m_OwnMaterial;
        }

        private void ReleaseTarget()
        {
            if (m_Target == null)
            {
                return;
            }
            m_Target.Dispose();
            m_Target = null;
            Destroy(m_OwnMaterial);
            m_OwnMaterial = null;
        }

        private void ApplySettings()
        {
            if (m_Player != null)
            {
                m_Player.Speed = m_Speed;
                m_Player.Volume = m_Volume;
            }
        }

        private void Fail(string reason)
        {
            Close();
            Debug.LogError("Nimb: " + reason, this);
            m_OnFailed.Invoke(this, reason);
            if (Failed != null)
            {
                Failed(this, reason);
            }
        }

        private void Start()
        {
            if (!string.IsNullOrEmpty(m_Path) && !m_WasOpened)
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
            if (m_Fetch != null && m_Fetch.IsCompleted)
            {
                FinishFetch();
            }
            if (!IsOpen)
            {
                return;
            }
            if (RenderDevice.Problem != null)
            {
                Fail(RenderDevice.Problem);
                return;
            }
            RaiseEvents(m_Player.Update());
            // A listener may have closed the clip.
            if (IsOpen && RenderDevice.IsReady && m_Player.State == NimbState.Playing)
            {
                GL.IssuePluginEvent(QuorPlayer.RenderEventFunction, m_Player.Id);
                GL.InvalidateState();  // the player changes GL state without the engine's knowledge
            }
        }

        private void FinishFetch()
        {
            Task<string> fetch = m_Fetch;
            bool play = m_PlayWhenOpened;
            m_Fetch = null;
            m_PlayWhenOpened = false;
            try
            {
                if (fetch.IsFaulted)
                {
                    throw new ClipException(fetch.Exception.GetBaseException().Message);
                }
                OpenFile(fetch.Result);
            }
            catch (ClipException e)
            {
                Fail(e.Message);
            }
            if (play)
            {
                Play();
            }
        }

        private void RaiseEvents(PlaybackEvents events)
        {
            if ((events & PlaybackEvents.FrameShown) != 0)
            {
                m_Target.Follow(m_Player.Frame, m_TrimToFrame);
                m_OnFrameShown.Invoke(this);
                if (FrameShown != null)
                {
                    FrameShown(this);
                }
            }
            if ((events & PlaybackEvents.Looped) != 0)
            {
                m_OnLooped.Invoke(this);
                if (Looped != null)
                {
                    Looped(this);
                }
            }
            if ((events & PlaybackEvents.Ended) != 0)
            {
                m_OnEnded.Invoke(this);
                if (Ended != null)
                {
                    Ended(this);
                }
            }
        }

        // ---- Interruptions: playback goes on when the last of them is over ----

        private void OnEnable()
        {
            Resume(Suspension.Disabled);
        }

        private void OnDisable()
        {
            Suspend(Suspension.Disabled);
        }

        private void OnApplicationPause(bool isPaused)
        {
            if (isPaused)
            {
                Suspend(Suspension.ApplicationPaused);
                return;
            }
            if (m_Target != null)
            {
                // The engine may have lost its context meanwhile, and made other objects in a new one.
                RenderDevice.Announce();
                m_Target.HandTo(m_Player);
            }
            Resume(Suspension.ApplicationPaused);
        }

        private void OnApplicationFocus(bool hasFocus)
        {
            if (hasFocus)
            {
                Resume(Suspension.Unfocused);
            }
            else if (m_PauseWithoutFocus)
            {
                Suspend(Suspension.Unfocused);
            }
        }

        private void Suspend(Suspension reason)
        {
            if (m_Suspension == Suspension.None)
            {
                m_PlayWhenResumed = IsPlaying;
                if (m_PlayWhenResumed)
                {
                    m_Player.Pause();
                }
            }
            m_Suspension |= reason;
        }

        private void Resume(Suspension reason)
        {
            bool wasSuspended = m_Suspension != Suspension.None;
            m_Suspension &= ~reason;
            if (wasSuspended && m_Suspension == Suspension.None && m_PlayWhenResumed)
            {
                m_PlayWhenResumed = false;
                Play();
            }
        }

        private void OnValidate()
        {
            ApplySettings();
        }

        private void OnDestroy()
        {
            Release();
        }

        /// <summary>Ends the native player, as when the component is destroyed. Open makes another.</summary>
        public void Release()
        {
            Close();
            if (m_Player != null)
            {
                m_Player.Dispose();
                m_Player = null;
            }
        }
    }
}
