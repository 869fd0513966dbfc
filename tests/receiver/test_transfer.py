# Files arrive byte for byte where the sender says, with the reply and console lines a user
# relies on, from our own client and from the README's nc line.
import os, re

from zimbnet import BODY as body, RECV_IP, SEND_IP, ZimbCase, header, main


class Delivery(ZimbCase):
    def test_files_arrive_exactly_with_their_reply_line_and_mode(self):
        self.assertEqual(re.findall("Listen at .*\n", self.zimb.read()),  # never on loopback
                         [f"Listen at {RECV_IP}:9500\n"])
        d = self.dir
        deep = self.folder("d" * (255 - len(d)))  # a directory field of 256 characters
        cases = [  # (name, destdir, bytes sent, count, execute bits)
            ("plain.dat", "", body, len(body), 0),  # no directory: zimb's working directory
            ("deep.dat", deep, body, len(body), 0),
            ("over", "", b"abcdef", 3, 0),  # the last chunk is written whole
            ("zero", d, b"z", 0, 0),  # a count of 0 still waits for a byte
            ("run.sh", d, b"x", 1, 0o111),
            ("tool.BIN", d, b"x", 1, 0o111),
            ("Mixed.Sh", d, b"x", 1, 0o111),
            ("x.bin.txt", d, b"x", 1, 0),
            ("sh", d, b"x", 1, 0),
        ]
        for name, destdir, data, count, bits in cases:
            with self.subTest(name=name):
                self.assertEqual(self.net.send(header(name, destdir, count) + data), b"OK\r")
                where = os.path.join(destdir or d, name)
                self.assertEqual(self.got(where), data)
                self.assertEqual(os.stat(where).st_mode & 0o111, bits)
                shown = f"{destdir}/{name}" if destdir else name
                self.assertRegex(self.zimb.wait_for(f"-> {shown} ({count})\n"),
                                 rf"{SEND_IP}:\d+:9500 -> {re.escape(shown)} \({count}\)\n")
        self.assertNotIn("ERROR", self.zimb.read())

    def test_senders_at_once_are_served_one_after_another(self):
        bodies = [bytes([65 + i]) * (100000 + i) for i in range(5)]
        clients = [self.net.client(header(f"c{i}", "", len(b)) + b) for i, b in enumerate(bodies)]
        self.assertEqual([c.communicate(timeout=60)[0] for c in clients], [b"OK\r"] * 5)
        self.assertEqual([self.got(f"c{i}") for i in range(5)], bodies)

    def test_the_readmes_nc_line_sends_a_file(self):
        body = b"sent by a standard tool\n" * 1000
        self.put("src/by-nc.txt", body)
        line = (f"printf '%s\\r%s\\r%d\\r' \"$f\" {self.dir} \"$(stat -c %s \"$f\")\" | "
                f"cat - \"$f\" | nc -N {RECV_IP} 9500 | tr '\\r' '\\n'")  # its reply on a line
        done = self.net.sender("sh", "-c", f"cd {self.dir}/src && f=by-nc.txt && {line}", timeout=30)
        self.assertEqual(done.stdout, b"OK\n", done.stderr)
        self.assertEqual(self.got("by-nc.txt"), body)


if __name__ == "__main__":
    main()
