"""The package as it is installed: by CMake, by cpack, by pip."""

import os
import shutil
import subprocess
from pathlib import Path

import pytest

import trel

ROOT = Path(__file__).resolve().parents[2]
BUILD = Path(os.environ.get("TREL_BUILD", ROOT / "build" / "release"))
PYTHON = "/usr/bin/python3"
# Only the package that was installed, and only the program beside it or on a PATH without ours.
BARE = {"PATH": "/usr/bin:/bin", "HOME": "/nonexistent", "MPLCONFIGDIR": "/tmp"}
SLAB = ROOT / "examples" / "pencil-beam.trl"


def run(*command, env=None, cwd=None):
    """Standard output of a command; its errors fail the test and are shown."""
    words = [str(word) for word in command]
    done = subprocess.run(words, env=env, cwd=cwd, text=True, check=False, capture_output=True)
    assert done.returncode == 0, f"{words}: {done.returncode}\n{done.stdout}{done.stderr}"
    return done.stdout


def check_prefix(prefix, tmp_path):
    """The command of a prefix runs its own program and its own package."""
    told = run(prefix / "bin/trel-tools", "run", SLAB, "--packets", 2000, "--seed", 1, "-o", "r.nc",
               env=BARE, cwd=tmp_path)
    assert (tmp_path / "r.nc").stat().st_size > 1e4, told
    site = prefix / "lib/python3.11/dist-packages"
    run(prefix / "bin/trel-tools", "report", "r.nc", env=BARE, cwd=tmp_path)
    where = "import trel.program as p; print(p.__file__, p.find_program())"
    found = run(PYTHON, "-c", where, env={**BARE, "PYTHONPATH": str(site)}, cwd=tmp_path).split()
    assert found == [str(site / "trel/program.py"), str(prefix / "bin/trelrun")]
    sources = {path.relative_to(ROOT / "python") for path in ROOT.glob("python/trel/**/*.py")}
    assert sources == {path.relative_to(site) for path in site.rglob("*.py")}


def check_library(prefix, tmp_path):
    """A program that is built with the headers and the library of a prefix runs."""
    for file in ("main.cpp", "trelProgramSignals.cpp"):
        shutil.copy(ROOT / "src" / file, tmp_path)
    run("c++", "-std=c++17", "-fopenmp", "-I", prefix / "include/trel", "main.cpp",
        "trelProgramSignals.cpp", prefix / "lib/libtrel_core.a", "-lnetcdf", "-lmd", "-lhwy", "-o",
        "own", cwd=tmp_path)
    shutil.copy(SLAB, tmp_path / "slab.trl")
    assert "write ok" in run("./own", "slab.trl", "slab", 0.02, 10, 0.9, 1.37, cwd=tmp_path)


def test_cmake_installs_all_below_a_prefix(tmp_path):
    run("cmake", "--install", BUILD, "--prefix", tmp_path / "usr")
    check_prefix(tmp_path / "usr", tmp_path)


@pytest.mark.long
def test_debian_package_is_whole_and_runs(tmp_path):
    run("cpack", "-G", "DEB", "-B", tmp_path / "out", cwd=BUILD)
    (package,) = (tmp_path / "out").glob("*.deb")
    root = tmp_path / "root"
    if os.geteuid() == 0:  # by dpkg itself, into a root of its own where nothing else is
        (root / "var/lib/dpkg").mkdir(parents=True)
        (root / "var/lib/dpkg/status").touch()
        run("dpkg", "--root", root, "--force-depends", "-i", package)
        assert run("dpkg", "--root", root, "--verify", "trel") == ""
    else:
        run("dpkg-deb", "-x", package, root)
    check_prefix(root / "usr", tmp_path)
    for file in ("bin/trel", "lib/libtrel_core.a", "include/trel/trelTissue.h",
                 "share/doc/trel/docs/python.md", "share/man/man1/trelrun.1",
                 "share/trel/matlab/trelread.m"):
        assert (root / "usr" / file).is_file(), file
    fields = run("dpkg-deb", "-f", package, "Depends")
    check_library(root / "usr", tmp_path)
    depends = {part.split()[0] for part in fields.split(",")}
    assert depends >= {"python3", "python3-numpy", "python3-xarray", "python3-netcdf4",
                       "python3-matplotlib", "libc6", "libnetcdf19"}
    for name in depends:
        assert "Version:" in run("dpkg-query", "-s", name), f"{name} is no package of this Debian"
    assert run("dpkg-deb", "-f", package, "Version").strip() == trel.__version__


def test_pip_installs_without_the_network(tmp_path):
    source = shutil.copytree(ROOT / "python", tmp_path / "python")
    python = tmp_path / "V/bin/python"
    run(PYTHON, "-m", "venv", "--system-site-packages", tmp_path / "V")
    run(tmp_path / "V/bin/pip", "install", "--no-deps", "--no-build-isolation", "--no-index",
        "--disable-pip-version-check", source)
    told = run(python, "-c", "import trel; print(trel.__file__)", env=BARE, cwd=tmp_path).strip()
    assert told == str(tmp_path / "V/lib/python3.11/site-packages/trel/__init__.py")
    assert trel.__version__ in run(tmp_path / "V/bin/pip", "show", "trel", env=BARE)
    assert (tmp_path / "V/lib/python3.11/site-packages/trel/report/page.html").is_file()
    assert "limb.trl" in run(tmp_path / "V/bin/trel-tools", "check", ROOT / "examples/limb.trl",
                             env={**BARE, "TREL_BIN": os.environ.get("TREL_BIN", BUILD)})
