"""cmake --install into a temporary prefix: install_test.py BUILD_DIR. The program runs from
there, its manual page renders without warnings, and its service unit names the installed
program and passes systemd-analyze verify."""
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

BUILD = None


def run(*cmd, **kw):
    return subprocess.run(cmd, capture_output=True, text=True, timeout=120, **kw)


class Install(unittest.TestCase):
    def setUp(self):
        self.prefix = tempfile.mkdtemp(prefix="zimb-install-")
        self.addCleanup(shutil.rmtree, self.prefix)
        done = run("cmake", "--install", BUILD, "--prefix", self.prefix)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.unit = os.path.join(self.prefix, "lib/systemd/system/zimb@.service")
        self.man = os.path.join(self.prefix, "share/man/man1/zimb.1")

    def test_the_program_runs_from_the_prefix(self):
        done = run(os.path.join(self.prefix, "bin/zimb"), "x", stdin=subprocess.DEVNULL)
        self.assertEqual(done.returncode, 1)
        self.assertIn("\tzimb {port}\n", done.stdout)

    def test_the_manual_page_renders_every_section(self):
        done = run("man", "--warnings", "-l", self.man, env=dict(os.environ, MANWIDTH="80"))
        self.assertEqual(done.stderr, "")
        for section in ("SYNOPSIS", "PROTOCOL", "REPLIES", "CONSOLE OUTPUT", "EXIT STATUS",
                        "FILES", "SECURITY", "/var/tmp/zimbxxxx.tmp", "The sender chooses"):
            self.assertIn(section, done.stdout)

    def test_the_unit_runs_the_installed_program_and_verifies(self):
        with open(self.unit) as f:
            self.assertIn(f"\nExecStart={self.prefix}/bin/zimb --safe --root ${{ZIMB_ROOT}} ", f.read())
        if not shutil.which("systemd-analyze"):
            self.skipTest("systemd-analyze missing (package systemd)")
        instance = os.path.join(self.prefix, "zimb@9500.service")
        shutil.copy(self.unit, instance)
        done = run("systemd-analyze", "verify", instance,
                   env=dict(os.environ, MANPATH=os.path.join(self.prefix, "share/man")))
        self.assertEqual((done.returncode, done.stderr), (0, ""))


if __name__ == "__main__":
    BUILD = sys.argv.pop(1)
    unittest.main(verbosity=2)
