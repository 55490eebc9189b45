#!/usr/bin/env python3
"""The Debian packages that cpack makes of a build: what is in them, what they need, and their programs at work.

usage: packages_test.py BUILD
"""

import glob
import math
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
import wave

BUILD = os.path.abspath(sys.argv.pop()) if len(sys.argv) > 1 else ""
NAME = "vexalor-machine-learning"
PYTHON = "python3-vexalor-ml"


def output(*command, **options):
    result = subprocess.run(command, capture_output=True, text=True, **options)
    if result.returncode != 0:
        raise AssertionError("%s: %s%s" % (command, result.stdout, result.stderr))
    return result.stdout


class PackagesTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temporary = tempfile.TemporaryDirectory()
        cls.folder = cls.temporary.name
        output("cpack", "-G", "DEB", "-B", cls.folder, cwd=BUILD)
        cls.packages = {os.path.basename(path).split("_")[0]: path
                        for path in glob.glob(os.path.join(cls.folder, "*.deb"))}
        cls.root = os.path.join(cls.folder, "root")
        for path in cls.packages.values():
            output("dpkg-deb", "-x", path, cls.root)
        cls.libraries = os.path.dirname(glob.glob(os.path.join(cls.root, "usr/lib/*/libmachine-learning.so.*"))[0])

    @classmethod
    def tearDownClass(cls):
        cls.temporary.cleanup()

    def find(self, prefix):
        return next(path for name, path in self.packages.items() if re.fullmatch(prefix, name))

    def run_program(self, name, *arguments, **options):
        return output(os.path.join(self.root, "usr/bin", name), *arguments,
                      env=dict(os.environ, LD_LIBRARY_PATH=self.libraries), **options)

    def test_each_has_its_own_files(self):
        places = {r"lib%s\d+\.\d+" % NAME: r"/usr/lib/[^/]+/lib[\w-]+\.so\.\d.*",
                  "lib%s-dev" % NAME: r"/usr/include/.*\.h|/usr/lib/[^/]+/(lib[\w-]+\.so|cmake/.*|pkgconfig/.*)",
                  "%s-tools" % NAME: r"/usr/bin/ml-[a-z]+|/usr/share/(man|bash-completion|zsh|%s)/.*" % NAME,
                  "%s-doc" % NAME: "/usr/share/doc/%s-doc/.*" % NAME}
        if os.path.isdir(os.path.join(BUILD, "python", "vexalor_ml")):
            places[PYTHON] = "/usr/lib/python3/dist-packages/vexalor_ml/.*|/usr/share/doc/%s/examples/.*" % PYTHON
        own = {}
        for prefix, place in places.items():
            listed = output("dpkg-deb", "-c", self.find(prefix))
            files = [line.split()[5][1:] for line in listed.splitlines() if not line.startswith("d")]
            name = next(name for name in self.packages if re.fullmatch(prefix, name))
            standard = {"/usr/share/doc/%s/%s" % (name, file) for file in ("changelog.gz", "copyright")}
            self.assertLessEqual(standard, set(files), name)
            own[prefix] = [file for file in files if file not in standard]
            self.assertTrue(own[prefix], name)
            for file in own[prefix]:
                self.assertRegex(file, r"\A(%s)\Z" % place)
        programs = {os.path.basename(path) for path in glob.glob(os.path.join(BUILD, "bin", "ml-*"))}
        self.assertEqual({os.path.basename(path) for path in glob.glob(os.path.join(self.root, "usr/bin/*"))},
                         {name for name in programs if not name.endswith("-test")})

    def test_what_they_need(self):
        version = output("dpkg-deb", "-f", self.find("%s-tools" % NAME), "Version").strip()
        library = next(name for name in self.packages if re.fullmatch(r"lib%s\d+\.\d+" % NAME, name))
        for prefix in (library, "%s-tools" % NAME):
            depends = output("dpkg-deb", "-f", self.find(prefix), "Depends")
            self.assertIn("libc6", depends)
            self.assertNotRegex(depends, r"-dev\b")
        for prefix in ("%s-tools" % NAME, "lib%s-dev" % NAME):
            self.assertIn("%s (= %s)" % (library, version), output("dpkg-deb", "-f", self.find(prefix), "Depends"))
        control = os.path.join(self.folder, "control")
        output("dpkg-deb", "-e", self.find(library), control)
        with open(os.path.join(control, "triggers"), encoding="utf-8") as triggers:
            self.assertIn("activate-noawait ldconfig", triggers.read())
        with open(os.path.join(control, "shlibs"), encoding="utf-8") as shlibs:
            self.assertRegex(shlibs.read(), r"(?m)^libmachine-learning \d+\.\d+ %s\b" % library)

    def test_nothing_of_the_build_is_left(self):
        for path in glob.glob(self.libraries + "/*.so.*") + glob.glob(os.path.join(self.root, "usr/bin/*")):
            headers = output("readelf", "-d", "-S", path)
            self.assertNotRegex(headers, "RUNPATH|RPATH")
            self.assertNotIn(".debug_info", headers, "stripped")

    def test_programs_find_their_scripts(self):
        recording = os.path.join(self.folder, "digit.wav")
        with wave.open(recording, "wb") as file:
            file.setparams((1, 2, 8000, 0, "NONE", ""))
            file.writeframes(b"".join(struct.pack("<h", int(8000 * (math.sin(2 * math.pi * 770 * i / 8000)
                                                                    + math.sin(2 * math.pi * 1336 * i / 8000))))
                                      for i in range(4000)))
        result = self.run_program("ml-classify", "--script", "dtmf", recording, cwd=self.folder)
        self.assertGreater(len(result.splitlines()), 30)
        self.assertIn("ml-tester", self.run_program("ml-tester", "--version"))

    def test_the_commands_of_the_readme(self):
        """Those after the first, which installs; tools/try_packages does that, too."""
        with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "README.md"), encoding="utf-8") as page:
            section = page.read().split("## From the packages to a detector\n")[1].split("\n## ")[0]
        install, *commands = "".join(re.findall(r"```sh\n(.*?)```", section, re.DOTALL)).splitlines()
        self.assertTrue(install.startswith("sudo apt install"))
        environment = {"PATH": os.path.join(self.root, "usr/bin") + ":/usr/bin:/bin", "LD_LIBRARY_PATH": self.libraries,
                       "PYTHONDONTWRITEBYTECODE": "1"}
        printed = [output("sh", "-c", command.replace("/usr/share/", self.root + "/usr/share/"), cwd=self.folder, env=environment)
                   for command in commands]
        wrong, windows = map(int, re.search(r"classification-error = (\d+)/(\d+)", printed[-2]).groups())
        self.assertLess(wrong, windows / 20)
        self.assertRegex(printed[-1], r"(?m)^\d+\.\d+\t\d+\.\d+\tVOICE$")

    def test_lintian_finds_no_error(self):
        if shutil.which("lintian") is None:
            self.skipTest("lintian is not installed")
        found = subprocess.run(["lintian", "--allow-root", "--fail-on", "error", *self.packages.values()],
                               capture_output=True, text=True, check=False)
        self.assertEqual([line for line in found.stdout.splitlines() if line.startswith("E:")], [])
        self.assertEqual(found.returncode, 0, found.stderr)


if __name__ == "__main__":
    unittest.main()
