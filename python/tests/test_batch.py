"""Batch renders on local Dask clusters against single renders of the same jobs."""
import json
import os
import subprocess
import sys

import pytest

import quorin
import quorin.batch

GRAPHS = {"clouds": "Turbulence", "veins": "Marble", "rings": "WoodRings"}


@pytest.fixture(scope="module")
def project_file(tmp_path_factory):
    path = tmp_path_factory.mktemp("batch") / "three.xml"
    with quorin.Project() as p:
        for graph, kind in GRAPHS.items():
            p.graphs.add(graph).add(kind, name="noise")
        p.settings.width, p.settings.height = 48, 40
        p.write(path)
    return path


def single_render(project_file, graph, seed, path, size):
    with quorin.Project.read(project_file) as p:
        node = p.graphs[graph].nodes["noise"]
        node.params["seed"] = seed
        quorin.save_png(node.render(*size), path)
    return path.read_bytes()


def test_twelve_jobs_on_two_local_workers_match_single_renders(project_file, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    jobs = [{"graph": g, "overrides": {"noise.seed": s}, "size": "96x64", "output": "out/{graph}/{seed}.png"}
            for g in GRAPHS for s in (1, 2, 3, 4)]
    jobs[0].pop("size")  # the project's own size
    rows = quorin.batch.render(project_file, jobs, workers=2)
    assert [r.job for r in rows] == list(range(12))
    for row, job in zip(rows, jobs):
        graph, seed = job["graph"], job["overrides"]["noise.seed"]
        size = (48, 40) if row.job == 0 else (96, 64)
        assert (row.path, row.node, row.size) == (str(tmp_path / "out" / graph / f"{seed}.png"), "noise", size)
        assert row.seconds > 0
        alone = single_render(project_file, graph, seed, tmp_path / "alone.png", size)
        assert open(row.path, "rb").read() == alone, row


@pytest.fixture(scope="module")
def cluster():
    from dask.distributed import Client, LocalCluster

    with LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None) as c:
        with Client(c) as client:
            yield c, client


def test_failed_jobs_are_listed_after_the_others_ran(project_file, tmp_path, cluster):
    jobs = [
        {"graph": "clouds", "output": str(tmp_path / "ok.png")},
        {"graph": "clouds", "overrides": {"noise.sed": 1}, "output": str(tmp_path / "a.png")},
        {"graph": "nowhere", "output": str(tmp_path / "b.png")},
        {"graph": "rings", "frames": "0-2", "size": [8, 8], "output": str(tmp_path / "f{frame:02d}.png")},
    ]
    with pytest.raises(quorin.batch.BatchError) as failed:
        quorin.batch.render(project_file, jobs, client=cluster[1])
    assert [i for i, _, _ in failed.value.failures] == [1, 2]
    message = str(failed.value)
    assert "job 1" in message and "'sed'" in message and "job 2" in message and "'nowhere'" in message
    assert [(r.job, r.frame) for r in failed.value.written] == [(0, None), (3, 0), (3, 1), (3, 2)]
    assert all(os.path.exists(r.path) for r in failed.value.written)
    for bad, message in (({"graph": "clouds"}, "output"), ({"output": "x.png", "colour": 1}, "unknown keys"),
                         ({"output": "x.png", "frames": "0-3"}, "{frame}"), ({"output": "x", "size": "3"}, "size")):
        with pytest.raises(ValueError, match=message):
            quorin.batch.render(project_file, [bad], client=cluster[1])


def test_command_line_runs_a_jobs_file(project_file, tmp_path, cluster):
    spec = {"project": str(project_file),
            "jobs": [{"graph": g, "size": [16, 16], "output": "{graph}.png"} for g in GRAPHS]}
    (tmp_path / "jobs.json").write_text(json.dumps(spec))
    done = subprocess.run([sys.executable, "-m", "quorin.batch", str(tmp_path / "jobs.json"),
                           "--scheduler", cluster[0].scheduler_address],
                          capture_output=True, text=True, timeout=120)
    assert done.returncode == 0, done.stderr
    assert [line.split("\t")[0] for line in done.stdout.splitlines()] == [str(tmp_path / f"{g}.png") for g in GRAPHS]
    assert "3/3 tasks" in done.stderr
    for g in GRAPHS:
        assert (tmp_path / f"{g}.png").read_bytes() == single_render(project_file, g, 0, tmp_path / "x.png", (16, 16))
    (tmp_path / "bad.json").write_text("[]")
    done = subprocess.run([sys.executable, "-m", "quorin.batch", str(tmp_path / "bad.json")],
                          capture_output=True, text=True, timeout=60)
    assert done.returncode == 2 and "project" in done.stderr
