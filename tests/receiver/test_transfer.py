"""Files arrive byte for byte where the sender says, with the reply and console lines a user
relies on, from our own client and from standard tools."""
import os
import re
from pathlib import Path

import zimbnet
from zimbnet import RECV_IP, SEND_IP, ZimbCase, header


class Delivery(ZimbCase):
    def test_files_arrive_exactly_with_their_reply_line_and_mode(self):
        out = self.zimb.read()
        self.assertEqual(out.count("Listen at"), 1, out)  # loopback is never listened on
        self.assertIn(f"Listen at {RECV_IP}:9500\n", out)
        body = bytes(range(256)) * 300 + b"\r\n\r tail"  # every byte value, CRs in the data
        os.mkdir(self.path("in"))
        d = self.dir
        cases = [  # (name, destdir, bytes sent, count, shown path, execute bits)
            ("plain.dat", "", body, len(body), "plain.dat", 0),
            ("deep.dat", self.path("in"), body, len(body), self.path("in/deep.dat"), 0),
            ("over", "", b"abcdef", 3, "over", 0),  # the last chunk is written whole
            ("run.sh", d, b"x", 1, d + "/run.sh", 0o111),
            ("tool.BIN", d, b"x", 1, d + "/tool.BIN", 0o111),
            ("Mixed.Sh", d, b"x", 1, d + "/Mixed.Sh", 0o111),
            ("x.bin.txt", d, b"x", 1, d + "/x.bin.txt", 0),
            ("sh", d, b"x", 1, d + "/sh", 0),
        ]
        for name, destdir, data, count, shown, bits in cases:
            with self.subTest(name=name):
                self.assertEqual(self.net.send(header(name, destdir, count) + data), b"OK\r")
                where = os.path.join(destdir or d, name)
                self.assertEqual(Path(where).read_bytes(), data)
                self.assertEqual(os.stat(where).st_mode & 0o111, bits)
                out = self.zimb.wait_for(f"-> {shown} ({count})\n")
                self.assertRegex(out, rf"{SEND_IP}:\d+:9500 -> {re.escape(shown)} \({count}\)\n")
        self.assertNotIn("ERROR", self.zimb.read())
        self.assertEqual(self.zimb.stop(), 1)

    def test_senders_at_once_are_served_one_after_another(self):
        clients = []
        for i in range(5):
            body = bytes([65 + i]) * (100000 + i)
            Path(self.path(f"c{i}.in")).write_bytes(header(f"c{i}", "", len(body)) + body)
            clients.append((self.net.start_client(self.path(f"c{i}.in")), body, i))
        for proc, body, i in clients:
            self.assertEqual(proc.communicate(timeout=60)[0], b"OK\r")
            self.assertEqual(Path(self.path(f"c{i}")).read_bytes(), body)
        self.assertEqual(self.zimb.read().count(":9500 -> c"), 5)

    def test_standard_tools_can_send(self):
        body = b"sent by a standard tool\n" * 1000
        os.mkdir(self.path("src"))
        Path(self.path("src", "by-nc.txt")).write_bytes(body)
        tools = {  # the README's line, its reply on a line of its own; socat
            "nc": (f"printf '%s\\r%s\\r%d\\r' \"$f\" {self.dir} \"$(stat -c %s \"$f\")\" | "
                   f"cat - \"$f\" | nc -N {RECV_IP} 9500 | tr '\\r' '\\n'", b"OK\n"),
            "socat": (f"printf 'by-socat.txt\\r{self.dir}\\r{len(body)}\\r' | cat - \"$f\" | "
                      f"socat -t 10 - TCP:{RECV_IP}:9500", b"OK\r"),
        }
        for tool, (line, reply) in tools.items():
            with self.subTest(tool=tool):
                done = self.net.sender("sh", "-c", f"cd {self.dir}/src && f=by-nc.txt && {line}",
                                       timeout=30)
                self.assertEqual(done.stdout, reply, done.stderr)
                self.assertEqual(Path(self.path(f"by-{tool}.txt")).read_bytes(), body)


if __name__ == "__main__":
    zimbnet.main()
