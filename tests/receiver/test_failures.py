# What a sender and the console see when a transfer fails, and that a failure leaves files
# and the receiver as they were: the next transfer works.
import os

from zimbnet import ZimbCase, header, main

RECV_ERR = "SCK_RECV:recv (err #107:Transport endpoint is not connected) (sd="


class Failures(ZimbCase):
    def test_broken_transfers_get_no_reply_and_an_error_line(self):
        self.put("keep.txt", b"precious")
        self.net.send(header("first", self.dir, 3) + b"abc")  # a stopped header shows this count
        cases = [  # (payload, console line expected, error text start)
            (b"only-name\r", "-> only-name (3)\n", RECV_ERR),
            (header("bad", "", "12x"), "-> bad (0)\n", 'Unexp dec digit "x" in "12x"'),
            (header("keep.txt", "", 1000) + b"0123456789", "-> keep.txt (1000)\n", RECV_ERR),
            (header("empty", "", 0), "-> empty (0)\n", RECV_ERR),
            (header("n" * 257, "", 1), "-> " + "n" * 256 + " (0)\n",
             "Header field longer than 256 characters"),
        ]
        for payload, line, error in cases:
            with self.subTest(line=line[:40]):
                reply = self.net.send(payload, hold=-1 if error == RECV_ERR else 0)
                self.assertEqual(reply, b"")
                out = self.zimb.wait_for(f"ERROR: {error}", timeout=5)
                self.assertIn(line, out)
                self.assertIn("\a\n", out[out.rindex("ERROR: "):])
                self.zimb.out = b""
        self.assertEqual(sorted(os.listdir(self.dir)), ["first", "hosts", "keep.txt", "vartmp"])
        self.assertEqual(self.got("keep.txt"), b"precious")  # a failed transfer leaves it be
        self.deliver("next.txt", self.dir, b"ok")  # the next works

    def test_a_destination_that_cannot_be_written_is_the_reply(self):
        # A destination directory goes to the shell's move, whose double quotes must not let
        # $ ` " or a backslash act: nothing is run, the file lands inside the directory.
        marks = ("$(touch INJECTED)", "`touch INJECTED`", '"; touch INJECTED; "', "a\\")
        cases = [  # (name, destdir, words of the reply)
            ("f.txt", self.path("missing"), self.path("missing", "f.txt")),
            ("f.txt", self.put("plainfile", b"no directory"), self.path("plainfile", "f.txt")),
        ] + [("", self.folder("q" + mark), " is a dir (") for mark in marks]  # moved, no file
        for name, destdir, words in cases:
            with self.subTest(destdir=destdir):
                reply = self.net.send(header(name, destdir, 3) + b"abc")
                self.assertTrue(reply.endswith(b"\r") and reply != b"OK\r", reply)
                text = reply[:-1].decode()
                self.assertIn(words, text)
                self.assertIn(f"ERROR: {text}\a\n", self.zimb.wait_for(text))
        self.assertFalse(os.path.exists(self.path("INJECTED")))
        for mark in marks:
            [moved] = os.listdir(self.path("q" + mark))
            self.assertEqual(self.got("q" + mark, moved), b"abc")
        self.deliver("next.txt", self.dir, b"ok")  # the next works


if __name__ == "__main__":
    main()
