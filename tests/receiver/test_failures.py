"""What a sender and the console see when a transfer fails, and that a failure leaves files
and the receiver as they were: the next transfer works."""
import os

import zimbnet
from zimbnet import ZimbCase, header

RECV_ERR = "SCK_RECV:recv (err #107:Transport endpoint is not connected) (sd="


class Failures(ZimbCase):
    def assert_next_transfer_works(self):
        self.assertEqual(self.net.send(header("next.txt", self.dir, 2) + b"ok"), b"OK\r")
        with open(self.path("next.txt"), "rb") as f:
            self.assertEqual(f.read(), b"ok")

    def test_broken_transfers_get_no_reply_and_an_error_line(self):
        self.net.send(header("first", self.dir, 3) + b"abc")  # a stopped header shows this count
        cases = [  # (payload, console line expected, error text start)
            (b"only-name\r", "-> only-name (3)\n", RECV_ERR),
            (header("bad", "", "12x"), "-> bad (0)\n", 'Unexp dec digit "x" in "12x"'),
            (header("short", "", 1000) + b"0123456789", "-> short (1000)\n", RECV_ERR),
            (header("empty", "", 0), "-> empty (0)\n", RECV_ERR),
            (header("n" * 257, "", 1), "-> " + "n" * 256 + " (0)\n",
             "Header field longer than 256 characters"),
        ]
        for payload, line, error in cases:
            with self.subTest(line=line[:40]):
                reply = self.net.send(payload, hold=-1 if b"12x" not in payload else 0)
                self.assertEqual(reply, b"")
                out = self.zimb.wait_for(f"ERROR: {error}", timeout=5)
                self.assertIn(line, out)
                self.assertIn("\a\n", out[out.rindex("ERROR: "):])
                self.zimb.out = b""
        for name in ("only-name", "short", "empty", "bad"):
            self.assertFalse(os.path.exists(self.path(name)), name)
        self.assert_next_transfer_works()

    def test_a_count_of_zero_waits_for_one_byte(self):
        self.assertEqual(self.net.send(header("zero", self.dir, 0) + b"z"), b"OK\r")
        with open(self.path("zero"), "rb") as f:
            self.assertEqual(f.read(), b"z")

    def test_header_fields_of_256_characters_are_accepted(self):
        deep = os.path.join(self.dir, "d" * (255 - len(self.dir)))
        os.makedirs(deep)
        self.assertEqual(len(deep), 256)
        self.assertEqual(self.net.send(header("f", deep, 1) + b"x"), b"OK\r")
        self.assertTrue(os.path.exists(os.path.join(deep, "f")))

    def test_a_destination_that_cannot_be_written_is_the_reply(self):
        blocker = self.path("plainfile")
        with open(blocker, "w") as f:
            f.write("not a directory")
        for destdir in (self.path("missing"), blocker):
            with self.subTest(destdir=destdir):
                reply = self.net.send(header("f.txt", destdir, 4) + b"data")
                self.assertTrue(reply.endswith(b"\r") and reply != b"OK\r", reply)
                text = reply[:-1].decode()
                self.assertIn(destdir + "/f.txt", text)
                self.assertIn(f"ERROR: {text}\a\n", self.zimb.wait_for(text))
        self.assert_next_transfer_works()

    def test_a_failed_transfer_leaves_the_existing_destination_untouched(self):
        target = self.path("keep.txt")
        with open(target, "wb") as f:
            f.write(b"precious")
        self.net.send(header("keep.txt", self.dir, 100) + b"partial", hold=-1)
        self.zimb.wait_for("ERROR: ")
        with open(target, "rb") as f:
            self.assertEqual(f.read(), b"precious")
        self.assert_next_transfer_works()

    def test_destination_names_reach_the_shell_move_exactly(self):
        # A destination directory goes to the shell's move, whose double quotes must not let
        # $ ` " or a backslash act: nothing is run, the file lands inside the directory.
        for mark in ("$(touch INJECTED)", "`touch INJECTED`", '"; touch INJECTED; "', "a\\"):
            with self.subTest(mark=mark):
                dest = self.path("q" + mark)
                os.makedirs(dest)
                reply = self.net.send(header("", dest, 3) + b"abc")
                self.assertFalse(os.path.exists(self.path("INJECTED")))
                self.assertIn(b" is a dir (", reply)  # moved, yet judged as no regular file
                [moved] = os.listdir(dest)
                with open(os.path.join(dest, moved), "rb") as f:
                    self.assertEqual(f.read(), b"abc")


if __name__ == "__main__":
    zimbnet.main()
