#!/usr/bin/env python3
"""The oracle of the model settings tests, with Python's standard library alone.

same A B [A B]...   for each pair, a line: "same" when the XML files A and B hold
                    the same element tree (names, attributes in their order,
                    children; the white space between elements aside), else
                    the first difference
find FILE PATH...   for each ElementTree path, one line: the elements it finds,
                    each as tag{name=value,...}, values with escapes for
                    control characters
"""
import sys
import xml.etree.ElementTree as ET


def described(element):
    attributes = ",".join(
        f"{name}={value.encode('unicode_escape').decode('ascii')}" for name, value in element.attrib.items())
    return f"{element.tag}{{{attributes}}}"


def difference(a, b, where):
    here = f"{where}/{a.tag}"
    if a.tag != b.tag or list(a.attrib.items()) != list(b.attrib.items()):
        return f"{here}: {described(a)} became {described(b)}"
    if (a.text or "").strip() or (b.text or "").strip():
        return f"{here}: text {a.text!r} became {b.text!r}"
    if len(a) != len(b):
        return f"{here}: {len(a)} children became {len(b)}"
    for child_a, child_b in zip(a, b):
        found = difference(child_a, child_b, here)
        if found:
            return found
    return None


def main():
    mode = sys.argv[1]
    if mode == "same":
        for a, b in zip(sys.argv[2::2], sys.argv[3::2]):
            print(difference(ET.parse(a).getroot(), ET.parse(b).getroot(), "") or "same")
    elif mode == "find":
        root = ET.parse(sys.argv[2]).getroot()
        for path in sys.argv[3:]:
            print(" ".join(described(element) for element in root.findall(path)))
    else:
        sys.exit(f"unknown mode {mode}")


main()
