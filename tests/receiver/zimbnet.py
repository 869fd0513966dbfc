"""Two PCs on one machine for zimb's end-to-end tests.

A sending and a receiving network namespace joined by a veth pair (10.77.0.1 sends, 10.77.0.2
receives), made fresh for every zimb start and removed afterwards. zimb runs in the receiving
one under a pseudo-terminal (a key press is a byte written to it), with its own host name that
resolves to loopback only and its own /var/tmp, so that its addresses are predictable and its
work file can be inspected. Every client socket is made inside the sending namespace.
"""
import argparse
import os
import pty
import select
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

SEND_IP, RECV_IP = "10.77.0.1", "10.77.0.2"
CLIENT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "zsend.py")
SKIP = 77  # ctest's skip code for these scripts
ZIMB = None
_serial = 0


def run(*cmd, check=True, **kw):
    return subprocess.run(cmd, check=check, capture_output=True, text=True, **kw)


def namespaces_unavailable():
    """Why the tests cannot make namespaces here, or None when they can."""
    if os.geteuid() != 0:
        return "not root: network namespaces cannot be made"
    if not shutil.which("ip") or not shutil.which("unshare"):
        return "ip (iproute2) or unshare (util-linux) missing"
    probe = f"zprobe{os.getpid()}"
    if run("ip", "netns", "add", probe, check=False).returncode != 0:
        return "ip netns add fails here"
    run("ip", "netns", "del", probe, check=False)
    return None


class Net:
    """A sending and a receiving namespace joined by a veth pair."""

    def __init__(self):
        global _serial
        _serial += 1
        tag = f"{os.getpid() % 100000}x{_serial}"
        self.send_ns, self.recv_ns = f"zs{tag}", f"zr{tag}"
        veth_s, veth_r = f"vs{tag}", f"vr{tag}"
        run("ip", "netns", "add", self.send_ns)
        run("ip", "netns", "add", self.recv_ns)
        run("ip", "link", "add", veth_s, "type", "veth", "peer", "name", veth_r)
        for ns, dev, ip in ((self.send_ns, veth_s, SEND_IP), (self.recv_ns, veth_r, RECV_IP)):
            run("ip", "link", "set", dev, "netns", ns)
            run("ip", "-n", ns, "addr", "add", f"{ip}/24", "dev", dev)
            run("ip", "-n", ns, "link", "set", dev, "up")
            run("ip", "-n", ns, "link", "set", "lo", "up")

    def close(self):
        for ns in (self.send_ns, self.recv_ns):
            run("ip", "netns", "del", ns, check=False)

    def sender(self, *cmd, **kw):
        """Runs a command in the sending namespace."""
        return subprocess.run(("ip", "netns", "exec", self.send_ns) + cmd, capture_output=True, **kw)

    def send(self, payload, hold=0.0, port=9500, timeout=30):
        """Sends payload bytes from the sending PC and returns the reply bytes."""
        with tempfile.NamedTemporaryFile() as f:
            f.write(payload)
            f.flush()
            reply, err = self.start_client(f.name, hold, port).communicate(timeout=timeout)
        if err:
            raise AssertionError(f"client failed: {err.decode()}")
        return reply

    def start_client(self, payload_file, hold=0.0, port=9500):
        """Starts a client in the background; .communicate() gives the reply."""
        return subprocess.Popen(("ip", "netns", "exec", self.send_ns, sys.executable, CLIENT,
                                 RECV_IP, str(port), payload_file, str(hold)),
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE)


class Zimb:
    """zimb running in the receiving namespace under a pseudo-terminal, in workdir."""

    def __init__(self, net, workdir, args=()):
        self.vartmp = os.path.join(workdir, "vartmp")
        os.makedirs(self.vartmp, exist_ok=True)
        hosts = os.path.join(workdir, "hosts")
        with open(hosts, "w") as f:
            f.write("127.0.0.1 localhost zimb-rx\n")
        setup = (f"hostname zimb-rx && mount --bind {hosts} /etc/hosts && "
                 f"mount --bind {self.vartmp} /var/tmp && cd {workdir} && exec \"$0\" \"$@\"")
        cmd = ["ip", "netns", "exec", net.recv_ns, "unshare", "--uts", "--mount",
               "--propagation", "private", "sh", "-c", setup, ZIMB, *args]
        environ = dict(os.environ, ASAN_OPTIONS="detect_leaks=0")  # zimb keeps its buffers
        self.master, slave = pty.openpty()
        self.proc = subprocess.Popen(cmd, stdin=slave, stdout=slave, stderr=slave, env=environ,
                                     start_new_session=True)
        os.close(slave)
        self.out = b""

    def read(self, timeout=0.2):
        """Everything zimb printed so far, terminal line ends turned back into '\\n'."""
        end = time.time() + timeout
        while True:
            left = end - time.time()
            ready, _, _ = select.select([self.master], [], [], max(left, 0))
            if not ready:
                break
            try:
                chunk = os.read(self.master, 65536)
            except OSError:  # the terminal is gone: zimb has exited
                break
            if not chunk:
                break
            self.out += chunk
        return self.out.replace(b"\r\n", b"\n").decode("latin-1")

    def wait_for(self, text, timeout=10):
        end = time.time() + timeout
        while time.time() < end:
            if text in self.read(0.05):
                return self.read(0)
        raise AssertionError(f"zimb never printed {text!r}; it printed:\n{self.read(0)}")

    def key(self, byte=b"q"):
        os.write(self.master, byte)

    def stop(self, timeout=10):
        """Presses a key and returns zimb's exit status."""
        if self.proc.poll() is None:
            self.key()
        try:
            return self.proc.wait(timeout)
        finally:
            self.read(0.1)

    def close(self):
        if self.proc.poll() is None:
            os.killpg(self.proc.pid, 9)
            self.proc.wait()
        os.close(self.master)


class ZimbCase(unittest.TestCase):
    """A test case with fresh namespaces and a zimb listening on the receiving PC."""

    zimb_args = ()
    listens = True  # wait for the listening line before the test starts

    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="zimb-e2e-")
        self.net = Net()
        self.addCleanup(shutil.rmtree, self.dir, True)
        self.addCleanup(self.net.close)
        self.zimb = Zimb(self.net, self.dir, self.zimb_args)
        self.addCleanup(self.zimb.close)
        if self.listens:
            self.zimb.wait_for(f"Listen at {RECV_IP}:")

    def path(self, *parts):
        return os.path.join(self.dir, *parts)


def header(name, destdir, count):
    return name.encode() + b"\r" + destdir.encode() + b"\r" + str(count).encode() + b"\r"


def main():
    global ZIMB
    parser = argparse.ArgumentParser()
    parser.add_argument("--zimb", required=True)
    args, rest = parser.parse_known_args()
    ZIMB = os.path.abspath(args.zimb)
    why = namespaces_unavailable()
    if why:
        print(f"SKIPPED: {why}")
        sys.exit(SKIP)
    unittest.main(argv=[sys.argv[0]] + rest, verbosity=2)
