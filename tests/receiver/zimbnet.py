# Two PCs on one machine for the end-to-end tests of zimb and zast: a sending and a receiving
# network namespace joined by a veth pair (10.77.0.1 sends, 10.77.0.2 receives), made fresh for
# every test. ZimbCase.start runs one more zimb there, with any arguments, under a pseudo-terminal
# (a key press is a byte written to it) or without a console. The receiving PC has its own host
# name, resolving to loopback only, and its own /var/tmp, shared by the zimb of one test. Every
# client socket is made in the sending namespace, by this file run there as the sender. A test
# process has mounts of its own, so that a test may mount a small file system for zimb.
import argparse, ctypes, itertools, os, pty, select, shutil, signal, socket, subprocess, sys
import tempfile, time, unittest
from pathlib import Path
from subprocess import PIPE

SEND_IP, RECV_IP = "10.77.0.1", "10.77.0.2"
BODY = bytes(range(256)) * 300 + b"\r\n\r tail"  # every byte value, CRs in the data
ZIMB = ZAST = None
_serial = itertools.count()


def run(*cmd, check=True, **kw):
    # Runs a command; a failure raises with the command and its own error text.
    done = subprocess.run(cmd, check=False, capture_output=True, text=True, **kw)
    if check and done.returncode != 0:
        raise RuntimeError(f"{' '.join(cmd)}: {(done.stderr or done.stdout).strip()}")
    return done


def namespaces_unavailable():
    # Why the tests cannot run here, or None: a trial of every operation they need.
    if os.geteuid() != 0:
        return "not root: network namespaces cannot be made"
    try:
        with tempfile.TemporaryDirectory() as workdir:
            net = Net()
            try:
                run(*in_host(net, workdir), "true")
            finally:
                net.close()
    except (RuntimeError, OSError) as failed:  # a command failed, or is missing
        return str(failed)


class Net:
    # A sending and a receiving namespace joined by a veth pair; made whole or not at all.

    def __init__(self):
        tag = f"{os.getpid() % 100000}x{next(_serial)}"
        self.send_ns, self.recv_ns = f"zs{tag}", f"zr{tag}"
        self.veth_s, veth_r = f"vs{tag}", f"vr{tag}"
        try:
            run("ip", "netns", "add", self.send_ns)
            run("ip", "netns", "add", self.recv_ns)
            run("ip", "link", "add", self.veth_s, "type", "veth", "peer", "name", veth_r)
            for ns, dev, ip in ((self.send_ns, self.veth_s, SEND_IP), (self.recv_ns, veth_r, RECV_IP)):
                run("ip", "link", "set", dev, "netns", ns)
                run("ip", "-n", ns, "addr", "add", f"{ip}/24", "dev", dev)
                run("ip", "-n", ns, "link", "set", dev, "up")
                run("ip", "-n", ns, "link", "set", "lo", "up")
        except BaseException:
            self.close()
            raise

    def close(self):
        run("ip", "link", "del", self.veth_s, check=False)  # still here if the set-up failed
        for ns in (self.send_ns, self.recv_ns):
            run("ip", "netns", "del", ns, check=False)

    def sender(self, *cmd, **kw):
        # Runs a command in the sending namespace.
        return subprocess.run(("ip", "netns", "exec", self.send_ns) + cmd, capture_output=True, **kw)

    def client(self, payload, port=9500, hold=0.0, at=-1, times=1, ns=None, host=RECV_IP):
        # Starts the sender of payload bytes (see sender below); .communicate() gives the
        # reply. ns and host put it elsewhere, such as on the receiving PC's loopback.
        with tempfile.TemporaryFile() as f:
            f.write(payload)
            f.seek(0)
            return subprocess.Popen(("ip", "netns", "exec", ns or self.send_ns, sys.executable,
                                     os.path.abspath(__file__), host, str(port), str(hold),
                                     str(at), str(times)), stdin=f, stdout=PIPE, stderr=PIPE)

    def send(self, payload, timeout=30, **kw):
        # Sends payload bytes and returns the reply bytes.
        reply, err = self.client(payload, **kw).communicate(timeout=timeout)
        if err:
            raise AssertionError(f"client failed: {err.decode()}")
        return reply

    def slow(self, rate):
        # Limits the sending PC's link to rate, as tc writes it ("16mbit").
        run("ip", "netns", "exec", self.send_ns, "tc", "qdisc", "add", "dev", self.veth_s,
            "root", "tbf", "rate", rate, "burst", "32kb", "latency", "100ms")


def sender(host, port, hold, at, times):
    # The client: sends standard input's bytes, the first AT (all when negative), waits HOLD
    # seconds (so that zimb sees a pause; closes at once when negative), sends the rest and
    # writes the reply to standard output up to zimb's close; TIMES connections in turn.
    data = sys.stdin.buffer.read()
    at = len(data) if at < 0 else at
    for _ in range(times):
        with socket.create_connection((host, port), timeout=30) as s:
            s.sendall(data[:at])
            if hold < 0:
                return  # the sender gives up: no reply is read
            time.sleep(hold)
            try:
                s.sendall(data[at:])
                sys.stdout.buffer.write(s.makefile("rb").read())
            except ConnectionResetError:  # zimb closed with data unread: no reply
                pass


def until(done, timeout=10):
    # Waits until done() holds, at most timeout seconds; returns its last value.
    end = time.time() + timeout
    while not done() and time.time() < end:
        time.sleep(0.01)
    return done()


def in_host(net, workdir):
    # The command prefix that runs a command as on the receiving PC: in its namespace, with the
    # host name zimb-rx resolving to loopback only, workdir/vartmp as /var/tmp, in workdir.
    os.makedirs(os.path.join(workdir, "vartmp"), exist_ok=True)
    Path(workdir, "hosts").write_text("127.0.0.1 localhost zimb-rx\n")
    setup = (f"hostname zimb-rx && mount --bind {workdir}/hosts /etc/hosts && "
             f"mount --bind {workdir}/vartmp /var/tmp && cd {workdir} && exec \"$0\" \"$@\"")
    return ("ip", "netns", "exec", net.recv_ns, "unshare", "--uts", "--mount", "--propagation",
            "private", "sh", "-c", setup)


class Zimb:
    # zimb on the receiving PC, in workdir, under a pseudo-terminal (master); or, without
    # console, with standard input from /dev/null and its output into a pipe (master too).
    # Every command before zimb execs the next, so proc is zimb itself.

    def __init__(self, net, workdir, args=(), console=True):
        self.vartmp = os.path.join(workdir, "vartmp")
        self.master, slave = pty.openpty() if console else os.pipe()
        self.proc = subprocess.Popen([*in_host(net, workdir), ZIMB, *args], stdout=slave,
                                     stdin=slave if console else subprocess.DEVNULL,
                                     stderr=slave, start_new_session=True,
                                     env=dict(os.environ, ASAN_OPTIONS="detect_leaks=0"))
        os.close(slave)
        self.out = b""

    def read(self, timeout=0.2):
        # Everything zimb printed so far, terminal line ends turned back into '\n'.
        end = time.time() + timeout
        while select.select([self.master], [], [], max(end - time.time(), 0))[0]:
            try:
                chunk = os.read(self.master, 65536)
            except OSError:  # the terminal is gone: zimb has exited
                break
            self.out += chunk
            if not chunk:
                break
        return self.out.replace(b"\r\n", b"\n").decode("latin-1")

    def wait_for(self, text, timeout=10):
        if until(lambda: text in self.read(0.05), timeout):
            return self.read(0)
        raise AssertionError(f"zimb never printed {text!r}; it printed:\n{self.read(0)}")

    def stop(self, timeout=10):
        # Presses a key and returns zimb's exit status.
        if self.proc.poll() is None:
            os.write(self.master, b"q")  # a key
        return self.proc.wait(timeout)

    def kill(self):
        if self.proc.poll() is None:
            os.killpg(self.proc.pid, signal.SIGKILL)
            self.proc.wait()

    def close(self):
        self.kill()
        os.close(self.master)


class ZimbCase(unittest.TestCase):
    # A test case with fresh namespaces and a zimb listening on the receiving PC.

    zimb_args = ()  # None: the test starts its own

    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="zimb-e2e-")
        self.addCleanup(shutil.rmtree, self.dir, True)
        self.net = Net()
        self.addCleanup(self.net.close)
        self.zimb = None if self.zimb_args is None else self.start(self.zimb_args)

    def start(self, args=(), listens=True, console=True):
        # One more zimb on the receiving PC, sharing its /var/tmp; stopped at the test's end.
        zimb = Zimb(self.net, self.dir, args, console)
        self.addCleanup(zimb.close)
        if listens:
            zimb.wait_for(f"Listen at {RECV_IP}:")
        return zimb

    def restart(self, *args, listens=True):
        # zimb with these arguments, in place of the one before (killed).
        if self.zimb:
            self.zimb.kill()
        self.zimb = self.start(args, listens)

    def path(self, *parts):
        return os.path.join(self.dir, *parts)

    def folder(self, *parts):
        # Makes a folder below the test's folder, with its parents; returns its path.
        os.makedirs(self.path(*parts), exist_ok=True)
        return self.path(*parts)

    def put(self, name, data):
        # Writes a file below the test's folder, its folders made; returns its path.
        self.folder(os.path.dirname(name))
        Path(self.path(name)).write_bytes(data)
        return self.path(name)

    def got(self, *parts):
        return Path(self.path(*parts)).read_bytes()

    def deliver(self, name, destdir, data, **kw):
        # Sends data as name into destdir; checks the reply "OK" and the file.
        self.assertEqual(self.net.send(header(name, destdir, len(data)) + data, **kw), b"OK\r")
        self.assertEqual(self.got(destdir, name), data)

    def tmpfs(self, name, size):
        # A file system of size ("1m") at name below the test's folder; start zimb after it.
        run("mount", "-t", "tmpfs", "-o", f"size={size}", "tmpfs", self.folder(name))
        self.addCleanup(run, "umount", "-l", self.path(name), check=False)
        return self.path(name)


def header(name, destdir, count):
    return name.encode() + b"\r" + destdir.encode() + b"\r" + str(count).encode() + b"\r"


def main():
    global ZIMB, ZAST
    parser = argparse.ArgumentParser()
    parser.add_argument("--zimb", required=True)
    parser.add_argument("--zast")
    args, rest = parser.parse_known_args()
    ZIMB, ZAST = os.path.abspath(args.zimb), args.zast and os.path.abspath(args.zast)
    if why := namespaces_unavailable():
        print(f"SKIPPED: {why}")
        sys.exit(77)  # ctest's skip code for these scripts
    libc = ctypes.CDLL(None, use_errno=True)  # mounts of our own: a test's tmpfs stays here
    if libc.unshare(0x00020000) != 0:  # CLONE_NEWNS
        raise OSError(ctypes.get_errno(), "unshare")
    run("mount", "--make-rprivate", "/")
    unittest.main(argv=[sys.argv[0]] + rest, verbosity=2)


if __name__ == "__main__":
    sender(sys.argv[1], int(sys.argv[2]), float(sys.argv[3]), int(sys.argv[4]), int(sys.argv[5]))
