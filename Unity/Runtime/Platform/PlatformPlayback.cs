using System;
using System.Threading.Tasks;
using UnityEngine;

namespace Nimb
{
    /// <summary>The back end of the native player, which puts picture and mesh of a frame into the engine's texture and
    /// buffers on the render thread.</summary>
    internal sealed class PlatformPlayback : Playback
    {
        private const double TicksPerSecond = 1e7;

        private readonly string m_Path;
        private readonly PlaybackSettings m_Settings;
        private readonly Task<QuorPlayer> m_Opening;

        // Of an open clip.
        private QuorPlayer m_Player;
        private FrameTarget m_Target;
        private ClipInfo m_Info;
        private uint m_Context;
        private bool m_IsDisposed;
        private bool m_CanSeek = true;
        private long m_First;  // of the range
        private bool m_HasNativeRange;

        private int m_PendingTickets;

        /// <param name="path">A file's path, or a file: URI.</param>
        /// <param name="settings">Copied.</param>
        public PlatformPlayback(string path, PlaybackSettings settings)
        {
            m_Path = path;
            m_Settings = settings;
            RenderDevice.Announce();
            m_Opening = Task.Run((Func<QuorPlayer>)OpenPlayer);
        }

        public override PlayerFeatures Features
        {
            get
            {
                return PlayerFeatures.ExactFrames | PlayerFeatures.SharedClock
                    | (m_CanSeek ? PlayerFeatures.Seek | PlayerFeatures.PlayRange : PlayerFeatures.None);
            }
        }

        public override string Limits
        {
            get { return m_CanSeek ? null : "The clip's index cannot be read, so it only plays from its start; 'nimb remux' mends that."; }
        }

        public override string Problem { get { return RenderDevice.Problem; } }

        public override bool IsStale { get { return RenderDevice.Context != m_Context; } }

        public override ClipInfo Info { get { return m_Info; } }
        public override Mesh Mesh { get { return m_Target.Mesh; } }
        public override Texture Texture { get { return m_Target.Texture; } }
        public override bool IsTextureEncoded { get { return true; } }
        public override long Frame { get { return m_Player.Shown.frame; } }
        public override double Time { get { return m_Player.Shown.time / TicksPerSecond; } }
        public override bool IsPlaying { get { return m_Player.IsPlaying; } }
        public override bool HasEnded { get { return m_Player.HasEnded; } }
        public override bool IsSeeking { get { return m_PendingTickets > 0; } }
        public override int NativeId { get { return m_Player.Id; } }

        // ---- Opening ----

        private QuorPlayer OpenPlayer()
        {
            QuorPlayer player = QuorPlayerPool.Take();
            try
            {
                player.SetComputeNormals(m_Settings.ComputeNormals);
                player.Open(m_Path, m_Settings.Loops, m_Settings.DisableAudio);
                return player;
            }
            catch
            {
                player.Dispose();
                throw;
            }
        }

        public override bool FinishOpening()
        {
            if (m_Opening.IsFaulted)
            {
                throw OpeningFault(m_Opening.Exception.GetBaseException(), m_Path, NimbUnityPluginML.Library);
            }
            if (RenderDevice.Problem != null)
            {
                throw new ClipException(RenderDevice.Problem);
            }
            if (!m_Opening.IsCompleted || !RenderDevice.IsReady)
            {
                return false;
            }
            NimbFileInfo file = m_Opening.Result.FileInfo;
            m_Info = Describe(ref file);
            CheckPicture(m_Info);
            m_Player = m_Opening.Result;
            m_Context = RenderDevice.Context;
            m_Target = new FrameTarget(file);
            m_Target.HandTo(m_Player);
            // The first frame as a still, until somebody plays it.
            Ask(m_Player.Seek(0, NimbSeekOption.Pause));
            return true;
        }

        private static ClipInfo Describe(ref NimbFileInfo file)
        {
            double duration = file.duration / TicksPerSecond;
            return new ClipInfo
            {
                FrameCount = file.frameCount,
                Duration = duration,
                FrameRate = duration > 0 ? file.frameCount / duration : 0,
                Width = (int)file.textureWidth,
                Height = (int)file.textureHeight,
                MaxVertices = (int)file.maxVertexCount,
                MaxIndices = (int)file.maxIndexCount,
                HasSound = file.hasAudio != 0,
                HasNormals = file.hasNormals != 0,
                Bounds = ClipInfo.BoundsOf(file.minX, file.minY, file.minZ, file.maxX, file.maxY, file.maxZ)
            };
        }

        // ---- Control ----

        public override void Play()
        {
            if (m_Player.HasEnded && m_CanSeek)
            {
                Ask(m_Player.Seek(m_First, 0));
            }
            m_Player.Play();
        }

        public override void Pause()
        {
            m_Player.Pause();
        }

        public override void Rewind()
        {
            if (m_CanSeek)
            {
                Ask(m_Player.Seek(m_First, NimbSeekOption.Pause));
            }
            else
            {
                m_Player.Rewind();
            }
        }

        public override long Seek(long frame, SeekOptions options)
        {
            return m_CanSeek ? Ask(m_Player.Seek(frame, Native(options))) : 0;
        }

        public override long SeekTime(double seconds, SeekOptions options)
        {
            return m_CanSeek ? Ask(m_Player.SeekToTime((long)(seconds * TicksPerSecond), Native(options))) : 0;
        }

        public override long Step(int frames)
        {
            return m_CanSeek ? Ask(m_Player.Step(frames)) : 0;
        }

        private NimbSeekOption Native(SeekOptions options)
        {
            return (NimbSeekOption)options | (IsPlaying ? 0 : NimbSeekOption.Pause);
        }

        private long Ask(long ticket)
        {
            m_PendingTickets += ticket != 0 ? 1 : 0;
            return ticket;
        }

        public override bool TakeSeekEnd(out SeekEnd end)
        {
            var native = new NimbSeekEnd();
            bool isThere = m_Player.TakeSeekEnd(ref native);
            m_PendingTickets = Math.Max(0, m_PendingTickets - (isThere ? 1 : 0));  // a clock may ask more than it says
            m_CanSeek &= native.reason != NimbSeekReason.NoIndex;
            end = new SeekEnd
            {
                Ticket = native.ticket,
                Frame = native.frame,
                Time = native.time / TicksPerSecond,
                Result = native.result,
                Reason = native.reason
            };
            return isThere;
        }

        public override void ExpectSeek()
        {
            ++m_PendingTickets;
        }

        public override bool TakeTrouble(out PlaybackTrouble trouble)
        {
            var native = new NimbTrouble();
            bool isThere = m_Player.TakeTrouble(ref native);
            trouble = new PlaybackTrouble
            {
                Frame = native.frame,
                Reason = native.reason,
                Count = (int)native.count
            };
            return isThere;
        }

        public override void SetRange(long first, long last, bool loop)
        {
            m_First = last < 0 ? 0 : first;
            bool isAsOpened = last < 0 && loop == m_Settings.Loops;
            long nativeLast = isAsOpened ? -1 : last < 0 ? m_Info.FrameCount - 1 : last;
            m_HasNativeRange = m_Player.SetRange(m_First, nativeLast, loop) && !isAsOpened;
            m_CanSeek &= m_HasNativeRange || isAsOpened;
        }

        public override void SetSpeed(float speed)
        {
            m_Player.Speed = speed;
        }

        public override void SetVolume(float volume)
        {
            m_Player.Volume = volume;
        }

        public override void LookAtDevice()
        {
            RenderDevice.Announce();
        }

        // ---- Each frame of the engine ----

        public override PlaybackEvents Update()
        {
            long former = Frame;
            PlaybackEvents events = m_Player.Update();
            if (m_HasNativeRange)
            {
                // Of a range's turns the native player tells only one for which it had to come to an end first.
                bool hasTurned = !IsSeeking && IsPlaying && Frame >= 0 && Frame < former;
                events = events & ~PlaybackEvents.Looped | (hasTurned ? PlaybackEvents.Looped : PlaybackEvents.None);
            }
            if (RenderDevice.IsReady && !IsStale && (m_Player.State == NimbState.Playing || IsSeeking))
            {
                GL.IssuePluginEvent(QuorPlayer.RenderEventFunction, m_Player.Id);
                GL.InvalidateState();  // the player changes GL state without the engine's knowledge
            }
            return events;
        }

        // ---- Closing ----

        public override void Dispose()
        {
            if (m_IsDisposed)
            {
                return;
            }
            m_IsDisposed = true;
            if (m_Player != null)
            {
                m_Player.LeaveClock();
            }
            QuorPlayerPool.Return(m_Opening);
            if (m_Target != null)
            {
                m_Target.Dispose();
            }
        }
    }
}
