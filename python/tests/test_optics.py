"""Power laws of scattering, and mixtures of spectra."""

import numpy as np
import pytest

import trel
from trel import optics

SPECTRA = """\ufeff# source: made up for this test
# unit: 1/mm per mmol/l
nm, one, other

600, 1.0, 0.5
700, 2.0, 0.0
900, 0.0, 4.0
"""


def test_power_laws():
    """Values of equations 1 and 2, worked out by hand."""
    assert optics.scattering(500, 4.6, 1.421) == pytest.approx(4.6)
    assert optics.scattering([250, 1000], 2, 2) == pytest.approx([8, 0.5])
    mixed = optics.scattering(np.array([[1000.0]]), 1.6, 1, rayleigh=0.25)
    assert mixed.shape == (1, 1) and mixed == pytest.approx(1.6 * (0.25 / 16 + 0.75 / 2))
    assert optics.mus_from_reduced([1, 2], 0.9) == pytest.approx([10, 20])
    assert optics.mus_from_reduced(1, [0, -1]) == pytest.approx([1, 0.5])


def test_spectra_are_mixed(tmp_path):
    path = tmp_path / "spectra.csv"
    path.write_text(SPECTRA, encoding="utf-8")
    spectra = optics.read_spectra(path)
    assert spectra["one"].attrs == {"units": "1/mm per mmol/l", "source": "made up for this test"}
    found = optics.mix(spectra, [600, 650, 850], one=2, other=0.1)
    assert found == pytest.approx([2 * 1 + 0.05, 2 * 1.5 + 0.025, 2 * 0.5 + 0.3])
    assert optics.mix(spectra, 700.0, one=3) == pytest.approx(6)
    model = trel.Model.box(20, found, 10, 0.9, 1.37, wavelengths=[600, 650, 850])
    assert model.tissues[0].mua == tuple(found)
    for wavelengths, amounts, words in ((599, {"one": 1}, "600 to 900"), (950, {}, "600 to 900"),
                                        (700, {"third": 1}, "only one, other"),
                                        (700, {"one": -1}, "one: got -1.*mmol/l")):
        with pytest.raises(trel.ModelError, match=words):
            optics.mix(spectra, wavelengths, **amounts)


# What to replace in the file, and words of the error.
WRONG = [
    ("# source: made up for this test", "", "its source"),
    ("# source: made up for this test", "# source:", "its source"),
    ("# unit: 1/mm per mmol/l", "# a comment", "its unit"),
    ("1/mm per", "1/cm per", "got '1/cm per mmol/l', expected 1/mm"),
    ("nm, one", "wavelength, one", "the first of them nm"),
    ("one, other", "one, one", "different names"),
    ("700, 2.0, 0.0", "700, 2.0", "csv:6: expected 3 numbers"),
    ("700, 2.0", "700, n/a", "csv:6: expected 3 numbers"),
    ("700, 2.0", "700, nan", "csv:6: expected 3 numbers"),
    ("700", "950", "rise from row to row"),
    ("600, 1.0, 0.5\n700, 2.0, 0.0\n900, 0.0, 4.0\n", "", "rise from row to row"),
]


@pytest.mark.parametrize("old, new, words", WRONG)
def test_files_without_unit_source_or_numbers_are_refused(old, new, words, tmp_path):
    assert old in SPECTRA
    path = tmp_path / "spectra.csv"
    path.write_text(SPECTRA.replace(old, new), encoding="utf-8")
    with pytest.raises(trel.ModelError, match=words):
        optics.read_spectra(path)


@pytest.mark.parametrize("call, words", [
    (lambda: optics.scattering(0, 1, 1), "nm"), (lambda: optics.scattering(500, -1, 1), "1/mm"),
    (lambda: optics.scattering(500, 1, 1, rayleigh=1.1), "0 to 1"),
    (lambda: optics.scattering(500, 1, float("nan")), "finite"),
    (lambda: optics.mus_from_reduced(1, 1), "below 1"),
    (lambda: optics.mus_from_reduced(-1, 0), "1/mm")])
def test_wrong_values_are_refused(call, words):
    with pytest.raises(trel.ModelError, match=words):
        call()
