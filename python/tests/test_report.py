"""Reports: one page of HTML with all sections, whose pictures decode, of runs and of series."""

import base64
import io
import shutil
import sys
from pathlib import Path

import html5lib
import matplotlib.image
import netCDF4
import numpy as np
import pytest
from runs import EXAMPLES, LATTICE, path
from sweeping import block

import trel
from trel import tools
from trel.report import models
from trel.report import page as pages

RUN = ["warnings", "model", "coefficients", "ledger", "slices", "surfaces-and-detectors",
       "profiles", "provenance", "recorded"]


class Read:
    """A page as a reader of HTML sees it."""

    def __init__(self, file):
        data = file.read_bytes()
        assert len(data) < 5e6
        parser = html5lib.HTMLParser(namespaceHTMLElements=False, strict=True)
        self.tree = parser.parse(data.decode())
        assert not [e.tag for e in self.tree.iter() if e.tag in ("script", "link", "iframe")]
        for element in self.tree.iter():
            for name in ("src", "href"):
                assert element.get(name, "#").startswith(("#", "data:image/png;base64,"))
        self.sections = {e.get("id"): e for e in self.tree.iter("section")}
        links = [e.get("href") for e in self.tree.iter("a")]
        assert links == [f"#{key}" for key in self.sections]

    def text(self, key):
        return " ".join(" ".join(self.sections[key].itertext()).split())

    def pictures(self, key):
        """Captions of the pictures of a section, each of which shows something."""
        for image in self.sections[key].iter("img"):
            data = base64.b64decode(image.get("src").partition(",")[2], validate=True)
            values = matplotlib.image.imread(io.BytesIO(data), format="png")
            assert min(values.shape[:2]) > 200 and values[..., :3].std() > 0.02
        return [image.get("alt") for image in self.sections[key].iter("img")]

    def rows(self, key):
        return [[" ".join(cell.itertext()) for cell in row.iter("td")]
                for row in self.sections[key].iter("tr")]


def change(file, tmp_path, **attributes):
    """A copy of a result with other attributes."""
    made = shutil.copy(file, tmp_path / "changed.nc")
    with netCDF4.Dataset(made, "a") as data:
        data.setncatts(attributes)
    return made


def test_of_a_run_has_every_section(tmp_path, capsys):
    file, out = path(*LATTICE, packets=3000), tmp_path / "a.html"
    assert tools.main(["report", str(file), "-o", str(out)]) == 0
    assert str(out) in capsys.readouterr().out
    read, ds = Read(out), trel.open(file)
    assert list(read.sections) == RUN
    assert len(read.pictures("model")) == 2 and len(read.pictures("ledger")) == 1
    assert len(read.pictures("slices")) == 2 and read.pictures("surfaces-and-detectors")
    assert {"absorption x", "absorption z", "transmittance side azimuth", "absorption total td"
            } <= set(read.pictures("profiles"))
    assert ["750", "2", "bone", "0.04", "20", "0.93", "1.55"] in read.rows("coefficients")
    absorbed = ds.trel.total("absorption")
    told = f"{float(absorbed.value[0]):.6g} ± {float(absorbed.error[0]):.2g}"
    assert told in read.text("ledger") and "launched 1 " in read.text("ledger")
    for name, value in ds.attrs.items():
        assert " ".join(str(value).split()) in read.text("provenance"), name
    assert "absorption_td" in read.text("recorded") and "half have a standard error" in (
        read.text("warnings"))


def test_tells_what_is_to_be_minded(tmp_path):
    text = (EXAMPLES / "nodule.trl").read_text()
    (tmp_path / "m.trl").write_text(text)
    mesh = Path(shutil.copy(EXAMPLES / "nodule.off", tmp_path))
    file = tmp_path / "m.nc"
    trel.run_file(tmp_path / "m.trl", packets=300, seed=2, out=file, progress=False)
    made = change(file, tmp_path, partial=1, changed_coefficients="1.mua=0.5", title="<b>&\"é</b>")
    with open(mesh, "a", encoding="utf-8") as more:
        more.write("\n")
    read = Read(trel.report(made))
    warned = read.text("warnings")
    assert "was stopped" in warned and "has been changed since the run" in warned
    assert "The standard error of" in warned and read.pictures("model")
    assert "<b>&\"é</b>" in read.text("provenance") and "1.mua=0.5" in read.text("coefficients")
    mesh.unlink()
    section = models.add_model(pages.Page("gone"), trel.open(made), tmp_path)
    for words in (section.words, models.list_warnings(trel.open(made), tmp_path)):
        assert "nodule.off is not there any more" in words[0] and len(words) == 2
    assert not section.pictures


def test_stays_small_and_says_what_it_needs(tmp_path, monkeypatch):
    file = path(*LATTICE, packets=3000)
    monkeypatch.setattr(pages, "MOST_TEXT", 500)
    page = pages.Page("noise", bytes_left=200_000)
    section = page.add("Many", pages.shorten("x" * 700))
    noise = np.random.default_rng(1).random((300, 400))
    for number in range(4):
        page.draw(section, f"picture {number}", lambda ax: ax.imshow(noise))
    read = Read(page.write(tmp_path / "n.html"))
    drawn = read.pictures("many")
    assert 1 <= len(drawn) < 4 and "picture 3: left out" in read.text("many")
    assert "200 characters more" in read.text("many")
    monkeypatch.setitem(sys.modules, "jinja2", None)
    with pytest.raises(trel.MissingPackage, match="python3-jinja2"):
        trel.report(file, tmp_path / "none.html")


@pytest.fixture(scope="module")
def series(tmp_path_factory):
    folder = tmp_path_factory.mktemp("sweep") / "a & b"

    def model(point):
        if point["size"] == "bad":
            raise trel.ModelError("no <such> size")
        return block()

    with pytest.warns(UserWarning, match="size"):
        table = trel.sweep(model, {"size": ["good", "bad"], "skin.mua": [0.02, 0.05, 0.1]}, folder,
                           ["Rd", "Rd(r)"], root_seed=1)
    return folder, table


def test_of_a_series_has_its_table_and_curves(series, capsys):
    folder, table = series
    files = {file: file.stat().st_mtime_ns for file in folder.rglob("*")}
    assert tools.main(["report", str(folder), "-o", str(folder.parent / "s.html")]) == 0
    assert {file: file.stat().st_mtime_ns for file in folder.rglob("*")} == files
    read = Read(folder.parent / "s.html")
    assert list(read.sections) == ["warnings", "model", "table", "curves", "provenance"]
    assert "size = bad, skin.mua = 0.05: wrong. no <such> size" in read.text("warnings")
    assert len(read.pictures("model")) == 2
    assert read.pictures("curves") == ["Rd by skin.mua, 650 nm", "Rd_r, 650 nm"]
    rows = read.rows("table")[1:]
    assert [row[:2] for row in rows] == [[size, mua] for size in ("good", "bad")
                                         for mua in ("0.02", "0.05", "0.1")]
    for row, value, error in zip(rows, table["Rd"].values[0], table["Rd_error"].values[0]):
        assert row[2:] == [f"{value[0]:.6g} ± {error[0]:.2g}", "2000", "done"]
    assert rows[3][2:] == ["", "0", "wrong"]
    assert "--set skin.mua=0.1 " in read.text("provenance")
    # Before any job has ended there is little to show.
    (folder / "manifest.jsonl").rename(folder / "kept")
    read = Read(trel.report(folder))
    (folder / "kept").rename(folder / "manifest.jsonl")
    assert "6 jobs have not been done" in read.text("warnings") and not read.pictures("curves")
    assert tools.main(["report", str(folder / "results")]) == 1
    assert "no jobs.jsonl" in capsys.readouterr().err
