"""Quorin: a node-graph procedural image engine, from Python.

Build a graph, render it into a NumPy array, save it as PNG::

    import quorin
    project = quorin.Project()
    noise = project.graphs.add("clouds").add("Turbulence", name="noise")
    noise.params["seed"] = 8
    quorin.save_png(noise.render(512, 512), "clouds.png")

Projects read from files work the same way (``quorin.Project.read(path)``); ``quorin.batch``
renders many jobs on a Dask cluster. The engine comes up on import and goes down at exit.
"""
from collections.abc import MutableMapping as _MutableMapping
from typing import Any, Iterator

from ._quorin import (
    Asset,
    AssetList,
    DeletedError,
    ExpressionError,
    FrameIterator,
    Graph,
    GraphList,
    Node,
    NodeList,
    NodeType,
    ParamSpec,
    Port,
    Project,
    ProjectError,
    Settings,
    node_type,
    node_types,
    save_png,
    set_render_threads,
)

__all__ = [
    "Asset", "AssetList", "DeletedError", "ExpressionError", "FrameIterator", "Graph", "GraphList",
    "Node", "NodeList", "NodeType", "Params", "ParamSpec", "Port", "Project", "ProjectError",
    "Settings", "node_type", "node_types", "save_png", "set_render_threads",
]


class Params(_MutableMapping):
    """The parameters of a node by name, read and set as Python values.

    A ``uint`` is an int, a ``float`` a float, a ``bool`` a bool, an ``enum`` the name of its value
    (set it by name or by index), a ``color_rgb`` an (r, g, b, a) tuple (set 3 or 4 numbers), a
    ``string`` a str and a ``font`` a read-only "Face, size" text. A parameter with nothing stored
    reads None. Unknown names raise KeyError listing the node's parameters; a value of the wrong
    kind raises TypeError, a bad enum name or index ValueError with the valid choices, a formula
    that cannot be parsed ExpressionError.
    """

    __slots__ = ("_node",)

    def __init__(self, node: Node) -> None:
        self._node = node

    def __getitem__(self, name: str) -> Any:
        return self._node._param(name)

    def __setitem__(self, name: str, value: Any) -> None:
        self._node._set_param(name, value)

    def __delitem__(self, name: str) -> None:
        raise TypeError("a parameter cannot be removed; set another value")

    def __iter__(self) -> Iterator[str]:
        return iter(self._node._param_names())

    def __len__(self) -> int:
        return len(self._node._param_names())

    def __repr__(self) -> str:
        return f"Params({dict(self)!r})"


Node.params = property(Params, doc="The node's parameters by name (see Params).")


def __getattr__(name: str) -> Any:
    # quorin.batch pulls in Dask; it is imported on first use only.
    if name == "batch":
        import importlib

        return importlib.import_module(".batch", __name__)
    raise AttributeError(f"module 'quorin' has no attribute {name!r}")
