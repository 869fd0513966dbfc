# cmake --install into a temporary prefix: install_test.py BUILD_DIR. The programs run from
# there, their manual pages render without warnings, and zimb's service unit names the installed
# program and passes systemd-analyze verify.
import os, shutil, subprocess, sys, tempfile, unittest

BUILD = None


def run(*cmd, **kw):
    return subprocess.run(cmd, capture_output=True, text=True, timeout=120, **kw)


class Install(unittest.TestCase):
    @classmethod
    def setUpClass(cls):  # one install serves every test: they only read it
        cls.prefix = tempfile.mkdtemp(prefix="zimb-install-")
        cls.addClassCleanup(shutil.rmtree, cls.prefix)
        done = run("cmake", "--install", BUILD, "--prefix", cls.prefix)
        if done.returncode != 0:
            raise RuntimeError(f"cmake --install failed: {done.stderr}")

    def test_the_programs_run_from_the_prefix_with_their_manual_pages(self):
        progs = [  # (program, exit status for four bad arguments, its usage, words of its page)
            ("zimb", 1, "\tzimb {port}\n", ["PROTOCOL", "SECURITY", "/var/tmp/zimbxxxx.tmp"]),
            ("zast", 2, "Usage: zast ", ["SYNOPSIS", "OPTIONS", "EXIT STATUS", "EXAMPLES"]),
        ]
        for prog, status, usage, words in progs:
            with self.subTest(prog=prog):
                done = run(os.path.join(self.prefix, "bin", prog), "x", "y", "z", "w",
                           stdin=subprocess.DEVNULL)
                self.assertEqual(done.returncode, status)
                self.assertIn(usage, done.stdout + done.stderr)
                man = os.path.join(self.prefix, f"share/man/man1/{prog}.1")
                done = run("man", "--warnings", "-l", man, env=dict(os.environ, MANWIDTH="80"))
                self.assertEqual(done.stderr, "")
                self.assertEqual([w for w in words if w not in done.stdout], [])

    def test_the_unit_runs_the_installed_program_and_verifies(self):
        unit = os.path.join(self.prefix, "lib/systemd/system/zimb@.service")
        with open(unit) as f:
            self.assertIn(f"\nExecStart={self.prefix}/bin/zimb --safe --root ${{ZIMB_ROOT}} ", f.read())
        if not shutil.which("systemd-analyze"):
            self.skipTest("systemd-analyze missing (package systemd)")
        instance = os.path.join(self.prefix, "zimb@9500.service")
        shutil.copy(unit, instance)
        done = run("systemd-analyze", "verify", instance,
                   env=dict(os.environ, MANPATH=os.path.join(self.prefix, "share/man")))
        self.assertEqual((done.returncode, done.stderr), (0, ""))


if __name__ == "__main__":
    BUILD = sys.argv.pop(1)
    unittest.main(verbosity=2)
