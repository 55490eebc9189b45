#!/usr/bin/env python3
"""tools/install_packages with a package system of stubs: nothing is installed on this machine."""

import os
import shutil
import subprocess
import tempfile
import unittest

TOOLS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
LIST = """# comment
[build]   # to compile
alpha     # first
beta
[bench]
gamma
"""


class InstallPackages(unittest.TestCase):
    def run_with(self, sections, installed, user, sudo):
        """Result, and the calls of apt-get, with these packages installed, as that user id, with sudo or without."""
        with tempfile.TemporaryDirectory() as tree:
            bin_folder = os.path.join(tree, "bin")
            calls = os.path.join(tree, "calls")
            os.makedirs(os.path.join(tree, "tools"))
            os.makedirs(bin_folder)
            with open(os.path.join(tree, "packages.list"), "w", encoding="utf-8") as file:
                file.write(LIST)
            shutil.copy(os.path.join(TOOLS, "install_packages"), os.path.join(tree, "tools"))
            stubs = {
                "dpkg-query": 'case " %s " in *" $4 "*) echo installed ;; *) exit 1 ;; esac' % " ".join(installed),
                "id": "echo %d" % user,
                "apt-get": 'echo "apt-get $*" >> %s' % calls,
            }
            if sudo:
                stubs["sudo"] = 'echo sudo >> %s; exec "$@"' % calls
            for name, body in stubs.items():
                with open(os.path.join(bin_folder, name), "w", encoding="utf-8") as stub:
                    stub.write("#!/bin/sh\n%s\n" % body)
                os.chmod(os.path.join(bin_folder, name), 0o755)
            for name in ("sh", "awk", "dirname", "env"):
                os.symlink(shutil.which(name), os.path.join(bin_folder, name))
            result = subprocess.run(["sh", os.path.join(tree, "tools", "install_packages")] + sections,
                                    env={"PATH": bin_folder}, capture_output=True, text=True)
            if not os.path.exists(calls):
                return result, []
            with open(calls, encoding="utf-8") as file:
                return result, file.read().splitlines()

    def test_installs_only_what_is_missing(self):
        result, calls = self.run_with(["build", "bench"], ["alpha"], 0, False)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(calls, ["apt-get -q update", "apt-get -q -y install --no-install-recommends beta gamma"])
        self.assertIn("installing beta gamma", result.stdout)

    def test_nothing_missing_calls_nothing(self):
        result, calls = self.run_with(["build"], ["alpha", "beta"], 1000, False)
        self.assertEqual((result.returncode, calls), (0, []))

    def test_a_user_needs_sudo(self):
        result, calls = self.run_with(["bench"], [], 1000, True)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(calls[:2], ["sudo", "apt-get -q update"])
        result, calls = self.run_with(["bench"], [], 1000, False)
        self.assertEqual((result.returncode, calls), (1, []))
        self.assertIn("apt-get install gamma", result.stderr)

    def test_unknown_section_is_refused(self):
        result, calls = self.run_with(["nonsense"], [], 0, False)
        self.assertEqual((result.returncode, calls), (2, []))
        self.assertIn("no section [nonsense]", result.stderr)


if __name__ == "__main__":
    unittest.main()
