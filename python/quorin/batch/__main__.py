"""python3 -m quorin.batch JOBS.json [--scheduler ADDRESS] [--workers N]

JOBS.json holds {"project": "project.xml", "jobs": [...]}, the jobs as quorin.batch describes
them; relative paths in it are taken from the folder of the JSON file. Prints one line per file
written; a progress bar over finished tasks goes to standard error. Exit status 1 if a job
failed, 2 for a mistake in the call or the jobs file.
"""
import argparse
import json
import os
import sys

from . import BatchError, render


def _progress_bar(done: int, total: int) -> None:
    width = 30
    filled = width * done // total
    line = f"[{'#' * filled}{'.' * (width - filled)}] {done}/{total} tasks"
    if sys.stderr.isatty():
        sys.stderr.write("\r" + line + ("\n" if done == total else ""))
    else:
        sys.stderr.write(line + "\n")
    sys.stderr.flush()


def main(argv=None) -> int:
    parser = argparse.ArgumentParser(prog="python3 -m quorin.batch",
                                     description="Renders the jobs of a JSON file on a Dask cluster.")
    parser.add_argument("jobs_file", metavar="JOBS.json")
    parser.add_argument("--scheduler", metavar="ADDRESS",
                        help="a running Dask scheduler (default: a cluster on this machine)")
    parser.add_argument("--workers", type=int, metavar="N",
                        help="worker processes of the local cluster (default: one per core)")
    args = parser.parse_args(argv)
    try:
        with open(args.jobs_file, encoding="utf-8") as f:
            spec = json.load(f)
        if not isinstance(spec, dict) or "project" not in spec or not isinstance(spec.get("jobs"), list):
            raise ValueError('the jobs file holds {"project": PATH, "jobs": [...]}')
    except (OSError, ValueError) as e:
        print(f"quorin.batch: {e}", file=sys.stderr)
        return 2
    folder = os.path.dirname(os.path.abspath(args.jobs_file))
    client = None
    if args.scheduler:
        from dask.distributed import Client

        client = Client(args.scheduler)
    cwd = os.getcwd()
    os.chdir(folder)  # relative paths of the jobs file are the file's own
    try:
        rows = render(os.path.join(folder, spec["project"]), spec["jobs"], client=client,
                      workers=args.workers, progress=_progress_bar)
    except BatchError as e:
        for row in e.written:
            print(f"{row.path}\t{row.node}\t{row.size[0]}x{row.size[1]}\t{row.seconds:.3f}s")
        print(f"quorin.batch: {e}", file=sys.stderr)
        return 1
    except (OSError, ValueError) as e:
        print(f"quorin.batch: {e}", file=sys.stderr)
        return 2
    finally:
        os.chdir(cwd)
        if client is not None:
            client.close()
    for row in rows:
        print(f"{row.path}\t{row.node}\t{row.size[0]}x{row.size[1]}\t{row.seconds:.3f}s")
    return 0


if __name__ == "__main__":
    sys.exit(main())
