#!/usr/bin/env python3
"""Writes one small 3MF package in the zip forms that other writers use.

Usage: zip_forms.py FOLDER

Writes FOLDER/plain.3mf (Python's zipfile, deflated, nothing unusual) and one
file per form beside it, all holding the same parts, and prints the names of
the form files, one a line. The forms:

  zip64             version 45; local headers with both sizes 0xFFFFFFFF and a
                    16-byte zip64 extra field; directory entries with sizes
                    and offset 0xFFFFFFFF and a 24-byte zip64 extra field; a
                    zip64 end record and its locator, the 32-bit end record
                    holding 0xFFFFFFFF as the directory offset
  zip64-descriptors the same, with a zip64 data descriptor after each entry
  zip64-sizes       directory entries with a 16-byte zip64 extra field (sizes
                    only), real 32-bit offsets, and no zip64 end record
  descriptors       data descriptors without zip64 (zipfile on a stream that
                    can't seek)
  stored            every entry stored
  duplicate         the model part a second time, different, after the first

The root model has a name outside ASCII in every file. Standard library only.
"""

import io
import os
import struct
import sys
import warnings
import zipfile
import zlib

MODEL_NAME = "3D/W\u00fcrfel_\u6a21\u578b.model"

CONTENT_TYPES = (
    '<?xml version="1.0" encoding="UTF-8"?>'
    '<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">'
    '<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
    '<Default Extension="model" ContentType="application/vnd.ms-package.3dmanufacturing-3dmodel+xml"/>'
    "</Types>"
)

RELS = (
    '<?xml version="1.0" encoding="UTF-8"?>'
    '<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">'
    '<Relationship Target="/%s" Id="rel0" '
    'Type="http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel"/>'
    "</Relationships>" % MODEL_NAME
)


def model(size, shift):
    """A box of the given size with its corner at shift, as a model part."""
    corners = [(x, y, z) for z in (0, size) for y in (0, size) for x in (0, size)]
    faces = [(0, 2, 1), (1, 2, 3), (4, 5, 6), (5, 7, 6), (0, 1, 4), (1, 5, 4),
             (2, 6, 3), (3, 6, 7), (0, 4, 2), (2, 4, 6), (1, 3, 5), (3, 7, 5)]
    vertices = "".join('<vertex x="%g" y="%g" z="%g"/>' % (x + shift, y, z) for x, y, z in corners)
    triangles = "".join('<triangle v1="%d" v2="%d" v3="%d"/>' % face for face in faces)
    return (
        '<?xml version="1.0" encoding="UTF-8"?>'
        '<model unit="millimeter" xml:lang="en-US" '
        'xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02">'
        '<resources><object id="1" type="model"><mesh><vertices>%s</vertices>'
        "<triangles>%s</triangles></mesh></object></resources>"
        '<build><item objectid="1"/></build></model>' % (vertices, triangles)
    ).encode()


PARTS = [
    ("[Content_Types].xml", CONTENT_TYPES.encode()),
    ("_rels/.rels", RELS.encode()),
    (MODEL_NAME, model(10.5, 2.25)),
]

DOS_TIME, DOS_DATE = 0x6000, 0x5A21
UNIX_FILE = 0o100644 << 16


def deflated(data):
    compressor = zlib.compressobj(6, zlib.DEFLATED, -15)
    return compressor.compress(data) + compressor.flush()


def zip64_archive(parts, descriptors=False, sizes_only=False):
    """The zip64 forms, byte by byte."""
    out = bytearray()
    directory = bytearray()
    for name, data in parts:
        raw_name = name.encode()
        packed = deflated(data)
        crc = zlib.crc32(data)
        flags = 0x800 | (0x08 if descriptors else 0)
        offset = len(out)
        local_sizes = (0, 0) if descriptors else (len(data), len(packed))
        extra = struct.pack("<HHQQ", 1, 16, *local_sizes)
        out += struct.pack("<IHHHHHIIIHH", 0x04034B50, 45, flags, 8, DOS_TIME, DOS_DATE,
                           0 if descriptors else crc, 0xFFFFFFFF, 0xFFFFFFFF, len(raw_name), len(extra))
        out += raw_name + extra + packed
        if descriptors:
            out += struct.pack("<IIQQ", 0x08074B50, crc, len(packed), len(data))
        if sizes_only:
            extra = struct.pack("<HHQQ", 1, 16, len(data), len(packed))
            stated_offset = offset
        else:
            extra = struct.pack("<HHQQQ", 1, 24, len(data), len(packed), offset)
            stated_offset = 0xFFFFFFFF
        directory += struct.pack("<IHHHHHHIIIHHHHHII", 0x02014B50, (3 << 8) | 45, 45, flags, 8,
                                 DOS_TIME, DOS_DATE, crc, 0xFFFFFFFF, 0xFFFFFFFF, len(raw_name),
                                 len(extra), 0, 0, 0, UNIX_FILE, stated_offset)
        directory += raw_name + extra
    directory_offset = len(out)
    out += directory
    count = len(parts)
    if sizes_only:
        out += struct.pack("<IHHHHIIH", 0x06054B50, 0, 0, count, count, len(directory), directory_offset, 0)
        return bytes(out)
    record_offset = len(out)
    out += struct.pack("<IQHHIIQQQQ", 0x06064B50, 44, 45, 45, 0, 0, count, count, len(directory),
                       directory_offset)
    out += struct.pack("<IIQI", 0x07064B50, 0, record_offset, 1)
    out += struct.pack("<IHHHHIIH", 0x06054B50, 0, 0, count, count, len(directory), 0xFFFFFFFF, 0)
    return bytes(out)


class Unseekable(io.RawIOBase):
    """A stream that can only be written: zipfile then writes data descriptors."""

    def __init__(self):
        super().__init__()
        self.data = bytearray()

    def writable(self):
        return True

    def write(self, chunk):
        self.data += chunk
        return len(chunk)


def with_zipfile(parts, compression=zipfile.ZIP_DEFLATED, seekable=True):
    stream = io.BytesIO() if seekable else Unseekable()
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")  # duplicate names are meant
        with zipfile.ZipFile(stream, "w", compression) as archive:
            for name, data in parts:
                archive.writestr(name, data)
    return stream.getvalue() if seekable else bytes(stream.data)


def forms():
    duplicate = PARTS + [(MODEL_NAME, model(99.0, 0.0))]
    return {
        "zip64": zip64_archive(PARTS),
        "zip64-descriptors": zip64_archive(PARTS, descriptors=True),
        "zip64-sizes": zip64_archive(PARTS, sizes_only=True),
        "descriptors": with_zipfile(PARTS, seekable=False),
        "stored": with_zipfile(PARTS, zipfile.ZIP_STORED),
        "duplicate": with_zipfile(duplicate),
    }


def check(name, data):
    """Each form is what it claims to be, and Python reads it back whole."""
    archive = zipfile.ZipFile(io.BytesIO(data))
    assert archive.testzip() is None, name
    # Python takes the last of two entries with one name, libzip's readers the first.
    if name != "duplicate":
        assert archive.read(MODEL_NAME) == dict(PARTS)[MODEL_NAME], name
    infos = archive.infolist()
    if name.startswith("zip64"):
        assert all(info.extract_version == 45 for info in infos), name
        assert (b"PK\x06\x06" in data) != (name == "zip64-sizes"), name
    if name.endswith("descriptors"):
        assert all(info.flag_bits & 0x08 for info in infos), name
    if name == "stored":
        assert all(info.compress_type == zipfile.ZIP_STORED for info in infos), name
    if name == "duplicate":
        assert [info.filename for info in infos].count(MODEL_NAME) == 2, name


def main(arguments):
    if len(arguments) != 1:
        print(__doc__.strip().splitlines()[2], file=sys.stderr)
        return 2
    folder = arguments[0]
    with open(os.path.join(folder, "plain.3mf"), "wb") as file:
        file.write(with_zipfile(PARTS))
    for name, data in forms().items():
        check(name, data)
        with open(os.path.join(folder, name + ".3mf"), "wb") as file:
            file.write(data)
        print(name + ".3mf")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
