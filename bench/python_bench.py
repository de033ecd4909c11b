"""Timings of the Python package (not a test).

    PYTHONPATH=build/python python3 bench/python_bench.py render [--size 1024] [--reps 15]
    PYTHONPATH=build/python python3 bench/python_bench.py batch [--size 1024] [--workers 2]

render: a Turbulence rendered through Node.render against the same render driven through the C
interface directly (ctypes: target, pool and context made, node_render, all freed), interleaved,
in CPU seconds per render. batch: twelve jobs (three graphs by four seeds) one after another in
this process against quorin.batch.render on a local cluster, in wall seconds.
"""
import argparse
import ctypes
import os
import statistics
import tempfile
import time

import quorin
import quorin.batch


def c_interface(lib_path):
    lib = ctypes.CDLL(lib_path)  # the library the extension already loaded and initialised
    p = ctypes.c_void_p
    u32 = ctypes.c_uint32
    signatures = {
        "node_create_by_type_name": (p, [ctypes.c_char_p]), "node_delete": (None, [p]),
        "imgbuf4f_create": (p, [u32, u32]), "imgbuf4f_delete": (None, [p]),
        "pool4f_create": (p, [u32, u32, u32]), "pool4f_delete": (None, [p]),
        "renderctx_create": (p, []), "renderctx_delete": (None, [p]),
        "renderctx_set_target_buf": (None, [p, p]), "renderctx_set_targetbuf_from_cache": (None, [p, u32]),
        "renderctx_set_pool": (None, [p, p]), "renderctx_set_for_thumbnail": (None, [p, u32]),
        "renderctx_set_for_preview": (None, [p, u32]), "renderctx_set_preview_supersampling": (None, [p, u32]),
        "renderctx_set_is_anim": (None, [p, u32]), "renderctx_set_project": (None, [p, p]),
        "project_create": (p, []), "project_delete": (None, [p]), "node_render": (None, [p, p]),
    }
    for name, (res, args) in signatures.items():
        getattr(lib, name).restype, getattr(lib, name).argtypes = res, args
    return lib


def bench_render(args):
    lib = c_interface(args.lib)
    project = lib.project_create()
    node = lib.node_create_by_type_name("Turbulence\0".encode("utf-16-le"))
    size = args.size

    def through_c():
        target = lib.imgbuf4f_create(size, size)
        pool = lib.pool4f_create(size, size, 12)  # what the package makes for one node
        ctx = lib.renderctx_create()
        lib.renderctx_set_target_buf(ctx, target)
        lib.renderctx_set_targetbuf_from_cache(ctx, 0)
        lib.renderctx_set_pool(ctx, pool)
        lib.renderctx_set_for_thumbnail(ctx, 0)
        lib.renderctx_set_for_preview(ctx, 0)
        lib.renderctx_set_preview_supersampling(ctx, 0)
        lib.renderctx_set_is_anim(ctx, 0)
        lib.renderctx_set_project(ctx, project)
        lib.node_render(node, ctx)
        lib.renderctx_delete(ctx)
        lib.pool4f_delete(pool)
        lib.imgbuf4f_delete(target)

    with quorin.Project() as p:
        turb = p.graphs.add("g").add("Turbulence")

        def through_python():
            image = turb.render(size, size)
            del image

        times = {"C interface": [], "Python": []}
        for _ in range(args.reps):
            for label, run in (("C interface", through_c), ("Python", through_python)):
                start = time.process_time()
                run()
                times[label].append(time.process_time() - start)
    lib.node_delete(node)
    lib.project_delete(project)
    med = {k: statistics.median(v) for k, v in times.items()}
    for label, v in times.items():
        print(f"{label:12s} median {med[label] * 1e3:8.2f} ms  min {min(v) * 1e3:8.2f} ms  ({len(v)} renders)")
    print(f"Python / C interface: {med['Python'] / med['C interface']:.3f} (medians of CPU time)")


def _cpu_seconds():
    import resource

    r = resource.getrusage(resource.RUSAGE_SELF)
    return r.ru_utime + r.ru_stime


def bench_batch(args):
    from dask.distributed import Client, LocalCluster

    folder = tempfile.mkdtemp(prefix="quorin-batch-")
    path = os.path.join(folder, "three.xml")
    graphs = {"clouds": "Turbulence", "veins": "Marble", "rings": "WoodRings"}
    with quorin.Project() as p:
        for graph, kind in graphs.items():
            p.graphs.add(graph).add(kind, name="noise")
        p.write(path)
    jobs = [{"graph": g, "overrides": {"noise.seed": s}, "size": [args.size, args.size],
             "output": os.path.join(folder, "{graph}-{seed}.png")} for g in graphs for s in range(1, 5)]
    start, cpu = time.perf_counter(), time.process_time()
    for i, job in enumerate(jobs):
        quorin.batch.run_job(path, i, quorin.batch._normalise(job, i, folder))
    sequential, sequential_cpu = time.perf_counter() - start, time.process_time() - cpu
    start = time.perf_counter()
    with LocalCluster(n_workers=args.workers, threads_per_worker=1, processes=True, dashboard_address=None) as c:
        with Client(c) as client:
            client.wait_for_workers(args.workers)
            before = client.run(_cpu_seconds)
            ready = time.perf_counter()
            quorin.batch.render(path, jobs, client=client)
            done = time.perf_counter()
            after = client.run(_cpu_seconds)
    used = [after[w] - before[w] for w in before]
    print(f"12 jobs of {args.size}x{args.size}: one after another {sequential:.2f} s wall, {sequential_cpu:.2f} s CPU")
    print(f"on {args.workers} local workers {done - ready:.2f} s wall (speed-up {sequential / (done - ready):.2f}x); "
          f"with the cluster's start {done - start:.2f} s ({sequential / (done - start):.2f}x)")
    print(f"CPU seconds per worker: {', '.join(f'{u:.2f}' for u in used)}; on as many free cores the batch "
          f"would take the busiest worker's share: {sequential_cpu / max(used):.2f}x")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("what", choices=("render", "batch"))
    parser.add_argument("--size", type=int, default=1024)
    parser.add_argument("--reps", type=int, default=15)
    parser.add_argument("--workers", type=int, default=2)
    here = os.path.dirname(quorin._quorin.__file__)
    parser.add_argument("--lib", default=os.path.normpath(os.path.join(here, "..", "..", "bin", "libquorin_engine.so")),
                        help="the engine library the extension loads (default: the build tree's)")
    args = parser.parse_args()
    (bench_render if args.what == "render" else bench_batch)(args)


if __name__ == "__main__":
    main()
