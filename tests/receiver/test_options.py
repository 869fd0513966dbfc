# zimb's options for exposed and long-running use, end to end: --root's refusals, --safe's
# placing under a full disk, a kill and a thousand transfers, --allow, --listen and --timeout
# (the command line is in test_lifecycle). With no option zimb is unchanged: the other test
# files show that.
import glob, os, time
from pathlib import Path

import zimbnet
from zimbnet import RECV_IP, SEND_IP, ZimbCase, header, until

PART = ".zimb-part-*"


class Options(ZimbCase):
    zimb_args = None  # started once the files are there: a later mount would not reach zimb

    def test_paths_leaving_the_root_are_refused_and_nothing_is_written(self):
        root, outside = self.folder("root"), self.folder("outside")
        self.folder("root", "opt", "app")
        os.symlink(outside, os.path.join(root, "away"))
        self.restart("--root", "root")
        self.assertEqual(self.net.send(header("a.txt", "/opt/app", 2) + b"ok"), b"OK\r")
        self.assertEqual(self.got("root", "opt", "app", "a.txt"), b"ok")
        cases = [  # (name, directory, reason in the reply); every reason: rootpath_test
            ("x", "/opt/../../outside", '".." component'),
            ("x\x1b[2J", "opt", "control byte"),
            ("x", "away", "a link or no directory"),
            ("x", "opt/missing", "a link or no directory"),
        ]
        for name, destdir, why in cases:
            with self.subTest(name=name, destdir=destdir):
                reply = self.net.send(header(name, destdir, 4) + b"evil").decode()
                self.assertTrue(reply.startswith('Refused "') and reply.endswith("\r"), reply)
                self.assertIn(why, reply)
                self.assertIn("ERROR: " + reply[:-1], self.zimb.wait_for(reply[:-1]))
        self.assertEqual(os.listdir(outside), [])
        self.assertEqual(sorted(os.listdir(self.dir)), ["hosts", "outside", "root", "vartmp"])
        self.assertEqual(self.net.send(header("b.sh", "opt", 1) + b"!"), b"OK\r")
        self.assertEqual(os.stat(os.path.join(root, "opt", "b.sh")).st_mode & 0o111, 0o111)

    def test_a_full_disk_or_a_failed_rename_leaves_the_old_file_and_tells_the_sender(self):
        small = self.tmpfs("small", "1m")
        old = self.got(self.put("small/keep.bin", os.urandom(300 << 10)))
        self.restart("--safe")
        reply = self.net.send(header("keep.bin", small, 2 << 20) + os.urandom(2 << 20))
        self.assertTrue(reply.startswith(b'Write error on "' + small.encode()), reply)
        self.assertIn(b"No space left on device", reply)
        self.assertEqual(self.got("small", "keep.bin"), old)
        self.folder("small", "dir")  # where the file would go: the rename fails
        self.assertTrue(self.net.send(header("dir", small, 1) + b"x").startswith(b"Rename error"))
        self.assertEqual(sorted(os.listdir(small)), ["dir", "keep.bin"])  # no part file left
        self.deliver("keep.bin", small, b"new")
        self.assertEqual(os.listdir(self.zimb.vartmp), [])  # no work file

    def test_a_kill_mid_transfer_leaves_the_old_file_and_the_next_start_cleans_up(self):
        old = self.got(self.put("keep.bin", os.urandom(1 << 20)))
        self.restart("--safe")
        client = self.net.client(header("keep.bin", self.dir, 64 << 20) + os.urandom(8 << 20))
        self.assertTrue(until(lambda: sum(map(os.path.getsize, glob.glob(self.path(PART))))
                              >= 8 << 20))
        [part] = glob.glob(self.path(PART))  # one, readable by zimb's user only
        self.assertEqual(os.stat(part).st_mode & 0o777, 0o600)
        self.zimb.kill()
        self.assertEqual(client.communicate(timeout=10)[0], b"")  # no reply
        self.assertEqual(self.got("keep.bin"), old)
        self.restart("--safe")  # listens at once, though the killed one's connection lingers
        self.assertEqual(glob.glob(self.path(PART)), [])
        self.deliver("keep.bin", self.dir, b"ok")

    def test_a_thousand_transfers_keep_the_heap_flat(self):
        fast = self.tmpfs("fast", "1m")  # its syncs cost nothing
        self.restart("--safe")

        def transfers(n):
            client = self.net.client(header("f.dat", fast, 1000) + b"x" * 1000, times=n)
            while client.poll() is None:
                self.zimb.read(0.05)  # drain the console, or zimb's printf would block
            self.assertEqual(client.communicate(), (b"OK\r" * n, b""))
            status = Path(f"/proc/{self.zimb.proc.pid}/status").read_text().splitlines()
            kib = dict(line.split(":", 1) for line in status)
            return int(kib["VmData"].split()[0]), int(kib["VmRSS"].split()[0])

        before, after = transfers(50), transfers(1000)
        # the sanitizer's quarantine holds freed blocks (32 KiB a transfer without --safe)
        kib = 4096 if b"__asan_init" in Path(zimbnet.ZIMB).read_bytes() else 256
        self.assertLess(after[0] - before[0], kib, (before, after))
        self.assertLess(after[1] - before[1], 2 * kib, (before, after))
        self.assertEqual(glob.glob(self.path(PART)) + glob.glob(self.path("zimb.part")), [])

    def test_allow_lets_in_only_the_senders_listed(self):
        for allow, reply in (("10.77.0.9,10.77.1.~,10.77.0.2...10.77.0.254", b""),
                             ("10.77.0.9,10.77.0.~", b"OK\r")):
            with self.subTest(allow=allow):
                self.restart("--allow", allow)
                self.assertEqual(self.net.send(header(allow, self.dir, 2) + b"ok"), reply)
                self.assertEqual(os.path.exists(self.path(allow)), reply != b"")
                if not reply:
                    self.zimb.wait_for(f"Refused sender {SEND_IP}:")
                    self.assertNotIn("->", self.zimb.read(0.2))

    def test_listen_on_named_addresses_only_or_exit_with_1(self):
        self.restart("--listen", "127.0.0.1", listens=False)
        self.zimb.wait_for("Listen at 127.0.0.1:9500\n")
        self.deliver("lo.txt", self.dir, b"lo", ns=self.net.recv_ns, host="127.0.0.1")
        self.assertNotIn(RECV_IP, self.zimb.read(0))
        self.assertNotEqual(self.net.sender("nc", "-z", "-w", "2", RECV_IP, "9500").returncode, 0)
        self.restart("--listen", "10.77.0.99", listens=False)  # no such address here
        self.assertEqual(self.zimb.proc.wait(10), 1)
        self.assertIn("ERROR: none of the --listen addresses could be opened", self.zimb.read(0.2))

    def test_timeout_drops_a_silent_sender_and_serves_the_next(self):
        for args in (("--timeout", "1"), ("--timeout", "1", "--safe")):
            for silent in (b"", header("slow.txt", self.dir, 10) + b"12345"):
                with self.subTest(args=args, silent=silent[:8]):
                    self.restart(*args)
                    start = time.time()
                    first = self.net.client(silent)  # sends no more: waits for the reply
                    time.sleep(0.2)
                    self.deliver("next.txt", self.dir, b"ok")
                    self.assertLess(time.time() - start, 4)
                    self.assertEqual(first.communicate(timeout=10)[0], b"")
                    self.zimb.wait_for("ERROR: Sender silent for 1 s: dropped\a\n")
                    self.assertFalse(os.path.exists(self.path("slow.txt")))


if __name__ == "__main__":
    zimbnet.main()
