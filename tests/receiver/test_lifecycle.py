# Starting zimb, and stopping it with a key or a signal: the usage text, the exit status, the
# last lines, the terminal and the work file.
import os, signal, subprocess, termios, time, unittest

import zimbnet
from zimbnet import RECV_IP, ZimbCase, header

USAGE_START = "ZAST (transmit) and ZIMB (receive) transfer files btw PCs via an ethernet socket.\n"
USAGE_END = "\tport      = Socket port (default = 9500)\n\n"


class CommandLine(unittest.TestCase):
    def test_a_bad_command_line_prints_the_usage_and_what_was_wrong(self):
        cases = [  # (arguments, exit status, line on standard error); a bad port: the usage only
            *[([port], 1, "") for port in ("abc", "70000", "-1", "", "95x")],
            (["--help"], 0, ""),
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
                done = subprocess.run([zimbnet.ZIMB, *args], capture_output=True, text=True,
                                      stdin=subprocess.DEVNULL, timeout=10)
                self.assertEqual(done.returncode, status)
                self.assertTrue(done.stdout.startswith(USAGE_START), done.stdout)
                self.assertIn(USAGE_END, done.stdout)
                self.assertIn(line, done.stderr)
                options = args[0].startswith("--")  # only then the options follow the usage
                self.assertEqual(done.stdout.count("\n"), 21 if options else 11, done.stdout)


class Stops(ZimbCase):
    zimb_args = None  # every row starts its own

    def test_a_key_or_a_stop_signal_ends_zimb_the_same_way(self):
        work = self.path("vartmp", "zimbxxxx.tmp")
        rows = [  # (stopped by, during a transfer, with a console)
            ("key", False, True), ("key", True, True), (signal.SIGINT, False, True),
            (signal.SIGINT, True, True), (signal.SIGTERM, False, True), (signal.SIGTERM, True, False),
        ]
        for port, (how, busy, console) in enumerate(rows, 9500):  # a port each: no TIME_WAIT
            with self.subTest(how=how, busy=busy, console=console):
                zimb, client = self.start((str(port),), console=console), None
                if busy:  # the transfer line reaches even a pipe while zimb runs
                    client = self.net.client(header("never.txt", self.dir, 10**6) + b"x" * 1000, port)
                    zimb.wait_for(f"-> {self.dir}/never.txt (1000000)\n")
                    time.sleep(0.2)  # the data phase has the first chunk
                else:
                    self.put("vartmp/zimbxxxx.tmp", b"left over")
                self.assertTrue(os.path.exists(work))
                os.write(zimb.master, b"q") if how == "key" else os.kill(zimb.proc.pid, how)
                self.assertEqual(zimb.proc.wait(10), 1)
                self.assertFalse(os.path.exists(work))
                if console:  # echo and line editing are back
                    modes = termios.tcgetattr(zimb.master)[3] & (termios.ECHO | termios.ICANON)
                    self.assertEqual(modes, termios.ECHO | termios.ICANON)
                if client:
                    self.assertEqual(client.communicate(timeout=30)[0], b"")
                else:
                    self.assertIn(f"{RECV_IP}:{port} ->  (0)\n", zimb.read())
        self.assertFalse(os.path.exists(self.path("never.txt")))


if __name__ == "__main__":
    zimbnet.main()
