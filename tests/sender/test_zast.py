# zast sending to zimb between two network namespaces: files arrive byte for byte where the
# file-spec or -d says, with one line each and an exit status that tells whether all got "OK";
# zast's own failures are told apart; the progress line shows only on a terminal.
import os, subprocess, sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "receiver"))
import zimbnet  # noqa: E402
from zimbnet import BODY, RECV_IP, ZimbCase  # noqa: E402


class Zast(ZimbCase):
    def zast(self, *args, terminal=False):
        # zast in the sending namespace, in src/: (exit status, stdout, stderr). On a terminal
        # (script's), zast's stdout is dropped and stdout is what it drew there.
        cmd = ("script", "-qec", " ".join((zimbnet.ZAST,) + args) + " >/dev/null",
               "/dev/null") if terminal else (zimbnet.ZAST, *args)
        done = self.net.sender(*cmd, cwd=self.path("src"), timeout=120)
        return done.returncode, done.stdout.decode("latin-1"), done.stderr.decode("latin-1")

    def test_files_arrive_exactly_where_the_spec_or_d_says(self):
        for name in ("b.txt", "a.txt", "c.txt.txt", "sub/d.txt"):
            self.put("src/" + name, name.encode() * 100)
        self.put("src/tool.sh", BODY)
        self.folder("in"), self.folder("sub")
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
        self.assertRegex(out, rf"^sub/d\.txt -> {RECV_IP}:9500 sub/d\.txt \(900 bytes\): "
                              r"OK, [\d.]+ [KMG]?i?B/s\n$")

    def test_an_error_reply_fails_that_file_and_the_others_still_arrive(self):
        for name in ("a.txt", "b.txt", "c.txt"):
            self.put("src/" + name, b"x" * 1000)
        self.folder("in", "b.txt")  # b.txt cannot be put in place there
        rc, out, _ = self.zast("-d", self.path("in"), "*.txt", RECV_IP)
        self.assertEqual(rc, 1, out)
        self.assertRegex(out, r"a\.txt .*: OK, .*\nb\.txt .*: FAILED, the receiver replied: .+\n"
                              r"c\.txt .*: OK, .*\n3 files: 2 OK, 1 not;")
        self.assertEqual(self.got("in", "a.txt") + self.got("in", "c.txt"), b"x" * 2000)

    def test_zasts_own_failures_are_told_apart(self):
        self.put("src/small.bin", BODY)
        self.put("src/big.bin", os.urandom(8 << 20))
        self.put("src/empty", b"")
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
        self.assertNotIn(":9500 -> ", self.zimb.read())  # none of these reached zimb

    def test_a_progress_line_on_a_terminal_only(self):
        self.net.slow("16mbit")  # 4 MiB take about 2 s
        self.put("src/slow.bin", os.urandom(4 << 20))
        self.put("src/quick.bin", BODY)  # done well within half a second
        rc, drawn, _ = self.zast("slow.bin", RECV_IP, terminal=True)
        self.assertEqual(rc, 0, drawn)
        self.assertRegex(drawn, r"\rslow\.bin +\d+% [\d.]+ [KM]iB of 4\.0 MiB, [\d.]+ [KM]?i?B/s, "
                                r"\d+:\d\d left\033\[K")
        self.assertTrue(drawn.endswith("\r\033[K"), repr(drawn[-40:]))  # cleared at the end
        for args, terminal in ((("-q", "slow.bin"), True), (("quick.bin",), True),
                               (("slow.bin",), False)):  # the last into a pipe
            rc, out, err = self.zast(*args, RECV_IP, terminal=terminal)
            self.assertEqual((rc, out if terminal else err), (0, ""))  # nothing drawn


if __name__ == "__main__":
    zimbnet.main()
