"""zast's sending speed against nc, between two network namespaces, in one run.

Times one large file five ways: zast into zimb and `cat header file | nc` into zimb (both until
zimb's "OK"); the same nc stream into an `nc -l` listener; and zast and nc into a sink that
reads the stream, throws it away and answers "OK" (socat running head), which shows what each
sender manages when the receiver is not the limit. zast's CPU time shows how much of the
transfer it spends itself: it must not be what limits it.
Run as root: python3 bench/zast_bench.py --zimb build/release/zimb --zast build/release/zast
[--size-mib N] [--runs N]. Best of runs rounds (default 3); it measures, never passes or fails.
The helpers (namespaces, zimb under a terminal, the timed nc runs) are bench/net_bench.py's.
"""
import os
import resource
import subprocess
import time

import net_bench
from net_bench import MIB, TIMEOUT, Net, Receiver, header, zimbnet
from zimbnet import RECV_IP


def time_zast(zast, rx, src, size):
    """Seconds zast took to send src into zimb (until it exited), and its CPU seconds."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    start = time.perf_counter()
    done = subprocess.run(("ip", "netns", "exec", rx.net.send_ns, zast, "-q", "-d", rx.dir, src,
                           RECV_IP), capture_output=True, text=True, timeout=TIMEOUT)
    took = time.perf_counter() - start
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    cpu = (after.ru_utime - before.ru_utime) + (after.ru_stime - before.ru_stime)
    assert done.returncode == 0, f"zast failed: {done.stdout}{done.stderr}"
    return took, cpu


def make_sink(top, size):
    """A script that reads the header and size bytes, drops them and answers "OK"."""
    path = os.path.join(top, "sink.sh")
    with open(path, "w") as f:
        f.write(f"#!/bin/sh\nhead -c {size + len(header('src.bin', '', size))} >/dev/null\n"
                "printf 'OK\\r'\n")
    os.chmod(path, 0o755)
    return path


def time_sink(net, port, sink_script, send_line):
    """Seconds from the start of send_line (run in the sending namespace) until it and a socat
    listener at port running sink_script have exited."""
    sink = subprocess.Popen(("ip", "netns", "exec", net.recv_ns, "socat",
                             f"TCP-LISTEN:{port},reuseaddr", f"EXEC:{sink_script}"),
                            stdin=subprocess.DEVNULL)
    try:
        net_bench.wait_listening(net, port)
        start = time.perf_counter()
        done = subprocess.run(("ip", "netns", "exec", net.send_ns, "sh", "-c", send_line),
                              capture_output=True, timeout=TIMEOUT)
        sink.wait(TIMEOUT)
        took = time.perf_counter() - start
        assert done.returncode == 0 and b"OK" in done.stdout, f"sender: {done}"
        return took
    finally:
        if sink.poll() is None:
            sink.kill()
            sink.wait()


def one_round(zast, top, base, rx, src, want, size):
    times, hdr = {}, os.path.join(top, "hdr")
    with open(hdr, "wb") as f:
        f.write(header("base.bin", "", size))
    net_bench.quiet_disk()
    times["nc -> nc"] = net_bench.time_listener(base, f"nc -l 9501 > {top}/by-nc", 9501,
                                                (hdr, src))
    os.remove(f"{top}/by-nc")
    with open(hdr, "wb") as f:
        f.write(header("src.bin", "", size))
    sink = make_sink(top, size)
    times["nc -> sink"] = time_sink(base, 9502, sink, f"cat {hdr} {src} | nc -N {RECV_IP} 9502")
    times["zast -> sink"] = time_sink(base, 9503, sink, f"{zast} -q -d '' {src} {RECV_IP} 9503")

    with open(hdr, "wb") as f:
        f.write(header("by-nc.bin", rx.dir, size))
    net_bench.quiet_disk()
    work = os.path.join(rx.zimb.vartmp, "zimbxxxx.tmp")
    times["nc -> zimb"], _, reply = net_bench.time_zimb(rx.net, (hdr, src), work, size)
    assert reply == b"OK\r", f"zimb replied {reply!r}"
    os.remove(os.path.join(rx.dir, "by-nc.bin"))

    net_bench.quiet_disk()
    times["zast -> zimb"], cpu = time_zast(zast, rx, src, size)
    dest = os.path.join(rx.dir, os.path.basename(src))
    assert net_bench.sha1_of(dest) == want, "zimb placed other bytes"
    os.remove(dest)
    rx.zimb.read(0)  # drain zimb's console
    return times, cpu


def main():
    args = net_bench.parse_args(__doc__, ("--zast", {"required": True}))
    zast, size = os.path.abspath(args.zast), args.size_mib * MIB
    with net_bench.workspace("zast-bench-") as (top, cleanups):
        src = os.path.join(top, "src.bin")
        print(f"making {args.size_mib} MiB of random bytes in {top} ...", flush=True)
        want = net_bench.make_file(src, size)
        base = Net()
        cleanups.append(base.close)
        rx = Receiver(top, "z1", cleanups)
        rounds = [one_round(zast, top, base, rx, src, want, size) for _ in range(args.runs)]
        print(f"\n{args.size_mib} MiB, best of {args.runs} (received files checked)")
        for way in ("zast -> zimb", "nc -> zimb", "nc -> nc", "zast -> sink", "nc -> sink"):
            all_runs = [times[way] for times, _ in rounds]
            best = min(all_runs)
            print(f"  {way:13} {best:7.3f} s  {size / MIB / best:7.1f} MiB/s   (runs: "
                  f"{' '.join(f'{t:.3f}' for t in all_runs)})")
        times, cpu = min(rounds, key=lambda r: r[0]["zast -> zimb"])
        print(f"  zast's CPU time in its best run: {cpu:.3f} s of {times['zast -> zimb']:.3f} s")


if __name__ == "__main__":
    main()
