"""Builds the library, the utility and the simulator into the wheel; the sdist has their sources."""
import os
import re
import shutil
import subprocess
from pathlib import Path

from setuptools import Distribution, setup
from setuptools.command.build_py import build_py
from setuptools.command.sdist import sdist
from wheel.bdist_wheel import bdist_wheel

HERE = Path(__file__).resolve().parent
SOURCES = ["CMakeLists.txt", "LICENSE", "base", "cmake", "contract", "control", "engine", "identity", "include",
           "ovuser", "simulator", "timespec"]
BINARIES = {"libov_helper.so.12": "lib", "zynov-sim": "bin", "libzynov_sim.so": "bin", "ovuser": "bin"}
SYSTEM = {"libc.so.6", "ld-linux-x86-64.so.2", "ld-linux-aarch64.so.1"}


class BuildWithBinaries(build_py):
    def run(self):
        super().run()
        source = HERE / "source" if (HERE / "source").exists() else HERE.parent
        build = Path(self.get_finalized_command("build").build_temp).resolve() / "native"
        subprocess.run(["cmake", "-S", source, "-B", build, "-DORVANE_INSTALL=OFF"], check=True)
        subprocess.run(["cmake", "--build", build, "-j", str(os.cpu_count())], check=True)
        for name, folder in BINARIES.items():
            to = Path(self.build_lib, "orvane", "native", folder)
            to.mkdir(parents=True, exist_ok=True)
            shutil.copy((build / name).resolve(), to / name)
            subprocess.run(["strip", "--strip-unneeded", to / name], check=True)


class SdistWithSources(sdist):
    def make_release_tree(self, base_dir, files):
        super().make_release_tree(base_dir, files)
        source = HERE / "source" if (HERE / "source").exists() else HERE.parent
        for name in SOURCES:
            to = Path(base_dir, "source", name)
            to.parent.mkdir(exist_ok=True)
            (shutil.copytree if (source / name).is_dir() else shutil.copy)(source / name, to)


class DistributionWithBinaries(Distribution):
    def has_ext_modules(self):
        return True


class WheelForLinux(bdist_wheel):
    def get_tag(self):
        """Any Python 3, and any Linux whose C library has what the binaries need: the rule of manylinux."""
        needed = (2, 17)
        for name, folder in BINARIES.items():
            path = Path(self.get_finalized_command("build_py").build_lib, "orvane", "native", folder, name)
            dynamic = subprocess.run(["objdump", "-p", path], check=True, capture_output=True, text=True).stdout
            others = set(re.findall(r"NEEDED +(\S+)", dynamic)) - SYSTEM
            if others or "GLIBC_PRIVATE" in dynamic:
                raise SystemExit("%s needs more than the C library: %s" % (name, others))
            for version in re.findall(r" GLIBC_([0-9.]+)$", dynamic, re.M):
                needed = max(needed, tuple(map(int, version.split(".")))[:2])
        return "py3", "none", "manylinux_%d_%d_%s" % (*needed, os.uname().machine)


setup(distclass=DistributionWithBinaries,
      cmdclass={"build_py": BuildWithBinaries, "sdist": SdistWithSources, "bdist_wheel": WheelForLinux})
