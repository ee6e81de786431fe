#!/usr/bin/env python3
"""Disturbs the program while it writes: the result files of a run are all there or none is.

Usage: filesTest.py TREL
"""

import os
import random
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from contextlib import contextmanager
from pathlib import Path

ROUNDS = 10
MODEL = (Path(__file__).parent.parent / "examples/pencil-beam.trl").read_text()


class Folder:
    """A folder with the model of two wavelengths, 600 and 700, and an older set of results."""

    def __init__(self, program, path):
        self.program, self.path, self.out = program, Path(path), Path(path) / "out"
        self.out.mkdir()
        for wavelength in (600, 700):
            self.write_model(wavelength)
        started = time.monotonic()
        self.run()
        self.seconds = time.monotonic() - started
        self.sizes = self.get_listing()
        self.write_old()

    def write_model(self, wavelength, cell=0.4):
        """Few packets, all domains, many cells: most of a run is writing."""
        more = f"domain td 0 3 1\ndomain fd 100\nroiseparation {cell} {cell} {cell} 1 30 30\n"
        text = MODEL.replace("endsim", more + "endsim").replace(" 100000", " 50")
        text = text.replace("spectrum 1 650", f"spectrum 1 {wavelength}")
        (self.path / f"{wavelength}.trl").write_text(text)

    def write_old(self):
        for name in self.sizes:
            (self.out / name).write_text("Spectrum old\n")

    def start(self, model="600.trl", before=None, **options):
        options.setdefault("stdout", subprocess.PIPE)
        return subprocess.Popen(
            [self.program, self.path / model, self.out / "run", "1", "1", "0.9", "1.37"],
            stderr=subprocess.PIPE, text=True, preexec_fn=before, **options)

    def run(self, model="600.trl", before=None):
        return self.start(model, before).communicate(timeout=60)

    def get_set(self):
        """The wavelength of all files ("old" of the older ones), or what is wrong with the set."""
        files = sorted(self.out.iterdir())
        kinds = {self.get_kind(file) for file in files}
        if [file.name for file in files] != sorted(self.sizes) or len(kinds) != 1:
            return f"{[file.name for file in files]} of {kinds}"
        return kinds.pop()

    def get_kind(self, file):
        with file.open() as stream:
            kind = stream.readline().replace("Spectrum", "").strip()
        # Numbers have a width, but for some counts of packets.
        is_cut = kind != "old" and file.stat().st_size < self.sizes[file.name] - 16
        return f"{kind}, cut" if is_cut else kind

    def wait_for_writing(self, process):
        """Until a random moment of the writing."""
        before = self.get_listing()
        while process.poll() is None and self.get_listing() == before:
            time.sleep(0.0005)
        time.sleep(random.random() * self.seconds * 0.6)

    def get_listing(self):
        return {file.name: file.stat().st_size for file in self.out.iterdir()}


def expect(got, wanted, what):
    if got not in wanted:
        raise AssertionError(f"{what}: got {got!r}, expected one of {wanted!r}")


@contextmanager
def small_disk(folder):
    """64 kB of disk, where the system permits to mount one."""
    command = ["mount", "-t", "tmpfs", "-o", "size=64k", "none", str(folder)]
    mounted = os.geteuid() == 0 and subprocess.run(command, capture_output=True).returncode == 0
    try:
        yield mounted
    finally:
        if mounted:
            subprocess.run(["umount", str(folder)], check=True)


def test_no_room(folder):
    def limit():
        resource.setrlimit(resource.RLIMIT_FSIZE, (65536, 65536))
    for _ in range(ROUNDS):
        log, report = folder.run(before=limit)
        expect("Could not write all of file : " in report and "write ok" not in log, [True], report)
        expect(folder.get_set(), ["old"], "a limit on the size")
    with small_disk(folder.out) as mounted:
        for _ in range(ROUNDS if mounted else 0):
            folder.write_old()
            expect("Could not write all of file : " in folder.run()[1], [True], "the report")
            expect(folder.get_set(), ["old"], "a full disk")


def test_signals(folder):
    numbers = [signal.SIGTERM] * ROUNDS + [signal.SIGINT, signal.SIGHUP]
    for number in numbers:
        folder.write_old()
        process = folder.start()
        folder.wait_for_writing(process)
        process.send_signal(number)
        log, _ = process.communicate(timeout=60)
        expect(process.returncode, [0, -number], "the status")
        expect(folder.get_set(), ["600"] if "write ok" in log else ["old", "600"], "a signal")
    process = folder.start(before=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
    folder.wait_for_writing(process)
    process.send_signal(signal.SIGHUP)
    expect("write ok" in process.communicate(timeout=60)[0], [True], "a signal ignored from the start")


def test_two_runs(folder):
    for _ in range(ROUNDS):
        runs = [folder.start(f"{wavelength}.trl") for wavelength in (600, 700)]
        for run in runs:
            expect("write ok" in run.communicate(timeout=60)[0], [True], "two runs")
        expect(folder.get_set(), ["600", "700"], "two runs")


def test_targets(folder):
    """Links lead to their targets; what is no regular file is written as it stands."""
    folder.write_model(600, cell=2)
    link, elsewhere = folder.out / "run.A.CW", folder.path / "elsewhere"
    for target, reported in ((elsewhere, ""), ("/dev/full", "Could not write all of file : ")):
        link.unlink()
        link.symlink_to(target)
        log, report = folder.run()
        expect((link.is_symlink(), reported in report), [(True, True)], str(target))
        expect("write ok" in log, [not reported], str(target))
    expect(elsewhere.read_text()[:12], ["Spectrum 600"], "a link to nothing yet")
    expect(Path("/dev/full").is_char_device(), [True], "/dev/full")
    link.unlink()
    os.mkfifo(link)
    with subprocess.Popen(["cat", link], stdout=subprocess.PIPE, text=True) as reader:
        folder.run()
        expect(reader.communicate()[0][:12], ["Spectrum 600"], "a pipe")
    expect(link.is_fifo(), [True], "a pipe")


def test_closed_folder(folder):
    """No new file, but those that are there may be written: root gives up its rights for that."""
    folder.program = shutil.copy(folder.program, folder.path)
    for file in folder.out.iterdir():
        file.chmod(0o666)
    folder.out.chmod(0o555)
    before = (lambda: os.setuid(65534)) if os.geteuid() == 0 else None
    expect("write ok" in folder.run(before=before)[0], [True], "a closed folder")
    expect(folder.get_set(), ["600"], "a closed folder")
    folder.out.chmod(0o755)


def test_head(folder):
    """A log of which only the first line is read: the results are written all the same."""
    read, write = os.pipe()
    process = folder.start(stdout=write)
    os.close(write)
    os.read(read, 1)
    os.close(read)
    process.communicate(timeout=60)
    expect((process.returncode, folder.get_set()), [(0, "600")], "| head -1")


def main():
    for test in (test_no_room, test_signals, test_two_runs, test_targets, test_closed_folder,
                 test_head):
        with tempfile.TemporaryDirectory() as path:
            os.chmod(path, 0o755)
            started = time.monotonic()
            test(Folder(sys.argv[1], path))
            print(f"{test.__name__}: {time.monotonic() - started:.1f} s", flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
