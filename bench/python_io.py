#!/usr/bin/env python3
"""The Python package against the C++ library on the 2M-triangle torus.

Usage: python_io.py BUILD_DIR   (a Release build with the module, the tools
and the benchmarks; run with Debian's python3)

Measured in one run: bench_import and bench_export (the C++ figures), then
ond3mf.read of the torus into numpy, ond3mf.write of those arrays and
Model.save of the torus loaded, each the best of five in a fresh process
(the machine may be shared), with the peak resident memory of the first read
over a process that only imported numpy and the module; then ond3mf.read of
the file, ond3mf.load of it and ond3mf.read of its bytes from memory, taken in
turns in one process. Targets: read at most 1.2 times the C++ import, write
and Model.save at most 1.2 times the C++ export, peak at most the C++
import's peak plus the arrays, load at most 1.1 times read, read from bytes
at most the read from the file.
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile

RUNS = 5

CHILD = r"""
import resource, sys, time
import numpy
import ond3mf
what, path, target = sys.argv[1:4]
best = float("inf")
size = 0
peak = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024
if what == "read":
    for run in range(%(runs)d):
        start = time.perf_counter()
        meshes = ond3mf.read(path)
        best = min(best, time.perf_counter() - start)
        size = sum(m.vertices.nbytes + m.triangles.nbytes for m in meshes)
        if run == 0:
            # The peak of one read; later runs may find the heap fragmented.
            peak = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024
        del meshes
elif what == "write":
    meshes = ond3mf.read(path)
    for _ in range(%(runs)d):
        start = time.perf_counter()
        ond3mf.write(target, meshes)
        best = min(best, time.perf_counter() - start)
elif what == "save":
    model = ond3mf.load(path)
    for _ in range(%(runs)d):
        start = time.perf_counter()
        model.save(target)
        best = min(best, time.perf_counter() - start)
elif what == "readers":
    # Taken in turns, so that a neighbour's load on a shared machine weighs
    # on the three alike.
    with open(path, "rb") as file:
        data = file.read()
    bests = {}
    for _ in range(%(runs)d):
        for name, read, source in (("file", ond3mf.read, path), ("load", ond3mf.load, path),
                                   ("bytes", ond3mf.read, data)):
            start = time.perf_counter()
            result = read(source)
            bests[name] = min(bests.get(name, float("inf")), time.perf_counter() - start)
            del result
    print(bests["file"], bests["load"], bests["bytes"])
    sys.exit(0)
print(best, peak, size)
""" % {"runs": RUNS}


def run_child(build, what, path, target=""):
    env = dict(os.environ, PYTHONPATH=str(build / "python"))
    out = subprocess.run([sys.executable, "-c", CHILD, what, str(path), str(target)], env=env,
                         capture_output=True, text=True, check=True).stdout.split()
    return float(out[0]), float(out[1]), float(out[2])


def figure(pattern, text, what):
    found = re.search(pattern, text, re.MULTILINE)
    if not found:
        sys.exit("no %s in the output:\n%s" % (what, text))
    return float(found.group(1))


def main(build):
    build = pathlib.Path(build).resolve()
    imported = subprocess.run([str(build / "bench" / "bench_import")], capture_output=True, text=True,
                              check=True).stdout
    exported = subprocess.run([str(build / "bench" / "bench_export")], capture_output=True, text=True,
                              check=True).stdout
    cpp_import = figure(r"^importer, plain mesh data\s+\S+ MB\s+(\S+) s", imported, "import time")
    cpp_peak = figure(r"^importer, plain mesh data.*peak RSS\s+(\S+) MB", imported, "import peak") * 1e6
    cpp_base = figure(r"^baseline child \(no work\)\s+peak RSS\s+(\S+) MB", imported, "baseline") * 1e6
    cpp_export = figure(r"^export\s+(\S+) s", exported, "export time")

    with tempfile.TemporaryDirectory() as folder:
        torus = pathlib.Path(folder) / "torus.3mf"
        subprocess.run([str(build / "tools" / "ond3mf-torus"), str(torus)], check=True, capture_output=True)
        _, py_base, _ = run_child(build, "none", torus)
        read, read_peak, arrays = run_child(build, "read", torus)
        write, _, _ = run_child(build, "write", torus, pathlib.Path(folder) / "again.3mf")
        save, _, _ = run_child(build, "save", torus, pathlib.Path(folder) / "saved.3mf")
        from_file, load, from_bytes = run_child(build, "readers", torus)

    print("C++ import (bench_import)      %7.3f s   peak over its baseline %7.1f MB" %
          (cpp_import, (cpp_peak - cpp_base) / 1e6))
    print("C++ export (bench_export)      %7.3f s" % cpp_export)
    print("ond3mf.read into numpy         %7.3f s   peak over its baseline %7.1f MB, arrays %.1f MB" %
          (read, (read_peak - py_base) / 1e6, arrays / 1e6))
    print("ond3mf.write from numpy        %7.3f s" % write)
    print("ond3mf.read, in turns with:    %7.3f s" % from_file)
    print("  ond3mf.load                  %7.3f s" % load)
    print("  ond3mf.read of bytes         %7.3f s" % from_bytes)
    print("Model.save                     %7.3f s" % save)
    print()
    print("read / C++ import              %7.2f   (target 1.2)" % (read / cpp_import))
    print("write / C++ export             %7.2f   (target 1.2)" % (write / cpp_export))
    print("read peak / (C++ peak + arrays) %6.2f   (target 1.0)" %
          ((read_peak - py_base) / (cpp_peak - cpp_base + arrays)))
    print("load / read                    %7.2f   (target 1.1)" % (load / from_file))
    print("Model.save / C++ export        %7.2f   (target 1.2)" % (save / cpp_export))
    print("read of bytes / read of file   %7.2f   (target 1.0)" % (from_bytes / from_file))


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(sys.argv[1])
