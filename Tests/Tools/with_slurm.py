#!/usr/bin/env python3
"""Runs a command on a Slurm cluster of its own: this machine, for as long as the command and its jobs run.

Usage: with_slurm.py COMMAND...

Starts munged, slurmctld and slurmd on the loopback, in a temporary folder and with a key of its own, runs the command,
waits until no job is left, and ends everything that was started. Status: the command's; 1 with the logs of the daemons
when something else went wrong, or when it all took longer than a minute.
"""

import contextlib
import ctypes
import os
import pwd
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

LIMIT_SECONDS = 60

CONFIGURATION = """\
ClusterName=test
SlurmctldHost=localhost
SlurmctldPort={ports[0]}
SlurmdPort={ports[1]}
SlurmUser={user}
SlurmdUser={user}
AuthType=auth/munge
AuthInfo=socket={folder}/munge.socket
CredType=cred/munge
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SwitchType=switch/none
MpiDefault=none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
ReturnToService=2
KillWait=2
SchedulerParameters=batch_sched_delay=0,sched_min_interval=0
SlurmdParameters=config_overrides
StateSaveLocation={folder}/state
SlurmdSpoolDir={folder}/spool
SlurmctldPidFile={folder}/slurmctld.pid
SlurmdPidFile={folder}/slurmd.pid
NodeName=localhost NodeAddr=127.0.0.1 CPUs=2 State=UNKNOWN
PartitionName=all Nodes=localhost Default=YES State=UP
"""


PR_SET_PDEATHSIG = 1
PR_SET_CHILD_SUBREAPER = 36
PRCTL = ctypes.CDLL(None).prctl


def on_signal(number, _):
    raise TimeoutError(f"{signal.Signals(number).name} after {time.monotonic() - START:.1f} s")


def end_with_parent():
    PRCTL(PR_SET_PDEATHSIG, signal.SIGKILL, 0, 0, 0)


def end_children():
    def children():
        for entry in os.listdir("/proc"):
            with contextlib.suppress(OSError, ValueError):
                with open(f"/proc/{int(entry)}/stat", encoding="utf-8", errors="replace") as file:
                    if int(file.read().rpartition(")")[2].split()[1]) == os.getpid():
                        yield int(entry)

    while True:  # what a child leaves behind is a child then
        for child in children():
            os.kill(child, signal.SIGKILL)
        try:
            os.wait()
        except ChildProcessError:
            return


def free_ports(count):
    sockets = [socket.create_server(("127.0.0.1", 0)) for _ in range(count)]
    ports = [made.getsockname()[1] for made in sockets]
    for made in sockets:
        made.close()
    return ports


def wait_until(what, is_true):
    while not is_true():
        for daemon in DAEMONS:
            if daemon.poll() is not None:
                raise ChildProcessError(f"{daemon.args[0]} ended with status {daemon.returncode}")
        time.sleep(0.05)
    print(f"{time.monotonic() - START:5.1f} s  {what}", file=sys.stderr)


def asked(*command):
    result = subprocess.run(command, capture_output=True, text=True)
    return result.stdout.strip() if result.returncode == 0 else "no answer"


def start_cluster(folder):
    with open(f"{folder}/key", "wb", opener=lambda path, flags: os.open(path, flags, 0o400)) as file:
        file.write(os.urandom(128))
    os.chmod(folder, 0o711)  # munged wants its socket to be within everybody's reach
    for name in ("state", "spool"):
        os.mkdir(f"{folder}/{name}")
    os.environ["SLURM_CONF"] = f"{folder}/slurm.conf"
    with open(os.environ["SLURM_CONF"], "w", encoding="utf-8") as file:
        file.write(CONFIGURATION.format(folder=folder, ports=free_ports(2), user=pwd.getpwuid(os.getuid()).pw_name))

    def start(*command):
        with open(f"{folder}/{command[0]}.log", "w", encoding="utf-8") as log:
            DAEMONS.append(subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                            preexec_fn=end_with_parent))

    start("munged", "--foreground", f"--socket={folder}/munge.socket", f"--key-file={folder}/key",
          f"--pid-file={folder}/munged.pid", f"--seed-file={folder}/seed")
    wait_until("munge", lambda: os.path.exists(f"{folder}/munge.socket"))
    start("slurmctld", "-D", "-c")
    wait_until("controller", lambda: asked("scontrol", "ping").endswith("is UP"))
    start("slurmd", "-D", "-N", "localhost")
    wait_until("node", lambda: asked("sinfo", "-h", "-o", "%t") == "idle")


def main():
    os.environ["PATH"] += ":/usr/sbin:/sbin"
    for name in [name for name in os.environ if name.startswith(("SLURM", "SBATCH"))]:
        del os.environ[name]
    for number in (signal.SIGALRM, signal.SIGTERM, signal.SIGHUP, signal.SIGINT):
        signal.signal(number, on_signal)
    signal.alarm(LIMIT_SECONDS)
    PRCTL(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)  # what Slurm detaches becomes a child of this process, which ends it
    folder = tempfile.mkdtemp(prefix="nimb-slurm-")
    try:
        start_cluster(folder)
        status = subprocess.run(sys.argv[1:]).returncode
        wait_until("no job left", lambda: asked("squeue", "-h") == "")
        return status
    except (OSError, TimeoutError) as error:
        print(f"with_slurm.py: {error}", file=sys.stderr)
        for daemon in DAEMONS:
            with open(f"{folder}/{daemon.args[0]}.log", encoding="utf-8", errors="replace") as file:
                print(f"--- {daemon.args[0]}\n{''.join(file.readlines()[-30:])}", file=sys.stderr)
        return 1
    finally:
        signal.alarm(0)
        end_children()
        shutil.rmtree(folder, ignore_errors=True)


START = time.monotonic()
DAEMONS = []
sys.exit(main())
