"""Batch renders of one project on a Dask cluster.

Each job names what to render and where to write it; every job runs as one task, which reads the
project in its worker, applies the job's overrides and writes its files::

    import quorin.batch
    if __name__ == "__main__":
        jobs = [{"graph": "clouds", "overrides": {"noise.seed": s}, "size": [512, 512],
                 "output": "out/clouds-{seed}.png"} for s in range(4)]
        for row in quorin.batch.render("project.xml", jobs):
            print(row.path, row.seconds)

A job is a dict with these keys, all optional but "output":

- "graph": the graph's name or index (default: the active graph, else the first);
- "node": a node's name, index or type name (default: what the graph's first Output node
  receives, else the last node whose image nothing uses), as the quorin command chooses;
- "overrides": {"node.param": value} set before rendering, values as Node.params takes them;
- "size": [width, height] or "WxH" (default: the project's render size);
- "time": the animation time, 0 to 1; or "frames": [first, last] or "first-last";
- "alpha": write RGBA instead of RGB; "preview": render as an editor's preview;
- "output": the PNG path, a str.format pattern with the fields {graph}, {node}, {job} (the job's
  index), {frame}, {width}, {height}, {overrides[node.param]} and, where only one override names
  it, the parameter's name alone ({seed}). Relative paths are taken from the current folder;
  missing folders are created.

Without a client, a LocalCluster of worker processes (one thread each) runs on this machine for
the call; a script that calls render() then keeps its top-level code under
``if __name__ == "__main__":``, since the worker processes import it again. With a client, the cluster's workers must be able to import quorin and to read the
project and write the outputs under the same paths.
"""
from __future__ import annotations

import os
import time
import uuid
from typing import Any, Callable, Iterable, NamedTuple, Optional

__all__ = ["BatchError", "Rendered", "render", "run_job"]

_JOB_KEYS = ("graph", "node", "overrides", "size", "time", "frames", "alpha", "preview", "output")


class Rendered(NamedTuple):
    """One file a batch wrote: a row of the table that render() returns."""

    path: str
    node: str
    size: tuple
    seconds: float
    job: int
    frame: Optional[int]


class BatchError(RuntimeError):
    """Some jobs failed. `failures` holds (job index, job, message); `written` what was written."""

    def __init__(self, failures: list, written: list) -> None:
        self.failures = failures
        self.written = written
        lines = [f"{len(failures)} of the batch's jobs failed:"]
        lines += [f"  job {i} ({_job_title(job)}): {message}" for i, job, message in failures]
        super().__init__("\n".join(lines))


def _job_title(job: dict) -> str:
    parts = [f"{k}={job[k]!r}" for k in ("graph", "node") if job.get(k) is not None]
    return ", ".join(parts) or "default node"


def _pair(value: Any, what: str, sep: str) -> tuple:
    if isinstance(value, str):
        left, mid, right = value.partition(sep)
        if not mid:
            raise ValueError(f"bad {what} {value!r}: give A{sep}B")
        value = (left, right)
    try:
        a, b = (int(v) for v in value)
    except (TypeError, ValueError):
        raise ValueError(f"bad {what} {value!r}: give two whole numbers") from None
    return a, b


def _normalise(job: Any, index: int, base: str) -> dict:
    """A job checked for its form, with sizes and frames as pairs and the output made absolute."""
    if not isinstance(job, dict):
        raise ValueError(f"job {index} is not a dict")
    unknown = sorted(set(job) - set(_JOB_KEYS))
    if unknown:
        raise ValueError(f"job {index} has unknown keys {unknown}; valid keys: {list(_JOB_KEYS)}")
    job = dict(job)
    if not isinstance(job.get("output"), str) or not job["output"]:
        raise ValueError(f"job {index} needs an 'output' path or pattern")
    job["output"] = os.path.join(base, job["output"])
    if not isinstance(job.get("overrides", {}), dict):
        raise ValueError(f"job {index}: 'overrides' is a dict of 'node.param': value")
    if "size" in job:
        job["size"] = _pair(job["size"], "size", "x")
        if min(job["size"]) < 1:
            raise ValueError(f"job {index}: bad size {job['size']}")
    if "frames" in job:
        if job.get("time") is not None:
            raise ValueError(f"job {index}: 'time' and 'frames' exclude each other")
        first, last = job["frames"] = _pair(job["frames"], "frame range", "-")
        if first < 0 or last < first:
            raise ValueError(f"job {index}: bad frame range {first}-{last}")
        if last > first and "{frame" not in job["output"]:
            raise ValueError(f"job {index}: an output for several frames needs a {{frame}} field")
    return job


# ---- in the worker ------------------------------------------------------------------------------


def _find_graph(project, spec):
    graphs = project.graphs
    if spec is None:
        return graphs.active or graphs[0]
    if isinstance(spec, int):
        return graphs[spec]
    if spec in graphs:
        return graphs[spec]
    if spec.isdigit() and int(spec) < len(graphs):
        return graphs[int(spec)]
    return graphs[spec]  # KeyError listing the graphs


def _default_node(graph):
    """The first Output node's input, else the last node whose image nothing uses."""
    nodes = list(graph.nodes)
    for n in nodes:
        if n.type == "Output":
            if n.inputs.get("RGB") is not None:
                return n.inputs["RGB"]
            break
    used = {src for n in nodes for src in n.inputs.values() if src is not None}
    fallback = None
    for n in reversed(nodes):
        if n in used:
            continue
        if any(p.type in ("rgbstream", "greystream") for p in n.spec.outputs):
            return n
        fallback = fallback or n
    if fallback is None:
        raise ValueError(f"graph {graph.name!r} has no node to render")
    return fallback


def _find_node(graph, spec):
    if spec is None:
        return _default_node(graph)
    if isinstance(spec, int):
        return graph.nodes[spec]
    if spec in graph.nodes:
        return graph.nodes[spec]
    if spec.isdigit() and int(spec) < len(graph.nodes):
        return graph.nodes[int(spec)]
    for n in graph.nodes:
        if n.type == spec:
            return n
    return graph.nodes[spec]  # KeyError listing the node names


def _label(graph, node) -> str:
    if node.name:
        return node.name
    return f"#{list(graph.nodes).index(node)} {node.type}"


def run_job(project_path: str, index: int, job: dict) -> list:
    """Runs one normalised job in this process and returns the rows of the files it wrote."""
    import quorin

    with quorin.Project.read(project_path) as project:
        graph = _find_graph(project, job.get("graph"))
        node = _find_node(graph, job.get("node"))
        overrides = job.get("overrides", {})
        for key, value in overrides.items():
            node_spec, _, param = key.rpartition(".")
            if not node_spec or not param:
                raise ValueError(f"override {key!r}: give 'node.param'")
            _find_node(graph, node_spec).params[param] = value
        settings = project.settings
        width, height = job.get("size") or (settings.width, settings.height)
        label = _label(graph, node)
        params = [k.rpartition(".")[2] for k in overrides]
        fields = {p: v for p, (k, v) in zip(params, overrides.items()) if params.count(p) == 1}
        fields.update(graph=graph.name, node=label, job=index, width=width, height=height,
                      overrides=overrides, frame=None)
        preview, alpha = bool(job.get("preview")), bool(job.get("alpha"))

        def frames():
            if "frames" in job:
                first, last = job["frames"]
                yield from node.render_frames(width, height, first, last, preview=preview)
            else:
                yield None, node.render(width, height, time=job.get("time"), preview=preview)

        rows = []
        start = time.perf_counter()
        for frame, image in frames():
            path = job["output"].format(**dict(fields, frame=frame))
            os.makedirs(os.path.dirname(path) or ".", exist_ok=True)
            quorin.save_png(image, path, alpha=alpha)
            now = time.perf_counter()
            rows.append(Rendered(path, label, (width, height), now - start, index, frame))
            start = now
        return rows


# ---- on the client ------------------------------------------------------------------------------


def render(project_path: "str | os.PathLike[str]", jobs: Iterable[dict], *, client=None,
           workers: Optional[int] = None,
           progress: Optional[Callable[[int, int], None]] = None) -> list:
    """Runs the jobs as tasks on a Dask cluster and returns the files written, as Rendered rows
    in job order. Raises BatchError listing the failed jobs if any failed (after all have run),
    ValueError at once for a job of the wrong form.

    client: a dask.distributed.Client; without one a LocalCluster of `workers` processes (by
    default one per core, at most one per job) runs for this call. progress(done, total) is
    called as tasks finish.
    """
    project_path = os.path.abspath(os.fspath(project_path))
    if not os.path.isfile(project_path):
        raise FileNotFoundError(f"no such project file: {project_path}")
    base = os.getcwd()
    jobs = [_normalise(job, i, base) for i, job in enumerate(jobs)]
    if not jobs:
        return []

    from dask.distributed import Client, LocalCluster, as_completed

    own = []
    if client is None:
        count = workers or max(1, min(len(jobs), os.cpu_count() or 1))
        cluster = LocalCluster(n_workers=count, threads_per_worker=1, processes=True,
                               dashboard_address=None)
        client = Client(cluster)
        own = [client, cluster]
    try:
        batch = uuid.uuid4().hex[:8]
        futures = {client.submit(run_job, project_path, i, job, key=f"quorin-{batch}-{i}",
                                 pure=False): i for i, job in enumerate(jobs)}
        rows, failures = [], []
        for done, future in enumerate(as_completed(futures), start=1):
            i = futures[future]
            try:
                rows.extend(future.result())
            except Exception as error:  # the job's own error, or the loss of its worker
                failures.append((i, jobs[i], f"{type(error).__name__}: {error}"))
            if progress:
                progress(done, len(jobs))
    finally:
        for thing in own:
            thing.close()
    rows.sort(key=lambda r: (r.job, -1 if r.frame is None else r.frame))
    if failures:
        raise BatchError(sorted(failures, key=lambda f: f[0]), rows)
    return rows
