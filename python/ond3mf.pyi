# Type stubs of the ond3mf extension module: 3MF files as numpy arrays.
from os import PathLike
from typing import Any, Callable, Dict, Iterable, List, Optional, Tuple, Union

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

class Mesh:
    """One mesh of a 3MF file, in millimetres."""

    vertices: npt.NDArray[np.float64]  # N x 3
    triangles: npt.NDArray[np.uint32]  # M x 3
    triangle_colors: Optional[npt.NDArray[np.uint8]]  # M x 3 x 4, RGBA per corner
    uvs: Optional[npt.NDArray[np.float32]]  # M x 3 x 2
    texture_ids: Optional[npt.NDArray[np.int32]]  # M, -1 where untextured
    textures: Optional[List[npt.NDArray[np.uint8]]]  # H x W x 4 each
    beams: Optional[npt.NDArray[np.uint32]]  # K x 2 vertex indices
    beam_radii: Optional[npt.NDArray[np.float64]]  # K x 2, NaN where a beam has none
    name: str
    def __init__(
        self,
        vertices: npt.ArrayLike,
        triangles: npt.ArrayLike,
        triangle_colors: Optional[npt.ArrayLike] = None,
        name: str = "",
    ) -> None: ...

def read(
    path: _Path,
    textures: bool = True,
    as_one: bool = False,
    progress: Optional[Callable[[float], Any]] = None,
) -> List[Mesh]:
    """Reads a 3MF file into meshes, one per build item with geometry; warns
    with ond3mf.Warning."""

def write(
    path: _Path,
    meshes: Iterable[Any],
    binary: bool = False,
    zip64: bool = False,
    progress: Optional[Callable[[float], Any]] = None,
) -> None:
    """Writes meshes as objects of a 3MF file; checks every field first. A
    write that fails or is cancelled leaves the target as it was."""

def info(path: _Path) -> List[Dict[str, Any]]:
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
