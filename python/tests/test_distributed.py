"""Series over real schedulers and workers, which are processes on the loopback and get lost."""

import contextlib
import os
import signal
import socket
import ssl
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import numpy as np
import pytest
import sweeping
import trel
from trel.sweep.folder import Folder

PYTHON = "/usr/bin/python3"
TOOLS = [PYTHON, "-m", "trel.tools"]
# 40 jobs.
MANY = {"skin.mua": [0.01, 0.02, 0.03, 0.04, 0.05], "skin.mus": [5, 6, 7, 8]}
CLIENT = """
import sys, sweeping, test_distributed as test, trel
trel.sweep(sweeping.block(), test.MANY, "s", root_seed=1, replicates=2, packets=2000,
           runner=sys.argv[1])
"""


class Cluster:
    """A scheduler and workers; all of it is ended with the tests."""

    def __init__(self, program, *tls):
        self.program = program
        self.tls = ["--tls", *map(str, tls)] if tls else []
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            self.port = free.getsockname()[1]
        self.address = f"{'tls' if tls else 'tcp'}://127.0.0.1:{self.port}"
        self.log = open(program.folder / "cluster.log", "w")
        self.scheduler = self.start("scheduler", self.address)
        self.workers = []
        sweeping.wait_for(self.answers)

    def answers(self):
        with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", self.port)):
            return True
        return False

    def start(self, *words, command=None, **variables):
        command = command or [*TOOLS, *words, *self.tls]
        told = sweeping.environment(TREL_BIN=self.program.folder, **variables)
        return subprocess.Popen(command, env=told, cwd="/", stdout=self.log, stderr=self.log)

    def living(self):
        return [worker for worker in self.workers if worker.poll() is None]

    def add_worker(self):
        """Start a worker as the package does; the first one where the package is not."""
        bare = [PYTHON, "-m", "distributed.cli.dask_worker", self.address, "--nthreads", "1",
                "--resources", "node=1", "--no-dashboard", "--local-directory",
                str(self.program.folder)]
        if self.workers or self.tls:
            made = self.start("worker", self.address, "--threads", "1")
        else:
            made = self.start(command=bare, PYTHONPATH=None, TREL_THREADS=1)
        self.workers.append(made)

    def have(self, count):
        """Bring the workers to a number."""
        while len(self.living()) < count:
            self.add_worker()

    def end(self):
        for processes in (self.workers, [self.scheduler]):
            for process in processes:
                process.terminate()
            for process in processes:
                try:
                    process.wait(10)
                except subprocess.TimeoutExpired:
                    process.kill()
                    process.wait()
        self.log.close()


@pytest.fixture(scope="module")
def shared(tmp_path_factory):
    made = Cluster(sweeping.Program(tmp_path_factory.mktemp("cluster") / "bin"))
    yield made
    made.end()


@pytest.fixture
def there(shared, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    monkeypatch.setenv("TREL_BIN", str(shared.program.folder))
    shared.program.reset()
    shared.have(3)
    return shared


def kill_worker_of(number):
    """End the worker that a run belongs to, and what would start it anew, by SIGKILL."""
    worker = sweeping.parent(number)
    for process in (sweeping.parent(worker), worker):
        os.kill(process, signal.SIGKILL)
    sweeping.wait_for(lambda: not sweeping.is_there(number))


def assert_same(one, other, names):
    for name in names:
        # An error is the small difference of two sums.
        digits = 1e-6 if name.endswith("_error") else 1e-9
        np.testing.assert_allclose(one[name], other[name], rtol=digits, err_msg=name)


def test_lost_and_late_workers_and_a_lost_client_change_no_number(there):
    there.program.trouble("hang", "skin.mua=0.02 --set skin.mus=6.0")
    client = subprocess.Popen([sys.executable, "-c", CLIENT, there.address],
                              env=sweeping.environment(PYTHONPATH=":".join(sys.path)))
    kill_worker_of(there.program.hung())
    there.program.trouble("hang", "skin.mua=0.04 --set skin.mus=8.0", again=True)
    there.add_worker()
    sweeping.wait_for(lambda: len(Folder("s").manifest()) >= 15)
    last = there.program.hung()
    client.kill()
    client.wait()
    sweeping.wait_for(lambda: not sweeping.is_there(last))
    before = Folder("s").manifest()
    ran = len(there.program.runs())
    table = trel.sweep(sweeping.block(), MANY, "s", replicates=2, packets=2000,
                       runner=there.address)
    again = there.program.runs()[ran:]
    assert not [line for line in again if any(key in line for key in before)]
    done = Folder("s").manifest()
    assert len(Path("s/manifest.jsonl").read_text().splitlines()) == len(done) == 40
    assert (table.status == "done").all() and set(table.key.values.flat) == set(done)
    alone = trel.sweep(sweeping.block(), MANY, "t", root_seed=1, packets=2000)
    first = table.isel(replicate=0)
    assert_same(first, alone, ["Rd", "Rd_error", "absorption", "absorption_error"])
    np.testing.assert_array_equal(first.key, alone.key)


def test_a_job_that_kills_its_worker_takes_no_other_along(there):
    there.program.trouble("kill", "fat.mus=9.0")
    model = trel.Model.read(Path(__file__).parents[2] / "examples" / "nodule.trl")
    model = model.grid(dx=4, dy=4, dz=4).packets(400)
    with pytest.warns(UserWarning, match="mus 9.*lost"):
        table = trel.sweep(model, {"fat.mus": [5, 9, 10, 11], "nodule.mua": [0.3, -1]}, "s",
                           ["absorption"], runner=there.address)
    others = ["done", "wrong"]
    assert table.status.values.tolist() == [others, ["lost", "lost"], others, others]
    assert len([line for line in there.program.runs() if "mus=9.0" in line]) == 6


def fly_over_machines(there, model, packets):
    """Compare a run over three workers, of which one is killed, with one in a piece."""
    there.program.trouble("hang", "--packet-range 0:")
    with ThreadPoolExecutor() as pool:
        killer = pool.submit(lambda: kill_worker_of(there.program.hung()))
        many = model.run(packets, 5, out="many", batches=24, runner=there.address)
        killer.result()
    one = model.run(packets, 5, out="one", batches=24, progress=False)
    assert one.attrs["packets"] == many.attrs["packets"] >= packets
    assert len(there.program.runs()) == 12 + 1
    assert_same(many, one, [name for name in one.data_vars if one[name].dtype.kind == "f"])


def test_a_run_over_machines_is_that_of_one(there):
    fly_over_machines(there, sweeping.block(), 1e6)


@pytest.mark.long
def test_a_large_run_over_machines_is_that_of_one(there):
    film = trel.Model.box((4, 4, 0.2), 0.1, 0.5, 0, 1).pencil(specular=False)
    fly_over_machines(there, film.grid("cartesian", "cartesian", dx=1, dy=1, dz=0.1), 1e8)


def make_certificates(folder):
    """Files of an authority, and of who it vouches for."""
    def openssl(*words):
        subprocess.run(["openssl", *words], cwd=folder, check=True, capture_output=True)

    def request(name):
        return ["req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                "-keyout", f"{name}.key", "-subj", f"/CN={name}"]

    openssl(*request("ca"), "-x509", "-days", "2", "-out", "ca.pem")
    openssl(*request("lab"), "-out", "lab.csr")
    openssl("x509", "-req", "-in", "lab.csr", "-CA", "ca.pem", "-CAkey", "ca.key", "-days", "2",
            "-CAcreateserial", "-out", "lab.pem")
    return folder / "ca.pem", folder / "lab.pem", folder / "lab.key"


def test_tls_lets_in_who_has_a_certificate(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    files = make_certificates(tmp_path)
    there = Cluster(sweeping.Program(tmp_path / "bin"), *files)
    try:
        runner = trel.Distributed(there.address, trel.Tls(*map(str, files)), patience=0.5)
        with pytest.raises(trel.RunError, match="no workers; start one: trel-tools worker tls:"):
            trel.sweep(sweeping.block(), {"skin.mua": [0.02]}, "s", runner=runner)
        there.have(1)
        runner.patience = 30
        table = trel.sweep(sweeping.block(), {"skin.mua": [0.02, 0.05]}, "s", runner=runner)
        assert (table.status == "done").all()
        stranger = ssl.create_default_context(cafile=str(files[0]))
        stranger.check_hostname = False
        with pytest.raises((ssl.SSLError, ConnectionError)):
            with socket.create_connection(("127.0.0.1", there.port)) as plain:
                with stranger.wrap_socket(plain) as wrapped:
                    assert wrapped.recv(1) == b"nothing"
    finally:
        there.end()


def test_what_is_missing_is_told(there):
    (there.program.folder / "version").write_text("trelrun 1.0.0")
    runner = trel.Distributed(there.address, patience=1)
    with pytest.raises(trel.RunError, match="it has trelrun 1.0.0, not trelrun"):
        trel.sweep(sweeping.block(), {"skin.mua": [0.02]}, "s", runner=runner)
