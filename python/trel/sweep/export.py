"""Jobs as scripts for a batch system, a Slurm array or GNU parallel, and what they have left."""

from __future__ import annotations

from collections.abc import Generator

from ..errors import TrelError
from .folder import Folder
from .jobs import Job, Outcome, judge
from .slim import is_whole

LARGEST_ARRAY = 1000
"""Largest number of a task in an array, by Slurm's own setting; tasks take several jobs then."""

JOB = r"""#!/bin/bash
# Runs the job of one line of pending.txt, counted from 1, or goes on with it.
# Usage: run-job.sh LINE [THREADS]
cd "$(dirname "${BASH_SOURCE[0]}")" || exit 1
[ -z "${TREL_BIN-}" ] || PATH=$TREL_BIN:$PATH
IFS=$'\t' read -r key command < <(sed -n "$1p" pending.txt)
[ -n "$command" ] || { echo "pending.txt has no line $1" >&2; exit 1; }
base=results/$key
[ "$(cat "$base.exit" 2>/dev/null)" != 0 ] || exit 0
if [ -e "$base.nc" ] || [ -e "$base.checkpoint.nc" ]; then
    command="$command --continue"
fi
eval "${launch-} $command --quiet ${2:+--threads $2}" 2>"$base.log"
status=$?
echo "$status" >"$base.exit"
exit "$status"
"""

SLURM = r"""#!/bin/bash
#SBATCH --job-name=trel
#SBATCH --array=1-{tasks}
#SBATCH --cpus-per-task={cores}
#SBATCH --signal=TERM@120
#SBATCH --requeue
#SBATCH --output=slurm-%A_%a.log
#SBATCH --open-mode=append
# Start it in its folder: sbatch slurm.sh. Ahead of the end of its time a run is told to stop; it
# goes on when the task is queued again.
cd "${{SLURM_SUBMIT_DIR:-$(dirname "${{BASH_SOURCE[0]}}")}}" || exit 1
cores=${{SLURM_CPUS_PER_TASK:-{cores}}}
export launch=
if command -v srun >/dev/null; then
    launch="srun --ntasks=1 --cpus-per-task=$cores"
fi
worst=0
for ((line = SLURM_ARRAY_TASK_ID; line <= {jobs}; line += {tasks})); do
    bash ./run-job.sh "$line" "$cores"
    status=$?
    if [ "$status" = 143 ]; then
        scontrol requeue "${{SLURM_ARRAY_JOB_ID}}_$SLURM_ARRAY_TASK_ID"
        exit 143
    fi
    [ "$status" = 0 ] || worst=$status
done
exit "$worst"
"""

PARALLEL = r"""#!/bin/bash
# Runs the jobs, one on each core; what is done is passed over.
# Usage: parallel.sh [OPTIONS of parallel]
cd "$(dirname "${{BASH_SOURCE[0]}}")" || exit 1
seq {jobs} | parallel --jobs "$(nproc)" --joblog parallel.log "$@" bash ./run-job.sh {{}} {cores}
"""


class Export:
    """Writes a script for the jobs, which is started by its user."""

    def __init__(self, kind: str, cores: int | None = None) -> None:
        """As ``slurm`` or ``parallel``; each run on so many cores, 4 or 1 without it."""
        if kind not in ("slurm", "parallel"):
            raise TrelError(f"export: got {kind!r}, expected slurm or parallel")
        self.kind = kind
        self.cores = cores or (4 if kind == "slurm" else 1)

    def run(self, jobs: list[Job], folder: Folder) -> Generator[Outcome, None, None]:
        """Write ``pending.txt`` (key and command), ``run-job.sh`` and ``KIND.sh``; run nothing."""
        lines = [f"{job.key}\t{job.tell()['command']}\n" for job in jobs]
        numbers = {"jobs": len(jobs), "cores": self.cores,
                   "tasks": min(len(jobs), LARGEST_ARRAY)}
        script = (SLURM if self.kind == "slurm" else PARALLEL).format(**numbers)
        for name, text in (("pending.txt", "".join(lines)), ("run-job.sh", JOB),
                           (f"{self.kind}.sh", script)):
            folder.write(name, text)
        yield from ()


def find_outcome(job: Job, folder: Folder) -> Outcome | None:
    """Return how a job has ended that left its results, or its exit status, in the folder."""
    if is_whole(folder.result(job.key)):
        return Outcome(job, "done")
    exit_file = folder.path / f"{job.base}.exit"
    log = folder.path / f"{job.base}.log"
    if not exit_file.exists():
        return None
    text = log.read_text(errors="replace") if log.exists() else ""
    outcome = judge(job, int(exit_file.read_text() or 143), text)
    return outcome if outcome.status == "wrong" else None


def forget(job: Job, folder: Folder) -> None:
    """Remove how a job has ended, so that it is run again."""
    (folder.path / f"{job.base}.exit").unlink(missing_ok=True)
