"""zimb --safe against `nc -l > file`, between two network namespaces, in one run.

1. Times one large transfer into zimb --safe (until its "OK" reply; the file is synced and
   renamed by then) and the same sender command into `nc -l > file` (until nc exits), best of
   --runs rounds each.
2. CPU time of each receiver while a paced sender sends at about --rate-mib MiB/s: zimb's from
   /proc before and after, nc's from its own resource usage.
Run as root: python3 bench/safe_bench.py --zimb build/release/zimb [--size-mib N] [--runs N]
[--paced-mib N] [--rate-mib N]. It measures, never passes or fails; reuses net_bench's helpers.
"""
import os
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import net_bench  # noqa: E402
from net_bench import MIB, TIMEOUT, Receiver, cpu_seconds, make_file, quiet_disk  # noqa: E402
from net_bench import parse_args, sha1_of, time_listener, time_zimb, workspace  # noqa: E402
from zimbnet import RECV_IP, Net, Zimb, header  # noqa: E402

PACER = """import socket, sys, time
host, port, rate, files = sys.argv[1], int(sys.argv[2]), float(sys.argv[3]) * 2**20, sys.argv[4:]
s = socket.create_connection((host, port))
sent, t0 = 0, time.perf_counter()
for name in files:
    with open(name, 'rb') as f:
        while block := f.read(1 << 20):
            s.sendall(block)
            sent += len(block)
            ahead = sent / rate - (time.perf_counter() - t0)
            if ahead > 0:
                time.sleep(ahead)
s.shutdown(socket.SHUT_WR)
while s.recv(256):
    pass
"""


class SafeReceiver(Receiver):
    """zimb --safe in fresh namespaces."""

    def __init__(self, top, name, cleanups):
        self.dir = os.path.join(top, name)
        os.makedirs(self.dir)
        self.net, self.zimb = Net(), None
        cleanups.append(self.close)
        self.zimb = Zimb(self.net, self.dir, ("--safe",))
        self.zimb.wait_for(f"Listen at {RECV_IP}:")
        self.pid = net_bench.zimb_pid(self.zimb)


def paced(net, port, rate, files):
    return subprocess.Popen(("ip", "netns", "exec", net.send_ns, sys.executable, "-c", PACER,
                             RECV_IP, str(port), str(rate), *files))


def large(top, rx, base, src, want, size, runs):
    hdr = os.path.join(top, "hdr")
    times = {"zimb --safe": [], "nc -l > file": []}
    for _ in range(runs):
        with open(hdr, "wb") as f:
            f.write(header("big.bin", rx.dir, size))
        quiet_disk()
        took, _, reply = time_zimb(rx.net, (hdr, src), os.path.join(top, "none"), size)
        rx.zimb.read(0)
        assert reply == b"OK\r", f"zimb replied {reply!r}: {rx.zimb.read()}"
        assert sha1_of(os.path.join(rx.dir, "big.bin")) == want, "zimb placed other bytes"
        os.remove(os.path.join(rx.dir, "big.bin"))
        times["zimb --safe"].append(took)
        quiet_disk()
        times["nc -l > file"].append(time_listener(base, f"nc -l 9501 > {top}/by-nc", 9501,
                                                   (hdr, src)))
        os.remove(f"{top}/by-nc")
    mib = size / MIB
    print(f"\n{mib:.0f} MiB, sender: cat header file | nc -N {RECV_IP} PORT; best of {runs}")
    for tool, all_runs in times.items():
        best = min(all_runs)
        print(f"  {tool:13} {best:7.3f} s  {mib / best:7.1f} MiB/s   (runs: "
              f"{' '.join(f'{t:.3f}' for t in all_runs)})")
    ratio = min(times["zimb --safe"]) / min(times["nc -l > file"])
    print(f"  zimb --safe / nc = {ratio:.2f}  (aim: at most 1.0; zimb also syncs the file)")


def cpu_at_rate(top, rx, base, src, size, rate):
    hdr = os.path.join(top, "hdr")
    with open(hdr, "wb") as f:
        f.write(header("paced.bin", rx.dir, size))
    quiet_disk()
    before, start = cpu_seconds(rx.pid), time.perf_counter()
    sender = paced(rx.net, 9500, rate, (hdr, src))
    sender.wait(TIMEOUT)
    wall = time.perf_counter() - start
    zimb_cpu = cpu_seconds(rx.pid) - before
    rx.zimb.read(0)
    os.remove(os.path.join(rx.dir, "paced.bin"))

    quiet_disk()
    listener = subprocess.Popen(("ip", "netns", "exec", base.recv_ns, "sh", "-c",
                                 f"exec nc -l 9501 > {top}/by-nc"))
    time.sleep(0.5)
    paced(base, 9501, rate, (hdr, src)).wait(TIMEOUT)
    _, _, usage = os.wait4(listener.pid, 0)
    listener.returncode = 0
    nc_cpu = usage.ru_utime + usage.ru_stime
    os.remove(f"{top}/by-nc")
    mib = size / MIB
    print(f"\n{mib:.0f} MiB paced at about {rate} MiB/s ({mib / wall:.0f} MiB/s reached), "
          f"CPU time of the receiver:")
    print(f"  zimb --safe   {zimb_cpu:6.2f} s  ({100 * zimb_cpu / wall:4.1f} % of one core)")
    print(f"  nc -l > file  {nc_cpu:6.2f} s  ({100 * nc_cpu / wall:4.1f} % of one core)")


def main():
    args = parse_args(__doc__, ("--paced-mib", {"type": int, "default": 512}),
                      ("--rate-mib", {"type": int, "default": 100}))
    with workspace() as (top, cleanups):
        src = os.path.join(top, "src.bin")
        print(f"making {args.size_mib} MiB of random bytes in {top} ...", flush=True)
        want = make_file(src, args.size_mib * MIB)
        base = Net()
        cleanups.append(base.close)
        rx = SafeReceiver(top, "z", cleanups)
        large(top, rx, base, src, want, args.size_mib * MIB, args.runs)
        with open(src, "r+b") as f:
            f.truncate(args.paced_mib * MIB)
        cpu_at_rate(top, rx, base, src, args.paced_mib * MIB, args.rate_mib)


if __name__ == "__main__":
    main()
