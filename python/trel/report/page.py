"""The page: sections of words, tables and pictures, put into the template."""

from __future__ import annotations

import base64
import io
from collections.abc import Callable, Sequence
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

import numpy as np
from matplotlib.figure import Figure

from ..errors import TrelError, need

MOST_BYTES = 3_200_000
"""Of all pictures together, before base64 makes them a third longer."""
MOST_TEXT = 200_000
"""Characters of a listing."""


@dataclass(frozen=True)
class Picture:
    """A picture, PNG, and what it shows."""

    png: bytes
    caption: str

    @property
    def address(self) -> str:
        """The picture itself, as the address of an image."""
        return "data:image/png;base64," + base64.b64encode(self.png).decode()


@dataclass(frozen=True)
class Table:
    """Rows of words below a head."""

    head: Sequence[str]
    rows: Sequence[Sequence[str]]


@dataclass
class Section:
    """A part of the page, under a heading: words, tables, pictures and a listing, as far as any."""

    title: str
    words: list[str] = field(default_factory=list)
    tables: list[Table] = field(default_factory=list)
    pictures: list[Picture] = field(default_factory=list)
    listing_title: str = ""
    listing: str = ""

    @property
    def key(self) -> str:
        """The name of the section in addresses."""
        return self.title.lower().replace(" ", "-")


@dataclass
class Page:
    """A page that is being made, and how much room is left for pictures."""

    title: str
    facts: list[str] = field(default_factory=list)
    """What is told in short below the title."""
    sections: list[Section] = field(default_factory=list)
    bytes_left: int = MOST_BYTES

    def add(self, title: str, *words: str) -> Section:
        """Begin a section."""
        self.sections.append(Section(title, list(words)))
        return self.sections[-1]

    def draw(self, section: Section, caption: str, draw: Callable[..., Any],
             size: tuple[float, float] = (6, 4), **options: Any) -> None:
        """Add a picture to a section; ``draw`` draws it on the axes ``ax``, ``size`` is in inches.

        What cannot be drawn, or has no room any more, is told in words. ``options`` are those of
        the axes.
        """
        if self.bytes_left <= 0:
            section.words.append(f"{caption}: left out, so that the page stays below 5 MB")
            return
        figure = Figure(figsize=size, layout=None if "projection" in options else "constrained")
        try:
            draw(ax=figure.add_subplot(**options))
        except (TrelError, ValueError) as error:
            section.words.append(f"{caption}: {error}")
            return
        file = io.BytesIO()
        figure.savefig(file, format="png", dpi=130, bbox_inches="tight")
        self.bytes_left -= len(file.getvalue())
        section.pictures.append(Picture(file.getvalue(), caption))

    def write(self, path: Path) -> Path:
        """Write the page as HTML that needs no other file."""
        jinja2 = need("jinja2", "python3-jinja2")
        loader = jinja2.FileSystemLoader(Path(__file__).parent)
        made = jinja2.Environment(loader=loader, autoescape=True, trim_blocks=True,
                                  lstrip_blocks=True, undefined=jinja2.StrictUndefined)
        html = made.get_template("page.html").render(page=self)
        # Of the model's text, characters that are in no encoding; XML and HTML have none for them.
        path.write_text(html, encoding="utf-8", errors="replace")
        return path


def number(value: float, error: float = np.nan) -> str:
    """Write a value, and its standard error if it is known."""
    if not np.isfinite(value):
        return ""
    return f"{value:.6g}" + (f" ± {error:.2g}" if np.isfinite(error) else "")


def shorten(text: str) -> str:
    """Return a listing that is not too long for the page."""
    if len(text) <= MOST_TEXT:
        return text
    return f"{text[:MOST_TEXT]}\n... and {len(text) - MOST_TEXT} characters more"
