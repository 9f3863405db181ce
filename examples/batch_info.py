#!/usr/bin/env python3
"""Counts of every 3MF file below a folder, read in parallel with Dask.

Usage: batch_info.py FOLDER [--scheduler ADDRESS]

Prints one tab-separated row per file: the path, "ok", its meshes and its
triangles; or the path, "error" and the library's message. A file that fails
is a row, never the end of the batch. Exits 1 when a file failed.

Without --scheduler the files are read on Dask's local process scheduler;
with the address of a dask.distributed scheduler (tcp://host:8786) the same
function runs on that cluster's workers, which need ond3mf importable.
"""

import argparse
import pathlib
import sys
import warnings

import dask.bag


def inspect(path):
    """One file's row; runs on a worker."""
    import ond3mf

    try:
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")
            meshes = ond3mf.info(path)
    except ond3mf.Error as error:
        return (path, "error", str(error).replace("\n", " | "))
    return (path, "ok", str(len(meshes)), str(sum(mesh["triangles"] for mesh in meshes)))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("folder")
    parser.add_argument("--scheduler", help="address of a dask.distributed scheduler")
    arguments = parser.parse_args()
    # Windows programs write "*.3MF" as often as "*.3mf".
    files = sorted(str(path) for path in pathlib.Path(arguments.folder).rglob("*") if path.suffix.lower() == ".3mf")
    bag = dask.bag.from_sequence(files, npartitions=max(1, min(len(files), 64))).map(inspect)
    if arguments.scheduler:
        from dask.distributed import Client

        with Client(arguments.scheduler):
            rows = bag.compute()
    else:
        rows = bag.compute(scheduler="processes")
    for row in rows:
        print("\t".join(row))
    return 1 if any(row[1] == "error" for row in rows) else 0


if __name__ == "__main__":
    sys.exit(main())
