"""zimb's options for exposed and long-running use, end to end: the command line, --root's
refusals, --safe's placing under a full disk, a kill and a thousand transfers, --allow,
--listen and --timeout. With no option zimb is unchanged: the other test files show that."""
import ctypes
import glob
import os
import signal
import subprocess
import sys
import tempfile
import time
import unittest

import zimbnet
from zimbnet import RECV_IP, SEND_IP, CLIENT, ZimbCase, header

PART = ".zimb-part-*"


def private_mounts():
    """Puts this test process (and so every zimb it starts) in a mount namespace of its own."""
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.unshare(0x00020000) != 0:  # CLONE_NEWNS
        raise OSError(ctypes.get_errno(), "unshare")
    zimbnet.run("mount", "--make-rprivate", "/")


def vm_kib(zimb):
    """VmData and VmRSS of the zimb process itself (in the session of the harness's commands)."""
    pid = zimbnet.run("pgrep", "-s", str(zimb.proc.pid), "-x", "zimb").stdout.split()[0]
    with open(f"/proc/{pid}/status") as f:
        kib = dict(line.split(":", 1) for line in f)
    return int(kib["VmData"].split()[0]), int(kib["VmRSS"].split()[0])


def slurp(path):
    with open(path, "rb") as f:
        return f.read()


class CommandLine(unittest.TestCase):
    def test_bad_options_show_the_usage_and_what_was_wrong(self):
        cases = [  # (arguments, exit status, line on standard error)
            (["--help"], 0, None),
            (["--bogus"], 1, 'zimb: unknown option "--bogus"'),
            (["--timeout"], 1, "zimb: --timeout needs a value"),
            (["--timeout", "0"], 1, 'zimb: --timeout "0": 0 seconds would drop every sender'),
            (["--listen", "10.0.0.300"], 1, 'zimb: --listen "10.0.0.300": 10.0.0.300 is invalid'),
            (["--root", "/no/such/dir"], 1, 'zimb: --root "/no/such/dir": Dir "/no/such/dir" not'),
            (["--allow", "10.0.0.9...10.0.0.1"], 1, "runs backwards"),
            (["--safe", "9500", "--root", "/"], 1, 'option "--root" after the port'),
            (["--safe", "99999"], 1, 'zimb: port "99999": Integer > 65535'),
        ]
        for args, status, line in cases:
            with self.subTest(args=args):
                p = subprocess.run([zimbnet.ZIMB, *args], capture_output=True, text=True,
                                   stdin=subprocess.DEVNULL, timeout=10)
                self.assertEqual(p.returncode, status)
                self.assertTrue(p.stdout.startswith("ZAST (transmit) and ZIMB"), p.stdout)
                self.assertIn("--timeout SECS", p.stdout)
                if line:
                    self.assertIn(line, p.stderr)


class OptionCase(ZimbCase):
    zimb_args = None  # started once the files are there: a later mount would not reach zimb

    def restart(self, *args, listens=True):
        """zimb with these options, in place of the one before (killed)."""
        if getattr(self, "zimb", None) and self.zimb.proc.poll() is None:
            os.killpg(self.zimb.proc.pid, signal.SIGKILL)
            self.zimb.proc.wait()
        self.zimb = self.start(args, listens)


class Root(OptionCase):
    def test_paths_leaving_the_root_are_refused_and_nothing_is_written(self):
        root, outside = self.path("root"), self.path("outside")
        os.makedirs(os.path.join(root, "opt", "app"))
        os.makedirs(outside)
        os.symlink(outside, os.path.join(root, "away"))
        self.restart("--root", "root")
        self.assertEqual(self.net.send(header("a.txt", "/opt/app", 2) + b"ok"), b"OK\r")
        self.assertEqual(slurp(os.path.join(root, "opt", "app", "a.txt")), b"ok")
        cases = [  # (name, directory, reason in the reply)
            ("x", "..", '".." component'),
            ("x", "/opt/../../outside", '".." component'),
            ("..", "", 'the name is "." or ".."'),
            ("", "opt", "empty name"),
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


class Safe(OptionCase):
    def test_a_full_file_system_leaves_the_old_file_and_tells_the_sender(self):
        small = self.path("small")
        os.makedirs(small)
        zimbnet.run("mount", "-t", "tmpfs", "-o", "size=1m", "tmpfs", small)
        self.addCleanup(zimbnet.run, "umount", "-l", small, check=False)
        old = os.urandom(300 << 10)
        with open(os.path.join(small, "keep.bin"), "wb") as f:
            f.write(old)
        self.restart("--safe")
        reply = self.net.send(header("keep.bin", small, 2 << 20) + os.urandom(2 << 20))
        self.assertTrue(reply.startswith(b'Write error on "' + small.encode()), reply)
        self.assertIn(b"No space left on device", reply)
        self.assertEqual(slurp(os.path.join(small, "keep.bin")), old)
        self.assertEqual(sorted(os.listdir(small)), ["keep.bin"])
        self.assertEqual(self.net.send(header("keep.bin", small, 3) + b"new"), b"OK\r")
        self.assertEqual(slurp(os.path.join(small, "keep.bin")), b"new")
        self.assertEqual(os.listdir(self.zimb.vartmp), [])  # no work file

    def test_a_kill_mid_transfer_leaves_the_old_file_and_the_next_start_cleans_up(self):
        old = os.urandom(1 << 20)
        with open(self.path("keep.bin"), "wb") as f:
            f.write(old)
        self.restart("--safe")
        with tempfile.NamedTemporaryFile() as f:
            f.write(header("keep.bin", self.dir, 64 << 20) + os.urandom(8 << 20))
            f.flush()
            client = self.net.start_client(f.name, hold=30)
            end = time.time() + 10
            while time.time() < end and sum(map(os.path.getsize, parts := glob.glob(
                    self.path(PART)))) < 8 << 20:
                time.sleep(0.05)
            self.assertEqual(len(parts), 1)
            self.assertEqual(os.stat(parts[0]).st_mode & 0o777, 0o600)
            os.killpg(self.zimb.proc.pid, signal.SIGKILL)
            self.zimb.proc.wait()
            client.kill()
            client.communicate()
        self.assertEqual(slurp(self.path("keep.bin")), old)
        self.restart("--safe")  # listens at once, though the killed one's connection lingers
        self.assertEqual(glob.glob(self.path(PART)), [])
        self.assertEqual(self.net.send(header("keep.bin", self.dir, 2) + b"ok", port=9500),
                         b"OK\r")

    def test_a_thousand_transfers_keep_the_heap_flat(self):
        script = ("import socket,sys\n"
                  "for i in range(int(sys.argv[1])):\n"
                  f" s=socket.create_connection(('{RECV_IP}',9500))\n"
                  f" s.sendall(b'f%d.dat\\r{self.dir}\\r1000\\r' % (i % 7) + b'x' * 1000)\n"
                  " assert s.recv(9)==b'OK\\r'\n"
                  " s.close()\n")
        self.restart("--safe")

        def transfers(n):
            client = subprocess.Popen(("ip", "netns", "exec", self.net.send_ns, sys.executable,
                                       "-c", script, str(n)), stderr=subprocess.PIPE)
            while client.poll() is None:
                self.zimb.read(0.05)  # drain the console, or zimb's printf would block
            self.assertEqual(client.wait(), 0, client.communicate()[1])

        transfers(50)
        before = vm_kib(self.zimb)
        transfers(1000)
        after = vm_kib(self.zimb)
        with open(zimbnet.ZIMB, "rb") as f:  # the sanitizer's quarantine holds freed blocks
            kib = 4096 if b"__asan_init" in f.read() else 256  # (32 KiB a transfer without)
        self.assertLess(after[0] - before[0], kib, (before, after))
        self.assertLess(after[1] - before[1], 2 * kib, (before, after))
        self.assertEqual(glob.glob(self.path(PART)) + glob.glob(self.path("zimb.part")), [])


class Senders(OptionCase):
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

    def test_listen_on_a_named_loopback_address_only(self):
        self.restart("--listen", "127.0.0.1", listens=False)
        self.zimb.wait_for("Listen at 127.0.0.1:9500\n")
        self.assertNotIn(RECV_IP, self.zimb.read(0.3))
        with tempfile.NamedTemporaryFile() as f:
            f.write(header("lo.txt", self.dir, 2) + b"lo")
            f.flush()
            p = subprocess.run(("ip", "netns", "exec", self.net.recv_ns, sys.executable, CLIENT,
                                "127.0.0.1", "9500", f.name, "0"), capture_output=True, timeout=30)
        self.assertEqual(p.stdout, b"OK\r")
        refused = self.net.sender("nc", "-z", "-w", "2", RECV_IP, "9500")
        self.assertNotEqual(refused.returncode, 0)

    def test_listen_nowhere_exits_with_status_1(self):
        self.restart("--listen", "10.77.0.99", listens=False)
        self.assertEqual(self.zimb.proc.wait(10), 1)
        self.assertIn("ERROR: none of the --listen addresses could be opened",
                      self.zimb.read(0.2))

    def test_timeout_drops_a_silent_sender_and_serves_the_next(self):
        for args in (("--timeout", "1"), ("--timeout", "1", "--safe")):
            for silent in (b"", header("slow.txt", self.dir, 10) + b"12345"):
                with self.subTest(args=args, silent=silent[:8]), tempfile.NamedTemporaryFile() as f:
                    self.restart(*args)
                    f.write(silent)
                    f.flush()
                    start = time.time()
                    first = self.net.start_client(f.name, hold=8)
                    time.sleep(0.2)
                    self.assertEqual(self.net.send(header("next.txt", self.dir, 2) + b"ok"),
                                     b"OK\r")
                    self.assertLess(time.time() - start, 4)
                    self.assertEqual(first.communicate(timeout=10)[0], b"")
                    self.zimb.wait_for("ERROR: Sender silent for 1 s: dropped\a\n")
                    self.assertFalse(os.path.exists(self.path("slow.txt")))


if __name__ == "__main__":
    if os.geteuid() == 0:
        private_mounts()
    zimbnet.main()
