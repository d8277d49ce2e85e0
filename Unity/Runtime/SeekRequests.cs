using System.Collections.Generic;
using System.Threading.Tasks;

namespace Nimb
{
    /// <summary>
    /// A player's requests for frames that have not ended. Its tickets go on from clip to clip, while those of a back end
    /// begin anew; a request that is made while the clip opens waits for it.
    /// </summary>
    internal sealed class SeekRequests
    {
        private struct Request
        {
            public long Ticket;
            public long BackendTicket;  // 0: not asked yet
            public long Frame;  // below 0: a time
            public double Seconds;
            public SeekOptions Options;
            public TaskCompletionSource<SeekEnd> Task;  // null: nobody awaits it
        }

        private readonly List<Request> m_Pending = new List<Request>();
        private readonly Queue<SeekEnd> m_Ended = new Queue<SeekEnd>();
        private long m_LastTicket;

        public bool IsEmpty { get { return m_Pending.Count == 0; } }

        /// <summary>Asks a back end, or waits for one.</summary>
        /// <param name="playback">Of an open clip; null while one opens.</param>
        /// <param name="frame">Below 0: the time counts.</param>
        /// <param name="seconds">Of the clip.</param>
        /// <param name="options">Added up.</param>
        /// <param name="task">What is told of the end; may be null.</param>
        /// <returns>A ticket above 0; 0 when the back end cannot.</returns>
        public long Add(Playback playback, long frame, double seconds, SeekOptions options, TaskCompletionSource<SeekEnd> task)
        {
            var request = new Request { Frame = frame, Seconds = seconds, Options = options, Task = task };
            if (playback != null && !Ask(playback, ref request))
            {
                return 0;
            }
            return Add(request);
        }

        /// <summary>Asks a back end for another frame from where it is.</summary>
        public long AddStep(Playback playback, int frames)
        {
            long ticket = playback.Step(frames);
            return ticket == 0 ? 0 : Add(new Request { BackendTicket = ticket, Frame = playback.Frame });
        }

        private long Add(Request request)
        {
            request.Ticket = ++m_LastTicket;
            m_Pending.Add(request);
            return request.Ticket;
        }

        private static bool Ask(Playback playback, ref Request request)
        {
            request.BackendTicket = request.Frame >= 0 ? playback.Seek(request.Frame, request.Options)
                : playback.SeekTime(request.Seconds, request.Options);
            return request.BackendTicket != 0;
        }

        /// <summary>The back end is made anew: requests wait for the next one.</summary>
        public void AskAgain()
        {
            for (int i = 0; i < m_Pending.Count; ++i)
            {
                Request request = m_Pending[i];
                request.BackendTicket = 0;
                m_Pending[i] = request;
            }
        }

        /// <summary>A clip has opened: the newest request that waited for it counts.</summary>
        public void Begin(Playback playback)
        {
            for (int i = m_Pending.Count - 1; i >= 0; --i)
            {
                Request request = m_Pending[i];
                bool isNewest = i == m_Pending.Count - 1;
                if (isNewest && Ask(playback, ref request))
                {
                    m_Pending[i] = request;
                }
                else
                {
                    End(i, new SeekEnd
                    {
                        Frame = request.Frame,
                        Result = isNewest ? NimbSeekResult.Failed : NimbSeekResult.Superseded,
                        Reason = isNewest ? NimbSeekReason.NoIndex : NimbSeekReason.None
                    });
                }
            }
        }

        /// <summary>A back end's request has ended; those that nobody made are passed over.</summary>
        public void Finish(SeekEnd end)
        {
            for (int i = 0; i < m_Pending.Count; ++i)
            {
                if (m_Pending[i].BackendTicket == end.Ticket)
                {
                    End(i, end);
                    return;
                }
            }
        }

        /// <summary>The clip is closed.</summary>
        public void Close()
        {
            while (m_Pending.Count > 0)
            {
                End(0, new SeekEnd { Frame = m_Pending[0].Frame, Result = NimbSeekResult.Failed, Reason = NimbSeekReason.Closed });
            }
        }

        private void End(int index, SeekEnd end)
        {
            Request request = m_Pending[index];
            m_Pending.RemoveAt(index);
            end.Ticket = request.Ticket;
            m_Ended.Enqueue(end);
            if (request.Task != null)
            {
                request.Task.SetResult(end);
            }
        }

        /// <summary>The oldest end that was not taken.</summary>
        public bool Take(out SeekEnd end)
        {
            bool isThere = m_Ended.Count > 0;
            end = isThere ? m_Ended.Dequeue() : new SeekEnd();
            return isThere;
        }
    }
}
