#!/usr/bin/env python3
"""Writes the seed corpus of one fuzz target into a folder: small models made
here, and packages or model parts taken from the shared test data when it is
there. Nothing of it is kept in the project."""
import io
import os
import struct
import sys
import zipfile
import zlib

CORE = "http://schemas.microsoft.com/3dmanufacturing/core/2015/02"
MATERIAL = "http://schemas.microsoft.com/3dmanufacturing/material/2015/02"
PRODUCTION = "http://schemas.microsoft.com/3dmanufacturing/production/2015/06"
BEAM = "http://schemas.microsoft.com/3dmanufacturing/beamlattice/2017/02"
# Seeds above this size slow every execution down more than they teach.
MAX_PACKAGE = 64 * 1024
MAX_PART = 64 * 1024

VERTICES = ('<vertices><vertex x="0" y="0" z="0"/><vertex x="10" y="0" z="0"/>'
            '<vertex x="0" y="10" z="0"/><vertex x="0" y="0" z="10"/></vertices>')


def tetrahedron(oid, triangle_attributes=("", "", "", ""), extra=""):
    corners = ((0, 2, 1), (0, 1, 3), (1, 2, 3), (0, 3, 2))
    triangles = "".join('<triangle v1="%d" v2="%d" v3="%d" %s/>' % (c + (a,))
                        for c, a in zip(corners, triangle_attributes))
    return ('<object id="%d" type="model"><mesh>%s<triangles>%s</triangles>%s</mesh></object>'
            % (oid, VERTICES, triangles, extra))


def model(resources, build, namespaces="", unit="millimeter"):
    return ('<?xml version="1.0" encoding="UTF-8"?>\n<model unit="%s" xml:lang="en-US" xmlns="%s" '
            'xmlns:m="%s" xmlns:p="%s" xmlns:b="%s" %s><metadata name="Title">seed</metadata>'
            '<resources>%s</resources><build>%s</build></model>'
            % (unit, CORE, MATERIAL, PRODUCTION, BEAM, namespaces, resources, build))


def small_models():
    textured = ('<m:texture2d id="5" path="/3D/Textures/t.png" contenttype="image/png"/>'
                '<m:texture2dgroup id="6" texid="5"><m:tex2coord u="0" v="0"/><m:tex2coord u="1" v="0"/>'
                '<m:tex2coord u="0" v="1"/></m:texture2dgroup>')
    colours = ('<m:colorgroup id="2"><m:color color="#FF0000"/><m:color color="#00FF0080"/></m:colorgroup>'
               '<basematerials id="3"><base name="PLA" displaycolor="#2040FF"/></basematerials>')
    return {
        "plain": model(tetrahedron(1), '<item objectid="1" transform="1 0 0 0 1 0 0 0 1 5 5 5"/>'),
        "inch": model(tetrahedron(1), '<item objectid="1"/>', unit="inch"),
        "colours": model(colours + tetrahedron(1, ('pid="2" p1="0"', 'pid="2" p1="1" p2="0" p3="1"',
                                                    'pid="3" p1="0"', '')),
                         '<item objectid="1"/>'),
        "texture": model(textured + tetrahedron(1, ('pid="6" p1="0" p2="1" p3="2"',) * 4),
                         '<item objectid="1"/>'),
        "multi": model(colours + textured + '<m:multiproperties id="7" pids="2 6"><m:multi pindices="0 0"/>'
                       '<m:multi pindices="1 2"/></m:multiproperties>'
                       + tetrahedron(1, ('pid="7" p1="0" p2="1" p3="0"',) * 4),
                       '<item objectid="1"/>'),
        "components": model(tetrahedron(1) + '<object id="2"><components><component objectid="1" '
                            'transform="1 0 0 0 1 0 0 0 1 20 0 0"/><component objectid="1"/></components>'
                            '</object>', '<item objectid="2" p:UUID="5e1a8a2d-0b1e-4d1f-9c1a-2b3c4d5e6f70"/>'),
        "beams": model(tetrahedron(1, extra='<b:beamlattice minlength="0.1" radius="1" clippingmode="none">'
                                            '<b:beams><b:beam v1="0" v2="1"/><b:beam v1="1" v2="2" r1="2"/>'
                                            '</b:beams></b:beamlattice>'),
                       '<item objectid="1"/>'),
    }


def png(width, height):
    rows = b"".join(b"\x00" + bytes((x * 40 + y * 7) % 256 for x in range(width * 3)) for y in range(height))

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


def package(model_xml):
    out = io.BytesIO()
    with zipfile.ZipFile(out, "w", zipfile.ZIP_DEFLATED) as archive:
        archive.writestr("[Content_Types].xml",
                         '<?xml version="1.0" encoding="UTF-8"?><Types xmlns="http://schemas.openxmlformats.org/'
                         'package/2006/content-types"><Default Extension="rels" ContentType="application/'
                         'vnd.openxmlformats-package.relationships+xml"/><Default Extension="model" '
                         'ContentType="application/vnd.ms-package.3dmanufacturing-3dmodel+xml"/>'
                         '<Default Extension="png" ContentType="image/png"/></Types>')
        archive.writestr("_rels/.rels",
                         '<?xml version="1.0" encoding="UTF-8"?><Relationships xmlns="http://schemas.openxml'
                         'formats.org/package/2006/relationships"><Relationship Target="/3D/3dmodel.model" '
                         'Id="rel0" Type="http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel"/>'
                         '</Relationships>')
        archive.writestr("3D/3dmodel.model", model_xml)
        archive.writestr("3D/Textures/t.png", png(4, 4))
    return out.getvalue()


def shared_packages(testdata, limit):
    for folder, _, names in sorted(os.walk(testdata)):
        for name in sorted(names):
            path = os.path.join(folder, name)
            if name.endswith(".3mf") and os.path.getsize(path) <= limit:
                yield path


def mesh_content():
    """Seeds of the differential mesh target: mesh content in the form the
    plain scanner takes and in each form that sends it back to the parser.
    The first byte picks the block size the input comes in."""
    return {
        "plain": b'\x01<vertices>\n <vertex x="0" y="0" z="0"/>\n <vertex x="1.5" y="-2" z="+3e-1"/>\n'
                 b' <vertex x="0" y="1" z="0"></vertex>\n</vertices>\n<triangles>\n'
                 b' <triangle v1="0" v2="1" v3="2" pid="1" p1="0"/>\n'
                 b' <triangle v3="2" v2="1" v1="0"><!-- c --></triangle>\n</triangles>',
        "prefixed": b'\x02<vertices><vertex x="0" y="0" z="0"/><o:vertex x="1" y="0" z="0"/></vertices>',
        "reference": b'\x03<vertices><vertex x="1&#x20;" y="0" z="0"/></vertices>',
        "duplicate": b'\x04<triangles><triangle v1="0" v1="1" v2="1" v3="2"/></triangles>',
        "words": b'\x05<vertices><vertex x="INF" y="nan" z="0"/></vertices>',
        "comment": b'\x06<triangles><triangle v1="0" <!-- c --> v2="1" v3="2"/></triangles>',
        "range": b'\x07<vertices><vertex x="0" y="0" z="0"/></vertices>'
                 b'<triangles><triangle v1="0" v2="0" v3="5"/></triangles>',
        "cancel": b'\x40<vertices><vertex x="0" y="0" z="0"/><vertex x="1" y="0" z="0"/>'
                  b'<vertex x="0" y="1" z="0"/></vertices><triangles><triangle v1="0" v2="1" v3="2"/></triangles>',
    }


def main():
    target, out, testdata = sys.argv[1], sys.argv[2], sys.argv[3]
    os.makedirs(out, exist_ok=True)
    if target == "FuzzMeshFastPath":
        write_seeds(out, target, mesh_content())
        return
    seeds = {}
    for name, xml in small_models().items():
        seeds[name] = xml.encode() if target == "FuzzModelPart" else package(xml)
    if os.path.isdir(testdata):
        # Model parts are taken from packages of any size.
        limit = MAX_PACKAGE if target != "FuzzModelPart" else float("inf")
        for path in shared_packages(testdata, limit):
            stem = os.path.relpath(path, testdata).replace(os.sep, "_")
            if target != "FuzzModelPart":
                with open(path, "rb") as f:
                    seeds[stem] = f.read()
                continue
            try:
                with zipfile.ZipFile(path) as archive:
                    for info in archive.infolist():
                        if info.filename.endswith(".model") and info.file_size <= MAX_PART:
                            seeds[stem + "_" + info.filename.replace("/", "_")] = archive.read(info)
            except (zipfile.BadZipFile, OSError, NotImplementedError, RuntimeError):
                pass  # a broken sample gives no model part
    else:
        print("make_seeds: no shared test data at %s; small models only" % testdata, file=sys.stderr)
    write_seeds(out, target, seeds)


def write_seeds(out, target, seeds):
    for name, data in seeds.items():
        with open(os.path.join(out, name), "wb") as f:
            f.write(data)
    print("make_seeds: %d seeds for %s in %s" % (len(seeds), target, out))


if __name__ == "__main__":
    main()
