"""ond3mf.Project against Python's standard library: each edit of a shared
slicer project changes what it says in the package's JSON, XML and settings
text (zipfile, json, xml.etree, re) and no other entry's stored bytes, and the
project read again shows it; bad edits and broken projects get their
exception or warning and write nothing."""

import collections
import errno
import json
import os
import re
import struct
import xml.etree.ElementTree as ET
import zipfile
import zlib

import numpy as np
import pytest

import ond3mf
from test_ond3mf import AS_ROOT, TESTDATA, quietly

COIN, CHEST, ORCA, QIDI, PRUSA = ("bambu-multicolor-test-coin.3mf", "bambu-painted-chest.3mf",
                                  "orcaslicer-modifierGroup.3mf", "qidi-flowrate-test-pass2.3mf",
                                  "prusaslicer-seam_test_object.3mf")
CORE = "{http://schemas.microsoft.com/3dmanufacturing/core/2015/02}"
MODEL, CONFIG, SETTINGS = "3D/3dmodel.model", "Metadata/model_settings.config", "Metadata/project_settings.config"
PRUSA_SETTINGS, PRUSA_CONFIG = "Metadata/Slic3r_PE.config", "Metadata/Slic3r_PE_model.config"


def shared(name):
    path = TESTDATA / "realworld" / name
    if not path.is_file():
        if os.environ.get("CI") == "true":
            pytest.fail("the shared project is missing: " + str(path))
        pytest.skip("no shared project " + str(path))
    return path


# The oracles: what the package holds, read by Python's standard library.
def stored(path):
    """Each entry as stored: what a save copies for an entry no edit touched."""
    with zipfile.ZipFile(path) as archive:
        return {i.filename: (i.CRC, i.file_size, i.compress_size) for i in archive.infolist()}


def entry(path, name):
    with zipfile.ZipFile(path) as archive:
        return archive.read(name)


def xml(path, name):
    return ET.fromstring(entry(path, name))


def model_head(path):
    """The root model's start and metadata, without its resources: a big
    model need not be parsed whole."""
    data = entry(path, MODEL)
    return ET.fromstring(data[:data.index(b"<resources")] + b"</model>")


def settings(path):
    return json.loads(entry(path, SETTINGS))


def prusa_settings(path):
    return dict(re.findall(r"^; (\w+) = (.*)$", entry(path, PRUSA_SETTINGS).decode(), re.M))


def model_objects(path):
    """The root model's object ids and its build items' object ids."""
    root = xml(path, MODEL)
    return ({o.get("id") for o in root.iter(CORE + "object")},
            [i.get("objectid") for i in root.iter(CORE + "item")])


def config_objects(path):
    """The model settings' objects by id, and the object ids the plates place."""
    root = xml(path, CONFIG)
    return ({o.get("id"): o for o in root.iter("object")},
            [m.get("value") for m in root.iter("metadata") if m.get("key") == "object_id"])


def key(element, name):
    return next((m.get("value") for m in element.findall("metadata") if m.get("key") == name), None)


def paint(code):
    """The filament of a whole-triangle paint code: "4" 1, "8" 2, then
    hex(n - 3) and "C"; None where the triangle has none."""
    if not code:
        return None
    return {"4": 1, "8": 2}.get(code) or (int(code[0], 16) + 3 if len(code) == 2 and code[1] == "C" else code)


def object_element(data, object_id):
    """One object of a model part, cut out of its bytes with the root's start
    tag (its namespaces) around it."""
    start = re.search(rb'<object id="%d"' % object_id, data).start()
    end = data.index(b"</object>", start) + len(b"</object>")
    return ET.fromstring(re.search(rb"<model[^>]*>", data).group() + data[start:end] + b"</model>")[0]


def png(width=2, height=2):
    def chunk(kind, body):
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))
    rows = b"".join(b"\0" + b"\x80\x40\x20" * width for _ in range(height))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)) +
            chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


def changed_copy(source, folder, name, data):
    """The project with one entry's bytes replaced, written by zipfile."""
    target = folder / ("changed-" + source.name)
    with zipfile.ZipFile(source) as a, zipfile.ZipFile(target, "w") as b:
        for info in a.infolist():
            b.writestr(info, data if info.filename == name else a.read(info))
    return target


def colours(mesh):
    """Each triangle's colour as "#RRGGBB", None where it has none."""
    if mesh.triangle_colors is None:
        return [None] * len(mesh.triangles)
    return ["#%02X%02X%02X" % tuple(c[0, :3]) for c in mesh.triangle_colors]


# What a project tells, as its settings and model settings say it.
@pytest.mark.parametrize("name, dialect", [(COIN, "bambu"), (CHEST, "bambu"), (ORCA, "orca"), (QIDI, "qidi"),
                                           (PRUSA, "prusa")])
def test_the_project_is_listed_as_the_package_says(name, dialect):
    source = shared(name)
    project = quietly(ond3mf.Project.open, source)
    assert project.dialect == dialect
    metadata = {m.get("name"): m.text or "" for m in model_head(source).findall(CORE + "metadata")}
    assert project.application == metadata["Application"] and project.metadata == metadata
    if dialect == "prusa":
        assert [f.colour for f in project.filaments] == prusa_settings(source)["filament_colour"].split(";")
        assert project.settings == prusa_settings(source)
        assert project.thumbnail() == entry(source, "Metadata/thumbnail.png")
        return
    held = settings(source)
    assert [(f.index, f.colour, f.type) for f in project.filaments] == [
        (i + 1, c, t) for i, (c, t) in enumerate(zip(held["filament_colour"], held["filament_type"]))]
    assert project.settings == held
    objects, placed = config_objects(source)
    assert {(o.id, o.name, o.extruder) for o in project.objects} == {
        (int(i), key(o, "name"), int(key(o, "extruder"))) for i, o in objects.items()}
    assert [[(p.id, p.name) for p in o.parts] for o in project.objects] == [
        [(int(p.get("id")), key(p, "name")) for p in objects[str(o.id)].findall("part")] for o in project.objects]
    assert sorted(str(i.object_id) for p in project.plates for i in p.items) == sorted(placed)
    assert project.thumbnail(1) == entry(source, "Metadata/plate_1.png")
    assert set(project.entries) == set(stored(source))


def test_an_items_transform_moves_a_point_as_a_column(tmp_path):
    """A quarter turn about z: the 3MF transform takes (1, 0, 0), a row, to
    (0, 1, 0), then moves it by (128, 128, 12.8)."""
    source = shared(ORCA)
    model = entry(source, MODEL).replace(b'transform="1 0 0 0 1 0 0 0 1 128 128 12.8000002"',
                                         b'transform="0 1 0 -1 0 0 0 0 1 128 128 12.8000002"')
    [plate] = quietly(ond3mf.Project.open, changed_copy(source, tmp_path, MODEL, model)).plates
    assert np.allclose(plate.items[0].transform @ [1, 0, 0, 1], [128, 129, 12.8000002, 1])


# The edits, each with what it changes in the package and how that shows.
def filament_of_parts(path):
    """Each part's filament by the model settings: its own, else its object's."""
    return {key(p, "name"): int(key(p, "extruder") or key(o, "extruder"))
            for o in config_objects(path)[0].values() for p in o.findall("part")}


def check_coin_colour(source, target, project, _):
    before, after = settings(source), settings(target)
    assert after["filament_colour"] == ["#FF8000"] + before["filament_colour"][1:]
    assert after["filament_type"] == ["PETG"] + before["filament_type"][1:]
    assert {**after, "filament_colour": 0, "filament_type": 0} == {**before, "filament_colour": 0, "filament_type": 0}
    filament = filament_of_parts(target)
    assert sorted(filament.values()).count(1) == 2
    meshes = quietly(project.meshes)
    assert sorted(m.name for m in meshes) == sorted(filament)
    for mesh in meshes:
        assert set(colours(mesh)) == {after["filament_colour"][filament[mesh.name] - 1]}, mesh.name
    # Read plain, the coin is one mesh of the parts' triangles, filaments unknown.
    [whole] = quietly(ond3mf.read, target)
    assert len(whole.triangles) == sum(len(m.triangles) for m in meshes)


def check_added_filament(source, target, project, index):
    before, after = settings(source), settings(target)
    n = len(before["filament_colour"])
    assert index == n + 1 and [(f.index, f.colour, f.type) for f in project.filaments][-1] == (n + 1, "#00FF00",
                                                                                                 "PETG")
    for name, value in before.items():
        # A list of the printer's happens to have five entries too.
        if isinstance(value, list) and len(value) == n and name != "upward_compatible_machine":
            # Copied from filament 2, the one it is like.
            assert after[name] == value + [{"filament_colour": "#00FF00", "filament_type": "PETG"}.get(
                name, value[1])], name
        elif name == "flush_volumes_matrix":
            grown = after[name]
            assert len(grown) == (n + 1) ** 2 and grown[-1] == "0"
            assert [grown[i * (n + 1) + j] for i in range(n) for j in range(n)] == value
        elif name not in ("flush_volumes_vector", "different_settings_to_system", "inherits_group",
                          "upward_compatible_machine"):
            assert after[name] == value, name
    assert len(quietly(ond3mf.read, target)) == len(quietly(ond3mf.read, source))


def check_title(source, target, project, _):
    before = {m.get("name"): m.text for m in model_head(source).findall(CORE + "metadata")}
    after = {m.get("name"): m.text for m in model_head(target).findall(CORE + "metadata")}
    assert after == {**before, "Title": "Coin, recoloured"} and project.metadata["Title"] == "Coin, recoloured"
    assert model_objects(target) == model_objects(source)


def check_entries(source, target, project, _):
    assert entry(target, "Metadata/notes.txt") == b"printed twice\n" == project.read_entry("Metadata/notes.txt")
    assert "Metadata/cut_information.xml" not in stored(target)
    assert "Metadata/cut_information.xml" not in project.entries and "Metadata/notes.txt" in project.entries
    types = xml(target, "[Content_Types].xml")
    assert "txt" in {d.get("Extension") for d in types if d.tag.endswith("Default")}


def check_chest_extruder(source, target, project, _):
    [chest] = config_objects(target)[0].values()
    assert key(chest, "extruder") == "2" and project.objects[0].extruder == 2
    # Unpainted triangles print with the object's filament, now 2.
    codes = [re.search(rb'paint_color="(\w*)"', t) for t in
             re.findall(rb"<triangle [^>]*>", entry(target, "3D/Objects/object_1.model"))]
    painted = collections.Counter(paint(code and code.group(1).decode()) or 2 for code in codes)
    filaments = settings(target)["filament_colour"]
    expected = collections.Counter({filaments[f - 1]: count for f, count in painted.items()})
    [mesh] = quietly(project.meshes)
    assert collections.Counter(colours(mesh)) == expected
    # Read plain, the chest is the same mesh, its paint unknown.
    [whole] = quietly(ond3mf.read, target)
    assert len(whole.triangles) == len(mesh.triangles)


def check_orca(source, target, project, _):
    [cube] = config_objects(target)[0].values()
    assert key(cube, "name") == "Cube with a cylinder" and key(cube.findall("part")[1], "extruder") == "1"
    assert project.objects[0].name == "Cube with a cylinder"
    assert [(p.role, p.extruder) for p in project.objects[0].parts] == [("printable", 0), ("modifier", 1)]
    assert len(quietly(project.meshes, non_printable=True)) == 2 and len(quietly(project.meshes)) == 1


def check_thumbnail(source, target, project, _):
    assert entry(target, "Metadata/plate_1.png") == png() == project.thumbnail(1)


def check_removed(source, target, project, _):
    objects, items = model_objects(target)
    settings_objects, placed = config_objects(target)
    assert "8" not in objects | set(items) | set(settings_objects) | set(placed)
    assert len(items) == len(model_objects(source)[1]) - 1 and 8 not in {o.id for o in project.objects}
    assert "flowrate_1" not in {m.name for m in quietly(project.meshes)}
    assert len(quietly(ond3mf.read, target)) == len(items)


def check_layer_height(source, target, project, _):
    before, after = (entry(path, PRUSA_SETTINGS).decode().splitlines() for path in (source, target))
    assert [a for a, b in zip(before, after) if a != b] == ["; layer_height = 0.15"] and len(after) == len(before)
    assert "; layer_height = 0.2" in after and project.settings["layer_height"] == "0.2"


CUBE = (np.array([[x, y, z] for x in (0, 20) for y in (0, 20) for z in (0, 20)], dtype=np.int32),
        [[0, 2, 3], [0, 3, 1], [4, 5, 7], [4, 7, 6], [0, 1, 5], [0, 5, 4], [2, 6, 7], [2, 7, 3], [0, 4, 6],
         [0, 6, 2], [1, 3, 7], [1, 7, 5]])
PAINT = [1, 2, 3, 4, 5, 0, 0, 2, 2, 5, 3, 1]


def add_painted(project):
    return project.add_object(CUBE[0], np.array(CUBE[1], dtype=np.uint16), "painted cube", extruder=4,
                              triangle_filaments=np.array(PAINT, dtype=np.int8), position=(60, 70))


def check_painted_bambu(source, target, project, new):
    expected = [f or 4 for f in PAINT]
    root = xml(target, MODEL)
    [added] = [o for o in root.iter(CORE + "object") if o.get("id") == str(new)]
    [component] = added.iter(CORE + "component")
    path = component.get("{http://schemas.microsoft.com/3dmanufacturing/production/2015/06}path").lstrip("/")
    part = object_element(entry(target, path), int(component.get("objectid")))
    assert [paint(t.get("paint_color")) or 4 for t in part.iter(CORE + "triangle")] == expected
    # Placed on plate 1 (the build's corner) with its footprint centred on (60, 70), resting on it.
    [item] = [i for i in root.iter(CORE + "item") if i.get("objectid") == str(new)]
    moves = [np.array(list(map(float, t.split())) if t else [1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0]).reshape(4, 3)
             for t in (component.get("transform"), item.get("transform"))]
    points = np.array([[float(v.get(c)) for c in "xyz"] + [1] for v in part.iter(CORE + "vertex")])
    placed = np.hstack([points @ moves[0], np.ones((8, 1))]) @ moves[1]
    assert np.allclose((placed.min(axis=0) + placed.max(axis=0))[:2] / 2, [60, 70], atol=1e-3)
    assert abs(placed[:, 2].min()) < 1e-3
    objects, placed_ids = config_objects(target)
    assert (key(objects[str(new)], "name"), key(objects[str(new)], "extruder")) == ("painted cube", "4")
    assert str(new) in placed_ids
    filaments = settings(target)["filament_colour"]
    [mesh] = quietly(project.meshes, object=new)
    assert colours(mesh) == [filaments[f - 1] for f in expected]
    assert len(quietly(ond3mf.read, target)) == len(quietly(ond3mf.read, source)) + 1


def add_painted_prusa(project):
    project.add_filament("#0000FF", "PLA")
    project.add_filament("#00FF00", "PETG")
    return project.add_object(CUBE[0], CUBE[1], "painted cube", extruder=2,
                              triangle_filaments=[min(f, 3) for f in PAINT])


def check_painted_prusa(source, target, project, new):
    expected = [min(f, 3) or 2 for f in PAINT]
    assert prusa_settings(target)["filament_colour"] == prusa_settings(source)["filament_colour"] + ";#0000FF;#00FF00"
    added = object_element(entry(target, MODEL), new)
    assert [paint(t.get("{http://schemas.slic3r.org/3mf/2017/06}mmu_segmentation")) or 2
            for t in added.iter(CORE + "triangle")] == expected
    [config] = [o for o in xml(target, PRUSA_CONFIG).iter("object") if o.get("id") == str(new)]
    assert {m.get("key"): m.get("value") for m in config.findall("metadata")} == {"name": "painted cube",
                                                                                  "extruder": "2"}
    filaments = prusa_settings(target)["filament_colour"].split(";")
    [mesh] = quietly(project.meshes, object=new)
    assert colours(mesh) == [filaments[f - 1] for f in expected]
    assert len(quietly(ond3mf.read, target)) == 2


def set_entries(project):
    project.write_entry("Metadata/notes.txt", b"printed twice\n")
    project.remove_entry("Metadata/cut_information.xml")


def rename_and_colour_modifier(project):
    project.rename(3, "Cube with a cylinder")
    project.set_extruder(3, 1, part_id=2)


OBJECT_PARTS = ("3D/_rels/3dmodel.model.rels", "[Content_Types].xml", "3D/Objects/")
EDITS = [
    pytest.param(COIN, lambda p: p.set_filament(1, colour="#FF8000", type="PETG"), {SETTINGS}, check_coin_colour,
                 id="coin: filament 1 recoloured"),
    pytest.param(COIN, lambda p: p.add_filament("#00FF00", "PETG", like=2), {SETTINGS}, check_added_filament,
                 id="coin: a filament added"),
    pytest.param(COIN, lambda p: p.set_metadata("Title", "Coin, recoloured"), {MODEL}, check_title,
                 id="coin: a metadata value"),
    pytest.param(COIN, set_entries, {"Metadata/notes.txt", "Metadata/cut_information.xml", "[Content_Types].xml"},
                 check_entries, id="coin: an entry added, one removed"),
    pytest.param(COIN, add_painted, {MODEL, CONFIG, *OBJECT_PARTS}, check_painted_bambu,
                 id="coin: a painted object added"),
    pytest.param(CHEST, lambda p: p.set_extruder(2, 2), {CONFIG}, check_chest_extruder,
                 id="chest: the object's extruder"),
    pytest.param(ORCA, rename_and_colour_modifier, {CONFIG}, check_orca, id="orca: renamed, a part's extruder"),
    pytest.param(ORCA, lambda p: p.set_thumbnail(png(), plate=1), {"Metadata/plate_1.png"}, check_thumbnail,
                 id="orca: a plate's thumbnail"),
    pytest.param(QIDI, lambda p: p.remove_object(8), {MODEL, CONFIG, "Metadata/cut_information.xml", *OBJECT_PARTS},
                 check_removed, id="qidi: an object removed"),
    pytest.param(PRUSA, lambda p: p.set_setting("layer_height", "0.2"), {PRUSA_SETTINGS}, check_layer_height,
                 id="prusa: a setting"),
    pytest.param(PRUSA, add_painted_prusa, {MODEL, PRUSA_SETTINGS, PRUSA_CONFIG}, check_painted_prusa,
                 id="prusa: filaments and a painted object added"),
]


@pytest.mark.parametrize("name, edit, touched, check", EDITS)
def test_an_edit_changes_what_it_says_and_no_other_entry(tmp_path, name, edit, touched, check):
    source, target = shared(name), tmp_path / "edited.3mf"
    project = quietly(ond3mf.Project.open, source)
    result = edit(project)
    project.save(target)
    before, after = stored(source), stored(target)
    differ = {n for n in before.keys() | after.keys() if before.get(n) != after.get(n)}
    assert differ and {n for n in differ if n not in touched and not n.startswith(tuple(touched))} == set()
    check(source, target, quietly(ond3mf.Project.open, target), result)


# An edit that can't apply names what it names, changes nothing, and so
# nothing is written: the save after it is never reached, and a save then
# copies the project as it was.
TETRA = ([[0, 0, 0], [10, 0, 0], [0, 10, 0], [0, 0, 10]], [[0, 2, 1], [0, 1, 3], [1, 2, 3], [0, 3, 2]])


@pytest.mark.parametrize("name, edit, error, words", [
    (COIN, lambda p: p.set_filament(6, colour="#FFFFFF"), ValueError, r"\b6\b"),
    (COIN, lambda p: p.set_filament(1, colour="blue"), ValueError, "blue"),
    (COIN, lambda p: p.add_filament("#FFFFFF", like=9), ValueError, r"\b9\b"),
    (QIDI, lambda p: p.remove_object(99), ValueError, r"\b99\b"),
    (ORCA, lambda p: p.rename(42, "x"), ValueError, r"\b42\b"),
    (ORCA, lambda p: p.set_extruder(3, 1, part_id=5), ValueError, r"\b5\b"),
    (COIN, lambda p: p.set_setting("layer_height", ["0.2", "0.3"]), ValueError, "layer_height"),
    (COIN, lambda p: p.set_setting("filament_colour", "#FFFFFF"), ValueError, "filament_colour"),
    (COIN, lambda p: p.set_setting("layer_height", 0.2), TypeError, "layer_height"),
    (ORCA, lambda p: p.set_thumbnail(b"GIF89a\1\0\1\0", plate=1), ValueError, "PNG"),
    (ORCA, lambda p: p.set_thumbnail("not bytes"), TypeError, "bytes-like"),
    (COIN, lambda p: p.remove_entry("Metadata/none.xml"), ValueError, "none.xml"),
    (CHEST, lambda p: p.add_object(*TETRA, "t", triangle_filaments=[1, 2, 7, 1]), ValueError, r"\b7\b"),
    (CHEST, lambda p: p.add_object(*TETRA, "t", triangle_filaments=[1, 2]), ValueError, "one for each of the 4"),
    (CHEST, lambda p: p.add_object(TETRA[0], [[0, 1, 4]], "t"), ValueError, "refers to vertex 4"),
], ids=["filament beyond the list", "not a colour", "like beyond the list", "no such object", "rename no object",
        "no such part", "a list for a value", "a value for a list", "not a str", "thumbnail not PNG",
        "thumbnail not bytes", "no such entry", "paint beyond the filaments", "paint for too few triangles",
        "a triangle beyond the vertices"])
def test_a_bad_edit_is_refused_and_nothing_is_written(tmp_path, name, edit, error, words):
    source, target = shared(name), tmp_path / "edited.3mf"
    project = quietly(ond3mf.Project.open, source)
    with pytest.raises(error, match=words):
        edit(project)
        project.save(target)
    assert not target.exists()
    project.save(target)
    assert stored(target) == stored(source)


def folder_state(folder):
    return {str(p.relative_to(folder)): p.read_bytes() if p.is_file() else None for p in folder.rglob("*")}


def read_only_folder(folder):
    if AS_ROOT:
        pytest.skip("root writes in any folder")
    (folder / "kept").mkdir()
    (folder / "kept" / "edited.3mf").write_bytes(b"the old bytes")
    (folder / "kept").chmod(0o500)
    return folder / "kept" / "edited.3mf"


def made_folder(folder):
    (folder / "edited.3mf").mkdir()
    return folder / "edited.3mf"


@pytest.mark.parametrize("prepare, error", [
    (lambda folder: folder / "missing" / "edited.3mf", FileNotFoundError),
    (made_folder, IsADirectoryError),
    (read_only_folder, PermissionError),
], ids=["no folder", "target is a folder", "read-only folder"])
def test_a_failed_save_leaves_the_folder_as_it_was(tmp_path, prepare, error):
    project = quietly(ond3mf.Project.open, shared(ORCA))
    target = prepare(tmp_path)
    before = folder_state(tmp_path)
    try:
        with pytest.raises(error) as raised:
            project.save(target)
        assert isinstance(raised.value, ond3mf.FileError) and folder_state(tmp_path) == before
    finally:
        for folder in tmp_path.rglob("*"):
            if folder.is_dir():
                folder.chmod(0o700)


# A project whose settings are broken opens with a warning naming them and
# what could be read, and is copied as it is.
@pytest.mark.parametrize("name, part, change, words", [
    (COIN, SETTINGS, lambda data: data[:len(data) // 2], "project_settings.config"),
    (COIN, CONFIG, lambda data: data.replace(b"  </plate>", b"    <model_instance>\n      <metadata key="
                                             b'"object_id" value="77"/>\n    </model_instance>\n  </plate>'),
     r"\b77\b"),
], ids=["settings not JSON", "a plate naming a missing object"])
def test_a_broken_project_opens_with_a_warning(tmp_path, name, part, change, words):
    broken = changed_copy(shared(name), tmp_path, part, change(entry(shared(name), part)))
    with pytest.warns(ond3mf.Warning, match=words):
        project = ond3mf.Project.open(broken)
    objects, _ = config_objects(broken)
    assert sorted(o.id for o in project.objects) == sorted(map(int, objects))
    assert [i.object_id for p in project.plates for i in p.items] == list(map(int, model_objects(broken)[1]))
    project.save(tmp_path / "copy.3mf")
    assert stored(tmp_path / "copy.3mf") == stored(broken)


@pytest.mark.parametrize("make, error, words", [
    (lambda folder: folder / "missing.3mf", FileNotFoundError, os.strerror(errno.ENOENT)),
    (lambda folder: os.fsencode(folder / "missing\xe9.3mf"), FileNotFoundError, os.strerror(errno.ENOENT)),
    (lambda folder: folder, IsADirectoryError, os.strerror(errno.EISDIR)),
    (lambda folder: (folder / "not.3mf").write_bytes(b"not a zip") and folder / "not.3mf", ond3mf.Error, "not.3mf"),
], ids=["missing", "missing, bytes", "a folder", "not a zip"])
def test_a_file_that_is_no_project_gets_its_exception(tmp_path, make, error, words):
    with pytest.raises(error, match=words):
        ond3mf.Project.open(make(tmp_path))
