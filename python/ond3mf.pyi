# Type stubs of the ond3mf extension module: 3MF files as numpy arrays.
from os import PathLike
from typing import IO, Any, Callable, Dict, Iterable, List, Optional, Union

import numpy as np
import numpy.typing as npt

__version__: str

class Error(Exception):
    """A 3MF file could not be read or written; the message says why."""

class FileError(Error, OSError):
    """A file that the system would not open or write, with errno, strerror and
    filename. Where Python has a subclass of OSError for the errno
    (FileNotFoundError, IsADirectoryError, NotADirectoryError,
    PermissionError) it is that one too."""

class Warning(UserWarning):
    """Something of a file that was read all the same; the message says what."""

# A file name: str, bytes (the system's bytes, UTF-8 or not) or os.PathLike.
_Path = Union[str, bytes, PathLike[str], PathLike[bytes]]
# What a read takes: a path, a binary file-like object, or the bytes of a
# whole file (bytes holding a NUL or starting with b"PK", bytearray,
# memoryview; other bytes are a path).
_Source = Union[_Path, IO[bytes], bytearray, memoryview]
_Progress = Optional[Callable[[float], Any]]
# float64 4 x 4; the translation in millimetres, the last row 0 0 0 1.
_Transform = npt.NDArray[np.float64]

class Mesh:
    """One mesh, in millimetres. Pickles, copies and compares (==) by its
    arrays."""

    vertices: npt.NDArray[np.float64]
    """N x 3, millimetres."""
    triangles: npt.NDArray[np.uint32]
    """M x 3 vertex indices."""
    triangle_colors: Optional[npt.NDArray[np.uint8]]
    """M x 3 x 4: RGBA of each corner. Read files give each corner its own
    colour where the file does, alpha 255; a triangle without a colour of its
    own shows material."""
    uvs: Optional[npt.NDArray[np.float32]]
    """M x 3 x 2 texture coordinates of each corner."""
    texture_ids: Optional[npt.NDArray[np.int32]]
    """M: index into textures of each triangle's image, -1 where untextured."""
    textures: Optional[List[npt.NDArray[np.uint8]]]
    """H x W x 4 RGBA images; meshes that show one image share its array."""
    beams: Optional[npt.NDArray[np.uint32]]
    """K x 2 vertex indices of each beam's ends."""
    beam_radii: Optional[npt.NDArray[np.float64]]
    """K x 2 radius at each end, millimetres; NaN where a beam has none."""
    name: str
    """The object's or part's name."""
    material: str
    """'#RRGGBB': what a triangle without a colour of its own shows."""
    role: Optional[str]
    """With read(project_parts=True): 'printable', 'negative', 'modifier',
    'support_blocker' or 'support_enforcer'; else None."""
    colour: Optional[str]
    """With read(project_parts=True): '#RRGGBB' of a printed part's filament;
    else None."""
    def __init__(
        self,
        vertices: npt.ArrayLike,
        triangles: npt.ArrayLike,
        triangle_colors: Optional[npt.ArrayLike] = None,
        name: str = "",
        uvs: Optional[npt.ArrayLike] = None,
        texture_ids: Optional[npt.ArrayLike] = None,
        textures: Optional[Iterable[npt.ArrayLike]] = None,
        beams: Optional[npt.ArrayLike] = None,
        beam_radii: Optional[npt.ArrayLike] = None,
    ) -> None:
        """Arrays of the dtypes above from anything numpy turns into arrays;
        triangle_colors as M x 3 x 4, or one colour per triangle as M x 3 or
        M x 4, integers from 0 to 255."""
    def __eq__(self, other: object) -> bool: ...

class Component:
    """One object placed inside another."""

    object: "Object"
    transform: _Transform
    def __init__(self, object: "Object", transform: Optional[npt.ArrayLike] = None) -> None: ...

class Object:
    """An object of the file: a mesh in its own coordinates, components, or
    both; one Object however often it is placed."""

    id: int
    part: str
    """The model part that holds it, '/3D/3dmodel.model' for the root."""
    name: str
    type: str
    """'model', 'support', 'solidsupport' or 'other'."""
    mesh: Optional[Mesh]
    components: List[Component]
    def __init__(
        self,
        mesh: Optional[Mesh] = None,
        id: int = 0,
        name: str = "",
        type: str = "model",
        components: Optional[List[Component]] = None,
        part: str = "/3D/3dmodel.model",
    ) -> None: ...

class Item:
    """A build item: an object placed on the build plate."""

    object: Object
    @property
    def object_id(self) -> int: ...
    transform: _Transform
    printable: Optional[bool]
    """The item's printable attribute ('1' or '0' in the file); None where it has none."""
    partnumber: Optional[str]
    """The item's partnumber attribute; None where it has none."""
    def __init__(
        self,
        object: Object,
        transform: Optional[npt.ArrayLike] = None,
        printable: Optional[bool] = None,
        partnumber: Optional[str] = None,
    ) -> None: ...

class Model:
    """The model of a 3MF file as the file holds it."""

    items: List[Item]
    objects: List[Object]
    metadata: Dict[str, str]
    unit: str
    """The file's unit word; coordinates and transforms are millimetres."""
    thumbnail: Optional[bytes]
    def __init__(self) -> None: ...
    def object(self, id: int, part: Optional[str] = None) -> Object:
        """The Object of that id in that model part (None: the root); KeyError
        if none."""
    def flatten(self, as_one: bool = False) -> List[Mesh]:
        """What read() gives for the model's file."""
    def save(self, path: _Path, binary: bool = False, zip64: bool = False, progress: _Progress = None) -> None:
        """Writes each object once, items and components with their
        transforms, metadata and thumbnail; safely, as write() does."""

def load(source: _Source, textures: bool = True, progress: _Progress = None) -> Model:
    """Reads a 3MF file into a Model as the file holds it. textures=False
    decodes no image. Warns with ond3mf.Warning."""

def read(
    source: _Source,
    textures: bool = True,
    as_one: bool = False,
    progress: _Progress = None,
    project_parts: bool = False,
    non_printable: bool = False,
) -> List[Mesh]:
    """Reads a 3MF file into meshes, one per build item with geometry
    (transforms applied), or one with as_one; with project_parts the parts of
    a slicer project with role and colour, and with non_printable those that
    are not printed. Warns with ond3mf.Warning, also why a file gives no
    mesh."""

def write(
    path: _Path,
    meshes: Iterable[Any],
    binary: bool = False,
    zip64: bool = False,
    drop_degenerate: bool = False,
    progress: _Progress = None,
) -> None:
    """Writes meshes (Mesh, or anything with vertices and faces or triangles,
    e.g. a trimesh.Trimesh) as objects of a 3MF file. binary: vertices and
    triangles in the binary side part, without colours and textures. zip64:
    an archive past 4 GiB. drop_degenerate: leave out triangles on one vertex
    twice, with a warning. Checks every field first; a write that fails or is
    cancelled leaves the target as it was."""

def info(source: _Source) -> List[Dict[str, Any]]:
    """The figures ond3mf-info prints, as a dict per mesh with the keys of its
    --json: name, vertices, triangles, box ({"min": [x, y, z], "max": [x, y,
    z]}, millimetres), coloured_triangles, textured_triangles, textures,
    beams."""

# Slicer projects: opened, looked at, edited and saved.

class Project:
    """A slicer's project open to be looked at and edited. Listing it reads
    no mesh; an edit that can't apply raises ValueError naming what it names
    and changes nothing; save() copies every entry no edit touched as it was
    stored."""

    class Filament:
        index: int  # from 1
        colour: str  # "#RRGGBB"
        type: str  # "PLA", ...; "" where none is given
        preset: str  # "" where none is given

    class Part:
        id: int
        name: str
        role: str  # "printable", "negative", "modifier", "support_blocker", "support_enforcer"
        extruder: int  # 0: the object's

    class Object:
        id: int
        name: str
        extruder: int  # 0 where none is given
        parts: List[Project.Part]

    class Item:
        object_id: int
        # float64 4 x 4, M @ [x, y, z, 1] is the placed point, relative to
        # the plate's corner: the 3MF transform's 4 x 3 matrix transposed.
        transform: npt.NDArray[np.float64]

    class Plate:
        id: int  # from 1
        name: str
        items: List[Project.Item]

    @staticmethod
    def open(path: _Path) -> Project:
        """Opens a project; broken settings are ond3mf.Warning."""
    @property
    def dialect(self) -> str:
        """Who wrote it: "bambu", "orca", "qidi", "creality", "prusa" or "plain"."""
    @property
    def application(self) -> str: ...
    @property
    def metadata(self) -> Dict[str, str]: ...
    @property
    def filaments(self) -> List[Project.Filament]: ...
    @property
    def objects(self) -> List[Project.Object]: ...
    @property
    def plates(self) -> List[Project.Plate]: ...
    @property
    def settings(self) -> Dict[str, Any]: ...
    @property
    def entries(self) -> List[str]: ...
    def thumbnail(self, plate: Optional[int] = None) -> Optional[bytes]:
        """PNG bytes of the plate's thumbnail, or of the package's."""
    def meshes(self, plate: Optional[int] = None, object: Optional[int] = None,
               non_printable: bool = False) -> List[Mesh]:
        """The parts' meshes as the project stands, plate-relative with a plate."""
    def read_entry(self, name: str) -> bytes: ...
    def write_entry(self, name: str, data: bytes) -> None: ...
    def remove_entry(self, name: str) -> None: ...
    def set_filament(self, index: int, colour: Optional[str] = None, type: Optional[str] = None) -> None: ...
    def add_filament(self, colour: str, type: Optional[str] = None, like: int = 1) -> int: ...
    def set_extruder(self, object_id: int, extruder: int, part_id: Optional[int] = None) -> None: ...
    def rename(self, object_id: int, name: str) -> None: ...
    def set_metadata(self, key: str, value: str) -> None: ...
    def set_setting(self, key: str, value: Union[str, Iterable[str]]) -> None: ...
    def set_thumbnail(self, png: bytes, plate: Optional[int] = None) -> None: ...
    def remove_object(self, object_id: int) -> None: ...
    def add_object(
        self,
        vertices: npt.ArrayLike,
        triangles: npt.ArrayLike,
        name: str,
        extruder: int = 1,
        triangle_filaments: Optional[npt.ArrayLike] = None,
        plate: int = 1,
        position: Optional[Tuple[float, float]] = None,
    ) -> int:
        """Adds a mesh as an object of its own; returns its id."""
    def save(self, path: _Path) -> None:
        """Writes the project; a failed save leaves the target as it was."""
