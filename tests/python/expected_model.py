"""What ond3mf.load is expected to give for a 3MF file, worked out with the
standard library alone: the build items (object and transform), the objects of
every model part (name, type, whether it has a mesh, its points) with their
components, the root model's metadata and unit word, and the thumbnail's bytes.

The parts, objects, components and items are those that
tests/import/expected_meshes.py reads with the importer's rules; names, types,
metadata and the unit are read here from the same XML with ElementTree.
Transforms are 4 x 4 in millimetres: the translation in the unit of the root
part, as placing the objects converts it.
"""

import importlib.util
import pathlib
import xml.etree.ElementTree
import xml.parsers.expat
import zipfile

_spec = importlib.util.spec_from_file_location(
    "expected_meshes", pathlib.Path(__file__).resolve().parents[1] / "import" / "expected_meshes.py")
meshes = importlib.util.module_from_spec(_spec)
_spec.loader.exec_module(meshes)

ReadFailed = meshes.ReadFailed
THUMBNAIL = "http://schemas.openxmlformats.org/package/2006/relationships/metadata/thumbnail"
TYPES = ("model", "support", "solidsupport", "other")


def local(tag):
    return tag.rpartition("}")[2]


def matrix(rows, factor):
    """The oracle's 3 x 4 rows as 4 x 4, translation in millimetres."""
    return tuple(tuple(v * factor if c == 3 else v for c, v in enumerate(row)) for row in rows) + ((0, 0, 0, 1),)


class Described:
    """The root's metadata and the (name, type) of each object by id, read
    with expat without namespaces: some writers use prefixes they never bind."""

    def __init__(self, data):
        self.unit = "millimeter"
        self.metadata = {}
        self.objects = {}
        # The build's items in order: object id, printable (bool or None), partnumber.
        self.items = []
        self.path = []
        self.text = None
        parser = xml.parsers.expat.ParserCreate()
        parser.StartElementHandler = self.start
        parser.EndElementHandler = self.end
        parser.CharacterDataHandler = self.characters
        try:
            parser.Parse(data, True)
        except xml.parsers.expat.ExpatError:
            pass  # what was read up to the fault stays, as in the library

    def start(self, tag, attrs):
        self.path.append(local(tag.rpartition(":")[2]))
        if len(self.path) == 1:
            self.unit = attrs.get("unit", "millimeter")
        elif self.path[1:] == ["metadata"] and "name" in attrs:
            self.text = (attrs["name"], [])
        elif self.path[1:] == ["resources", "object"]:
            kind = attrs.get("type", "model")
            self.objects[attrs.get("id")] = (attrs.get("name", ""), kind if kind in TYPES else "model")
        elif self.path[1:] == ["build", "item"]:
            printable = {"1": True, "true": True, "0": False, "false": False}.get(attrs.get("printable"))
            self.items.append((attrs.get("objectid"), printable, attrs.get("partnumber")))

    def characters(self, data):
        if self.text is not None:
            self.text[1].append(data)

    def end(self, _tag):
        if self.text is not None and len(self.path) == 2:
            self.metadata[self.text[0]] = "".join(self.text[1])
            self.text = None
        self.path.pop()


def thumbnail(archive):
    if "_rels/.rels" not in archive.namelist():
        return None
    relationships = xml.etree.ElementTree.fromstring(archive.read("_rels/.rels"))
    for relationship in relationships:
        if relationship.get("Type") == THUMBNAIL:
            entry = meshes.archive_name(relationship.get("Target", ""))
            return archive.read(entry) if entry in archive.namelist() else None
    return None


def expected_model(path):
    """A dict: unit, metadata, objects ((part, id) -> name, type, points or
    None, components as [(part, id, transform)]), items [(part, id,
    transform)] and thumbnail. Raises ReadFailed where the read should fail."""
    package = meshes.read_package(path)
    root = package.root
    factor = root.factor
    with zipfile.ZipFile(path) as archive:
        picture = thumbnail(archive)
        names = {}
        for key, model in package.parts.items():
            entry = meshes.archive_name(model.name)
            names[key] = Described(archive.read(entry) if entry in archive.namelist() else b"")
    top = names[meshes.part_key(root.name)]
    objects = {}
    for key, model in package.parts.items():
        for obj in model.objects:
            name, kind = names[key].objects.get(str(obj.ident), ("", "model"))
            placed = []
            for target, part, ident, rows in obj.components:
                if target is None and part is not None:
                    target = package.object(part, ident)
                if target is not None:
                    placed.append((meshes.part_key(target.model.name), target.ident, matrix(rows, factor)))
            points = None if obj.mesh is None else obj.mesh.points
            objects[(key, obj.ident)] = (name, kind, points, placed)
    items = []
    flags = []
    described = list(top.items)
    for ident, part, rows in root.items:
        found = package.object(part, ident)
        # The item's own attributes: the next item of the root that places it.
        at = next((n for n, item in enumerate(described) if item[0] == str(ident)), None)
        flag = described.pop(at)[1:] if at is not None else (None, None)
        if found is not None:
            items.append((meshes.part_key(found.model.name), ident, matrix(rows, factor)))
            flags.append(flag)
    return {
        "unit": top.unit,
        "metadata": top.metadata,
        "objects": objects,
        "items": items,
        "item_flags": flags,
        "thumbnail": picture,
    }
