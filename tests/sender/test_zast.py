"""zast sending to zimb between two network namespaces: files arrive byte for byte where the
file-spec or -d says, each file gets its line and the exit status tells whether all got "OK";
failures of the receiver, of the network and of a peer that closes are told apart; the progress
line shows only on a terminal.

Local helpers beside the shared harness (tests/receiver/zimbnet.py): running zast in the sending
namespace, a fake receiver that closes without a reply, and a rate limit on the sending link.
"""
import argparse
import os
import pty
import select
import subprocess
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "receiver"))
import zimbnet  # noqa: E402
from zimbnet import RECV_IP, ZimbCase  # noqa: E402

ZAST = None
BODY = bytes(range(256)) * 300 + b"\r\n\r tail"  # every byte value, CRs in the data


def write(path, data):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as f:
        f.write(data)


def read(path):
    with open(path, "rb") as f:
        return f.read()


class ZastCase(ZimbCase):
    def zast(self, *args):
        """Runs zast in the sending namespace, in src/; returns (exit status, stdout, stderr)."""
        done = self.net.sender(ZAST, *args, cwd=self.path("src"), timeout=120)
        return done.returncode, done.stdout.decode(), done.stderr.decode()

    def setUp(self):
        super().setUp()
        os.makedirs(self.path("src"))


class Delivery(ZastCase):
    def test_one_file_arrives_exactly_with_its_mode(self):
        write(self.path("src", "tool.sh"), BODY)
        rc, out, err = self.zast("tool.sh", RECV_IP)
        self.assertEqual((rc, err), (0, ""), out)
        self.assertRegex(out, rf"^tool\.sh -> {RECV_IP}:9500 tool\.sh \({len(BODY)} bytes\): "
                              r"OK, [\d.]+ [KMG]?i?B/s\n$")
        self.assertEqual(read(self.path("tool.sh")), BODY)  # in zimb's working directory
        self.assertEqual(os.stat(self.path("tool.sh")).st_mode & 0o111, 0o111)
        self.zimb.wait_for(f"-> tool.sh ({len(BODY)})")

    def test_patterns_and_destinations(self):
        for name in ("a.txt", "b.txt", "c.txt.txt", "banana", ".hidden.txt", "sub/d.txt"):
            write(self.path("src", name), os.path.basename(name).encode() * 100)
        os.makedirs(self.path("src", "dir.txt"))  # matches, but is no regular file
        os.makedirs(self.path("in"))
        os.makedirs(self.path("sub"))
        cases = [  # (zast arguments, files that must arrive, as receiver paths)
            (("-d", self.path("in"), "*.txt", RECV_IP), ["in/a.txt", "in/b.txt", "in/c.txt.txt"]),
            (("-d", "", "sub/d.txt", RECV_IP), ["d.txt"]),  # -d "": zimb's working directory
            (("sub/d.txt", RECV_IP), ["sub/d.txt"]),  # the spec's directory part as written
            (("*a", RECV_IP, "9500"), ["banana"]),
        ]
        for args, arrive in cases:
            with self.subTest(args=args):
                rc, out, _ = self.zast(*args)
                self.assertEqual(rc, 0, out)
                for where in arrive:
                    name = os.path.basename(where)
                    self.assertEqual(read(self.path(where)), name.encode() * 100)
                    os.remove(self.path(where))
                sent = [line.split(" -> ")[0] for line in out.splitlines()[:len(arrive)]]
                self.assertEqual([os.path.basename(s) for s in sent],
                                 [os.path.basename(w) for w in arrive])  # in name order
                summary = f"{len(arrive)} files: {len(arrive)} OK, 0 not;"
                self.assertEqual(summary in out, len(arrive) > 1, out)
        self.assertFalse(os.path.exists(self.path("in", ".hidden.txt")))

    def test_an_error_reply_fails_that_file_and_the_others_still_arrive(self):
        for name in ("a.txt", "b.txt", "c.txt"):
            write(self.path("src", name), b"x" * 1000)
        os.makedirs(self.path("in", "b.txt"))  # b.txt cannot be put in place there
        rc, out, _ = self.zast("-d", self.path("in"), "*.txt", RECV_IP)
        self.assertEqual(rc, 1, out)
        lines = out.splitlines()
        self.assertIn(": OK, ", lines[0])
        self.assertIn(": FAILED, the receiver replied: ", lines[1])
        self.assertIn(": OK, ", lines[2])
        self.assertIn("3 files: 2 OK, 1 not;", lines[3])
        for name in ("a.txt", "c.txt"):
            self.assertEqual(read(self.path("in", name)), b"x" * 1000)

        rc, out, _ = self.zast("-d", self.path("missing"), "a.txt", RECV_IP)
        self.assertEqual(rc, 1, out)
        self.assertRegex(out, r"FAILED, the receiver replied: .*missing/a\.txt")


class Failures(ZastCase):
    def test_zasts_own_failures_are_told_apart(self):
        write(self.path("src", "f.bin"), BODY)
        write(self.path("src", "empty"), b"")
        cases = [  # (arguments, exit status, text of the file's line)
            (("f.bin", RECV_IP, "9599"), 1, "FAILED, connection refused"),
            (("f.bin", "10.99.0.1"), 1, "FAILED, no route to the receiving PC"),
            (("empty", RECV_IP), 1, "NOT SENT, the file is empty"),
            (("nothing*", RECV_IP), 2, ""),
            (("f.bin", "10.77.0"), 2, ""),
            (("f.bin", RECV_IP, "70000"), 2, ""),
        ]
        for args, status, text in cases:
            with self.subTest(args=args):
                rc, out, err = self.zast(*args)
                self.assertEqual(rc, status, out + err)
                self.assertIn(text, out)
                if status == 2:
                    self.assertRegex(err, r"^zast: .*\nUsage: zast ")
        self.assertNotIn("->", self.zimb.read())  # nothing reached zimb

    def test_a_receiver_that_closes_without_a_reply(self):
        write(self.path("src", "big.bin"), os.urandom(8 << 20))
        write(self.path("src", "small.bin"), BODY)
        # Reads up to the count (or only the first byte), then closes without a reply.
        fake = ("import socket,sys\n"
                "l=socket.create_server(('', 9600)); print('up', flush=True)\n"
                "for want in (int(sys.argv[1]), 1):\n"
                "    c,_=l.accept(); got=b''\n"
                "    while len(got) < want: got += c.recv(65536)\n"
                "    c.close()\n")
        need = len(BODY) + len(f"small.bin\r\r{len(BODY)}\r")
        proc = subprocess.Popen(("ip", "netns", "exec", self.net.recv_ns, sys.executable, "-c",
                                 fake, str(need)), stdout=subprocess.PIPE)
        self.addCleanup(lambda: (proc.kill(), proc.wait(), proc.stdout.close()))
        proc.stdout.readline()
        for name in ("small.bin", "big.bin"):  # all sent and waiting; still sending
            with self.subTest(name=name):
                rc, out, _ = self.zast(name, RECV_IP, "9600")
                self.assertEqual(rc, 1, out)
                self.assertIn("FAILED, the receiver closed the connection without a reply", out)


class Progress(ZastCase):
    def slow_link(self):
        """About 2 MiB/s on the sending side, so that a 2 MiB file takes about a second."""
        links = zimbnet.run("ip", "-n", self.net.send_ns, "-o", "link", "show", "type", "veth")
        dev = links.stdout.split(":")[1].strip().split("@")[0]
        zimbnet.run("ip", "netns", "exec", self.net.send_ns, "tc", "qdisc", "add", "dev", dev,
                    "root", "tbf", "rate", "16mbit", "burst", "32kb", "latency", "400ms")

    def on_terminal(self, *args):
        """zast with its standard error on a pseudo-terminal: (exit status, what it drew)."""
        master, slave = pty.openpty()
        proc = subprocess.Popen(("ip", "netns", "exec", self.net.send_ns, ZAST) + args,
                                cwd=self.path("src"), stdout=subprocess.DEVNULL, stderr=slave)
        os.close(slave)
        drawn, end = b"", time.time() + 60
        while time.time() < end:
            if select.select([master], [], [], 0.1)[0]:
                try:
                    chunk = os.read(master, 4096)
                except OSError:
                    break
                drawn += chunk
            elif proc.poll() is not None:
                break
        os.close(master)
        return proc.wait(10), drawn.decode("latin-1")

    def test_a_progress_line_on_a_terminal_only(self):
        self.slow_link()
        write(self.path("src", "slow.bin"), os.urandom(2 << 20))
        rc, drawn = self.on_terminal("slow.bin", RECV_IP)
        self.assertEqual(rc, 0, drawn)
        self.assertRegex(drawn, r"\rslow\.bin +\d+% [\d.]+ [KM]iB of 2\.0 MiB, [\d.]+ [KM]?i?B/s, "
                                r"\d+:\d\d left\033\[K")
        self.assertTrue(drawn.endswith("\r\033[K"), repr(drawn[-40:]))  # cleared at the end
        for how in ((), ("-q",)):
            with self.subTest(how=how or "pipe"):
                if how:
                    rc, drawn = self.on_terminal(*how, "slow.bin", RECV_IP)
                else:
                    rc, _, drawn = self.zast("slow.bin", RECV_IP)
                self.assertEqual((rc, drawn), (0, ""))


if __name__ == "__main__":
    parser = argparse.ArgumentParser(add_help=False)
    parser.add_argument("--zast", required=True)
    known, rest = parser.parse_known_args()
    ZAST = os.path.abspath(known.zast)
    sys.argv = [sys.argv[0]] + rest
    zimbnet.main()
