"""Starting zimb, and stopping it with a key: the usage text, the exit status, the last lines
and the work file."""
import os
import subprocess
import time

import zimbnet
from zimbnet import RECV_IP, ZimbCase, header

USAGE_START = "ZAST (transmit) and ZIMB (receive) transfer files btw PCs via an ethernet socket.\n"
USAGE_END = "\tport      = Socket port (default = 9500)\n\n"


class BadPort(ZimbCase):
    listens = False

    def test_a_bad_port_prints_the_usage_and_exits_with_1(self):
        for port in ("abc", "70000", "-1", "", "95x"):
            with self.subTest(port=port):
                done = subprocess.run([zimbnet.ZIMB, port], capture_output=True, text=True,
                                      stdin=subprocess.DEVNULL, timeout=10)
                self.assertEqual(done.returncode, 1)
                self.assertTrue(done.stdout.startswith(USAGE_START), done.stdout)
                self.assertIn(USAGE_END, done.stdout)
                self.assertEqual(done.stdout.count("\n"), 11)  # the contact line ends it


class OtherPort(ZimbCase):
    zimb_args = ("9600",)

    def test_the_port_argument_is_listened_on(self):
        self.assertIn(f"Listen at {RECV_IP}:9600\n", self.zimb.read())
        self.assertEqual(self.net.send(header("p", self.dir, 1) + b"x", port=9600), b"OK\r")


class Keys(ZimbCase):
    def test_a_key_while_idle_exits_with_1_and_deletes_the_work_file(self):
        work = os.path.join(self.zimb.vartmp, "zimbxxxx.tmp")
        with open(work, "w") as f:
            f.write("left over")
        self.assertEqual(self.zimb.stop(), 1)
        self.assertFalse(os.path.exists(work))
        self.assertIn(f"{RECV_IP}:9500 ->  (0)\n", self.zimb.read())

    def test_a_key_during_a_transfer_ends_it_without_reply(self):
        payload = self.path("payload")
        with open(payload, "wb") as f:
            f.write(header("never.txt", self.dir, 10**6) + b"x" * 1000)
        client = self.net.start_client(payload, hold=3)
        self.zimb.wait_for("-> " + self.dir + "/never.txt (1000000)\n")
        time.sleep(0.3)  # the data phase has the first chunk
        self.assertTrue(os.path.exists(os.path.join(self.zimb.vartmp, "zimbxxxx.tmp")))
        self.assertEqual(self.zimb.stop(), 1)
        reply, _ = client.communicate(timeout=30)
        self.assertEqual(reply, b"")
        self.assertFalse(os.path.exists(self.path("never.txt")))
        self.assertFalse(os.path.exists(os.path.join(self.zimb.vartmp, "zimbxxxx.tmp")))


if __name__ == "__main__":
    zimbnet.main()
