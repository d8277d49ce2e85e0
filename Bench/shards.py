#!/usr/bin/env python3
"""What sharing a clip among machines brings: a table of shards against time, with the hash of each clip.

Usage: shards.py NIMB 'OPTIONS OF nimb encode' [SHARDS...]

One after the other, each with one thread and the machine to itself, the shards encode their segments. The time of the
whole is that of the plan, the longest shard and the join, as if each shard had a core of its own.
"""

import hashlib
import json
import shlex
import subprocess
import sys
import tempfile
import time
from pathlib import Path


def timed(*command):
    start = time.monotonic()
    subprocess.run([str(word) for word in command], check=True, stdout=subprocess.DEVNULL)
    return time.monotonic() - start


def hash_of(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()[:16]


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    nimb, options = sys.argv[1], shlex.split(sys.argv[2])
    with tempfile.TemporaryDirectory() as folder:
        clip, job = Path(folder) / "clip.mp4", Path(folder) / "job"
        whole = timed(nimb, "encode", *options, "-q", "-j1", "-o", clip)
        print("| shards | plan, s | longest shard, s | all shards, s | join, s | whole, s | clip |")
        print("|--:|--:|--:|--:|--:|--:|---|")
        print(f"| one `nimb encode -j1` | | | | | {whole:.1f} | `{hash_of(clip)}` |")
        for shards in [int(word) for word in sys.argv[3:]] or [1, 2, 3, 7]:
            plan = timed(nimb, "plan", *options, "-y", "-q", "-j1", "-o", job)
            segments = range(len(json.loads((job / "plan.json").read_text())["clip"]["segments"]))
            shares = [segments[i::shards] for i in range(min(shards, len(segments)))]
            times = [timed(nimb, "encode", "--job", job, "--segments", ",".join(map(str, share)), "-q", "-j1")
                     for share in shares]
            join = timed(nimb, "join", job, "-y", "-q", "-j1", "-o", clip)
            print(f"| {shards} of {len(segments)} segments | {plan:.1f} | {max(times):.1f} | {sum(times):.1f} | "
                  f"{join:.2f} | {plan + max(times) + join:.1f} | `{hash_of(clip)}` |", flush=True)


if __name__ == "__main__":
    main()
