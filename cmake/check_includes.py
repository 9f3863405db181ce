#!/usr/bin/env python3
"""Checks the walls between the library's folders: every header a source file
includes must belong to its own folder, to a folder its CMakeLists.txt
declares, or to the public API (include/format3mf), and what is not the
library (apps/, python/) includes public headers only.

Usage: check_includes.py WALLS SOURCE_DIR
WALLS is written by the build: one line a folder of the library, "folder:
dependency ...", and "outside folder" for one that is not the library.
Exits 1 and names each include that passes a wall.
"""
import os
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"')
# Public headers of the host groups live in include/<group>, their internal
# ones in host/<group>: either way they are the group's.
HOST_GROUPS = ("common", "sax", "triangles", "zip")


def owner(header, source_dir):
    """The folder a header belongs to ("host/zip", "src/mesh"), "api" for the
    public headers of the library itself, or None for a header of another
    library or one beside the including file."""
    top = header.split("/", 1)[0]
    if "/" not in header:
        return None
    if top == "format3mf" and os.path.exists(os.path.join(source_dir, "include", header)):
        return "api"
    if top in HOST_GROUPS and (os.path.exists(os.path.join(source_dir, "include", header))
                               or os.path.exists(os.path.join(source_dir, "host", header))):
        return "host/" + top
    if os.path.exists(os.path.join(source_dir, "src", header)):
        return "src/" + top
    return None


def is_public(header, source_dir):
    return os.path.exists(os.path.join(source_dir, "include", header))


def main():
    walls_file, source_dir = sys.argv[1], sys.argv[2]
    walls = {}
    outside_folders = set()
    with open(walls_file, encoding="utf-8") as lines:
        for line in lines:
            if not line.strip():
                continue
            if line.startswith("outside "):
                folder = line.split(None, 1)[1].strip()
                outside_folders.add(folder)
                walls[folder] = set()
                continue
            folder, _, declared = line.partition(":")
            walls[folder.strip()] = set(declared.split())
    breaches = []
    for folder in sorted(walls):
        outside = folder in outside_folders
        root = os.path.join(source_dir, folder)
        for dirpath, _, files in os.walk(root):
            for name in sorted(files):
                if not name.endswith((".cpp", ".h")):
                    continue
                path = os.path.join(dirpath, name)
                with open(path, encoding="utf-8") as text:
                    for number, line in enumerate(text, 1):
                        match = INCLUDE.match(line)
                        if not match:
                            continue
                        header = match.group(1)
                        where = os.path.relpath(path, source_dir) + ":" + str(number)
                        if outside:
                            if owner(header, source_dir) and not is_public(header, source_dir):
                                breaches.append(f"{where}: {header} is internal to the library")
                            continue
                        belongs = owner(header, source_dir)
                        if belongs is None or belongs == folder:
                            continue
                        if belongs == "api" and folder.startswith("src/"):
                            continue
                        if belongs not in walls[folder]:
                            breaches.append(f"{where}: {header} is of {belongs}, which {folder} does not declare")
    for breach in breaches:
        print(breach)
    print(f"{len(walls)} folders checked, {len(breaches)} includes through a wall")
    return 1 if breaches else 0


if __name__ == "__main__":
    sys.exit(main())
