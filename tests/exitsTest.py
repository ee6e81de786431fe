#!/usr/bin/python3
"""Runs trelrun for tables of exits, and holds what is made of them to other runs.

Usage: exitsTest.py TRELRUN tables|runs
"""

import os
import resource
import subprocess
import sys
import tempfile
from pathlib import Path

import numpy as np
import xarray

ROOT = Path(__file__).resolve().parent.parent
LIGHT = 0.299792458  # mm/ps
SIGMAS = 5  # of a normal distribution: one in 1.7 million

TISSUE = "tissue {} {}\ntissueshape cube\ntissuecenter {}\ntissueaxis {}\ntissuespectrumindex 1 {}\n" \
    "tissuespectrumindex 2 {}\n"
EXAMPLE = (ROOT / "examples/fluorescence.trl").read_text()
LAMP = EXAMPLE[EXAMPLE.index("lightsource 1"):EXAMPLE.index("# The dye.")]
# Two lamps of the same light, a dye, an inclusion under the first, a clear one, and a fibre.
MODEL = EXAMPLE.replace("tissuenum 1", "tissuenum 3\ndetectornum 1").replace("num 2\ntissue", "num 3\ntissue").replace(
    "0.5 0.5 1 1 10 1", "1 1 1 1 10 1").replace("0.05 1000", "0.5 1000").replace("2 10 0.9", "2 3 0.7").replace("9 0.9", "2.7 0.7").replace(
    "tissue 1 m", LAMP.replace("source 1", "source 3").replace("-11 0 0", "-11 0 5").replace("1.0 20", "0.5 8")
    + "\ntissue 1 m").replace("endtrl", TISSUE.format(2, "lump", "-6 0 0", "3 3 3", "0.05 2 0.7 1.37", "0.05 1.5 0.5 1.4")
                              + TISSUE.format(3, "clear", "0 0 7", "2 2 1", "0 0 0 1.37", "0 0 0 1.37")
                              + "fiberdetector 1\nfiberdetectorshape cylinder\nfiberdetectorcenter -3 0 9.5\n"
                              "fiberdetectoraxis 2 2 0.5\nendtrl")


def run(*arguments, status=0, **options):
    done = subprocess.run([PROGRAM, "model.trl", *map(str, arguments), "--quiet"], text=True,
                          capture_output=True, timeout=120, **options)
    assert done.returncode in (status if isinstance(status, tuple) else (status,)), done
    return done


def table(base, *arguments):
    run("-o", base, *arguments)
    with xarray.open_dataset(base + ".nc") as data:
        return data.load()


def columns(data):
    return {name: values.values for name, values in data.variables.items() if name.startswith("exit_")}


def covered(data):
    """For each row, the packets by which its weight is normalised."""
    packets = dict(zip(data.exit_entry_source.values, data.exit_entry_packets.values))
    return np.array([packets[source] for source in data.exit_source.values])


def estimate(data, chosen, factor):
    """The sum of the weights of the rows chosen, with its standard error from the launched packets."""
    weights = np.where(chosen, data.exit_weight * factor, 0.0)
    mean = variance = 0.0
    for source, n in zip(data.exit_entry_source.values, data.exit_entry_packets.values):
        mine = data.exit_source.values == source
        sums = np.bincount(data.exit_packet.values[mine], weights[mine], minlength=n)
        mean += sums.mean()
        variance += sums.var() / n
    return mean, np.sqrt(variance)


def kinds(data):
    """Light of the lamps, emission, and what the fibre collected of the lamps: rows and variable."""
    emitted, collected = data.exit_conversion > 0, data.exit_detector == 1
    return [(~emitted & ~collected, data.transmittance_total, 0), (emitted & ~collected, data.transmittance_total, 1),
            (~emitted & collected, data.fibre1_total, 0)]


def test_a_table_is_the_same_on_any_threads():
    arguments = ["--seed", 3, "--packets", 1500]
    runs = [columns(table(f"all{n}", *arguments, "--exits", "all", "--threads", n)) for n in (1, 2, 3)]
    some = [columns(table(f"some{n}", *arguments, "--exits", 300, "--threads", n)) for n in (1, 3)]
    for group in (runs, some):
        for other in group[1:]:
            for name, values in group[0].items():
                np.testing.assert_array_equal(values, other[name], name)
    # Some are the first of all, up to the end of a packet.
    full, part = xarray.open_dataset("all1.nc"), xarray.open_dataset("some1.nc")
    number = part.sizes["exit"]
    for name in [name for name in some[0] if not name.startswith("exit_entry")]:
        np.testing.assert_array_equal(some[0][name], runs[0][name][:number], name)
    packets = list(zip(full.exit_source.values, full.exit_packet.values))
    assert number >= 300 and packets[298] != packets[number] and packets[299] == packets[number - 1], number
    limits = np.where(full.exit_source == 1, *part.exit_entry_packets.values)
    assert ((full.exit_packet < limits) == (np.arange(full.sizes["exit"]) < number)).all()
    assert all(a != b or x < y for a, b, x, y in zip(packets, packets[1:], full.exit_conversion.values,
                                                     full.exit_conversion.values[1:]))
    assert "none of the packets of light source 1 at 670" in run("-o", "one", "--exits", 1, *arguments).stderr


def test_ways_and_weights_are_those_of_the_run():
    data = table("ways", "--seed", 1, "--exits", "all", "--packets", 6000)
    for chosen, total, at in kinds(data):
        np.testing.assert_allclose(estimate(data, chosen, 1.0)[0], total[at], rtol=1e-12)
    # No piece of a way is missing, nor is one in clear tissue; the emission is delayed.
    legs = [data.exit_path_length.values, data.exit_emission_path_length.values]
    time = (legs[0] @ data.n.values[0] + legs[1] @ data.n.values[1]) / LIGHT
    emitted = data.exit_conversion.values > 0
    np.testing.assert_allclose(time[~emitted], data.exit_time[~emitted], rtol=1e-9)
    delay = data.exit_time.values[emitted] - time[emitted]
    assert delay.min() > 0 and abs(delay.mean() - 1000) < SIGMAS * 1000 / np.sqrt(delay.size)
    assert (legs[0][:, 2] > 0).any() and (data.exit_scatterings[:, 2] == 0).all()
    np.testing.assert_allclose((data.exit_direction ** 2).sum("xyz"), 1.0)
    turn = data.exit_momentum_transfer.values[:, 0].sum() / data.exit_scatterings.values[:, 0].sum()
    assert abs(turn - 0.3) < 0.003, turn
    for i in [0, 7, *np.nonzero(emitted)[0][::100], *np.nonzero(data.exit_detector.values)[0][:3]]:
        row = {name: values.values[i] for name, values in data.items() if values.dims[0] == "exit"}
        name = ":".join(str(row[f"exit_{part}"]) for part in ("source", "spectrum", "packet"))
        path = [line.split() for line in run("--seed", 1, "--packets", 6000, "--only-packet", name).stdout.splitlines()[1:]]
        path = [words for words in path if int(words[0]) == row["exit_conversion"]]
        assert [float(word) for word in path[-1][2:5]] == list(row["exit_position"]), path[-1]
        assert float(path[-1][6]) == row["exit_weight"]
        assert path[-1][7] == ("collected" if row["exit_detector"] else "exit")
        turns = sum(words[7] in ("scatter", "roulette-won") for words in path)
        assert turns == row["exit_emission_scatterings" if emitted[i] else "exit_scatterings"].sum(), name


CHANGES = ["1.mua=0.03", "1@670.mus=2.8", "1@710.mus=2.9", "2.mus=1.7", "2@670.mua=0.07", "3.mua=0.05"]


def test_exits_are_those_at_other_coefficients():
    data = table("ways", "--seed", 1, "--exits", "all", "--packets", 40000)
    other = table("other", "--seed", 2, "--packets", 40000, *[w for change in CHANGES for w in ("--set", change)])

    def factors(more):
        ratio = np.ones(data.sizes["exit"])
        for leg, at in (("", 0), ("emission_", 1)):
            k, length = data[f"exit_{leg}scatterings"].values + more * (at == 0), data[f"exit_{leg}path_length"].values
            mus = [np.where(d.mus[at] > 0, d.mus[at], 1.0) for d in (data, other)]
            fall = other.mus[at].values - data.mus[at].values + other.mua[at].values - data.mua[at].values
            ratio *= np.prod((mus[1] / mus[0]) ** k, axis=1) * np.exp(-length @ fall)
        return ratio
    totals = [(other.transmittance_total, 0), (other.transmittance_total, 1), (other.fibre1_total, 0)]
    for more in (0, 1):
        apart = []
        for (chosen, _, _), (total, at) in zip(kinds(data), totals):
            mean, error = estimate(data, chosen, factors(more))
            error = np.hypot(error, float(other[total.name + "_error"][at]))
            apart.append(abs(mean - float(total[at])) / error)
        # A conversion or an end that counted as a scattering would show.
        assert max(apart) < SIGMAS if more == 0 else max(apart) > SIGMAS, (more, apart)


def test_sensitivities_are_differences():
    data = table("flown", "--seed", 4, "--exits", "all", "--packets", 20000)
    run("--replay", "flown.nc", "-o", "replayed")
    run("--replay", "flown.nc", "-o", "fibre", "--detector", 1, "--threads", 3)
    lump = {"x": slice(-9, -3), "y": slice(-3, 3), "z": slice(-3, 3)}
    emitted = data.exit_conversion.values > 0
    weights = -data.exit_weight.values / covered(data)
    own, emission = data.exit_path_length.values[:, 1], data.exit_emission_path_length.values[:, 1]
    with xarray.open_dataset("replayed.nc") as replayed, xarray.open_dataset("fibre.nc") as fibre:
        for source, name, at, chosen, length in (
                (replayed, "sensitivity", 0, ~emitted, own), (replayed, "sensitivity_excitation", 0, emitted, own),
                (replayed, "sensitivity_emission", 1, emitted, emission),
                (fibre, "sensitivity", 0, ~emitted & (data.exit_detector.values == 1), own)):
            got = float(source[name][at].sel(lump).sum())
            np.testing.assert_allclose(got, (weights * length)[chosen].sum(), rtol=1e-10, err_msg=name)
            assert got < 0 and float(abs(source[name][1 - at]).sum()) == 0, name
    step = 0.045
    for wavelength, kinds_of_light in ((670, [(~emitted, own, 0), (emitted, own, 1)]), (710, [(emitted, emission, 1)])):
        ends = [table(f"end{side}", "--seed", 5 + side, "--packets", 40000, "--set",
                      f"2@{wavelength}.mua={0.05 + side * step}") for side in (-1, 1)]
        for chosen, length, at in kinds_of_light:
            totals = [float(end.transmittance_total[at] + end.fibre1_total[at]) for end in ends]
            error = np.hypot(*[float(end.transmittance_total_error[at] + end.fibre1_total_error[at]) for end in ends])
            mean, own_error = estimate(data, chosen, -length)
            apart = (totals[1] - totals[0]) / (2 * step) - mean
            error = np.hypot(own_error, error / (2 * step))
            assert abs(apart) < SIGMAS * error < abs(mean), (wavelength, at, apart, mean, error)


def test_what_is_no_table_is_refused():
    run("-o", "good", "--seed", 9, "--packets", 300, "--exits", "all")
    run("-o", "plain", "--packets", 20)
    good = Path("good.nc").read_bytes()
    Path("cut.nc").write_bytes(good[:len(good) // 2])
    Path("text.nc").write_text("no result")
    for arguments, words in ((["cut.nc"], "no whole result file"), (["text.nc"], "no whole result file"),
                             (["none.nc"], "no such file"), (["plain.nc"], "no table of exits"),
                             (["good.nc", "--seed", 8], "differ in seed"),
                             (["good.nc", "--set", "2@710.mus=1.6"], "differ in mus"),
                             (["good.nc", "--detector", 2], "no such exit")):
        done = run("-o", "out", "--replay", *arguments, status=3 if len(arguments) == 1 else 1)
        assert words in done.stderr and not Path("out.nc").exists(), done
    model = Path("model.trl").read_text()
    Path("model.trl").write_text(model + "# another\n")
    assert "model_sha256" in run("-o", "out", "--replay", "good.nc", status=1).stderr
    Path("model.trl").write_text(model)
    with xarray.open_dataset("good.nc") as data:
        wrong = data.load()
    for name, value, words in (("exit_weight", 1e-9, "leave otherwise"), ("exit_packet", 10 ** 9, "is damaged"),
                               ("exit_conversion", 10 ** 6, "leave otherwise"), ("exit_weight", np.nan, "is damaged")):
        changed = wrong.copy(deep=True)
        changed[name][5] = value
        changed.to_netcdf("changed.nc")
        assert words in run("-o", "out", "--replay", "changed.nc", status=(1, 3)).stderr, name
    for arguments in (["--replay", "good.nc", "-o", "good"], ["--exits", "none"], ["--exits", 0],
                      ["--exits", 5, "-o", "-"], ["--only-packet", "1:1:1"], ["--only-packet", "1:1", "--seed", 1],
                      ["--only-packet", "0:1:1", "--seed", 1], ["--exits", 5, "--rules", "classic"]):
        run(*arguments, status=2)
    run("--only-packet", "9:1:1", "--seed", 1, status=1)
    # A disk that is full of them.
    done = run("-o", "good", "--exits", "all", status=3,
               preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (10 ** 6, 10 ** 6)))
    assert "the exits could not be kept: File too large" in done.stderr, done
    assert Path("good.nc").read_bytes() == good and not list(Path().glob(".trel*"))


def main():
    tables = [test_a_table_is_the_same_on_any_threads, test_ways_and_weights_are_those_of_the_run,
              test_what_is_no_table_is_refused]
    for test in tables if sys.argv[2] == "tables" else [test_exits_are_those_at_other_coefficients,
                                                        test_sensitivities_are_differences]:
        with tempfile.TemporaryDirectory() as path:
            os.chdir(path)
            Path("model.trl").write_text(MODEL)
            test()
            os.chdir("/")
    return 0


PROGRAM = sys.argv[1]
if __name__ == "__main__":
    sys.exit(main())
