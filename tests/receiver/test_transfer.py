"""Files arrive byte for byte where the sender says, with the reply and console lines a user
relies on, from our own client and from standard tools."""
import os
import re
import stat
import subprocess
import tempfile

import zimbnet
from zimbnet import RECV_IP, SEND_IP, ZimbCase, header

LINE = re.compile(r"^10\.77\.0\.1:(\d+):9500 -> (.*) \((-?\d+)\)$", re.M)


class Delivery(ZimbCase):
    def test_bytes_arrive_exactly_with_and_without_a_directory(self):
        body = bytes(range(256)) * 300 + b"\r\n\r tail"  # every byte value, CRs in the data
        os.mkdir(self.path("in"))
        cases = [  # (name, destdir, where it lands, transfer line target)
            ("plain.dat", "", self.path("plain.dat"), "plain.dat"),
            ("deep.dat", self.path("in"), self.path("in", "deep.dat"), self.path("in/deep.dat")),
        ]
        for name, destdir, where, shown in cases:
            with self.subTest(destdir=destdir):
                self.assertEqual(self.net.send(header(name, destdir, len(body)) + body), b"OK\r")
                with open(where, "rb") as f:
                    self.assertEqual(f.read(), body)
                out = self.zimb.wait_for(f"-> {shown} ({len(body)})\n")
                self.assertRegex(out, rf"{SEND_IP}:\d+:9500 -> {re.escape(shown)} \({len(body)}\)")
        self.assertNotIn("ERROR", self.zimb.read())
        self.assertEqual(self.zimb.stop(), 1)

    def test_scripts_and_binaries_become_executable_in_any_case(self):
        cases = [("run.sh", 0o111), ("tool.BIN", 0o111), ("Mixed.Sh", 0o111), ("notes.txt", 0),
                 ("sh", 0), ("x.bin.txt", 0)]
        for name, bits in cases:
            with self.subTest(name=name):
                self.assertEqual(self.net.send(header(name, self.dir, 3) + b"abc"), b"OK\r")
                mode = os.stat(self.path(name)).st_mode
                self.assertEqual(mode & 0o111, bits, oct(mode))

    def test_console_shows_listening_address_and_the_doubled_port_line(self):
        out = self.zimb.read()
        self.assertEqual(out.count("Listen at"), 1, out)  # loopback is never listened on
        self.assertIn(f"Listen at {RECV_IP}:9500\n", out)
        self.net.send(header("f", "", 1) + b"x")
        out = self.zimb.wait_for("(1)\n")
        m = LINE.search(out)
        self.assertIsNotNone(m, out)
        self.assertEqual(m.group(2), "f")

    def test_more_bytes_than_announced_in_the_last_chunk_are_written_too(self):
        self.assertEqual(self.net.send(header("over", "", 3) + b"abcdef"), b"OK\r")
        with open(self.path("over"), "rb") as f:
            self.assertEqual(f.read(), b"abcdef")

    def test_senders_at_once_are_served_one_after_another(self):
        clients = []
        for i in range(5):
            body = bytes([65 + i]) * (100000 + i)
            f = tempfile.NamedTemporaryFile(dir=self.dir, delete=False)
            f.write(header(f"c{i}", "", len(body)) + body)
            f.close()
            clients.append((self.net.start_client(f.name), body, i))
        for proc, body, i in clients:
            reply, _ = proc.communicate(timeout=60)
            self.assertEqual(reply, b"OK\r")
            with open(self.path(f"c{i}"), "rb") as f:
                self.assertEqual(f.read(), body)
        self.assertEqual(len(LINE.findall(self.zimb.read())), 5)

    def test_standard_tools_can_send(self):
        body = b"sent by a standard tool\n" * 1000
        src = self.path("src.txt")
        with open(src, "wb") as f:
            f.write(body)
        tools = {
            "nc": f"printf 'by-nc.txt\\r{self.dir}\\r{len(body)}\\r' | cat - {src} | nc -N {RECV_IP} 9500",
            "socat": f"printf 'by-socat.txt\\r{self.dir}\\r{len(body)}\\r' | cat - {src} "
                     f"| socat -t 10 - TCP:{RECV_IP}:9500",
        }
        for tool, line in tools.items():
            with self.subTest(tool=tool):
                done = self.net.sender("sh", "-c", line, timeout=30)
                self.assertEqual(done.stdout, b"OK\r", done.stderr)
                with open(self.path(f"by-{tool}.txt"), "rb") as f:
                    self.assertEqual(f.read(), body)


if __name__ == "__main__":
    zimbnet.main()
