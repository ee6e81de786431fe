"""How far a run is: a bar, plain lines, or a function of the user's."""

from __future__ import annotations

import sys
import warnings
from collections.abc import Callable
from typing import Any

from .process import Progress

Choice = bool | Callable[[Progress], object] | None
"""None: a bar on a terminal or in a notebook; True: anywhere; False: nothing; or a function."""


class Display:
    """What follows the lines of progress; ``show`` takes one, ``close`` ends the display."""

    def show(self, now: Progress) -> None:
        """Tell how far the run is."""

    def close(self) -> None:
        """Leave the line that was written to."""


class Function(Display):
    """A function that is called with each line."""

    def __init__(self, function: Callable[[Progress], object]) -> None:
        """With the function."""
        self.function = function

    def show(self, now: Progress) -> None:
        """Call it."""
        self.function(now)


class Lines(Display):
    """A line on the standard error, written anew once a second."""

    last = ""

    def show(self, now: Progress) -> None:
        """Write the share of the packets and the relative error."""
        text = f"{100 * now['share']:3.0f} % of {now['packets_asked']:.4g} packets"
        text += describe_error(now)
        sys.stderr.write("\r" + text.ljust(len(self.last)))
        sys.stderr.flush()
        self.last = text

    def close(self) -> None:
        """Go to the next line."""
        if self.last:
            sys.stderr.write("\n")


class Bar(Display):
    """A bar by tqdm, on a terminal or in a notebook."""

    def __init__(self, tqdm: Any) -> None:
        """With the class of the bar."""
        self.bar = tqdm(unit=" packets", unit_scale=True)

    def show(self, now: Progress) -> None:
        """Move it; the number of packets asked for may change on the way."""
        self.bar.total = now["packets_asked"]
        self.bar.set_postfix_str(describe_error(now).lstrip(", "), refresh=False)
        self.bar.update(now["packets"] - self.bar.n)

    def close(self) -> None:
        """Leave the bar as it stands."""
        self.bar.close()


def describe_error(now: Progress) -> str:
    """Return the relative standard error in percent, as far as it is known."""
    error = now["relative_error"]
    return "" if error is None else f", +-{100 * error:.2g} %"


def is_watched() -> bool:
    """Tell whether someone can see a bar: on a terminal, or in a notebook."""
    shell = sys.modules.get("IPython")
    kernel = shell.get_ipython() if shell else None
    return sys.stderr.isatty() or getattr(kernel, "kernel", None) is not None


def make_display(choice: Choice) -> Display:
    """Return what the choice asks for; without tqdm the bar is plain lines."""
    if choice is False or (choice is None and not is_watched()):
        return Display()
    if callable(choice):
        return Function(choice)
    try:
        with warnings.catch_warnings():
            # Without the notebook's widgets tqdm warns, and draws a bar of text.
            warnings.simplefilter("ignore")
            from tqdm.auto import tqdm
    except ImportError:
        return Lines()
    return Bar(tqdm)
