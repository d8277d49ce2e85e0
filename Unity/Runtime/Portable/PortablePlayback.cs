using System;
using System.Collections.Generic;
using System.Threading.Tasks;
using UnityEngine;

namespace Nimb
{
    /// <summary>
    /// The portable back end: the engine's video player shows the pictures, and the mesh of a picture is found by the
    /// picture's number, which is asked at the last moment before rendering. Events of the video player are never counted:
    /// it skips pictures, repeats them, and changes its texture after scripts have run.
    /// </summary>
    internal sealed class PortablePlayback : Playback
    {
        private const float StallSeconds = 3;

        private readonly string m_Location;
        private readonly VideoPictures m_Pictures;
        private readonly Task<ClipReader> m_Opening;
        private readonly PlaybackSettings m_Settings;
        private readonly Queue<SeekEnd> m_Ends = new Queue<SeekEnd>();
        private readonly TroubleLog m_Troubles = new TroubleLog();
        private volatile ClipBytes m_Bytes;  // while it opens: what may wait for a server
        private volatile bool m_IsDisposed;

        // Of an open clip.
        private ClipReader m_Reader;  // its facts; its meshes are the worker's
        private MeshWorker m_Meshes;
        private PortableTarget m_Target;
        private long m_First;
        private long m_Last;
        private bool m_Loops;
        private bool m_HasEnded;
        private long m_Frame = -1;
        private long m_Missed = -1;  // the picture that was seen without its mesh
        private float m_ShownAt;
        private bool m_HasStalled;

        private long m_LastTicket;
        private long m_Ticket;  // of the request that has not ended; 0 without one

        /// <param name="location">A path, a file: URI, or an address of http or https.</param>
        /// <param name="settings">Copied.</param>
        public PortablePlayback(string location, PlaybackSettings settings)
        {
            m_Location = location;
            m_Settings = settings;
            m_Loops = settings.Loops;
            m_Opening = Task.Run((Func<ClipReader>)OpenReader);
            m_Pictures = new VideoPictures(location, settings.AudioSource, settings.DisableAudio);
        }

        public override PlayerFeatures Features
        {
            get
            {
                // Browsers only say what time it is.
                bool isExact = Application.platform != RuntimePlatform.WebGLPlayer;
                bool canSeek = m_Meshes == null || m_Pictures.CanSeek;
                return PlayerFeatures.AudioSource | PlayerFeatures.Urls | PlayerFeatures.ReadableMesh
                    | PlayerFeatures.SharedClock | (isExact ? PlayerFeatures.ExactFrames : PlayerFeatures.None)
                    | (canSeek ? PlayerFeatures.Seek | PlayerFeatures.PlayRange : PlayerFeatures.None);
            }
        }

        public override string Limits
        {
            get
            {
                return m_Meshes != null && !m_Pictures.CanSeek ? "The engine's video player cannot seek in this clip here." : null;
            }
        }

        public override ClipInfo Info { get { return m_Reader.Info; } }
        public override Mesh Mesh { get { return m_Target.Mesh; } }
        public override Texture Texture { get { return m_Target.Texture; } }
        public override bool IsTextureEncoded { get { return false; } }
        public override long Frame { get { return m_Frame; } }
        public override double Time { get { return m_Frame >= 0 ? m_Reader.TimeOf(m_Frame) : 0; } }
        public override bool IsPlaying { get { return m_Pictures.IsPlaying; } }
        public override bool HasEnded { get { return m_HasEnded; } }
        public override bool IsSeeking { get { return m_Ticket != 0; } }

        public override string Problem
        {
            get
            {
                string problem = m_Pictures.Problem;
                return problem == null ? null
                    : "The engine's video player cannot play the clip '" + m_Location + "': " + problem + ".";
            }
        }

        // ---- Opening ----

        private ClipReader OpenReader()
        {
            ClipBytes bytes = ClipBytes.Open(m_Location);
            m_Bytes = bytes;
            if (m_IsDisposed)
            {
                bytes.Abort();
            }
            return new ClipReader(bytes, m_Location);
        }

        public override bool FinishOpening()
        {
            if (m_Opening.IsFaulted)
            {
                throw OpeningFault(m_Opening.Exception.GetBaseException(), m_Location, NimbClipLibrary.Library);
            }
            if (Problem != null)
            {
                throw new ClipException(Problem);
            }
            if (!m_Opening.IsCompleted || !m_Pictures.IsPrepared)
            {
                return false;
            }
            ClipReader reader = m_Opening.Result;
            CheckPicture(reader.Info);
            m_Reader = reader;
            m_Meshes = new MeshWorker(reader, m_Settings.ComputeNormals);
            m_Target = new PortableTarget(reader.Info, m_Meshes.Buffers, m_Settings.HasMipMaps);
            m_Last = reader.Info.FrameCount - 1;
            ApplyRange();
            m_ShownAt = UnityEngine.Time.realtimeSinceStartup;
            return true;
        }

        // ---- Control ----

        public override void Play()
        {
            if (m_HasEnded)
            {
                m_HasEnded = false;
                m_Pictures.Seek(m_First);
            }
            m_ShownAt = UnityEngine.Time.realtimeSinceStartup;
            m_Pictures.Play();
        }

        public override void Pause()
        {
            m_Pictures.Pause();
        }

        public override void Rewind()
        {
            EndSeek(NimbSeekResult.Superseded, NimbSeekReason.None);
            m_HasEnded = false;
            m_Pictures.Pause();
            m_Pictures.Seek(m_First);
        }

        public override long Seek(long frame, SeekOptions options)
        {
            if (!m_Pictures.CanSeek)
            {
                return 0;
            }
            EndSeek(NimbSeekResult.Superseded, NimbSeekReason.None);
            m_Ticket = ++m_LastTicket;
            if (frame < 0 || frame >= m_Reader.Info.FrameCount)
            {
                EndSeek(NimbSeekResult.Failed, NimbSeekReason.OutOfRange);
                return m_LastTicket;
            }
            m_HasEnded = false;
            if ((options & SeekOptions.Pause) != 0)
            {
                m_Pictures.Pause();
            }
            m_Pictures.Seek(frame);
            return m_Ticket;
        }

        public override long SeekTime(double seconds, SeekOptions options)
        {
            return Seek(m_Reader.FrameAt(seconds), options);
        }

        public override long Step(int frames)
        {
            long from = m_Pictures.IsSeeking ? m_Pictures.Target : Math.Max(0, m_Frame);
            long to = Math.Max(0, Math.Min(from + frames, m_Reader.Info.FrameCount - 1));
            return Seek(to, SeekOptions.Pause);
        }

        public override bool TakeSeekEnd(out SeekEnd end)
        {
            bool hasEnd = m_Ends.Count > 0;
            end = hasEnd ? m_Ends.Dequeue() : new SeekEnd();
            return hasEnd;
        }

        private void EndSeek(NimbSeekResult result, NimbSeekReason reason)
        {
            if (m_Ticket == 0)
            {
                return;
            }
            m_Ends.Enqueue(new SeekEnd
            {
                Ticket = m_Ticket,
                Frame = result == NimbSeekResult.Done ? m_Frame : m_Pictures.Target,
                Time = result == NimbSeekResult.Done ? Time : 0,
                Result = result,
                Reason = reason
            });
            m_Ticket = 0;
        }

        public override bool TakeTrouble(out PlaybackTrouble trouble)
        {
            return m_Troubles.Take(out trouble) || m_Meshes.TakeTrouble(out trouble);
        }

        public override void SetRange(long first, long last, bool loop)
        {
            bool isWhole = last < 0;
            m_First = isWhole ? 0 : first;
            m_Last = isWhole ? m_Reader.Info.FrameCount - 1 : last;
            m_Loops = loop;
            ApplyRange();
        }

        private bool IsWhole { get { return m_First == 0 && m_Last == m_Reader.Info.FrameCount - 1; } }

        private void ApplyRange()
        {
            m_Pictures.Loops = m_Loops && IsWhole;
        }

        public override void SetSpeed(float speed)
        {
            m_Pictures.Speed = speed;
        }

        public override void SetVolume(float volume)
        {
            m_Pictures.Volume = volume;
        }

        public override void SetReferenceTime(double seconds)
        {
            m_Pictures.ReferenceTime = seconds;
        }

        // ---- Each frame of the engine ----

        public override PlaybackEvents Update()
        {
            if (!m_Pictures.Update())
            {
                EndSeek(NimbSeekResult.Failed, NimbSeekReason.NoPicture);
            }
            PlaybackEvents events = m_Pictures.TakeEnd() ? ReachEnd(m_Pictures.Frame) : PlaybackEvents.None;
            long frame = m_Pictures.Frame;
            if (IsPlaying && !m_Pictures.IsSeeking && !IsWhole && (frame > m_Last || frame == m_Last && m_Frame == m_Last))
            {
                events |= ReachEnd(frame);
            }
            AimMeshes();
            NoteStall();
            return events;
        }

        private PlaybackEvents ReachEnd(long frame)
        {
            if (m_Loops)
            {
                if (!IsWhole)
                {
                    m_Pictures.Seek(m_First);
                }
                return PlaybackEvents.Looped;
            }
            m_HasEnded = true;
            m_Pictures.Pause();
            if (frame > m_Last)
            {
                m_Pictures.Seek(m_Last);
            }
            return PlaybackEvents.Ended;
        }

        private void AimMeshes()
        {
            long wanted = m_Pictures.IsSeeking ? m_Pictures.Target : Math.Max(0, m_Pictures.Frame);
            m_Meshes.Aim(wanted, m_First, m_Last, m_Loops);
        }

        public override PlaybackEvents BeforeRender()
        {
            long frame = m_Pictures.Frame;
            bool isExact = true;
            bool isSought = m_Pictures.IsSeeking;
            bool hasArrived = isSought && m_Pictures.HasArrived(out isExact);
            if (frame < 0 || frame >= m_Reader.Info.FrameCount || isSought && !hasArrived || !isSought && IsBeyond(frame))
            {
                return PlaybackEvents.None;
            }
            if (frame == m_Frame && !m_Target.HasLostPicture)
            {
                FinishSeek(hasArrived, NimbSeekReason.None);
                return PlaybackEvents.None;
            }
            Texture picture = m_Pictures.Texture;
            MeshBuffers buffers = picture != null ? FindMesh(frame, isExact) : null;
            if (buffers == null)
            {
                return PlaybackEvents.None;
            }
            bool isMesh = buffers.Holds == MeshBuffers.Content.Mesh;
            if (isMesh)
            {
                m_Target.Show(picture, buffers);
                m_Frame = frame;
                m_ShownAt = UnityEngine.Time.realtimeSinceStartup;
                m_HasStalled = false;
            }
            m_Meshes.Return();
            FinishSeek(hasArrived, isMesh ? NimbSeekReason.None : NimbSeekReason.NoMesh);
            return isMesh ? PlaybackEvents.FrameShown : PlaybackEvents.None;
        }

        /// <summary>Playback is past the end of its range, and what is there is not to be seen.</summary>
        private bool IsBeyond(long frame)
        {
            return IsPlaying && !IsWhole && frame > m_Last;
        }

        private MeshBuffers FindMesh(long frame, bool isExact)
        {
            MeshBuffers buffers = m_Meshes.Borrow(frame);
            if (buffers != null)
            {
                m_Missed = -1;
                return buffers;
            }
            // The next picture may come before this one's mesh, which is then of no more use.
            if (m_Missed >= 0 && m_Missed != frame && m_Frame >= 0)
            {
                m_Troubles.Add(m_Missed, NimbTroubleReason.LostFrames);
            }
            m_Missed = frame;
            if (!isExact)
            {
                m_Meshes.Aim(frame, m_First, m_Last, m_Loops);
            }
            return null;
        }

        private void FinishSeek(bool hasArrived, NimbSeekReason fault)
        {
            if (hasArrived)
            {
                m_Pictures.Arrive();
                EndSeek(fault == NimbSeekReason.None ? NimbSeekResult.Done : NimbSeekResult.Failed, fault);
            }
        }

        private void NoteStall()
        {
            if (!IsPlaying || m_HasEnded)
            {
                m_ShownAt = UnityEngine.Time.realtimeSinceStartup;
            }
            else if (!m_HasStalled && UnityEngine.Time.realtimeSinceStartup - m_ShownAt > StallSeconds)
            {
                m_HasStalled = true;
                m_Troubles.Add(m_Frame, NimbTroubleReason.Stalled);
            }
        }

        // ---- Closing ----

        public override void Dispose()
        {
            m_IsDisposed = true;
            m_Pictures.Dispose();
            if (m_Target != null)
            {
                m_Target.Dispose();
            }
            if (m_Meshes != null)
            {
                m_Meshes.Dispose();
                return;
            }
            ClipBytes bytes = m_Bytes;
            if (bytes != null)
            {
                bytes.Abort();
            }
            m_Opening.ContinueWith(DisposeOfReader);
        }

        private static void DisposeOfReader(Task<ClipReader> opening)
        {
            if (opening.Exception == null)
            {
                opening.Result.Dispose();
            }
        }
    }
}
