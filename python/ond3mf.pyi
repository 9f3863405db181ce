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
