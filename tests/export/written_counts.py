#!/usr/bin/env python3
"""Counts in a written 3MF file, read with the standard library alone.

Usage: written_counts.py FILE.3mf

Checks every entry's CRC, parses every XML part with xml.etree, checks that
every texture path of the root model names an entry, and prints one line per
object of the root model, in document order:

    vertices triangles

Exits non-zero with a message when any of this fails.
"""

import sys
import xml.etree.ElementTree as ElementTree
import zipfile

CORE = "{http://schemas.microsoft.com/3dmanufacturing/core/2015/02}"
MATERIAL = "{http://schemas.microsoft.com/3dmanufacturing/material/2015/02}"


def main(path):
    archive = zipfile.ZipFile(path)
    bad = archive.testzip()
    if bad is not None:
        sys.exit("bad CRC in " + bad)
    names = archive.namelist()
    for name in names:
        if name.endswith((".xml", ".rels", ".model")):
            ElementTree.fromstring(archive.read(name))
    model = ElementTree.fromstring(archive.read("3D/3dmodel.model"))
    resources = model.find(CORE + "resources")
    for texture in resources.iter(MATERIAL + "texture2d"):
        if texture.get("path").lstrip("/") not in names:
            sys.exit("texture part missing: " + texture.get("path"))
    for obj in resources.findall(CORE + "object"):
        mesh = obj.find(CORE + "mesh")
        vertices = mesh.findall(CORE + "vertices/" + CORE + "vertex")
        triangles = mesh.findall(CORE + "triangles/" + CORE + "triangle")
        print(len(vertices), len(triangles))


if __name__ == "__main__":
    main(sys.argv[1])
