"""zimb's speed and resources against standard tools, between two network namespaces.

Times one large transfer into zimb (until its "OK" reply) and the same sender command into
nc and socat listeners, and a plain cp on the receiving side; zimb receives into a work file
and then copies it into place, so nc + cp is the least that design can cost. Then measures
zimb's CPU use while idle and its descriptors and memory over many small transfers.
Run as root: python3 bench/net_bench.py --zimb build/release/zimb [--size-mib N] [--transfers N]
[--runs N]. Each large step is timed runs times (default 3; the machine may be shared) and the
best time counts. It measures, never passes or fails; namespaces and files go at the end.
"""
import argparse
import contextlib
import hashlib
import os
import select
import shutil
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests",
                                "receiver"))
import zimbnet  # noqa: E402
from zimbnet import RECV_IP, Net, Zimb, header  # noqa: E402

MIB = 1 << 20
TIMEOUT = 600  # seconds any one step may take before the run is abandoned


def parse_args(doc, *own):
    # The options every benchmark takes (--zimb, --size-mib, --runs) and its own, as
    # (name, add_argument keywords); points the harness at zimb and leaves, with the reason,
    # where namespaces cannot be made.
    parser = argparse.ArgumentParser(description=doc.split("\n")[0])
    parser.add_argument("--zimb", required=True)
    parser.add_argument("--size-mib", type=int, default=1024)
    parser.add_argument("--runs", type=int, default=3, help="rounds of the large transfers")
    for name, kw in own:
        parser.add_argument(name, **kw)
    args = parser.parse_args()
    zimbnet.ZIMB = os.path.abspath(args.zimb)
    why = zimbnet.namespaces_unavailable()
    if why:
        sys.exit(f"cannot run: {why}")
    return args


@contextlib.contextmanager
def workspace(prefix="zimb-bench-"):
    # A fresh folder under /tmp (the file system zimb receives on) and the list of clean-ups,
    # run last first when the benchmark ends, however it ends.
    top = tempfile.mkdtemp(prefix=prefix)
    cleanups = [lambda: shutil.rmtree(top, True)]
    try:
        yield top, cleanups
    finally:
        for cleanup in reversed(cleanups):
            cleanup()


def make_file(path, size):
    """Writes size random bytes to path; returns their SHA-1."""
    digest = hashlib.sha1()
    with open(path, "wb") as f:
        for left in range(size, 0, -MIB):
            block = os.urandom(min(MIB, left))
            digest.update(block)
            f.write(block)
    return digest.hexdigest()


def sha1_of(path):
    digest = hashlib.sha1()
    with open(path, "rb") as f:
        while block := f.read(MIB):
            digest.update(block)
    return digest.hexdigest()


def quiet_disk():
    """Writes back what earlier steps left dirty, so that no step pays for another."""
    os.sync()
    time.sleep(0.5)


def start_sender(net, stream, port):
    """The sender of every large transfer: the stream files through nc, from the sending side."""
    line = f"cat {' '.join(stream)} | nc -N {RECV_IP} {port}"
    return subprocess.Popen(("ip", "netns", "exec", net.send_ns, "sh", "-c", line),
                            stdout=subprocess.PIPE, stdin=subprocess.DEVNULL)


def time_zimb(net, stream, work, size):
    """Seconds from the sender's start until zimb's reply ends in CR, seconds until the work
    file held all size bytes (looked at every 10 ms), and the reply."""
    start = time.perf_counter()
    sender = start_sender(net, stream, 9500)
    reply, full = b"", None
    while not reply.endswith(b"\r") and time.perf_counter() - start < TIMEOUT:
        if select.select([sender.stdout], [], [], 0.01)[0]:
            chunk = os.read(sender.stdout.fileno(), 256)
            if not chunk:
                break
            reply += chunk
        elif full is None and os.path.exists(work) and os.path.getsize(work) >= size:
            full = time.perf_counter() - start
    took = time.perf_counter() - start
    sender.wait(TIMEOUT)
    return took, full, reply


def wait_listening(net, port):
    """Returns once port is listened on in the receiving namespace (at most about 5 s)."""
    for _ in range(500):
        probe = zimbnet.run("ip", "netns", "exec", net.recv_ns, "ss", "-Hltn", f"sport = :{port}")
        if probe.stdout.strip():
            return
        time.sleep(0.01)


def time_listener(net, listen_line, port, stream):
    """Seconds from the sender's start until it and the listener (started first) have exited."""
    listener = subprocess.Popen(("ip", "netns", "exec", net.recv_ns, "sh", "-c", listen_line),
                                stdin=subprocess.DEVNULL)
    try:
        wait_listening(net, port)
        start = time.perf_counter()
        start_sender(net, stream, port).wait(TIMEOUT)
        listener.wait(TIMEOUT)
        return time.perf_counter() - start
    finally:
        if listener.poll() is None:
            listener.kill()
            listener.wait()


def zimb_pid(zimb):
    """The zimb process itself (not ip, unshare or sh): the one of zimb's session running it."""
    want = os.path.realpath(zimbnet.ZIMB)
    for _ in range(100):
        for name in filter(str.isdigit, os.listdir("/proc")):
            try:
                pid = int(name)
                if os.readlink(f"/proc/{pid}/exe") == want and os.getsid(pid) == zimb.proc.pid:
                    return pid
            except OSError:
                pass  # gone meanwhile, or not ours to read
        time.sleep(0.05)
    raise RuntimeError("zimb's process not found")


def cpu_seconds(pid):
    fields = open(f"/proc/{pid}/stat").read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")  # utime + stime


def resources(pid):
    """Open descriptors, VmRSS and VmData (KiB) of pid."""
    status = dict(line.split(":", 1) for line in open(f"/proc/{pid}/status"))
    kib = lambda key: int(status[key].split()[0])  # noqa: E731
    return len(os.listdir(f"/proc/{pid}/fd")), kib("VmRSS"), kib("VmData")


class Receiver:
    """zimb in fresh namespaces, working in its own directory below top."""

    def __init__(self, top, name, cleanups):
        self.dir = os.path.join(top, name)
        os.makedirs(self.dir)
        self.net, self.zimb = Net(), None
        cleanups.append(self.close)
        self.zimb = Zimb(self.net, self.dir)
        self.zimb.wait_for(f"Listen at {RECV_IP}:")
        self.pid = zimb_pid(self.zimb)

    def close(self):
        if self.zimb:
            self.zimb.close()
        self.net.close()


def one_round(top, base, rx, src, want, size):
    """Times each receiver once on the file src; returns {tool: seconds} and the second at which
    zimb's work file was complete."""
    times, hdr = {}, os.path.join(top, "hdr")
    with open(hdr, "wb") as f:  # the baselines get the same stream, header included
        f.write(header("base.bin", "", size))
    listeners = {"nc": f"nc -l 9501 > {top}/by-nc", "socat": f"socat -u TCP-LISTEN:9502,reuseaddr "
                 f"OPEN:{top}/by-socat,creat,trunc"}
    for port, (tool, line) in enumerate(listeners.items(), 9501):
        quiet_disk()
        times[tool] = time_listener(base, line, port, (hdr, src))
        got = os.path.getsize(f"{top}/by-{tool}")
        assert got == size + os.path.getsize(hdr), f"{tool} received {got} bytes"
        os.remove(f"{top}/by-{tool}")
    quiet_disk()
    start = time.perf_counter()
    subprocess.run(("cp", src, f"{top}/by-cp"), check=True)
    times["cp"] = time.perf_counter() - start
    os.remove(f"{top}/by-cp")

    with open(hdr, "wb") as f:
        f.write(header("big.bin", rx.dir, size))
    quiet_disk()
    work = os.path.join(rx.zimb.vartmp, "zimbxxxx.tmp")  # zimb's work file
    times["zimb"], full, reply = time_zimb(rx.net, (hdr, src), work, size)
    rx.zimb.read(0)
    dest = os.path.join(rx.dir, "big.bin")
    assert reply == b"OK\r", f"zimb replied {reply!r}: {rx.zimb.read()}"
    assert os.path.getsize(dest) == size, f"zimb placed {os.path.getsize(dest)} bytes"
    assert sha1_of(dest) == want, "zimb placed other bytes"
    os.remove(dest)
    return times, full


def large_transfers(top, size, runs, cleanups):
    """Steps 1-6: times zimb, nc, socat and cp on one file of size bytes, best of runs rounds;
    returns zimb's pid."""
    src = os.path.join(top, "src.bin")
    print(f"making {size / MIB:.0f} MiB of random bytes in {top} ...", flush=True)
    want = make_file(src, size)
    base = Net()  # the baselines' namespaces; zimb gets its own
    cleanups.append(base.close)
    rx = Receiver(top, "z1", cleanups)
    rounds = [one_round(top, base, rx, src, want, size) for _ in range(runs)]

    mib = size / MIB
    print(f"\n{mib:.0f} MiB, sender: cat header file | nc -N {RECV_IP} PORT; best of {runs} "
          f"(received files checked)")
    best = {}
    for tool in ("zimb", "nc", "socat", "cp"):
        all_runs = [times[tool] for times, _ in rounds]
        best[tool] = min(all_runs)
        print(f"  {tool:6} {best[tool]:7.3f} s  {mib / best[tool]:7.1f} MiB/s   (runs: "
              f"{' '.join(f'{t:.3f}' for t in all_runs)})")
    times, full = min(rounds, key=lambda r: r[0]["zimb"])
    if full is not None:
        print(f"  best zimb run: work file complete after {full:.3f} s; moving it into place "
              f"and replying took {times['zimb'] - full:.3f} s")
    ratio = best["zimb"] / (best["nc"] + best["cp"])
    print(f"  zimb / (nc + cp) = {ratio:.2f}  (target at most 1.3)")
    status = open(f"/proc/{rx.pid}/status").read()
    peak = int(status.split("VmHWM:")[1].split()[0])
    print(f"  zimb's peak resident memory (VmHWM) so far: {peak / 1024:.0f} MiB")
    return rx.pid


def idle_cpu(pid, seconds):
    """Step 7: zimb's CPU use while it waits for a connection."""
    time.sleep(0.5)
    before, start = cpu_seconds(pid), time.perf_counter()
    time.sleep(seconds)
    used, wall = cpu_seconds(pid) - before, time.perf_counter() - start
    print(f"\nidle {wall:.1f} s: {used:.2f} s CPU = {100 * used / wall:.2f} % of one core "
          f"(target under 1 %)")


def small_transfers(top, count, cleanups):
    """Step 8: descriptors and memory of one zimb over count small transfers."""
    rx = Receiver(top, "z2", cleanups)
    body = os.urandom(1000)
    rows = [(0,) + resources(rx.pid)]
    for i in range(1, count + 1):
        reply = rx.net.send(header(f"s{i}.dat", rx.dir, len(body)) + body)
        assert reply == b"OK\r", f"transfer {i}: zimb replied {reply!r}"
        rx.zimb.read(0)  # drain its console: with the terminal full, zimb's printf would block
        if i % 50 == 0 or i == count:
            rows.append((i,) + resources(rx.pid))
    print(f"\n{count} transfers of {len(body)} bytes through one zimb:")
    print(f"  {'transfers':>9} {'fds':>4} {'VmRSS KiB':>10} {'VmData KiB':>11}")
    for row in rows:
        print(f"  {row[0]:9} {row[1]:4} {row[2]:10} {row[3]:11}")
    (n0, fd0, rss0, data0), (n1, fd1, rss1, data1) = rows[0], rows[-1]
    print(f"  growth: fds {fd1 - fd0:+d}; VmRSS {rss1 - rss0:+d} KiB = "
          f"{(rss1 - rss0) / (n1 - n0):.1f} KiB/transfer; VmData {data1 - data0:+d} KiB = "
          f"{(data1 - data0) / (n1 - n0):.1f} KiB/transfer")


def main():
    args = parse_args(__doc__, ("--transfers", {"type": int, "default": 500}),
                      ("--idle-s", {"type": float, "default": 10.0}))
    with workspace() as (top, cleanups):
        pid = large_transfers(top, args.size_mib * MIB, args.runs, cleanups)
        idle_cpu(pid, args.idle_s)
        small_transfers(top, args.transfers, cleanups)


if __name__ == "__main__":
    main()
