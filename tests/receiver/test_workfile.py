# The work file: receivers running at once keep theirs apart, and nothing planted at its name
# is ever written through.
import os, time

from zimbnet import ZimbCase, header, main, until


class WorkFile(ZimbCase):
    def test_two_receivers_at_once_keep_their_work_files_apart(self):
        other = self.start(("9600",))

        def paused_send(port, name):  # holds 1 s after the first bytes of the data
            body = name.encode() * (1 << 20)
            head = header(name, self.dir, len(body))
            return self.net.client(head + body, port, hold=1, at=len(head) + 9), body

        def delivered(client, body, name):
            self.assertEqual(client.communicate(timeout=60)[0], b"OK\r")
            self.assertEqual(self.got(name), body)

        sends = {name: paused_send(port, name) for port, name in ((9500, "a"), (9600, "b"))}
        self.assertTrue(until(lambda: len(os.listdir(self.zimb.vartmp)) == 2))  # one each
        for name, (client, body) in sends.items():
            delivered(client, body, name)
        client, body = paused_send(9600, "c")
        time.sleep(0.5)
        self.assertEqual(self.zimb.stop(), 1)  # deletes nothing of the other's
        self.assertEqual(len(os.listdir(self.zimb.vartmp)), 1)
        delivered(client, body, "c")
        self.assertEqual(other.stop(), 1)
        self.assertEqual(os.listdir(self.zimb.vartmp), [])

    def test_a_link_fifo_or_foreign_file_at_its_name_fails_the_transfer(self):
        work, target = self.path("vartmp", "zimbxxxx.tmp"), self.put("target", b"precious")
        plants = {  # what is planted at the work file's name: the words of the error
            "a symbolic link": lambda: os.symlink(target, work),
            "a FIFO": lambda: os.mkfifo(work),
            "another user's file": lambda: (os.mknod(work), os.chown(work, 65534, 65534)),  # no hang on a FIFO
        }
        for kind, plant in plants.items():
            with self.subTest(kind=kind):
                plant()
                self.assertEqual(self.net.send(header("p", self.dir, 2) + b"hi"), b"")
                self.zimb.wait_for(f'"/var/tmp/zimbxxxx.tmp" is {kind}, not a file of zimb')
                self.assertFalse(os.path.exists(self.path("p")))
                os.unlink(work)  # once it is gone, the next transfer works
                self.deliver("q", self.dir, b"hi")
        self.assertEqual(self.got(target), b"precious")


if __name__ == "__main__":
    main()
