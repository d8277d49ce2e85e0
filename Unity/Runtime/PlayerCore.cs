using System;
using System.Threading.Tasks;
using UnityEngine;

namespace Nimb
{
    /// <summary>What a <see cref="NimbPlayer"/> does: its clip and the next one, what was asked of it, and what it says.
    /// </summary>
    internal sealed class PlayerCore
    {
        private readonly NimbPlayer m_Owner;
        private readonly SeekRequests m_Seeks = new SeekRequests();
        private ClipSession m_Session;
        private ClipSession m_Next;  // prepared
        private PictureOutput m_Output;
        private bool m_IsWantedToPlay;
        private Suspension m_Suspension = Suspension.Disabled;  // until OnEnable, which may never come
        private long m_RangeFirst;
        private long m_RangeLast = -1;  // below 0: the whole clip
        private long m_ReturnTo = -1;  // the frame that was shown when the device was lost

        public PlayerCore(NimbPlayer owner)
        {
            m_Owner = owner;
        }

        /// <summary>Or was to be: the start of the component does not replace what a script has opened.</summary>
        public bool WasOpened { get; private set; }
        public bool IsOpen { get { return m_Session != null && m_Session.IsOpen; } }
        public bool IsOpening { get { return m_Session != null && !m_Session.IsOpen; } }
        public bool IsSeeking { get { return !m_Seeks.IsEmpty || IsOpen && Active.IsSeeking; } }
        public string Problem { get; private set; }
        public PlayerBackend Backend { get { return IsOpen ? m_Session.Backend : PlayerBackend.Automatic; } }
        public string Limits { get { return IsOpen ? Active.Limits ?? m_Session.ChoiceReason : null; } }
        public Texture Texture { get { return m_Output != null ? m_Output.Texture : null; } }

        /// <summary>Of an open clip.</summary>
        public Playback Active { get { return m_Session.Playback; } }

        // ---- Opening and closing ----

        public void Open()
        {
            Close();
            WasOpened = true;
            Problem = null;
            ClipSession prepared = m_Next != null && m_Next.Is(m_Owner.Folder, m_Owner.Path) ? m_Next : null;
            if (prepared != null)
            {
                m_Next = null;
            }
            Begin(prepared);
        }

        /// <param name="prepared">Null: from the beginning.</param>
        private void Begin(ClipSession prepared)
        {
            try
            {
                m_Session = prepared ?? MakeSession(m_Owner.Folder, m_Owner.Path);
                OpenPlayers.Add(m_Owner);
                if (m_Session.IsOpen)
                {
                    FinishOpening();
                }
            }
            catch (ClipException e)
            {
                Fail(e.Message);
            }
        }

        private ClipSession MakeSession(ClipFolder folder, string path)
        {
            return new ClipSession(folder, path, m_Owner.Backend, m_Owner.PlaybackSettings);
        }

        private void FinishOpening()
        {
            m_Output = new PictureOutput(m_Owner.gameObject, Active, m_Owner.OutputSettings);
            ApplySettings();
            ApplyRange();
            if (m_ReturnTo >= 0 && m_Seeks.IsEmpty)
            {
                Active.Seek(m_ReturnTo, SeekOptions.None);
            }
            m_ReturnTo = -1;
            m_Seeks.Begin(Active);
            PlayIfWanted();
            m_Owner.OnOpened.Raise(m_Owner);
        }

        public void Prepare(ClipFolder folder, string path)
        {
            if (m_Next != null && m_Next.Is(folder, path))
            {
                return;
            }
            DropPrepared();
            try
            {
                m_Next = MakeSession(folder, path);
                OpenPlayers.Add(m_Owner);
            }
            catch (ClipException)
            {
                // Open will say so.
            }
        }

        public void Close()
        {
            m_IsWantedToPlay = false;
            m_RangeFirst = 0;
            m_RangeLast = -1;
            m_ReturnTo = -1;
            EndSession();
            m_Seeks.Close();
            RaiseSeekEnds();
        }

        private void EndSession()
        {
            if (m_Output != null)
            {
                m_Output.Dispose();
                m_Output = null;
            }
            if (m_Session != null)
            {
                m_Session.Dispose();
                m_Session = null;
            }
            if (m_Next == null)
            {
                OpenPlayers.Remove(m_Owner);
            }
        }

        private void DropPrepared()
        {
            if (m_Next != null)
            {
                m_Next.Dispose();
                m_Next = null;
            }
        }

        /// <summary>Closes what is open and what is prepared, as when the component is destroyed.</summary>
        public void Release()
        {
            DropPrepared();
            Close();
        }

        private void Fail(string reason)
        {
            Close();
            Problem = reason;
            Debug.LogError("Nimb: " + reason, m_Owner);
            m_Owner.OnFailed.Raise(m_Owner, reason);
        }

        // ---- Control ----

        public void Play()
        {
            m_IsWantedToPlay = m_Session != null;
            PlayIfWanted();
        }

        private void PlayIfWanted()
        {
            if (IsOpen && m_IsWantedToPlay && m_Suspension == Suspension.None)
            {
                Active.Play();
            }
        }

        public void Pause()
        {
            m_IsWantedToPlay = false;
            if (IsOpen)
            {
                Active.Pause();
            }
        }

        public void Rewind()
        {
            m_IsWantedToPlay = false;
            if (IsOpen)
            {
                Active.Rewind();
            }
        }

        /// <param name="frame">Below 0: the time counts.</param>
        /// <param name="seconds">Of the clip.</param>
        /// <param name="options">Added up.</param>
        /// <param name="task">What is told of the end; may be null.</param>
        public long Seek(long frame, double seconds, SeekOptions options, TaskCompletionSource<SeekEnd> task)
        {
            if (m_Session == null)
            {
                return 0;
            }
            if ((options & SeekOptions.Pause) != 0)
            {
                m_IsWantedToPlay = false;
            }
            return m_Seeks.Add(IsOpen ? Active : null, frame, seconds, options, task);
        }

        public Task<SeekEnd> SeekAsync(long frame, double seconds, SeekOptions options)
        {
            var task = new TaskCompletionSource<SeekEnd>();
            if (Seek(frame, seconds, options, task) == 0)
            {
                task.SetResult(new SeekEnd { Frame = frame, Result = NimbSeekResult.Failed, Reason = NimbSeekReason.Closed });
            }
            return task.Task;
        }

        public long Step(int frames)
        {
            m_IsWantedToPlay = false;
            return IsOpen ? m_Seeks.AddStep(Active, frames) : 0;
        }

        /// <summary>The whole clip when <paramref name="last"/> is below 0.</summary>
        public void SetRange(long first, long last)
        {
            m_RangeFirst = first;
            m_RangeLast = last;
            ApplyRange();
        }

        public void ApplyRange()
        {
            if (IsOpen)
            {
                long last = Math.Min(m_RangeLast, Active.Info.FrameCount - 1);
                Active.SetRange(Math.Min(m_RangeFirst, Math.Max(0, last)), last, m_Owner.LoopMode != LoopMode.Once);
            }
        }

        public void ApplySettings()
        {
            if (IsOpen)
            {
                Active.SetSpeed(m_Owner.Speed);
                Active.SetVolume(m_Owner.Volume);
            }
        }

        public void Suspend(Suspension reason)
        {
            m_Suspension |= reason;
            if (IsOpen)
            {
                Active.Pause();
            }
        }

        public void Resume(Suspension reason)
        {
            bool wasSuspended = m_Suspension != Suspension.None;
            m_Suspension &= ~reason;
            if (wasSuspended)
            {
                PlayIfWanted();
            }
        }

        // ---- Each frame of the engine ----

        /// <summary>After scripts have had their say.</summary>
        public void Update()
        {
            PollOpening();
            if (!IsOpen)
            {
                return;
            }
            if (Active.Problem != null)
            {
                Fail(Active.Problem);
                return;
            }
            if (Active.IsStale)
            {
                OpenAgain();
                return;
            }
            ClipSession session = m_Session;
            PlaybackEvents events = Active.Update();
            // What a native player fills is known a frame later; on the render thread, the copy comes right after it.
            if (Active.IsTextureEncoded && (events != PlaybackEvents.None || Active.IsPlaying || Active.IsSeeking))
            {
                RefreshOutput();
            }
            RaiseEvents(session, events);
            if (!Application.isPlaying)
            {
                BeforeRender();  // in edit mode there may be no such moment
            }
        }

        /// <summary>At the last moment before cameras render.</summary>
        public void BeforeRender()
        {
            if (!m_Owner.isActiveAndEnabled)
            {
                PollOpening();  // nobody else does
            }
            if (!IsOpen)
            {
                return;
            }
            ClipSession session = m_Session;
            PlaybackEvents events = Active.BeforeRender();
            if (events != PlaybackEvents.None)
            {
                RefreshOutput();
            }
            RaiseEvents(session, events);
        }

        /// <summary>Copies the picture to where else it is wanted.</summary>
        public void RefreshOutput()
        {
            if (m_Output != null)
            {
                m_Output.Refresh(m_Owner.TargetTexture);
            }
        }

        private void PollOpening()
        {
            try
            {
                if (IsOpening && m_Session.Poll())
                {
                    FinishOpening();
                }
            }
            catch (ClipException e)
            {
                Fail(e.Message);
            }
            try
            {
                if (m_Next != null)
                {
                    m_Next.Poll();
                }
            }
            catch (ClipException)
            {
                DropPrepared();  // Open tries again, and says so
            }
        }

        /// <summary>The engine may have made another device.</summary>
        public void LookAtDevice()
        {
            if (IsOpen)
            {
                Active.LookAtDevice();
            }
        }

        /// <summary>In a new device nothing is left of what was shown.</summary>
        private void OpenAgain()
        {
            m_ReturnTo = Active.Frame;
            bool wasEnded = Active.HasEnded;
            DropPrepared();
            EndSession();
            m_Seeks.AskAgain();
            m_IsWantedToPlay &= !wasEnded;
            Begin(null);
        }

        /// <summary>Listeners may close the clip, or open another: the rest is not for them then.</summary>
        private void RaiseEvents(ClipSession session, PlaybackEvents events)
        {
            if ((events & PlaybackEvents.Ended) != 0)
            {
                m_IsWantedToPlay = false;
            }
            if ((events & PlaybackEvents.FrameShown) != 0)
            {
                m_Owner.OnFrameShown.Raise(m_Owner);
            }
            if (m_Session == session && (events & PlaybackEvents.Looped) != 0)
            {
                m_Owner.OnLooped.Raise(m_Owner);
            }
            if (m_Session == session && (events & PlaybackEvents.Ended) != 0)
            {
                m_Owner.OnEnded.Raise(m_Owner);
            }
            SeekEnd end;
            while (m_Session == session && Active.TakeSeekEnd(out end))
            {
                m_Seeks.Finish(end);
            }
            RaiseSeekEnds();
            PlaybackTrouble trouble;
            while (m_Session == session && Active.TakeTrouble(out trouble))
            {
                m_Owner.OnTrouble.Raise(m_Owner, trouble);
            }
        }

        private void RaiseSeekEnds()
        {
            SeekEnd end;
            while (m_Seeks.Take(out end))
            {
                m_Owner.OnSeekEnded.Raise(m_Owner, end);
            }
        }
    }
}
