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


def described_objects(root):
    """(name, type) of each object element of a model part, by id."""
    found = {}
    for resources in (e for e in root if local(e.tag) == "resources"):
        for element in (e for e in resources if local(e.tag) == "object"):
            kind = element.get("type", "model")
            found[element.get("id")] = (element.get("name", ""), kind if kind in TYPES else "model")
    return found


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
        tree = xml.etree.ElementTree.fromstring(archive.read(meshes.archive_name(root.name)))
        picture = thumbnail(archive)
        names = {}
        for key, model in package.parts.items():
            entry = meshes.archive_name(model.name)
            if entry in archive.namelist():
                names[key] = described_objects(xml.etree.ElementTree.fromstring(archive.read(entry)))
    metadata = {}
    for element in (e for e in tree if local(e.tag) == "metadata" and e.get("name") is not None):
        metadata[element.get("name")] = element.text or ""
    objects = {}
    for key, model in package.parts.items():
        for obj in model.objects:
            name, kind = names.get(key, {}).get(str(obj.ident), ("", "model"))
            placed = []
            for target, part, ident, rows in obj.components:
                if target is None and part is not None:
                    target = package.object(part, ident)
                if target is not None:
                    placed.append((meshes.part_key(target.model.name), target.ident, matrix(rows, factor)))
            points = None if obj.mesh is None else obj.mesh.points
            objects[(key, obj.ident)] = (name, kind, points, placed)
    items = []
    for ident, part, rows in root.items:
        found = package.object(part, ident)
        if found is not None:
            items.append((meshes.part_key(found.model.name), ident, matrix(rows, factor)))
    return {
        "unit": tree.get("unit", "millimeter"),
        "metadata": metadata,
        "objects": objects,
        "items": items,
        "thumbnail": picture,
    }
