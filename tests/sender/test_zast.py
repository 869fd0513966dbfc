"""zast sending to zimb between two network namespaces: files arrive byte for byte where the
file-spec or -d says, with one line each and an exit status that tells whether all got "OK";
zast's own failures are told apart; the progress line shows only on a terminal. Local helpers
beside the shared harness: zast run in the sending namespace (on a terminal through script),
a fake receiver that closes without a reply, and a rate limit on the sending link (tc).
"""
import argparse
import os
import subprocess
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "receiver"))
import zimbnet  # noqa: E402
from zimbnet import RECV_IP, ZimbCase  # noqa: E402

ZAST = None
BODY = bytes(range(256)) * 300 + b"\r\n\r tail"  # every byte value, CRs in the data


class ZastCase(ZimbCase):
    def setUp(self):
        super().setUp()
        os.makedirs(self.path("src", "sub"))
        os.makedirs(self.path("in"))
        os.makedirs(self.path("sub"))

    def put(self, name, data):
        with open(self.path("src", name), "wb") as f:
            f.write(data)

    def got(self, *where):
        with open(self.path(*where), "rb") as f:
            return f.read()

    def zast(self, *args):
        """zast in the sending namespace, in src/: (exit status, stdout, stderr)."""
        done = self.net.sender(ZAST, *args, cwd=self.path("src"), timeout=120)
        return done.returncode, done.stdout.decode(), done.stderr.decode()


class Delivery(ZastCase):
    def test_files_arrive_exactly_where_the_spec_or_d_says(self):
        for name in ("b.txt", "a.txt", "c.txt.txt", "sub/d.txt"):
            self.put(name, name.encode() * 100)
        self.put("tool.sh", BODY)
        cases = [  # (zast arguments, where the files arrive, in the order sent)
            (("tool.sh", RECV_IP), ["tool.sh"]),  # a bare name: zimb's working directory
            (("-d", self.path("in"), "*.txt", RECV_IP), ["in/a.txt", "in/b.txt", "in/c.txt.txt"]),
            (("-d", "", "sub/d.txt", RECV_IP, "9500"), ["d.txt"]),
            (("sub/d.txt", RECV_IP), ["sub/d.txt"]),  # the file-spec's directory part as written
        ]
        for args, arrive in cases:
            with self.subTest(args=args):
                rc, out, _ = self.zast(*args)
                self.assertEqual(rc, 0, out)
                for line, where in zip(out.splitlines(), arrive):  # in name order
                    sent = line.split(" -> ")[0]
                    self.assertEqual(os.path.basename(sent), os.path.basename(where))
                    self.assertEqual(self.got(where), self.got("src", sent))
                self.assertEqual("3 files: 3 OK, 0 not;" in out, len(arrive) == 3, out)
        self.assertEqual(os.stat(self.path("tool.sh")).st_mode & 0o111, 0o111)
        self.assertRegex(out, rf"^sub/d\.txt -> {RECV_IP}:9500 sub/d\.txt \(900 bytes\): "
                              r"OK, [\d.]+ [KMG]?i?B/s\n$")

    def test_an_error_reply_fails_that_file_and_the_others_still_arrive(self):
        for name in ("a.txt", "b.txt", "c.txt"):
            self.put(name, b"x" * 1000)
        os.makedirs(self.path("in", "b.txt"))  # b.txt cannot be put in place there
        rc, out, _ = self.zast("-d", self.path("in"), "*.txt", RECV_IP)
        self.assertEqual(rc, 1, out)
        self.assertRegex(out, r"a\.txt .*: OK, .*\nb\.txt .*: FAILED, the receiver replied: .+\n"
                              r"c\.txt .*: OK, .*\n3 files: 2 OK, 1 not;")
        self.assertEqual(self.got("in", "a.txt") + self.got("in", "c.txt"), b"x" * 2000)
        rc, out, _ = self.zast("-d", self.path("missing"), "a.txt", RECV_IP)
        self.assertEqual(rc, 1, out)
        self.assertRegex(out, r"FAILED, the receiver replied: .*missing/a\.txt")


class Failures(ZastCase):
    def test_zasts_own_failures_are_told_apart(self):
        self.put("small.bin", BODY)
        self.put("big.bin", os.urandom(8 << 20))
        self.put("empty", b"")
        need = len(BODY) + len(f"small.bin\r\r{len(BODY)}\r")
        fake = ("import socket\nl = socket.create_server(('', 9600)); print(flush=True)\n"
                f"for want in ({need}, 1):  # all of a file, then only a first byte\n"
                "    c, got = l.accept()[0], b''\n"
                "    while len(got) < want: got += c.recv(65536)\n"
                "    c.close()  # and no reply\n")
        proc = subprocess.Popen(("ip", "netns", "exec", self.net.recv_ns, sys.executable, "-c",
                                 fake), stdout=subprocess.PIPE)
        self.addCleanup(lambda: (proc.kill(), proc.wait(), proc.stdout.close()))
        proc.stdout.readline()
        closed = "FAILED, the receiver closed the connection without a reply"
        cases = [  # (arguments, exit status, text on stdout, or stderr for a usage error)
            (("small.bin", RECV_IP, "9600"), 1, closed),  # while waiting for the reply
            (("big.bin", RECV_IP, "9600"), 1, closed),  # while still sending
            (("small.bin", RECV_IP, "9599"), 1, "FAILED, connection refused"),
            (("small.bin", "10.99.0.1"), 1, "FAILED, no route to the receiving PC"),
            (("empty", RECV_IP), 1, "NOT SENT, the file is empty"),
            (("small.bin", "10.77.0"), 2, 'zast: bad ip address "10.77.0"'),
            (("nothing*", RECV_IP), 2, 'zast: no regular file matches "nothing*"'),
        ]
        for args, status, text in cases:
            with self.subTest(args=args):
                rc, out, err = self.zast(*args)
                self.assertEqual(rc, status, out + err)
                self.assertIn(text, out if status == 1 else err)
        self.assertNotIn("->", self.zimb.read())  # nothing reached zimb


class Progress(ZastCase):
    def on_terminal(self, *args):
        """zast with its standard error on a pseudo-terminal (script's): (status, what it drew)."""
        line = " ".join((ZAST,) + args) + " >/dev/null"
        done = self.net.sender("script", "-qec", line, "/dev/null", cwd=self.path("src"))
        return done.returncode, done.stdout.decode("latin-1")

    def test_a_progress_line_on_a_terminal_only(self):
        links = zimbnet.run("ip", "-n", self.net.send_ns, "-o", "link", "show", "type", "veth")
        zimbnet.run("ip", "netns", "exec", self.net.send_ns, "tc", "qdisc", "add", "dev",
                    links.stdout.split(":")[1].strip().split("@")[0], "root", "tbf", "rate",
                    "16mbit", "burst", "32kb", "latency", "100ms")  # 4 MiB take about 2 s
        self.put("slow.bin", os.urandom(4 << 20))
        rc, drawn = self.on_terminal("slow.bin", RECV_IP)
        self.assertEqual(rc, 0, drawn)
        self.assertRegex(drawn, r"\rslow\.bin +\d+% [\d.]+ [KM]iB of 4\.0 MiB, [\d.]+ [KM]?i?B/s, "
                                r"\d+:\d\d left\033\[K")
        self.assertTrue(drawn.endswith("\r\033[K"), repr(drawn[-40:]))  # cleared at the end
        self.put("quick.bin", BODY)  # done well within half a second
        for how in (("-q", "slow.bin"), ("quick.bin",)):
            self.assertEqual(self.on_terminal(*how, RECV_IP), (0, ""))
        self.assertEqual(self.zast("slow.bin", RECV_IP)[::2], (0, ""))  # into a pipe


if __name__ == "__main__":
    parser = argparse.ArgumentParser(add_help=False)
    parser.add_argument("--zast", required=True)
    known, rest = parser.parse_known_args()
    ZAST = os.path.abspath(known.zast)
    sys.argv = [sys.argv[0]] + rest
    zimbnet.main()
