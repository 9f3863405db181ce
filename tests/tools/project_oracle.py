#!/usr/bin/env python3
"""What a slicer project holds, read with Python's standard library alone (zipfile,
json, xml.etree): the oracle that ond3mf-project's output and files are checked against.

  project_oracle.py describe FILE            the oracle's reading, as JSON
  project_oracle.py check-show FILE DIALECT  `ond3mf-project show --json FILE` on stdin agrees
  project_oracle.py same-entries IN OUT      OUT's entries are IN's: names, order, CRC, sizes
  project_oracle.py thumbnail FILE PLATE PNG PNG holds the bytes of the project's image
  project_oracle.py judged FILE NAME EXTRUDER STATES
                                             PrusaSlicer's project holds object NAME with that
                                             extruder, its triangles painted in STATES (a,b,...)
Each check prints what differs and exits 1, or prints nothing and exits 0.
"""
import json
import sys
import xml.etree.ElementTree as ET
import zipfile

THUMBNAIL = "http://schemas.openxmlformats.org/package/2006/relationships/metadata/thumbnail"
CORE = "{http://schemas.microsoft.com/3dmanufacturing/core/2015/02}"
PAINT = "{http://schemas.slic3r.org/3mf/2017/06}mmu_segmentation"


def prusa_list(value):
    """A PrusaSlicer list: values split at ';' outside double quotes, quotes taken off."""
    items, item, quoted = [], "", False
    for c in value:
        if c == '"':
            quoted = not quoted
        elif c == ";" and not quoted:
            items.append(item)
            item = ""
        else:
            item += c
    return items + [item]


def prusa_settings(text):
    """PrusaSlicer's '; key = value' lines."""
    settings = {}
    for line in text.splitlines():
        if line.startswith("; ") and " = " in line:
            key, value = line[2:].split(" = ", 1)
            settings[key] = value
    return settings


def named(element, key="name"):
    """The value of an element's <metadata key=KEY> child, or None."""
    for metadata in element.findall("metadata"):
        if metadata.get("key") == key:
            return metadata.get("value")
    return None


def describe(path):
    z = zipfile.ZipFile(path)
    names = z.namelist()
    result = {
        "entries": [[i.filename, i.file_size, i.compress_size, i.CRC] for i in z.infolist()],
        "filaments": [],
        "objects": {},
        "plates": {},
        "thumbnail": None,
    }
    for relationship in ET.fromstring(z.read("_rels/.rels")):
        if relationship.get("Type") == THUMBNAIL:
            result["thumbnail"] = relationship.get("Target").lstrip("/")
    if "Metadata/project_settings.config" in names:
        settings = json.loads(z.read("Metadata/project_settings.config"))
        colours, types = settings["filament_colour"], settings["filament_type"]
        result["filaments"] = [[c[:7].upper(), t] for c, t in zip(colours, types)]
        model = ET.fromstring(z.read("Metadata/model_settings.config"))
        for element in model.findall("object"):
            result["objects"][element.get("id")] = [named(element), named(element, "extruder")]
        for plate in model.findall("plate"):
            ids = [int(named(i, "object_id")) for i in plate.findall("model_instance")]
            result["plates"][named(plate, "plater_id")] = [named(plate, "thumbnail_file"), ids]
    elif "Metadata/Slic3r_PE.config" in names:
        settings = prusa_settings(z.read("Metadata/Slic3r_PE.config").decode())
        filament = prusa_list(settings["filament_colour"])
        extruder = prusa_list(settings.get("extruder_colour", ""))
        types = prusa_list(settings["filament_type"])
        for i, colour in enumerate(filament):
            own = extruder[i] if i < len(extruder) and extruder[i] else colour
            result["filaments"].append([own.upper(), types[i]])
    if "Metadata/Slic3r_PE_model.config" in names:
        model = ET.fromstring(z.read("Metadata/Slic3r_PE_model.config"))
        for element in model.findall("object"):
            result["objects"][element.get("id")] = [named(element), named(element, "extruder")]
    return result


def check_show(path, dialect, show):
    want = describe(path)
    problems = []

    def expect(what, wanted, got):
        if wanted != got:
            problems.append("%s: expected %r, show gives %r" % (what, wanted, got))

    expect("dialect", dialect, show["dialect"])
    expect("entries", want["entries"],
           [[e["name"], e["size"], e["compressed_size"], e["crc"]] for e in show["entries"]])
    expect("filaments", want["filaments"], [[f["colour"].upper(), f["type"]] for f in show["filaments"]])
    expect("filament indices", list(range(1, len(want["filaments"]) + 1)),
           [f["index"] for f in show["filaments"]])
    if want["objects"]:
        expect("object names", {k: v[0] for k, v in want["objects"].items()},
               {str(o["id"]): o["name"] for o in show["objects"]})
    for plate in show["plates"]:
        if str(plate["id"]) in want["plates"]:
            thumbnail, ids = want["plates"][str(plate["id"])]
            expect("plate %d objects" % plate["id"], ids, [i["object"] for i in plate["items"]])
            expect("plate %d thumbnail" % plate["id"], thumbnail, plate["thumbnail"])
    if want["thumbnail"] is not None and want["thumbnail"] not in show["thumbnails"]:
        problems.append("thumbnail %s is not among %r" % (want["thumbnail"], show["thumbnails"]))
    return problems


def same_entries(source, copy):
    def listing(path):
        return [(i.filename, i.CRC, i.file_size, i.compress_size) for i in zipfile.ZipFile(path).infolist()]

    want, got = listing(source), listing(copy)
    problems = ["entry %d: expected %r, got %r" % (n, w, g) for n, (w, g) in enumerate(zip(want, got)) if w != g]
    if len(want) != len(got):
        problems.append("expected %d entries, got %d" % (len(want), len(got)))
    return problems


def thumbnail(path, plate, png):
    want = describe(path)
    entry = want["thumbnail"] if plate == "0" else want["plates"][plate][0]
    with open(png, "rb") as f:
        written = f.read()
    if written != zipfile.ZipFile(path).read(entry):
        return ["%s: %d bytes differ from entry %s" % (png, len(written), entry)]
    return []


def paint_state(code):
    """The state of a whole triangle's mmu_segmentation: digits read from the end,
    "4" state 1, "8" state 2, "C" then state-3 in the next digit; None if split."""
    if code in ("", None):
        return 0
    if code in ("4", "8"):
        return int(code, 16) >> 2
    if len(code) == 2 and code[1] in "cC":
        return int(code[0], 16) + 3
    return None


def judged(path, name, extruder, states):
    z = zipfile.ZipFile(path)
    config = ET.fromstring(z.read("Metadata/Slic3r_PE_model.config"))
    found = [o for o in config.findall("object") if named(o) == name]
    if len(found) != 1:
        return ["%d objects named %r in %s" % (len(found), name, path)]
    given = [named(found[0], "extruder")] + [named(v, "extruder") for v in found[0].findall("volume")]
    problems = [] if extruder in given else ["object %r: extruder %r, not %s" % (name, given, extruder)]
    model = ET.fromstring(z.read("3D/3dmodel.model"))
    for element in model.iter(CORE + "object"):
        if element.get("id") == found[0].get("id"):
            got = [paint_state(t.get(PAINT)) for t in element.iter(CORE + "triangle")]
            if got != [int(s) for s in states.split(",")]:
                problems.append("object %r: triangles painted %r, not %s" % (name, got, states))
    return problems


def main(arguments):
    command = arguments[0]
    if command == "describe":
        print(json.dumps(describe(arguments[1])))
        return 0
    if command == "check-show":
        problems = check_show(arguments[1], arguments[2], json.load(sys.stdin))
    elif command == "same-entries":
        problems = same_entries(arguments[1], arguments[2])
    elif command == "thumbnail":
        problems = thumbnail(*arguments[1:4])
    else:
        problems = judged(*arguments[1:5])
    for problem in problems:
        print(problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
