"""Two PCs on one machine for the end-to-end tests of every file that starts zimb: a sending
and a receiving network namespace joined by a veth pair (10.77.0.1 sends, 10.77.0.2
receives), made fresh for every test. ZimbCase.start runs one more zimb there, with any
arguments, under a pseudo-terminal (a key press is a byte written to it) or without a
console. The receiving PC has its own host name, resolving to loopback only, and its own
/var/tmp, shared by the zimb of one test. Every client socket is made in the sending one.
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
    """Runs a command; a failure raises with the command and its own error text."""
    done = subprocess.run(cmd, check=False, capture_output=True, text=True, **kw)
    if check and done.returncode != 0:
        raise RuntimeError(f"{' '.join(cmd)}: {(done.stderr or done.stdout).strip()}")
    return done


def namespaces_unavailable():
    """Why the tests cannot run here, or None: a trial of every operation they need."""
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
    return None


class Net:
    """A sending and a receiving namespace joined by a veth pair; made whole or not at all."""

    def __init__(self):
        global _serial
        _serial += 1
        tag = f"{os.getpid() % 100000}x{_serial}"
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

    def start_client(self, payload_file, hold=0.0, port=9500, pause_at=None):
        """Starts a client in the background; .communicate() gives the reply. With pause_at
        it holds after that many bytes instead of after all of them."""
        at = () if pause_at is None else (str(pause_at),)
        return subprocess.Popen(("ip", "netns", "exec", self.send_ns, sys.executable, CLIENT,
                                 RECV_IP, str(port), payload_file, str(hold), *at),
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE)


def in_host(net, workdir):
    """The command prefix that runs a command as on the receiving PC: in its namespace, with the
    host name zimb-rx resolving to loopback only, workdir/vartmp as /var/tmp, in workdir."""
    os.makedirs(os.path.join(workdir, "vartmp"), exist_ok=True)
    hosts = os.path.join(workdir, "hosts")
    with open(hosts, "w") as f:
        f.write("127.0.0.1 localhost zimb-rx\n")
    setup = (f"hostname zimb-rx && mount --bind {hosts} /etc/hosts && "
             f"mount --bind {workdir}/vartmp /var/tmp && cd {workdir} && exec \"$0\" \"$@\"")
    return ("ip", "netns", "exec", net.recv_ns, "unshare", "--uts", "--mount", "--propagation",
            "private", "sh", "-c", setup)


class Zimb:
    """zimb on the receiving PC, in workdir, under a pseudo-terminal; or, without console, with
    standard input from /dev/null and its output into a file."""

    def __init__(self, net, workdir, args=(), console=True):
        self.vartmp = os.path.join(workdir, "vartmp")
        environ = dict(os.environ, ASAN_OPTIONS="detect_leaks=0")  # zimb keeps its buffers
        if console:
            self.master, slave = pty.openpty()
            stdin, self.log = slave, None
        else:
            slave, path = tempfile.mkstemp(dir=workdir, suffix=".log")
            self.master, stdin, self.log = None, subprocess.DEVNULL, open(path, "rb")
        self.proc = subprocess.Popen([*in_host(net, workdir), ZIMB, *args], stdin=stdin,
                                     stdout=slave, stderr=slave, env=environ,
                                     start_new_session=True)
        os.close(slave)
        self.out = b""

    def read(self, timeout=0.2):
        """Everything zimb printed so far, terminal line ends turned back into '\\n'."""
        end = time.time() + timeout
        if self.log:
            time.sleep(timeout)
            self.out += self.log.read()
        while self.master is not None and select.select([self.master], [], [],
                                                        max(end - time.time(), 0))[0]:
            try:
                chunk = os.read(self.master, 65536)
            except OSError:  # the terminal is gone: zimb has exited
                break
            self.out += chunk
            if not chunk:
                break
        return self.out.replace(b"\r\n", b"\n").decode("latin-1")

    def wait_for(self, text, timeout=10):
        end = time.time() + timeout
        while time.time() < end:
            if text in self.read(0.05):
                return self.read(0)
        raise AssertionError(f"zimb never printed {text!r}; it printed:\n{self.read(0)}")

    def key(self, byte=b"q"):
        os.write(self.master, byte)

    def signal(self, sig):
        os.kill(self.proc.pid, sig)  # zimb itself: every command before it execs the next

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
        if self.master is not None:
            os.close(self.master)
        if self.log:
            self.log.close()


class ZimbCase(unittest.TestCase):
    """A test case with fresh namespaces and a zimb listening on the receiving PC."""

    zimb_args = ()  # None: the test starts its own
    listens = True  # wait for the listening line before the test starts

    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="zimb-e2e-")
        self.addCleanup(shutil.rmtree, self.dir, True)
        self.net = Net()
        self.addCleanup(self.net.close)
        if self.zimb_args is not None:
            self.zimb = self.start(self.zimb_args, self.listens)

    def start(self, args=(), listens=True, console=True):
        """One more zimb on the receiving PC, sharing its /var/tmp; stopped at the test's end."""
        zimb = Zimb(self.net, self.dir, args, console)
        self.addCleanup(zimb.close)
        if listens:
            zimb.wait_for(f"Listen at {RECV_IP}:")
        return zimb

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
