"""The Python module against an independent reading and against itself: every
shared file reads to what Python's standard library finds in its XML
(tests/import/expected_meshes.py), written meshes read back the same under
any file name, bad input and failed writes get their exception and leave the
folder as it was, and threads read and write side by side."""

import concurrent.futures
import copy
import errno
import functools
import importlib.util
import inspect
import os
import pathlib
import pickle
import subprocess
import sys
import warnings
import zipfile

import numpy as np
import pytest

import ond3mf

SOURCE = pathlib.Path(os.environ.get("OND3MF_SOURCE_DIR", pathlib.Path(__file__).resolve().parents[2]))
TESTDATA = pathlib.Path(os.environ.get("OND3MF_TESTDATA", SOURCE.parent / "shared" / "testdata"))
FILES = sorted(TESTDATA.rglob("*.3mf")) if TESTDATA.is_dir() else []
AS_ROOT = os.geteuid() == 0

_spec = importlib.util.spec_from_file_location("expected_meshes", SOURCE / "tests" / "import" / "expected_meshes.py")
oracle = importlib.util.module_from_spec(_spec)
_spec.loader.exec_module(oracle)


def shared_files():
    if not FILES:
        if os.environ.get("CI") == "true":
            pytest.fail("the shared test files are missing: " + str(TESTDATA))
        pytest.skip("no shared test files beside the checkout (" + str(TESTDATA) + ")")
    return FILES


def quietly(function, *arguments, **options):
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        return function(*arguments, **options)


@functools.lru_cache(maxsize=None)
def oracle_meshes(path):
    return oracle.expected_meshes(str(path))


def oracle_vertices(mesh):
    return np.array(mesh.points, dtype=np.float64).reshape(-1, 3) / oracle.UNITS_PER_MM


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


def big_mesh(seed=1):
    """Enough bytes that a write takes a while and passes a small size limit."""
    return ond3mf.Mesh(np.random.default_rng(seed).random((3000, 3)) * 50,
                       np.arange(3000, dtype=np.uint32).reshape(-1, 3))


def package_file(path, model):
    with zipfile.ZipFile(path, "w") as archive:
        archive.writestr("_rels/.rels", '<Relationships><Relationship Id="r" Target="/3D/3dmodel.model" '
                         'Type="http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel"/></Relationships>')
        archive.writestr("3D/3dmodel.model", model)
    return path


def as_one_mesh(meshes):
    """The oracle's meshes appended to the first; the beams moved here, where
    their ends are tuples (the oracle's append adds a list to a tuple)."""
    whole = meshes[0]
    for other in meshes[1:]:
        first = len(whole.points)
        beams = [(v1 + first, v2 + first, *rest) for v1, v2, *rest in other.beams]
        other.beams = []
        oracle.append(whole, other)
        whole.beams += beams
    return [whole]


# Expected from the XML: one mesh per build item, or all of them in one.
@pytest.mark.parametrize("as_one", [False, True], ids=["per item", "as one"])
def test_every_shared_file_reads_as_its_xml_says(as_one):
    for path in shared_files():
        expected = copy.deepcopy(oracle_meshes(path))
        if as_one and expected:
            expected = as_one_mesh(expected)
        meshes = quietly(ond3mf.read, path, as_one=as_one)
        assert len(meshes) == len(expected), path
        for mesh, want in zip(meshes, expected):
            assert np.array_equal(mesh.vertices, oracle_vertices(want)), path
            assert len(mesh.triangles) == want.triangles, path
            assert (mesh.triangle_colors is not None) == bool(want.colours), path
            textured = 0 if mesh.texture_ids is None else np.count_nonzero(mesh.texture_ids >= 0)
            assert textured == len(want.textured), path
            # Beams as (v1, v2, r1, r2), radii from the diameters the XML gives.
            beams = np.array([beam[:4] for beam in want.beams], dtype=np.float64).reshape(-1, 4)
            beams[:, 2:] = np.where(beams[:, 2:] > 0, beams[:, 2:] / 2 / oracle.UNITS_PER_MM, np.nan)
            got = np.zeros((0, 4)) if mesh.beams is None else np.hstack([mesh.beams, mesh.beam_radii])
            assert np.allclose(got, beams, rtol=0, atol=1e-12, equal_nan=True), path


def test_info_counts_what_the_xml_holds():
    for path in shared_files():
        records = quietly(ond3mf.info, path)
        counted = [(m["vertices"], m["triangles"], m["coloured_triangles"], m["textured_triangles"], m["beams"])
                   for m in records]
        assert counted == [(len(m.points), m.triangles, len(m.colours), len(m.textured), len(m.beams))
                           for m in oracle_meshes(path)], path
        # The box as ond3mf-info --json gives it: min and max x y z in mm.
        for record, want in zip(records, oracle_meshes(path)):
            vertices = oracle_vertices(want)
            low, high = (vertices.min(axis=0), vertices.max(axis=0)) if len(vertices) else ([0] * 3, [0] * 3)
            assert sorted(record["box"]) == ["max", "min"], path
            assert np.allclose([record["box"]["min"], record["box"]["max"]], [low, high], rtol=0, atol=1e-9), path


def same_meshes(before, after):
    assert len(before) == len(after)
    for a, b in zip(before, after):
        # Written with four decimals of a millimetre.
        assert np.allclose(a.vertices, b.vertices, atol=0.0001)
        assert np.array_equal(a.triangles, b.triangles)
        assert (a.triangle_colors is None) == (b.triangle_colors is None)
        if a.triangle_colors is not None:
            assert np.array_equal(a.triangle_colors[..., :3], b.triangle_colors[..., :3])


# A file name is the system's bytes, whatever form of path names it.
@pytest.mark.parametrize("name, as_path", [
    (b"tet.3mf", lambda name: pathlib.Path(os.fsdecode(name))),
    (b"caf\xe9.3mf", os.fsencode),
    (b"caf\xe9.3mf", os.fsdecode),
    ("caf\u00e9 \u4e09.3mf".encode(), os.fsencode),
], ids=["pathlib", "latin-1 bytes", "latin-1 str", "utf-8 bytes"])
def test_written_meshes_read_back_the_same(tmp_path, name, as_path):
    target = as_path(os.path.join(os.fsencode(tmp_path), name))
    for binary in (False, True):
        # The binary part holds geometry only: colours are refused there.
        ond3mf.write(target, [tetrahedron(not binary), tetrahedron(colours=False)], binary=binary, zip64=binary)
        assert os.listdir(os.fsencode(tmp_path)) == [name]
        seen = []
        back = ond3mf.read(target, progress=seen.append)
        assert seen and seen[-1] == pytest.approx(1.0) and seen == sorted(seen)
        assert [m.name for m in back] == ["tetrahedron", "tetrahedron"]
        same_meshes([tetrahedron(not binary), tetrahedron(False)], back)


def test_shared_files_written_read_back_the_same(tmp_path):
    for path in shared_files():
        before = quietly(ond3mf.read, path, textures=False)
        ond3mf.write(tmp_path / "again.3mf", before)
        same_meshes(before, quietly(ond3mf.read, tmp_path / "again.3mf", textures=False))


class Anything:
    """Not a Mesh: anything with vertices and triangles will do."""

    def __init__(self, vertices, triangles, triangle_colors=None):
        self.vertices = vertices
        self.triangles = triangles
        self.triangle_colors = triangle_colors


GOOD = tetrahedron()


@pytest.mark.parametrize("target, meshes, message", [
    ("out.3mf", [Anything(GOOD.vertices[:, :2], GOOD.triangles)], "mesh 0: vertices must have shape"),
    ("out.3mf", [Anything(GOOD.vertices, GOOD.triangles.astype(np.float32))], "triangles must hold integer"),
    ("out.3mf", [GOOD, Anything(GOOD.vertices, GOOD.triangles + 1)], "mesh 1: triangles refers to vertex 4"),
    ("out.3mf", [Anything(GOOD.vertices, np.array([[0, 1, 2**63]], dtype=np.uint64))],
     "refers to vertex 9223372036854775808"),
    ("out.3mf", [Anything(np.where(GOOD.vertices == 10, np.nan, GOOD.vertices), GOOD.triangles)], "finite"),
    ("out.3mf", [Anything(GOOD.vertices, GOOD.triangles, GOOD.triangle_colors.astype(np.int8))],
     "triangle_colors has -56: colour channels go from 0 to 255"),
    ("out.3mf", [object()], "vertices is missing"),
    ("o\0ut.3mf", [GOOD], "NUL"),
    ("binary.3mf", [GOOD], "triangle_colors can't be written with binary=True"),
], ids=["shape", "dtype", "index", "uint64 index", "NaN", "signed colours", "no vertices", "NUL in the path", "colours in binary"])
def test_bad_input_is_a_value_error_and_writes_nothing(tmp_path, target, meshes, message):
    with pytest.raises(ValueError, match=message):
        ond3mf.write(tmp_path / target, meshes, binary=target.startswith("binary"))
    assert list(tmp_path.iterdir()) == []


def file_with(name, data, mode=0o644):
    def make(folder):
        (folder / name).write_bytes(data)
        (folder / name).chmod(mode)
        return folder / name

    return make


# What the system says of a file that can't be opened, as Python's OSError for
# its errno; what the library says of one it can't read.
@pytest.mark.parametrize("make, error, code, words", [
    (lambda folder: folder / "missing.3mf", FileNotFoundError, errno.ENOENT, os.strerror(errno.ENOENT)),
    (lambda folder: os.fsencode(folder / "missing\xe9.3mf"), FileNotFoundError, errno.ENOENT,
     os.strerror(errno.ENOENT)),
    (lambda folder: folder, IsADirectoryError, errno.EISDIR, os.strerror(errno.EISDIR)),
    (lambda folder: package_file(folder / "good.3mf", "<model/>") / "x.3mf", NotADirectoryError, errno.ENOTDIR,
     os.strerror(errno.ENOTDIR)),
    pytest.param(file_with("locked.3mf", b"", 0), PermissionError, errno.EACCES, os.strerror(errno.EACCES),
                 marks=pytest.mark.skipif(AS_ROOT, reason="root reads any file")),
    (lambda folder: "bad\0.3mf", ValueError, None, "NUL"),
    (file_with("truncated.3mf", b"PK\3\4 cut short"), ond3mf.Error, None, "truncated.3mf"),
    (lambda folder: package_file(folder / "short-colour.3mf", (
        '<model unit="millimeter" xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02" '
        'xmlns:m="http://schemas.microsoft.com/3dmanufacturing/material/2015/02"><resources>'
        '<m:colorgroup id="5"><m:color color="#12"/></m:colorgroup><object id="1" pid="5" pindex="0">'
        '<mesh><vertices><vertex x="0" y="0" z="0"/><vertex x="1" y="0" z="0"/><vertex x="0" y="1" z="0"/>'
        '</vertices><triangles><triangle v1="0" v2="1" v3="2"/></triangles></mesh></object></resources>'
        '<build><item objectid="1"/></build></model>')), ond3mf.Error, None, "invalid colour value"),
], ids=["missing", "missing, bytes", "folder", "below a file", "unreadable", "NUL", "truncated", "bad colour"])
def test_a_file_that_cannot_be_read_gets_its_exception(tmp_path, make, error, code, words):
    path = make(tmp_path)
    with pytest.raises(error, match=words) as raised:
        ond3mf.read(path)
    if code is not None:
        assert isinstance(raised.value, ond3mf.FileError)
        assert (raised.value.errno, raised.value.strerror, raised.value.filename) == (code, words, os.fspath(path))


FSIZE_CHILD = """
import pickle, resource, signal, sys
import ond3mf
vertices, triangles = pickle.load(sys.stdin.buffer)
signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))
try:
    ond3mf.write(sys.argv[1], [ond3mf.Mesh(vertices, triangles)])
except Exception as error:
    sys.stdout.buffer.write(pickle.dumps(error))
"""


def write_with_a_size_limit(target, mesh):
    run = subprocess.run([sys.executable, "-c", FSIZE_CHILD, str(target)], capture_output=True, timeout=120,
                         input=pickle.dumps((mesh.vertices, mesh.triangles)))
    assert run.returncode == 0 and run.stdout, run.stderr
    raise pickle.loads(run.stdout)


def write_in_a_read_only_folder(target, mesh):
    if AS_ROOT:
        pytest.skip("root writes in any folder")
    target.parent.chmod(0o500)
    try:
        ond3mf.write(target, [mesh])
    finally:
        target.parent.chmod(0o700)


def write_plainly(target, mesh):
    ond3mf.write(target, [mesh])


class Stop(Exception):
    pass


def write_and_cancel(target, mesh):
    def stop(fraction):
        if fraction > 0.2:
            raise Stop("enough at %.2f" % fraction)

    ond3mf.write(target, [mesh], progress=stop)


def folder_state(folder):
    return {str(p.relative_to(folder)): p.read_bytes() if p.is_file() else None for p in folder.rglob("*")}


def old_bytes(target):
    target.write_bytes(b"the old bytes")


# Whatever stops a write, the target keeps every byte it had and nothing else
# is left in its folder; the exception names the target and the cause.
@pytest.mark.parametrize("make, write, error, words", [
    (old_bytes, write_with_a_size_limit, ond3mf.FileError, os.strerror(errno.EFBIG)),
    (old_bytes, write_in_a_read_only_folder, PermissionError, os.strerror(errno.EACCES)),
    (pathlib.Path.mkdir, write_plainly, IsADirectoryError, os.strerror(errno.EISDIR)),
    (lambda target: target.parent.rmdir(), write_plainly, FileNotFoundError, os.strerror(errno.ENOENT)),
    (old_bytes, write_and_cancel, Stop, "enough at"),
], ids=["file-size limit", "read-only folder", "target is a folder", "no folder", "cancelled"])
def test_a_failed_write_leaves_the_target_as_it_was(tmp_path, make, write, error, words):
    target = tmp_path / "out" / "part.3mf"
    target.parent.mkdir()
    make(target)
    before = folder_state(tmp_path)
    with pytest.raises(error, match=words) as raised:
        write(target, big_mesh())
    assert folder_state(tmp_path) == before
    assert isinstance(raised.value, ond3mf.FileError) == issubclass(error, OSError)
    assert getattr(raised.value, "filename", str(target)) == str(target)


def test_two_threads_writing_one_path_leave_what_one_wrote(tmp_path):
    meshes = [big_mesh(seed) for seed in range(2)]
    target = tmp_path / "both.3mf"
    for _ in range(4):
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            list(pool.map(lambda mesh: ond3mf.write(target, [mesh]), meshes))
        assert os.listdir(tmp_path) == ["both.3mf"]
        [written] = oracle.expected_meshes(str(target))
        assert any(np.allclose(oracle_vertices(written), mesh.vertices, atol=0.0001) for mesh in meshes)


# The first reads of a process, from two threads before numpy is imported,
# finish: numpy's C interface is set up by `import ond3mf`, not by whichever
# thread makes the first array while the other waits for it.
TWO_READS_CHILD = """
import sys, threading
import ond3mf
threads = [threading.Thread(target=ond3mf.read, args=(sys.argv[1],)) for _ in range(2)]
for thread in threads:
    thread.start()
for thread in threads:
    thread.join()
"""


def test_two_threads_reading_before_numpy_is_imported_finish(tmp_path):
    ond3mf.write(tmp_path / "tet.3mf", [tetrahedron()])
    for _ in range(3):
        run = subprocess.run([sys.executable, "-c", TWO_READS_CHILD, str(tmp_path / "tet.3mf")],
                             capture_output=True, text=True, timeout=60)
        assert run.returncode == 0, run.stderr


def test_warnings_are_ond3mf_warnings_at_the_callers_line(tmp_path):
    # Cura's own namespace as the default, the core's bound to a prefix.
    path = package_file(tmp_path / "cura.3mf", (
        '<model unit="millimeter" xmlns="http://software.ultimaker.com/xml/cura/3mf/2015/10" '
        'xmlns:c="http://schemas.microsoft.com/3dmanufacturing/core/2015/02"><resources><object id="1"><mesh>'
        '<vertices><vertex x="0" y="0" z="0"/><vertex x="1" y="0" z="0"/><vertex x="0" y="1" z="0"/></vertices>'
        '<triangles><triangle v1="0" v2="1" v3="2"/></triangles></mesh></object></resources>'
        '<build><item objectid="1"/></build></model>'))
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        line = inspect.currentframe().f_lineno + 1
        ond3mf.read(path)
    assert [(w.category, w.filename, w.lineno) for w in caught] == [(ond3mf.Warning, __file__, line)]
    assert "stands where the 3MF core namespace belongs" in str(caught[0].message)
    assert issubclass(ond3mf.Warning, UserWarning)


def test_two_threads_read_what_one_reads():
    files = shared_files()[:12]
    sequential = [quietly(ond3mf.read, path) for path in files]
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        parallel = list(pool.map(functools.partial(quietly, ond3mf.read), files))
    for one, other in zip(sequential, parallel):
        assert len(one) == len(other)
        for a, b in zip(one, other):
            assert np.array_equal(a.vertices, b.vertices) and np.array_equal(a.triangles, b.triangles)


def test_the_dask_example_reports_every_file(tmp_path):
    files = shared_files()
    folder = tmp_path / "library"
    folder.mkdir()
    for index, path in enumerate(files[:6]):
        name = path.name if index % 2 else path.stem + ".3MF"
        (folder / name).symlink_to(path.resolve())
    (folder / "broken.3mf").write_bytes(b"not a zip")
    run = subprocess.run([sys.executable, str(SOURCE / "examples" / "batch_info.py"), str(folder)],
                         capture_output=True, text=True, env=dict(os.environ))
    assert run.returncode == 1, run.stderr
    rows = [line.split("\t") for line in run.stdout.splitlines()]
    expected = [str(folder / (p.name if i % 2 else p.stem + ".3MF")) for i, p in enumerate(files[:6])]
    expected += [str(folder / "broken.3mf")]
    assert sorted(row[0] for row in rows) == sorted(expected)
    broken = [row for row in rows if row[0].endswith("broken.3mf")][0]
    assert broken[1] == "error" and broken[2]
    assert all(row[1] == "ok" and int(row[3]) > 0 for row in rows if row is not broken)
