"""The Python package against the tool and against itself: every shared file
reads to the figures ond3mf-info prints, writes and reads back to the same
arrays, bad input gets its exception and leaves no file, threads read in
parallel, and the Dask example reports every file."""

import concurrent.futures
import io
import os
import pathlib
import subprocess
import sys
import warnings
import zipfile

import numpy as np
import pytest

import ond3mf

TESTDATA = pathlib.Path(os.environ.get("OND3MF_TESTDATA", "../shared/testdata"))
SOURCE = pathlib.Path(os.environ.get("OND3MF_SOURCE_DIR", "."))
FILES = sorted(TESTDATA.rglob("*.3mf")) if TESTDATA.is_dir() else []


def shared_files():
    if not FILES:
        if os.environ.get("CI") == "true":
            pytest.fail("the shared test files are missing: " + str(TESTDATA))
        pytest.skip("no shared test files beside the checkout (" + str(TESTDATA) + ")")
    return FILES


def read_quietly(path, **options):
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        return ond3mf.read(path, **options)


def tetrahedron(colours=True):
    vertices = np.array([[0, 0, 0], [10, 0, 0], [0, 10, 0], [0, 0, 10]], dtype=np.float64)
    triangles = np.array([[0, 2, 1], [0, 1, 3], [1, 2, 3], [0, 3, 2]], dtype=np.uint32)
    colors = None
    if colours:
        # One colour per triangle: the reader gives a triangle one colour.
        colors = np.zeros((4, 3, 4), dtype=np.uint8)
        colors[..., 0] = np.arange(4)[:, None] * 60
        colors[..., 1] = 200
        colors[..., 3] = 255
    return ond3mf.Mesh(vertices, triangles, colors, "tetrahedron")


def test_every_shared_file_reads_to_the_figures_of_the_tool():
    tool = os.environ["OND3MF_INFO"]
    for path in shared_files():
        lines = subprocess.run([tool, "--tsv", "--quiet", str(path)], capture_output=True, text=True).stdout
        rows = [line.split("\t") for line in lines.splitlines() if line.split("\t")[1] not in ("none", "error")]
        meshes = read_quietly(path)
        assert len(meshes) == len(rows), path
        for mesh, row in zip(meshes, rows):
            assert (len(mesh.vertices), len(mesh.triangles)) == (int(row[2]), int(row[3])), path
            box = np.concatenate([mesh.vertices.min(axis=0), mesh.vertices.max(axis=0)])
            assert np.allclose(box, [float(x) for x in row[4:10]], atol=0.0015), path
            beams = 0 if mesh.beams is None else len(mesh.beams)
            assert beams == int(row[12]), path
            coloured = 0 if mesh.triangle_colors is None else int(row[10])
            assert (mesh.triangle_colors is not None) == (coloured > 0), path


def same_meshes(before, after):
    assert len(before) == len(after)
    for a, b in zip(before, after):
        # Written with four decimals of a millimetre.
        assert np.allclose(a.vertices, b.vertices, atol=0.0001)
        assert np.array_equal(a.triangles, b.triangles)
        assert (a.triangle_colors is None) == (b.triangle_colors is None)
        if a.triangle_colors is not None:
            assert np.array_equal(a.triangle_colors[..., :3], b.triangle_colors[..., :3])


def test_written_meshes_read_back_the_same(tmp_path):
    mesh = tetrahedron()
    for binary in (False, True):
        target = tmp_path / ("tet-%s.3mf" % binary)
        ond3mf.write(target, [mesh, tetrahedron(colours=False)], binary=binary, zip64=binary)
        back = ond3mf.read(target)
        assert [m.name for m in back] == ["tetrahedron", "tetrahedron"]
        # The binary part keeps geometry only.
        same_meshes([mesh, tetrahedron(False)] if not binary else [tetrahedron(False)] * 2,
                    back if not binary else [ond3mf.Mesh(m.vertices, m.triangles) for m in back])
    for path in shared_files():
        before = read_quietly(path, textures=False)
        target = tmp_path / "again.3mf"
        ond3mf.write(target, before)
        same_meshes(before, read_quietly(target, textures=False))


class Anything:
    """Not a Mesh: anything with vertices and triangles will do."""

    def __init__(self, vertices, triangles):
        self.vertices = vertices
        self.triangles = triangles


def hostile_colour_file(folder):
    path = folder / "short-colour.3mf"
    model = ('<model unit="millimeter" xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02" '
             'xmlns:m="http://schemas.microsoft.com/3dmanufacturing/material/2015/02"><resources>'
             '<m:colorgroup id="5"><m:color color="#12"/></m:colorgroup><object id="1" pid="5" pindex="0">'
             '<mesh><vertices><vertex x="0" y="0" z="0"/><vertex x="1" y="0" z="0"/><vertex x="0" y="1" z="0"/>'
             '</vertices><triangles><triangle v1="0" v2="1" v3="2"/></triangles></mesh></object></resources>'
             '<build><item objectid="1"/></build></model>')
    with zipfile.ZipFile(path, "w") as archive:
        archive.writestr("_rels/.rels", '<Relationships><Relationship Id="r" Target="/3D/3dmodel.model" '
                         'Type="http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel"/></Relationships>')
        archive.writestr("3D/3dmodel.model", model)
    return path


def test_bad_input_gets_its_exception_and_leaves_no_file(tmp_path):
    good = tetrahedron()
    writes = [
        ("wrong shape", [Anything(good.vertices[:, :2], good.triangles)], ValueError, "mesh 0: vertices"),
        ("wrong dtype", [Anything(good.vertices, good.triangles.astype(np.float32))], ValueError, "triangles"),
        ("index past the vertices", [good, Anything(good.vertices, good.triangles + 1)], ValueError,
         "mesh 1: triangles refers to vertex 4"),
        ("NaN", [Anything(np.where(good.vertices == 10, np.nan, good.vertices), good.triangles)], ValueError,
         "finite"),
        ("no vertices at all", [object()], ValueError, "vertices is missing"),
    ]
    for name, meshes, error, message in writes:
        with pytest.raises(error, match=message):
            ond3mf.write(tmp_path / "out.3mf", meshes)
        assert list(tmp_path.iterdir()) == [], name
    with pytest.raises(ond3mf.FileError):
        ond3mf.write(tmp_path / "no" / "such" / "folder.3mf", [good])

    ond3mf.write(tmp_path / "good.3mf", [good])
    data = (tmp_path / "good.3mf").read_bytes()
    (tmp_path / "truncated.3mf").write_bytes(data[: len(data) // 2])
    reads = [
        ("missing", tmp_path / "missing.3mf", ond3mf.FileError),
        ("truncated", tmp_path / "truncated.3mf", ond3mf.Error),
        ("hostile colour", hostile_colour_file(tmp_path), ond3mf.Error),
    ]
    for name, path, error in reads:
        with pytest.raises(error) as raised:
            ond3mf.read(path)
        assert str(raised.value), name
    assert issubclass(ond3mf.FileError, OSError) and issubclass(ond3mf.FileError, ond3mf.Error)


def test_progress_that_raises_cancels_and_leaves_no_file(tmp_path):
    def stop(fraction):
        if fraction > 0.2:
            raise KeyboardInterrupt

    big = ond3mf.Mesh(np.random.default_rng(1).random((3000, 3)) * 50,
                      np.array([[i, i + 1, i + 2] for i in range(0, 2997, 3)], dtype=np.uint32))
    with pytest.raises(KeyboardInterrupt):
        ond3mf.write(tmp_path / "cancelled.3mf", [big], progress=stop)
    assert list(tmp_path.iterdir()) == []
    ond3mf.write(tmp_path / "whole.3mf", [big])
    seen = []
    ond3mf.read(tmp_path / "whole.3mf", progress=seen.append)
    assert seen and seen[-1] == pytest.approx(1.0) and seen == sorted(seen)


def test_warnings_go_through_the_warnings_module():
    cura = [path for path in shared_files() if "cura-old" in path.name]
    assert cura, "the old Cura file is one of the shared files"
    with pytest.warns(UserWarning, match="stands where the 3MF core namespace belongs"):
        ond3mf.read(cura[0])


def test_two_threads_read_what_one_reads():
    files = shared_files()[:12]
    sequential = [read_quietly(path) for path in files]
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        parallel = list(pool.map(read_quietly, files))
    for one, other in zip(sequential, parallel):
        assert len(one) == len(other)
        for a, b in zip(one, other):
            assert np.array_equal(a.vertices, b.vertices) and np.array_equal(a.triangles, b.triangles)


def test_the_dask_example_reports_every_file(tmp_path):
    files = shared_files()
    folder = tmp_path / "library"
    folder.mkdir()
    for path in files[:6]:
        (folder / path.name).symlink_to(path.resolve())
    (folder / "broken.3mf").write_bytes(b"not a zip")
    run = subprocess.run([sys.executable, str(SOURCE / "examples" / "batch_info.py"), str(folder)],
                         capture_output=True, text=True, env=dict(os.environ))
    assert run.returncode == 1, run.stderr
    rows = [line.split("\t") for line in run.stdout.splitlines()]
    expected = [str(folder / p.name) for p in files[:6]] + [str(folder / "broken.3mf")]
    assert sorted(row[0] for row in rows) == sorted(expected)
    broken = [row for row in rows if row[0].endswith("broken.3mf")][0]
    assert broken[1] == "error" and broken[2]
    assert all(row[1] == "ok" and int(row[3]) > 0 for row in rows if row is not broken)
