"""Type stubs of the extension module; the quorin package re-exports every name."""
from os import PathLike
from typing import Any, Iterator, Optional, Union, overload

import numpy as np
import numpy.typing as npt

from . import Params

_Path = Union[str, PathLike[str]]
_Image = npt.NDArray[np.float32]
_Color = tuple[float, float, float, float]

class DeletedError(ReferenceError):
    """An object whose project was closed, or that was removed from its graph or project."""

class ProjectError(OSError):
    """A project file the engine refuses to read, or cannot write."""

class ExpressionError(ValueError):
    """A formula the expression parser refuses (it stays stored as text)."""

class Port:
    """An input or output of a node type."""
    @property
    def name(self) -> str: ...
    @property
    def type(self) -> str:
        """'rgbstream', 'greystream' (images), 'scalar', 'scalar_color_rgb' or 'string'."""
    @property
    def description(self) -> str: ...

class ParamSpec:
    """A parameter of a node type, as the catalogue describes it."""
    @property
    def name(self) -> str: ...
    @property
    def group(self) -> str: ...
    @property
    def type(self) -> str:
        """'uint', 'float', 'color_rgb', 'enum', 'bool', 'string', 'font' or 'curve'."""
    @property
    def description(self) -> str: ...
    @property
    def default(self) -> Any:
        """The value a new node holds, as Node.params gives it; None if the type has none."""
    @property
    def min(self) -> Optional[float]: ...
    @property
    def max(self) -> Optional[float]: ...
    @property
    def enum_values(self) -> list[str]: ...
    @property
    def curveable(self) -> bool: ...

class NodeType:
    """A node type of the catalogue: its ports and parameters."""
    @property
    def name(self) -> str: ...
    @property
    def type_id(self) -> int: ...
    @property
    def is_generator(self) -> bool: ...
    @property
    def disabled(self) -> bool:
        """True for types that editors hide from their menus."""
    @property
    def category(self) -> str: ...
    @property
    def description(self) -> str: ...
    @property
    def inputs(self) -> list[Port]: ...
    @property
    def outputs(self) -> list[Port]: ...
    @property
    def params(self) -> list[ParamSpec]: ...
    def param(self, name: str) -> ParamSpec:
        """The parameter of that name; KeyError if the type has none."""

def node_types() -> list[NodeType]:
    """Every node type of the catalogue, generators first, in type id order."""

def node_type(name: str) -> NodeType:
    """The node type of that exact name; KeyError listing the known names if there is none."""

def set_render_threads(n: int) -> None:
    """Divides each render over n threads (0: one per processor; default 1). Same pixels for every n."""

def save_png(image: npt.ArrayLike, path: _Path, *, alpha: bool = False) -> None:
    """Writes an array of shape (height, width, 4) as an 8-bit PNG (RGB, or RGBA with alpha=True)."""

class Project:
    """A project: graphs of nodes, render settings and image assets.

    Graphs, nodes and assets keep their project alive; close() (or leaving a `with` block) frees
    it at once, and objects of it then raise DeletedError.
    """
    def __init__(self) -> None: ...
    @staticmethod
    def read(path: _Path) -> Project:
        """Reads a project file: FileNotFoundError, ProjectError, ExpressionError."""
    def write(self, path: _Path) -> None:
        """Writes the project file; ProjectError if it cannot be written."""
    def close(self) -> None:
        """Frees the project now; its graphs, nodes and assets raise DeletedError afterwards."""
    @property
    def closed(self) -> bool: ...
    def __enter__(self) -> Project: ...
    def __exit__(self, *args: Any) -> None: ...
    @property
    def graphs(self) -> GraphList: ...
    @property
    def settings(self) -> Settings: ...
    @property
    def assets(self) -> AssetList: ...
    time: float
    """The normalised animation time, 0 to 1, that time curves and Time nodes read."""

class GraphList:
    """The graphs of a project: by index, by name, iterable."""
    def __len__(self) -> int: ...
    @overload
    def __getitem__(self, index: int) -> Graph: ...
    @overload
    def __getitem__(self, name: str) -> Graph: ...
    def __iter__(self) -> Iterator[Graph]: ...
    def __contains__(self, item: object) -> bool: ...
    def add(self, name: str = "", *, activate: bool = False) -> Graph:
        """Appends a new, empty graph; with activate=True it becomes the active graph."""
    def remove(self, graph: Union[Graph, str]) -> None:
        """Deletes a graph with its nodes; no graph is active afterwards."""
    active: Optional[Graph]

class Graph:
    """A graph of nodes; it belongs to its project."""
    name: str
    @property
    def project(self) -> Project: ...
    @property
    def nodes(self) -> NodeList: ...
    def add(self, type_name: str, *, name: str = "") -> Node:
        """Adds a new node of the named type; KeyError listing the known types if there is none."""
    def remove(self, node: Node) -> None:
        """Deletes a node and every connection to and from it."""

class NodeList:
    """The nodes of a graph: by index, by name, iterable."""
    def __len__(self) -> int: ...
    @overload
    def __getitem__(self, index: int) -> Node: ...
    @overload
    def __getitem__(self, name: str) -> Node: ...
    def __iter__(self) -> Iterator[Node]: ...
    def __contains__(self, item: object) -> bool: ...
    def remove(self, node: Node) -> None: ...

class Node:
    """A node of a graph; it belongs to its graph."""
    @property
    def type(self) -> str: ...
    @property
    def type_id(self) -> int: ...
    @property
    def spec(self) -> NodeType: ...
    name: str
    disabled: bool
    @property
    def graph(self) -> Graph: ...
    @property
    def params(self) -> Params:
        """The node's parameters by name, read and set as Python values."""
    @property
    def inputs(self) -> dict[str, Optional[Node]]:
        """The node's inputs in order, each with the node connected to it or None."""
    def connect(self, input: str, source: Optional[Node], output: Optional[str] = None) -> None:
        """Connects the source's output (by default its first) to the input; None disconnects."""
    def render(self, width: int, height: int, *, time: Optional[float] = None,
               preview: bool = False) -> _Image:
        """Renders into a new (height, width, 4) float32 array that holds the engine's image."""
    def render_frames(self, width: int, height: int, first: int, last: int, *,
                      preview: bool = False) -> FrameIterator:
        """Renders the animation frames first to last as (frame, array) pairs."""
    def value(self, *, time: Optional[float] = None) -> Union[float, tuple[float, float, float], str]:
        """What a value node yields at its first output."""
    def scalar_value(self, *, time: Optional[float] = None) -> float: ...
    def color_value(self, *, time: Optional[float] = None) -> tuple[float, float, float]: ...
    def string_value(self, *, time: Optional[float] = None) -> str: ...
    def _param_names(self) -> list[str]: ...
    def _param(self, name: str) -> Any: ...
    def _set_param(self, name: str, value: Any) -> None: ...

class FrameIterator(Iterator[tuple[int, _Image]]):
    def __iter__(self) -> FrameIterator: ...
    def __next__(self) -> tuple[int, _Image]: ...
    def __len__(self) -> int: ...

class Settings:
    """A project's settings: typed attributes, and every setting's text by name."""
    width: int
    height: int
    preview_permille: int
    preview_showalpha: bool
    preview_supersampling: bool
    max_undo_redo_steps: int
    animation_frames: int
    renderthreads_spectype_editor: int
    renderthreads_editor: int
    renderthreads_spectype_editor_preview: int
    renderthreads_editor_preview: int
    def __getitem__(self, name: str) -> str: ...
    def __setitem__(self, name: str, value: str) -> None: ...

class AssetList:
    """The image assets of a project: by index, by name, iterable."""
    def __len__(self) -> int: ...
    @overload
    def __getitem__(self, index: int) -> Asset: ...
    @overload
    def __getitem__(self, name: str) -> Asset: ...
    def __iter__(self) -> Iterator[Asset]: ...
    def load(self, path: _Path, name: str = "", *, activate: bool = False) -> Asset:
        """Embeds an image file as a new asset; ValueError if the engine cannot decode it."""
    def remove(self, asset: Asset) -> None: ...

class Asset:
    """An image asset; it belongs to its project."""
    name: str
    filepath: str
    @property
    def embedded(self) -> bool: ...
    @property
    def image(self) -> Optional[_Image]:
        """A copy of the decoded image, shape (height, width, 4) float32, or None."""
