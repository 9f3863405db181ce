#!/usr/bin/env python3
"""What the importer is expected to make of 3MF files, worked out without it.

Usage: expected_meshes.py [--beams | --paint [--triangles]] FILE.3mf...

Prints, for each file, one tab-separated line per output mesh:

    file  index  vertices  triangles  min-x  min-y  min-z  max-x  max-y  max-z
    coloured-triangles  textured-triangles  beams

with the bounding box in millimetres to three decimals, or "file<TAB>none"
when the file yields no mesh, or "file<TAB>error" when the read is expected
to fail. This is the format of `ond3mf-info --tsv`, so the two can be
compared line by line (the box within 0.001 mm).

With --beams, it prints instead one line per beam of each output mesh:

    file  index  v1  v2  diameter-1  diameter-2  cap-1  cap-2

with the vertex indices of the output mesh, the diameters in internal units
(0.1 micrometre) and the caps as numbers (1 hemisphere, 2 sphere, 3 butt, 0
none), the lattice's default cap filled in.

With --paint, the multi-material paint of slicer projects is read as the
importer reads it with the parts of slicer projects: where the package lists
filament colours (Metadata/project_settings.config, Metadata/Slic3r_PE.config),
each painted triangle ("paint_color", "slic3rpe:mmu_segmentation") of the
objects that the project's settings list is split into the leaves its paint
string gives, decoded here from the slicers' description of the encoding:
4-bit codes read from the end of the string, the low two bits the number of
split sides (0 for a leaf, whose high bits are its state, or 3 when the next
code holds the state minus 3), a split's high bits its special side, its
children following last child first. A midpoint is rounded toward zero on
the 0.1 micrometre grid of the mesh; a leaf of a triangle with area that
rounding leaves without area is left out, one it turned over is turned back.
A mesh with paint that is no paint string is read plain. The triangles column
then counts leaves; the colours are not those of the parts. With --triangles
it prints instead one line per triangle of each output mesh:

    file  index  x1  y1  z1  x2  y2  z2  x3  y3  z3  state

with the corners in internal units and the state of the paint (0 for an
unpainted triangle or leaf).

The rules it follows are the importer's, not those of the 3MF standard where
the two differ: one mesh per build item with geometry, an item's object with
its components merged into one mesh; points are never merged, so every
vertex element read is a point and every triangle on three distinct points is
a triangle; elements are matched by the same names and the same attribute
parsing; an element the reader declines is skipped with all it contains;
property groups and objects must stand before what refers to them, except
an object that a component names in another model part ("path"), which is
looked up when all parts are read; each model part is read once, however
often and from wherever it is named; an item or component that finds no
object adds nothing, and components that form a cycle fail the read; a
default namespace that isn't the core one while a prefix is bound to the
core (old Cura projects) reads as the core; a coordinate is rounded to the 0.1 micrometre grid of the mesh in
the unit of its own part, while the translation of a build transform is
converted with the unit of the root part.

Standard library only.
"""

import json
import math
import re
import struct
import sys
import xml.etree.ElementTree
import xml.parsers.expat
import zipfile
import zlib

NS_CORE_2015 = "http://schemas.microsoft.com/3dmanufacturing/core/2015/02"
NS_CORE_2013 = "http://schemas.microsoft.com/3dmanufacturing/2013/01"
NS_MATERIAL = "http://schemas.microsoft.com/3dmanufacturing/material/2015/02"
NS_PRODUCTION = "http://schemas.microsoft.com/3dmanufacturing/production/2015/06"
NS_DISPLACEMENT = "http://schemas.ondsdk.com/3dmanufacturing/displacementtextures/2017/03"
NS_BEAMS = "http://schemas.microsoft.com/3dmanufacturing/beamlattice/2017/02"
NS_BEAMS_VENDOR = "http://schemas.ondsdk.com/3dmanufacturing/beamlattice/2017/02"
CAPS = {"sphere": 2, "butt": 3}  # any other text is a hemisphere, 1

UNITS = {
    "micron": 0.001,
    "millimeter": 1.0,
    "centimeter": 10.0,
    "meter": 1000.0,
    "foot": 304.8,
    "inch": 25.4,
}
UNITS_PER_MM = 10000.0
INT32_MIN, INT32_MAX = -(2**31), 2**31 - 1
# The material colour of a mesh that nobody coloured.
DEFAULT_MATERIAL = 0x00C0C0C0
IDENTITY = ((1.0, 0.0, 0.0, 0.0), (0.0, 1.0, 0.0, 0.0), (0.0, 0.0, 1.0, 0.0))


class ReadFailed(Exception):
    """The importer is expected to report a failed read for this file."""


# --- Attribute text, parsed as the reader parses it -------------------------

_XML_BLANKS = " \t\n\r"
_STRICT_FLOAT = re.compile(
    r"-?(?:(?:\d+\.?\d*|\.\d+)(?:[eE][+-]?\d+)?|inf(?:inity)?|nan)\Z", re.IGNORECASE
)
_STRICT_INT = re.compile(r"-?\d+\Z")
_STREAM_FLOAT = re.compile(r"[+-]?(?:\d+\.?\d*|\.\d+)(?:[eE][+-]?\d+)?")


def _strip_sign(text):
    text = text.strip(_XML_BLANKS)
    if len(text) > 1 and text[0] == "+" and text[1] != "-":
        text = text[1:]
    return text


def strict_float(attrs, name):
    """A whole-text number (from_chars); None if absent, bad or out of range."""
    text = attrs.get(name)
    if text is None:
        return None
    text = _strip_sign(text)
    if not _STRICT_FLOAT.match(text):
        return None
    value = float(text)
    if math.isinf(value) and "inf" not in text.lower():
        return None  # overflow
    if value == 0.0 and re.search(r"[1-9]", re.split("[eE]", text)[0]):
        return None  # underflow
    return value


def strict_int(attrs, name):
    """A whole-text 32-bit integer; None if absent, bad or out of range."""
    text = attrs.get(name)
    if text is None:
        return None
    text = _strip_sign(text)
    if not _STRICT_INT.match(text):
        return None
    value = int(text)
    return value if INT32_MIN <= value <= INT32_MAX else None


def strict_int64(attrs, name):
    """The same for a 64-bit integer, without the range check."""
    text = attrs.get(name)
    if text is None or not _STRICT_INT.match(_strip_sign(text)):
        return None
    return int(_strip_sign(text))


def leading_unsigned(text):
    """The leading decimal digits, as a stream reads an unsigned number."""
    match = re.match(r"\s*(\d+)", text or "")
    return int(match.group(1)) if match else None


def _extract_int(text, at):
    """One `>> int` of a stream: (status, value, position after)."""
    while at < len(text) and text[at] in " \t\n\v\f\r":
        at += 1
    if at == len(text):
        return "end", None, at
    match = re.compile(r"[+-]?(\d*)").match(text, at)
    if not match.group(1):
        return "nodigit", 0, match.end()
    value = int(match.group(0))
    return "value", max(INT32_MIN, min(INT32_MAX, value)), match.end()


def reference_id(text, initial=-1):
    """A reference id: the leading integer, as a stream reads it; None for an
    absent attribute."""
    if text is None:
        return None
    status, value, _ = _extract_int(text, 0)
    return initial if status == "end" else value


def reference_list(text):
    """Blank-separated ids; trailing blanks add -1, a non-number 0 and stops."""
    values, at = [], 0
    while at < len(text):
        status, value, at = _extract_int(text, at)
        values.append(-1 if status == "end" else value)
        if status != "value":
            break
    return values


def prefixed(attrs, name, prefix):
    """The plain attribute, else the one with the part's prefix."""
    if name in attrs:
        return attrs[name]
    if prefix:
        return attrs.get(prefix + ":" + name)
    return None


def parse_transform(text):
    """Twelve numbers, column by column; anything short of that: identity."""
    if text is None:
        return IDENTITY
    values, at = [], 0
    for _ in range(12):
        while at < len(text) and text[at].isspace():
            at += 1
        match = _STREAM_FLOAT.match(text, at)
        if not match:
            return IDENTITY
        values.append(float(match.group(0)))
        at = match.end()
    return tuple(tuple(values[column * 3 + row] for column in range(4)) for row in range(3))


def decode_color(text):
    if not text or "#" not in text or text.index("#") != 0:
        return 0
    if len(text) not in (7, 9):
        raise ReadFailed("colour text of bad length: " + text)

    def pair(at):
        match = re.match(r"[0-9a-fA-F]{1,2}", text[at : at + 2])
        return int(match.group(0), 16) if match else 0

    return pair(5) << 16 | pair(3) << 8 | pair(1)


# --- Transformations ---------------------------------------------------------


def compose(parent, child):
    """parent x child of 3x4 matrices with an implied last row 0 0 0 1."""
    return tuple(
        tuple(
            sum(parent[r][k] * child[k][c] for k in range(3)) + (parent[r][3] if c == 3 else 0.0)
            for c in range(4)
        )
        for r in range(3)
    )


def to_int32(value):
    """Truncation to 32 bits after rounding half away from zero."""
    value += 0.5 if value >= 0 else -0.5
    if math.isnan(value) or not INT32_MIN <= value < INT32_MAX + 1:
        return INT32_MIN  # what the conversion gives on x86
    return int(value)


def saturate(value):
    """Rounding of a transformed coordinate: half away from zero, clamped."""
    if math.isnan(value):
        return 0
    value += 0.5 if value >= 0 else -0.5
    return int(max(INT32_MIN, min(INT32_MAX, value)))


# --- What a model part holds -------------------------------------------------


class Resource:
    """Anything a model part registers under an id."""

    ident = -1


class Group(Resource):
    def __init__(self, kind):
        self.kind = kind  # "base", "color", "texture" or "multi"
        self.values = []
        self.pids = []


class Texture(Resource):
    pass


class Mesh:
    """Points in internal units, triangles, and what colours them."""

    def __init__(self, material=DEFAULT_MATERIAL):
        self.points = []
        self.triangles = 0
        self.colours = {}  # triangle -> packed colour
        self.textured = {}  # triangle -> set of texture keys
        self.material = material
        self.properties = []  # (triangle, group, corner indices) until the end
        # (v1, v2, diameter 1, diameter 2, cap 1, cap 2); caps of 0 take the
        # mesh's default cap when the mesh is finished.
        self.beams = []
        self.default_cap = 0
        # With --paint: the points of each triangle, and the paint of those
        # that have it (triangle -> string), then the state of each triangle.
        self.corners = []
        self.paint = {}
        self.states = []


class Object(Resource):
    def __init__(self, model):
        self.model = model
        self.mesh = None
        self.group = None
        self.index = -1
        # (object or None, part name or None, object id, transform); the object
        # is looked up at once in the object's own part, later in another.
        self.components = []


class Model:
    def __init__(self, archive, name):
        self.archive = archive
        self.name = name
        self.factor = 1.0
        self.namespaces = []  # (prefix, uri) of the root element, first kept
        self.references = {}
        self.next_id = 1
        self.objects = []
        self.groups = {"base": [], "color": [], "texture": [], "multi": []}
        self.items = []  # (object id, path or None, transform)
        self.binary = b""  # the binary side part, for "bin" elements

    def register(self, item, ident):
        item.ident = self.next_id if ident == -1 else ident
        self.next_id = item.ident + 1
        self.references[item.ident] = item
        return item

    def prefix_of(self, uri):
        return next((prefix for prefix, known in self.namespaces if known == uri), "")

    def namespace_of(self, prefix):
        return next((uri for known, uri in self.namespaces if known == prefix), "")

    def property_group(self, ident):
        found = self.references.get(ident)
        return found if isinstance(found, Group) else None


def split(tag):
    """Prefix and local name, cut at the first colon."""
    prefix, colon, local = tag.partition(":")
    return (prefix, local) if colon else ("", tag)


# --- The handlers, one per element kind, on a stack as the reader keeps them --


class Reader:
    """Start tags go to the handler on top; one that declines an element gets
    nothing of its content; handlers pushed for an element go with its end."""

    def __init__(self, root):
        self.stack = [(root, 0)]
        self.open = []
        self.skipping = 0

    def push(self, handler):
        self.stack.append((handler, len(self.open)))

    def parent(self):
        return self.open[-2] if len(self.open) > 1 else None

    def start(self, tag, attrs):
        if self.skipping:
            self.skipping += 1
            return
        self.open.append(tag)
        height = len(self.stack)
        if not self.stack[-1][0].tag(tag, attrs, self):
            del self.stack[height:]
            if len(self.open) > 1:  # the document element is always read
                self.open.pop()
                self.skipping = 1

    def end(self, _tag):
        if self.skipping:
            self.skipping -= 1
            return
        while len(self.stack) > 1 and self.stack[-1][1] == len(self.open):
            self.stack.pop()
        self.open.pop()

    def parse(self, data):
        parser = xml.parsers.expat.ParserCreate()
        parser.StartElementHandler = self.start
        parser.EndElementHandler = self.end

        def refuse(*_):
            raise xml.parsers.expat.ExpatError("document type declarations are refused")

        parser.StartDoctypeDeclHandler = refuse
        try:
            parser.Parse(data, True)
        except xml.parsers.expat.ExpatError:
            pass  # what was read up to the fault stays, as in the library


class Decline:
    def tag(self, _tag, _attrs, _reader):
        return False


class ModelRead:
    def __init__(self, model):
        self.model = model

    def tag(self, tag, attrs, reader):
        model = self.model
        if tag == "model":
            for name, uri in attrs.items():
                if name == "xmlns" or name.startswith("xmlns:"):
                    prefix = name[6:]
                    if not any(known == uri for _, known in model.namespaces):
                        model.namespaces.append((prefix, uri))
            misplaced_core(model)
            model.factor = UNITS.get(attrs.get("unit", ""), 1.0)
            if "binary" in attrs:
                entry = archive_name(attrs["binary"])
                if entry in model.archive.namelist():
                    model.binary = model.archive.read(entry)
            return True
        if tag == "resources":
            reader.push(ResourcesRead(model))
            return True
        if tag == "build":
            reader.push(BuildRead(model))
            return True
        return False


def misplaced_core(model):
    """Cura's own namespace as the default, a prefix bound to the core: the
    default becomes the core."""
    cores = (NS_CORE_2015, NS_CORE_2013)
    default = model.namespace_of("")
    core = next((uri for prefix, uri in model.namespaces if uri in cores), None)
    if default and default not in cores and core is not None:
        kept = [(prefix, uri) for prefix, uri in model.namespaces if prefix and uri != core]
        model.namespaces = [("", core)] + kept


class BuildRead:
    def __init__(self, model):
        self.model = model
        self.prefix = model.prefix_of(NS_PRODUCTION)

    def tag(self, tag, attrs, reader):
        if tag == "metadatagroup":
            reader.push(Decline())
            return bool(self.model.items)
        if tag != "item":
            return False
        ident = reference_id(attrs.get("objectid"))
        if ident is not None:
            path = prefixed(attrs, "path", self.prefix) or None
            self.model.items.append((ident, path, parse_transform(attrs.get("transform"))))
        return True


class ResourcesRead:
    def __init__(self, model):
        self.model = model
        self.materials = MaterialsRead(model)

    def tag(self, tag, attrs, reader):
        if self.materials.tag(tag, attrs):
            return True
        if tag != "object":
            return False  # slice stacks, tool paths, vendor resources: skipped
        model = self.model
        obj = Object(model)
        model.objects.append(obj)
        ident = strict_int(attrs, "id")
        model.register(obj, -1 if ident is None else ident)
        group = reference_id(attrs.get("pid"))
        if group is not None:
            obj.group = model.references.get(group)
        pindex = strict_int(attrs, "pindex")
        if pindex is not None:
            obj.index = pindex
        if model.namespace_of("") == NS_CORE_2013:
            material = reference_id(attrs.get("materialid"))
            if material is not None:
                obj.group, obj.index = model.references.get(material), 0
        reader.push(ObjectRead(obj))
        return True


class MaterialsRead:
    def __init__(self, model):
        self.model = model
        self.prefix = model.prefix_of(NS_MATERIAL)

    def _new_group(self, kind, ident):
        group = self.model.register(Group(kind), ident)
        self.model.groups[kind].append(group)
        return group

    def _last(self, kind):
        """The group a value goes to: the last one opened of its kind."""
        groups = self.model.groups[kind]
        if not groups:
            warn("a %s value outside any group is ignored" % kind)
            return Group(kind)
        return groups[-1]

    def tag(self, tag, attrs):
        model = self.model
        prefix, name = split(tag)
        old_form = model.namespace_of(prefix) == NS_CORE_2013

        def text(key):
            return prefixed(attrs, key, self.prefix)

        ident = reference_id(text("id"))
        if name == "basematerials":
            ident = reference_id(attrs.get("id"))
            if ident is not None:
                self._new_group("base", ident)
            return ident is not None
        if name == "base":
            if "displaycolor" in attrs and "name" in attrs:
                self._last("base").values.append(decode_color(attrs["displaycolor"]))
            return True
        if name == "colorgroup":
            if ident is not None:
                self._new_group("color", ident)
            return ident is not None
        if name == "color" and old_form:
            if ident is None or text("value") is None:
                return False
            self._new_group("color", ident).values.append(decode_color(text("value")))
            return True
        if name == "color":
            if text("color") is not None:
                self._last("color").values.append(decode_color(text("color")))
            return True
        if name == "material" and old_form:
            if any(text(key) is None for key in ("id", "name", "colorid", "type")):
                return False
            colours = model.references.get(reference_id(text("colorid")))
            if not isinstance(colours, Group) or colours.kind != "color" or not colours.values:
                return False
            self._new_group("base", ident).values.append(colours.values[0])
            return True
        if name == "texture2d":
            if ident is not None:
                model.register(Texture(), ident)
            return ident is not None
        if name == "texture2dgroup":
            if ident is not None:
                self._new_group("texture", ident)
            return ident is not None
        if name == "tex2coord":
            self._last("texture").values.append((strict_float(attrs, "u"), strict_float(attrs, "v")))
            return True
        if name == "multiproperties":
            if ident is not None:
                self._new_group("multi", ident).pids = reference_list(text("pids") or "")
            return ident is not None
        if name == "multi":
            if text("pindices") is not None:
                self._last("multi").values.append(reference_list(text("pindices")))
            return True
        return False


class ObjectRead:
    def __init__(self, obj):
        self.obj = obj

    def tag(self, tag, attrs, reader):
        name = split(tag)[1]
        if name == "metadatagroup":
            reader.push(Decline())
            return True
        if name == "mesh":
            self.obj.mesh = Mesh()
            reader.push(MeshRead(self.obj))
            return True
        if name == "components":
            return True
        if name == "component":
            ident = reference_id(attrs.get("objectid"))
            if ident is not None:
                model = self.obj.model
                path = prefixed(attrs, "path", model.prefix_of(NS_PRODUCTION)) or None
                if path is not None and part_key(path) == part_key(model.name):
                    path = None
                found = model.references.get(ident) if path is None else None
                target = found if isinstance(found, Object) else None
                transform = parse_transform(attrs.get("transform"))
                self.obj.components.append((target, path, ident, transform))
        return False


class MeshRead:
    def __init__(self, obj):
        self.obj = obj
        self.model = obj.model
        self.mesh = obj.mesh

    def tag(self, tag, attrs, reader):
        prefix, name = split(tag)
        namespace = self.model.namespace_of(prefix)
        if namespace == NS_DISPLACEMENT:
            return self._read_displacement(name, attrs)
        if namespace not in (NS_CORE_2015, NS_CORE_2013, ""):
            if name != "beamlattice" or namespace not in (NS_BEAMS, NS_BEAMS_VENDOR):
                return False
            reader.push(BeamsRead(self.model, self.mesh, namespace, attrs))
            return True
        if name in ("vertices", "triangles"):
            return True
        if name == "vertex":
            coordinates = [strict_float(attrs, axis) for axis in ("x", "y", "z")]
            if None in coordinates:
                return False
            self._vertex(*coordinates)
            return True
        if name == "triangle":
            return self._read_triangle(attrs)
        if name == "bin":
            return self._read_bin(attrs, reader.parent())
        return False

    def _read_displacement(self, name, attrs):
        """Maps add no geometry; the elements that the reader takes let their
        content through to the mesh reader."""
        if name == "textures":
            return True
        if name != "texture" or None in (strict_float(attrs, "white"), strict_float(attrs, "black")):
            return False
        group = self.model.property_group(reference_id(attrs.get("texture2d_id")))
        return group is not None and group.kind == "texture"

    def _vertex(self, x, y, z):
        scale = self.model.factor
        self.mesh.points.append(tuple(to_int32(c * scale * UNITS_PER_MM) for c in (x, y, z)))

    def _triangle(self, v1, v2, v3):
        """The new triangle's number, or None when the mesh refuses it."""
        for index in (v1, v2, v3):
            if not 0 <= index < len(self.mesh.points):
                raise ReadFailed("a triangle names vertex %d of %d" % (index, len(self.mesh.points)))
        if v1 == v2 or v2 == v3 or v1 == v3:
            return None  # a point given twice
        if PAINT:
            self.mesh.corners.append((v1, v2, v3))
        self.mesh.triangles += 1
        return self.mesh.triangles - 1

    def _read_triangle(self, attrs):
        corners = [strict_int(attrs, key) for key in ("v1", "v2", "v3")]
        if None in corners:
            return False
        triangle = self._triangle(*corners)
        if PAINT and triangle is not None:
            code = attrs.get("paint_color") or attrs.get("slic3rpe:mmu_segmentation")
            if code:
                self.mesh.paint[triangle] = code
        pid = reference_id(attrs.get("pid"))
        if pid is None:
            pid = -1 if self.obj.group is None else self.obj.group.ident
        p1 = strict_int(attrs, "p1")
        group = self.model.property_group(pid)
        if triangle is None or pid == -1 or p1 is None or group is None:
            return True
        p2, p3 = (strict_int(attrs, key) for key in ("p2", "p3"))
        corners = (p1, p1 if p2 is None else p2, p1 if p3 is None else p3)
        self.mesh.properties.append((triangle, group, corners))
        return True

    def _read_bin(self, attrs, parent):
        pos, count = strict_int64(attrs, "pos"), leading_unsigned(attrs.get("count"))
        if pos is None or count is None or parent not in ("vertices", "triangles"):
            return False
        form = attrs.get("format", "")
        if parent == "vertices" and form == "float3":
            for x, y, z in struct.iter_unpack("<3f", records(self.model.binary, pos, count)):
                self._vertex(x, y, z)
        if parent == "triangles" and form in ("long3", "int32_3"):
            for v1, v2, v3 in struct.iter_unpack("<3i", records(self.model.binary, pos, count)):
                self._triangle(v1, v2, v3)
        return True


def records(data, pos, count):
    """The whole 12-byte records of a block that the side part holds."""
    block = data[pos : pos + count * 12] if pos >= 0 else b""
    return block[: len(block) // 12 * 12]


class BeamsRead:
    """The beams of one "beamlattice" element, in either dialect. A beam on a
    vertex that isn't there fails the read; one on a single vertex is not
    made; the published dialect drops beams shorter than "minlength"."""

    def __init__(self, model, mesh, namespace, attrs):
        self.model, self.mesh = model, mesh
        self.vendor = namespace == NS_BEAMS_VENDOR
        self.prefix = model.prefix_of(namespace)
        self.min_length = 1
        self.radius = -1.0
        minimum = self._float(attrs, "minlength")
        if minimum is not None:
            self.min_length = self._internal(minimum)
        if not self.vendor:
            cap = prefixed(attrs, "cap", self.prefix)
            if cap is not None:
                mesh.default_cap = CAPS.get(cap, 1)
            radius = self._float(attrs, "radius")
            if radius is not None:
                self.radius = radius

    def _float(self, attrs, name):
        value = strict_float(attrs, name)
        if value is None and self.prefix:
            value = strict_float(attrs, self.prefix + ":" + name)
        return value

    def _int(self, attrs, name):
        value = strict_int(attrs, name)
        if value is None and self.prefix:
            value = strict_int(attrs, self.prefix + ":" + name)
        return value

    def _internal(self, length):
        return saturate(length * UNITS_PER_MM * self.model.factor)

    def _diameter(self, radius):
        return max(INT32_MIN, min(INT32_MAX, 2 * self._internal(radius)))

    def tag(self, tag, attrs, _reader):
        name = split(tag)[1]
        if name == "beamgroup" and self.vendor:
            radius = self._float(attrs, "radius")
            self.radius = -1.0 if radius is None else radius
            return True
        if name == "beams" and not self.vendor:
            return True
        if name != "beam":
            return False
        v1, v2 = self._int(attrs, "v1"), self._int(attrs, "v2")
        if v1 is None or v2 is None:
            return True
        points = self.mesh.points
        for index in (v1, v2):
            if not 0 <= index < len(points):
                raise ReadFailed("a beam names vertex %d of %d" % (index, len(points)))
        if not self.vendor and math.dist(points[v1], points[v2]) < self.min_length:
            return True
        if v1 == v2:
            return True  # the host makes no edge on one point
        r1 = self._float(attrs, "r1")
        if r1 is None:
            d1 = d2 = self._diameter(self.radius)
        else:
            d1 = d2 = self._diameter(r1)
            r2 = self._float(attrs, "r2")
            if r2 is not None:
                d2 = self._diameter(r2)
        caps = [0, 0]
        if not self.vendor:
            for end, key in enumerate(("cap1", "cap2")):
                text = prefixed(attrs, key, self.prefix)
                if text is not None:
                    caps[end] = CAPS.get(text, 1)
        self.mesh.beams.append((v1, v2, d1, d2, caps[0], caps[1]))
        return True


# --- The end of the read: colours, textures, and the build -------------------


def finish_mesh(obj):
    """Default colour of the object, then the property of each triangle."""
    mesh, group = obj.mesh, obj.group
    if isinstance(group, Group) and group.kind in ("color", "base") and obj.index != -1:
        if 0 <= obj.index < len(group.values):
            mesh.material = group.values[obj.index]
    for triangle, group, corners in mesh.properties:
        assign(obj.model, mesh, triangle, group, corners, 0)
    mesh.properties = []
    default = mesh.default_cap
    mesh.beams = [(v1, v2, d1, d2, c1 or default, c2 or default) for v1, v2, d1, d2, c1, c2 in mesh.beams]


def assign(model, mesh, triangle, group, corners, depth):
    if group is None:
        return
    if group.kind in ("color", "base"):
        if 0 <= corners[0] < len(group.values):
            mesh.colours[triangle] = group.values[corners[0]]
        else:
            warn("colour index %d outside its group" % corners[0])
    elif group.kind == "texture":
        mesh.textured.setdefault(triangle, set()).add(id(group))
    elif group.kind == "multi" and depth < 16:
        for position, pid in enumerate(group.pids):
            indices = []
            for corner in corners:
                value = group.values[corner] if 0 <= corner < len(group.values) else []
                if position >= len(value):
                    warn("multi property index outside its group")
                    return
                indices.append(value[position])
            assign(model, mesh, triangle, model.property_group(pid), tuple(indices), depth + 1)


def warn(message):
    print("expected_meshes: undefined case, " + message, file=sys.stderr)


def transformed(mesh, matrix, root_factor):
    """A copy of the mesh with a build transform baked in."""
    copy = Mesh(mesh.material)
    copy.triangles = mesh.triangles
    copy.colours = dict(mesh.colours)
    copy.textured = {k: set(v) for k, v in mesh.textured.items()}
    copy.beams = list(mesh.beams)
    copy.corners, copy.states = list(mesh.corners), list(mesh.states)
    if matrix == IDENTITY:
        copy.points = list(mesh.points)
        return copy
    rows = [list(row) for row in matrix]
    for row in rows:
        row[3] = float(to_int32(row[3] * root_factor * UNITS_PER_MM))
    copy.points = [
        tuple(saturate(r[0] * x + r[1] * y + r[2] * z + r[3]) for r in rows) for x, y, z in mesh.points
    ]
    return copy


def append(target, source):
    """AddStl, after the source's material was made triangle colours."""
    if target.material != source.material:
        for triangle in range(source.triangles):
            source.colours.setdefault(triangle, source.material)
    offset = target.triangles
    first = len(target.points)
    target.beams.extend((v1 + first, v2 + first, *rest) for v1, v2, *rest in source.beams)
    target.points.extend(source.points)
    target.corners.extend((a + first, b + first, c + first) for a, b, c in source.corners)
    target.states.extend(source.states)
    target.triangles += source.triangles
    target.colours.update((offset + k, v) for k, v in source.colours.items())
    for k, v in source.textured.items():
        target.textured.setdefault(offset + k, set()).update(v)


def flatten(obj, matrix, root_factor, result, path, package, painted=None):
    """One build item: the object's mesh, then its components', in one mesh.
    With --paint, `painted` gives the mesh as it is to be taken."""
    if obj is None:
        return result
    if obj in path:
        raise ReadFailed("components form a cycle")
    if obj.mesh is not None:
        copy = transformed(obj.mesh if painted is None else painted(obj.mesh), matrix, root_factor)
        if result is None:
            result = copy
        else:
            append(result, copy)
    elif result is None:
        result = Mesh()
    for child, part, ident, transform in obj.components:
        if part is not None:
            child = package.object(part, ident)
        result = flatten(child, compose(matrix, transform), root_factor, result, path + (obj,), package, painted)
    return result


# --- The paint of slicer projects (--paint) -----------------------------------

PAINT = False
MAX_PAINT_DEPTH = 20
MAX_PAINT_DIGITS = 65536


class NotPaint(Exception):
    """A paint string that the slicers' encoding does not give."""


def midpoint(p, q):
    """Rounded toward zero, as the integer division of the reader rounds."""
    return tuple((abs(a + b) // 2) * (1 if a + b >= 0 else -1) for a, b in zip(p, q))


def split_by_paint(code, a, b, c):
    """The leaves of a painted triangle with corners a, b and c, in the order
    the string gives them: (p, q, r, state)."""
    if len(code) > MAX_PAINT_DIGITS:
        raise NotPaint("too long")
    try:
        codes = [int(digit, 16) for digit in reversed(code)]
    except ValueError as error:
        raise NotPaint(str(error)) from error
    taken = 0

    def take():
        nonlocal taken
        if taken == len(codes):
            raise NotPaint("ends early")
        taken += 1
        return codes[taken - 1]

    def leaves(p, q, r, depth):
        value = take()
        sides, special = value & 3, value >> 2
        if sides == 0:
            return [(p, q, r, special if special < 3 else take() + 3)]
        if depth == MAX_PAINT_DEPTH or (sides < 3 and special == 3):
            raise NotPaint("too deep or side 3")
        if sides == 3:
            pq, qr, rp = midpoint(p, q), midpoint(q, r), midpoint(r, p)
            children = [(p, pq, rp), (pq, q, qr), (qr, r, rp), (pq, qr, rp)]
        else:
            # The corners turned to start at the special side.
            u, v, w = [(p, q, r)[(special + k) % 3] for k in range(3)]
            if sides == 1:
                m = midpoint(v, w)
                children = [(u, v, m), (m, w, u)]
            else:
                uv, wu = midpoint(u, v), midpoint(w, u)
                children = [(u, uv, wu), (uv, v, wu), (v, w, wu)]
        found = []
        for child in reversed(children):
            found += leaves(*child, depth + 1)
        return found

    if not code:
        return [(a, b, c, 0)]
    found = leaves(a, b, c, 0)
    if taken != len(codes):
        raise NotPaint("digits beyond the subdivision")
    return found


def cross(p, q, r):
    u = [q[k] - p[k] for k in range(3)]
    v = [r[k] - p[k] for k in range(3)]
    return (u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0])


def painted_mesh(mesh, paint):
    """A copy of a mesh with every triangle and its state; with `paint`, the
    painted triangles as their leaves, which bring their midpoints along."""
    copy = Mesh(mesh.material)
    copy.points = list(mesh.points)
    copy.beams = list(mesh.beams)
    for triangle, corners in enumerate(mesh.corners):
        code = mesh.paint.get(triangle, "") if paint else ""
        if not code:
            copy.corners.append(corners)
            copy.states.append(0)
            continue
        a, b, c = (mesh.points[corner] for corner in corners)
        try:
            found = split_by_paint(code, a, b, c)
        except NotPaint:
            return painted_mesh(mesh, False)
        facing = cross(a, b, c)
        index = dict(zip((a, b, c), corners))
        for p, q, r, state in found:
            normal = cross(p, q, r)
            if facing != (0, 0, 0) and normal == (0, 0, 0):
                continue
            if sum(n * f for n, f in zip(normal, facing)) < 0:
                q, r = r, q
            leaf = []
            for point in (p, q, r):
                if point not in index:
                    index[point] = len(copy.points)
                    copy.points.append(point)
                leaf.append(index[point])
            copy.corners.append(tuple(leaf))
            copy.states.append(state)
    copy.triangles = len(copy.corners)
    return copy


def project_paint(path):
    """The ids of the root objects that a project lists, when its paint is
    read (the package lists filament colours), else None."""
    with zipfile.ZipFile(path) as archive:
        names = archive.namelist()

        def text(name):
            return archive.read(name).decode("utf-8", "replace") if name in names else None

        colours = []
        bambu = text("Metadata/project_settings.config")
        prusa = text("Metadata/Slic3r_PE.config")
        if bambu is not None:
            try:
                colours = json.loads(bambu).get("filament_colour") or []
            except (ValueError, AttributeError):
                colours = []
        elif prusa is not None:
            for line in prusa.splitlines():
                if line.startswith("; filament_colour = "):
                    colours = line[len("; filament_colour = ") :].split(";")
        if not colours:
            return None
        objects = text("Metadata/model_settings.config") or text("Metadata/Slic3r_PE_model.config")
        listed = set()
        if objects is not None:
            try:
                root = xml.etree.ElementTree.fromstring(objects)
            except xml.etree.ElementTree.ParseError:
                return listed
            listed = {int(obj.get("id", "-1")) for obj in root if obj.tag == "object"}
        return listed


# --- The package ------------------------------------------------------------


def archive_name(part):
    part = part.replace("\\", "/")
    return part[1:] if part.startswith("/") else part


def part_key(name):
    """Names of one part, with or without the leading slash, compare equal."""
    return archive_name(name)


def read_model(archive, name):
    """A model part; one that isn't in the archive reads as empty."""
    model = Model(archive, name)
    entry = archive_name(name)
    if entry in archive.namelist():
        Reader(ModelRead(model)).parse(archive.read(entry))
    return model


class RelationshipsRead:
    def __init__(self):
        self.targets = []

    def tag(self, tag, attrs, _reader):
        if tag != "Relationship":
            return False
        self.targets.append(attrs.get("Target", ""))
        return True


def root_model_name(archive):
    """The first relationship target ending in ".model", else the first one."""
    relationships = RelationshipsRead()
    if "_rels/.rels" in archive.namelist():
        Reader(relationships).parse(archive.read("_rels/.rels"))
    for target in relationships.targets:
        leaf = target.replace("\\", "/").rpartition("/")[2]
        if leaf not in (".", "..") and "." in leaf and leaf[leaf.rindex(".") :] == ".model":
            return target
    return relationships.targets[0] if relationships.targets else None


class Package:
    """The model parts: the root and every part that a build item or a
    component of a part read names, each read once."""

    def __init__(self, archive, root_name):
        self.parts = {}
        self.root = self._read(archive, root_name)
        pending = [self.root]
        while pending:
            model = pending.pop(0)
            named = [part for _, part, _ in model.items]
            named += [component[1] for obj in model.objects for component in obj.components]
            for part in named:
                if part is not None and part_key(part) not in self.parts:
                    pending.append(self._read(archive, part))

    def _read(self, archive, name):
        model = read_model(archive, name)
        self.parts[part_key(name)] = model
        return model

    def object(self, part, ident):
        """The object of that id in that part, or None."""
        model = self.root if part is None else self.parts[part_key(part)]
        found = model.references.get(ident)
        return found if isinstance(found, Object) else None


def read_package(path):
    """The root model and the model parts it leads to."""
    try:
        with zipfile.ZipFile(path) as archive:
            name = root_model_name(archive)
            if name is None:
                raise ReadFailed("root model not found")
            return Package(archive, name)
    except (OSError, EOFError, zipfile.BadZipFile, zlib.error) as error:
        raise ReadFailed(str(error)) from error


def expected_meshes(path):
    package = read_package(path)
    for model in package.parts.values():
        for obj in model.objects:
            if obj.mesh is not None:
                finish_mesh(obj)
    listed = project_paint(path) if PAINT else None
    copies = {}

    def painted(paint):
        def copy(mesh):
            if (id(mesh), paint) not in copies:
                copies[(id(mesh), paint)] = painted_mesh(mesh, paint)
            return copies[(id(mesh), paint)]

        return copy

    meshes = []
    for ident, part, matrix in package.root.items:
        found = package.object(part, ident)
        paint = listed is not None and part is None and ident in listed
        taken = painted(paint) if PAINT else None
        mesh = flatten(found, matrix, package.root.factor, None, (), package, taken)
        if mesh is not None and mesh.points:
            meshes.append(mesh)
    return meshes


def describe(path, meshes):
    if not meshes:
        return [path + "\tnone"]
    lines = []
    for index, mesh in enumerate(meshes):
        low = [min(p[axis] for p in mesh.points) / UNITS_PER_MM for axis in range(3)]
        high = [max(p[axis] for p in mesh.points) / UNITS_PER_MM for axis in range(3)]
        fields = [path, str(index), str(len(mesh.points)), str(mesh.triangles)]
        fields += ["%.3f" % value for value in low + high]
        fields += [str(len(mesh.colours)), str(len(mesh.textured)), str(len(mesh.beams))]
        lines.append("\t".join(fields))
    return lines


def describe_triangles(path, meshes):
    return [
        "\t".join([path, str(index)] + [str(c) for corner in corners for c in mesh.points[corner]] + [str(state)])
        for index, mesh in enumerate(meshes)
        for corners, state in zip(mesh.corners, mesh.states)
    ]


def describe_beams(path, meshes):
    return [
        "\t".join([path, str(index)] + [str(value) for value in beam])
        for index, mesh in enumerate(meshes)
        for beam in mesh.beams
    ]


def main(arguments):
    global PAINT
    beams = arguments[:1] == ["--beams"]
    PAINT = arguments[:1] == ["--paint"]
    triangles = PAINT and arguments[1:2] == ["--triangles"]
    arguments = arguments[1 + triangles :] if beams or PAINT else arguments
    if not arguments:
        print(__doc__.strip().splitlines()[2], file=sys.stderr)
        return 2
    show = describe_beams if beams else describe_triangles if triangles else describe
    failed = False
    for path in arguments:
        try:
            lines = show(path, expected_meshes(path))
        except ReadFailed as error:
            print("expected_meshes: %s: read fails: %s" % (path, error), file=sys.stderr)
            lines, failed = [path + "\terror"], True
        print("\n".join(lines))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
