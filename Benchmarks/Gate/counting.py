"""Runs the program of the micro-benchmarks: for counts under callgrind, for times as it is."""

import json
import os
import pathlib
import platform
import re
import subprocess
import tempfile

from callgrind import read_profile
from figures import Figure

PROGRAM = "bin/MicroBenchmark"

# Whose code is executed beside ours, or compiled into it.
_LIBRARY_PACKAGES = ("libc6", "libqt6core6", "libqt6gui6", "libqt6network6", "libqt6widgets6",
                     "libspeexdsp1", "libstdc++-12-dev", "libstdc++6", "libwslay1",
                     "nlohmann-json3-dev", "qt6-base-dev", "valgrind")

# Nothing of whoever runs it gets in: the length of the environment alone moves the stack. Qt's hashes
# get the same seed each time, and the C library's functions are those that every x86-64 has.
_ENVIRONMENT = {
    "LC_ALL": "C",
    "PATH": "/usr/bin:/bin",
    "QT_HASH_SEED": "0",
    "GLIBC_TUNABLES": "glibc.cpu.hwcaps=-AVX2,-AVX,-AVX_Fast_Unaligned_Load,-ERMS,-FSRM,-BMI2",
}


def _output(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


def _package_version(package):
    found = subprocess.run(["dpkg-query", "-W", "-f=${Version}", package], check=False,
                           stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    return found.stdout or "none"


def versions(build):
    """The tools that make the code that is counted, and the libraries that it is linked with."""
    cache = (pathlib.Path(build) / "CMakeCache.txt").read_text()
    compiler = next(line.partition("=")[2] for line in cache.splitlines()
                    if line.startswith("CMAKE_CXX_COMPILER:"))
    # Without the package's own number: an update of the distribution's makes the same code.
    compiler_version = re.sub(r" \(.*?\)", "", _output(compiler, "--version").splitlines()[0])
    return ({"machine": platform.machine(), "compiler": compiler_version},
            {package: _package_version(package) for package in _LIBRARY_PACKAGES})


def count(build):
    """{name: Figure} of all bodies."""
    with tempfile.TemporaryDirectory() as folder:
        # A relative path, since it lies on the stack too.
        output = subprocess.run(
            ["valgrind", "--tool=callgrind", "--quiet", "--collect-atstart=no",
             f"--callgrind-out-file={folder}/profile", f"./{PROGRAM}", "--count"],
            check=True, cwd=build, env=_ENVIRONMENT, stdout=subprocess.PIPE, text=True).stdout
        own, total = {}, {}
        for path in pathlib.Path(folder).iterdir():
            with path.open() as lines:
                name, costs = read_profile(lines)
            own[name] = sum(cost for code, cost in costs.items() if code.endswith(PROGRAM))
            total[name] = sum(costs.values())
    counted = {}
    for line in output.splitlines():
        name, unit, units, allocations = line.split("\t")
        counted[name] = Figure(unit, own[name] / int(units), total[name] / int(units),
                               int(allocations) / int(units))
    return counted


def times(build):
    """Nanoseconds for one unit of each body, on this machine and now."""
    report = json.loads(subprocess.run(
        [f"./{PROGRAM}", "--benchmark_format=json", "--benchmark_min_time=0.2"],
        check=True, cwd=build, env=os.environ, stdout=subprocess.PIPE, text=True).stdout)
    return {run["name"]: run["timePerUnit"] * 1e9 for run in report["benchmarks"]}
