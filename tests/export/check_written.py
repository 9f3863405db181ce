#!/usr/bin/env python3
"""A strict check of a written 3MF file, with the standard library alone.

Usage: check_written.py FILE.3mf

Knows nothing of the writer's code: it holds the file to what a published
reader asks of it. Every entry's CRC; every XML part well-formed; every part
typed by [Content_Types].xml; every relationship target present; and in each
model part: units, declared required extensions, unique resource ids, object
types, every reference (pid, pindex, p1-p3, texid, objectid, path, v1-v3)
resolving within its part, colours in #RRGGBB(AA), texture images present and
related, and published beam lattices with a positive radius and minlength and
a published cap mode. Build items may not place an object of type "other".

Prints one line per object of the root model, in document order: its vertex
and triangle counts ("vertices triangles"), or "bin" for mesh data in the
binary part. Exits non-zero with the first violation.
"""

import math
import posixpath
import re
import sys
import xml.etree.ElementTree as ElementTree
import zipfile

CORE = "http://schemas.microsoft.com/3dmanufacturing/core/2015/02"
MATERIAL = "http://schemas.microsoft.com/3dmanufacturing/material/2015/02"
PRODUCTION = "http://schemas.microsoft.com/3dmanufacturing/production/2015/06"
BEAMS = "http://schemas.microsoft.com/3dmanufacturing/beamlattice/2017/02"
RELS = "http://schemas.openxmlformats.org/package/2006/relationships"
TYPES = "http://schemas.openxmlformats.org/package/2006/content-types"
TEXTURE_REL = "http://schemas.microsoft.com/3dmanufacturing/2013/01/3dtexture"
START_REL = "http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel"

UNITS = {"micron", "millimeter", "centimeter", "inch", "foot", "meter"}
OBJECT_TYPES = {"model", "solidsupport", "support", "surface", "other"}
CAPS = {"sphere", "hemisphere", "butt"}
CLIPPING = {"none", "inside", "outside"}
COLOUR = re.compile(r"#[0-9A-Fa-f]{6}([0-9A-Fa-f]{2})?$")
# ST_Number of 3MF core.
NUMBER = re.compile(r"[+-]?((\d+(\.\d+)?)|(\.\d+))([eE][+-]?\d+)?$")


class Invalid(Exception):
    pass


def q(namespace, name):
    return "{%s}%s" % (namespace, name)


def number(element, name, where, positive=False, required=True):
    text = element.get(name)
    if text is None:
        if required:
            raise Invalid("%s: %s is missing" % (where, name))
        return None
    if not NUMBER.match(text.strip()) or not math.isfinite(float(text)):
        raise Invalid("%s: %s=%r is no number" % (where, name, text))
    value = float(text)
    if positive and not value > 0:
        raise Invalid("%s: %s=%r must be positive" % (where, name, text))
    return value


def index(element, name, count, where, required=True):
    text = element.get(name)
    if text is None:
        if required:
            raise Invalid("%s: %s is missing" % (where, name))
        return None
    if not re.match(r"\d+$", text) or int(text) >= count:
        raise Invalid("%s: %s=%r is not an index below %d" % (where, name, text, count))
    return int(text)


def transform(element, where):
    text = element.get("transform")
    if text is not None:
        values = text.split()
        if len(values) != 12 or not all(NUMBER.match(v) for v in values):
            raise Invalid("%s: transform %r is not 12 numbers" % (where, text))


def part_name(name):
    return "/" + name.lstrip("/")


def rels_of(archive, part):
    folder, base = posixpath.split(part.lstrip("/"))
    name = posixpath.join(folder, "_rels", base + ".rels")
    if name not in archive.namelist():
        return []
    root = ElementTree.fromstring(archive.read(name))
    return [(r.get("Target"), r.get("Type")) for r in root.iter(q(RELS, "Relationship"))]


class ModelPart:
    """The resources of one model part, checked, with their sizes."""

    def __init__(self, archive, name):
        self.name = name
        self.root = ElementTree.fromstring(archive.read(name.lstrip("/")))
        self.sizes = {}  # resource id -> (kind, number of entries)
        self.objects = {}  # object id -> element
        self.where = name

    def check_root(self):
        root = self.root
        if root.tag != q(CORE, "model"):
            raise Invalid("%s: root element %s is not the core model" % (self.where, root.tag))
        unit = root.get("unit", "millimeter")
        if unit not in UNITS:
            raise Invalid("%s: unit %r" % (self.where, unit))

    def collect(self, text):
        """Ids and sizes of every resource; needs the raw text for prefixes."""
        for prefix in self.root.get("requiredextensions", "").split():
            if not re.search(r'xmlns:%s="' % re.escape(prefix), text):
                raise Invalid("%s: required extension prefix %r is not declared" % (self.where, prefix))
        resources = self.root.find(q(CORE, "resources"))
        if resources is None:
            raise Invalid("%s: no resources" % self.where)
        for element in resources:
            rid = element.get("id")
            if rid is None:
                continue
            if not re.match(r"[1-9]\d*$", rid):
                raise Invalid("%s: resource id %r is not a positive integer" % (self.where, rid))
            if int(rid) in self.sizes:
                raise Invalid("%s: resource id %s twice" % (self.where, rid))
            self.sizes[int(rid)] = (element.tag, len(list(element)))
            if element.tag == q(CORE, "object"):
                self.objects[int(rid)] = element
        return resources

    def check_group(self, pid, where):
        if not re.match(r"\d+$", pid or "") or int(pid) not in self.sizes:
            raise Invalid("%s: pid %r names no resource of its part" % (where, pid))
        kind, size = self.sizes[int(pid)]
        if kind == q(CORE, "object"):
            raise Invalid("%s: pid %s names an object" % (where, pid))
        return size


def check_materials(archive, model, resources):
    related = {part_name(t) for t, kind in rels_of(archive, model.name) if kind == TEXTURE_REL}
    names = {part_name(n) for n in archive.namelist()}
    for element in resources:
        where = "%s: %s %s" % (model.name, element.tag.split("}")[1], element.get("id"))
        if element.tag == q(MATERIAL, "colorgroup"):
            for colour in element:
                if not COLOUR.match(colour.get("color", "")):
                    raise Invalid("%s: colour %r" % (where, colour.get("color")))
        elif element.tag == q(CORE, "basematerials"):
            for base in element:
                if base.get("name") is None or not COLOUR.match(base.get("displaycolor", "")):
                    raise Invalid("%s: base material %r" % (where, base.attrib))
        elif element.tag == q(MATERIAL, "texture2d"):
            path = part_name(element.get("path", ""))
            if path not in names:
                raise Invalid("%s: image %s is not in the package" % (where, path))
            if path not in related:
                raise Invalid("%s: image %s has no texture relationship from its part" % (where, path))
            if element.get("contenttype") not in ("image/png", "image/jpeg"):
                raise Invalid("%s: content type %r" % (where, element.get("contenttype")))
        elif element.tag == q(MATERIAL, "texture2dgroup"):
            texid = element.get("texid", "")
            if not re.match(r"\d+$", texid) or model.sizes.get(int(texid), ("",))[0] != q(MATERIAL, "texture2d"):
                raise Invalid("%s: texid %r names no texture of its part" % (where, texid))
            for coordinate in element:
                number(coordinate, "u", where)
                number(coordinate, "v", where)
        elif element.tag == q(MATERIAL, "multiproperties"):
            for pid in element.get("pids", "").split():
                model.check_group(pid, where)


def check_lattice(lattice, vertices, where):
    number(lattice, "minlength", where, positive=True)
    number(lattice, "radius", where, positive=True)
    if lattice.get("cap", "sphere") not in CAPS:
        raise Invalid("%s: cap %r" % (where, lattice.get("cap")))
    if lattice.get("clippingmode", "none") not in CLIPPING:
        raise Invalid("%s: clippingmode %r" % (where, lattice.get("clippingmode")))
    beams = lattice.find(q(BEAMS, "beams"))
    for beam in [] if beams is None else beams:
        index(beam, "v1", vertices, where + " beam")
        index(beam, "v2", vertices, where + " beam")
        number(beam, "r1", where + " beam", positive=True, required=False)
        number(beam, "r2", where + " beam", positive=True, required=False)
        for cap in ("cap1", "cap2"):
            if beam.get(cap, "sphere") not in CAPS:
                raise Invalid("%s beam: %s %r" % (where, cap, beam.get(cap)))


def check_mesh(model, obj, mesh, where):
    """Counts of an XML mesh, or None for mesh data in the binary part."""
    vertices = mesh.find(q(CORE, "vertices"))
    triangles = mesh.find(q(CORE, "triangles"))
    if vertices is None or triangles is None:
        raise Invalid("%s: the mesh lacks vertices or triangles" % where)
    if vertices.find(q(CORE, "bin")) is not None:
        # The vendor's binary form: the records are in the binary part.
        return None
    for vertex in vertices:
        # The common case at speed; number() says what is wrong otherwise.
        texts = (vertex.get("x"), vertex.get("y"), vertex.get("z"))
        if None in texts or not all(NUMBER.match(t) for t in texts):
            for axis in "xyz":
                number(vertex, axis, where + " vertex")
    count = len(vertices)
    default_pid = obj.get("pid")
    default_size = model.check_group(default_pid, where) if default_pid is not None else None
    if default_size is not None:
        index(obj, "pindex", default_size, where)
    for triangle in triangles:
        try:
            fine = all(0 <= int(triangle.get(c)) < count for c in ("v1", "v2", "v3"))
        except (TypeError, ValueError):
            fine = False
        if not fine:
            for corner in ("v1", "v2", "v3"):
                index(triangle, corner, count, where + " triangle")
        pid = triangle.get("pid", default_pid)
        if pid is not None and any(triangle.get(p) is not None for p in ("p1", "p2", "p3")):
            size = model.check_group(pid, where + " triangle")
            for corner in ("p1", "p2", "p3"):
                index(triangle, corner, size, where + " triangle", required=False)
    lattice = mesh.find(q(BEAMS, "beamlattice"))
    if lattice is not None:
        check_lattice(lattice, count, where + " beamlattice")
    return "%d %d" % (count, len(triangles))


def find_object(models, part, objectid, where):
    model = models.get(part_name(part))
    if model is None:
        raise Invalid("%s: path %s is no model part" % (where, part))
    if not re.match(r"\d+$", objectid or "") or int(objectid) not in model.objects:
        raise Invalid("%s: objectid %r is no object of %s" % (where, objectid, part))
    return model.objects[int(objectid)]


def check(path):
    archive = zipfile.ZipFile(path)
    bad = archive.testzip()
    if bad is not None:
        raise Invalid("bad CRC in " + bad)
    names = archive.namelist()
    texts = {}
    for name in names:
        if name.endswith((".xml", ".rels", ".model")):
            texts[name] = archive.read(name).decode("utf-8")
            ElementTree.fromstring(texts[name])
    types = ElementTree.fromstring(texts["[Content_Types].xml"])
    defaults = {d.get("Extension").lower() for d in types.iter(q(TYPES, "Default"))}
    overrides = {part_name(o.get("PartName")) for o in types.iter(q(TYPES, "Override"))}
    for name in names:
        base = posixpath.basename(name)
        extension = base.rsplit(".", 1)[1].lower() if "." in base else ""
        if name != "[Content_Types].xml" and extension not in defaults and part_name(name) not in overrides:
            raise Invalid("%s has no content type" % name)
    for name in names:
        if name.endswith(".rels"):
            folder = posixpath.dirname(posixpath.dirname(name))
            for target, _ in rels_of(archive, posixpath.join(folder, posixpath.basename(name)[:-5])):
                resolved = target if target.startswith("/") else "/" + posixpath.join(folder, target)
                if resolved.lstrip("/") not in names:
                    raise Invalid("%s names %s, which is not in the package" % (name, target))
    start = [t for t, kind in rels_of(archive, "") if kind == START_REL]
    if len(start) != 1:
        raise Invalid("the package has %d start parts" % len(start))

    models = {part_name(n): ModelPart(archive, n) for n in names if n.endswith(".model")}
    resources = {}
    for name, model in models.items():
        model.check_root()
        resources[name] = model.collect(texts[name.lstrip("/")])
    lines = []
    root = part_name(start[0])
    for name, model in models.items():
        check_materials(archive, model, resources[name])
        for oid, obj in model.objects.items():
            where = "%s: object %d" % (name, oid)
            if obj.get("type", "model") not in OBJECT_TYPES:
                raise Invalid("%s: type %r" % (where, obj.get("type")))
            mesh = obj.find(q(CORE, "mesh"))
            components = obj.find(q(CORE, "components"))
            if (mesh is None) == (components is None):
                raise Invalid("%s: needs a mesh or components, not both" % where)
            if mesh is not None:
                counts = check_mesh(model, obj, mesh, where)
                if name == root:
                    lines.append(counts or "bin")
            for component in [] if components is None else components:
                find_object(models, component.get(q(PRODUCTION, "path"), name), component.get("objectid"), where)
                transform(component, where)
    build = models[root].root.find(q(CORE, "build"))
    # With the production extension required, the build, its items, the
    # objects and the components bear UUIDs.
    required = models[root].root.get("requiredextensions", "").split()
    if any(re.search(r'xmlns:%s="%s"' % (re.escape(p), re.escape(PRODUCTION)), texts[root.lstrip("/")])
           for p in required):
        uuid = q(PRODUCTION, "UUID")
        bearers = [("build", build)] + [("build item", item) for item in ([] if build is None else build)]
        for name, model in models.items():
            bearers += [("%s: object %d" % (name, oid), obj) for oid, obj in model.objects.items()]
            bearers += [("%s: component" % name, c) for c in model.root.iter(q(CORE, "component"))]
        for where, element in bearers:
            if element is None or not re.match(r"[0-9A-Fa-f]{8}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-"
                                               r"[0-9A-Fa-f]{12}$", element.get(uuid, "")):
                raise Invalid("%s: the production extension is required, but p:UUID is %r"
                              % (where, None if element is None else element.get(uuid)))
    for item in [] if build is None else build:
        where = "%s: build item" % root
        target = find_object(models, item.get(q(PRODUCTION, "path"), root), item.get("objectid"), where)
        if target.get("type", "model") == "other":
            raise Invalid("%s: places object %s of type other" % (where, item.get("objectid")))
        transform(item, where)
    return lines


if __name__ == "__main__":
    try:
        for line in check(sys.argv[1]):
            print(line)
    except Invalid as problem:
        sys.exit("invalid: %s" % problem)
