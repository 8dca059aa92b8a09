"""What ``progress=`` takes: a callable, or True for a bar."""

from __future__ import annotations

import sys
from contextlib import contextmanager
from typing import Any, Callable, Iterator, Optional, Union

Listener = Callable[[str, float], Any]
Progress = Union[None, bool, Listener]

WIDTH = 40


class _Bar:
    """A bar on standard error, drawn anew at each percent."""

    def __init__(self) -> None:
        self.percent = -1

    def __call__(self, name: str, fraction: float) -> None:
        percent = int(100 * fraction)
        if percent == self.percent:
            return
        self.percent = percent
        bar = "#" * (WIDTH * percent // 100)
        print(f"\r{name} [{bar:<{WIDTH}}] {percent:3}%", end="", file=sys.stderr, flush=True)

    def close(self) -> None:
        if self.percent >= 0:
            print(file=sys.stderr)


class _TqdmBar:
    """A bar of tqdm, which is on a line or in a notebook as that program sees fit."""

    def __init__(self, tqdm: Any) -> None:
        self.bar = tqdm(total=100, unit="%", bar_format="{desc} {percentage:3.0f}% |{bar}| {elapsed}")

    def __call__(self, name: str, fraction: float) -> None:
        self.bar.set_description_str(name, refresh=False)
        self.bar.update(int(100 * fraction) - self.bar.n)

    def close(self) -> None:
        self.bar.close()


def _bar() -> Union[_Bar, _TqdmBar]:
    try:
        from tqdm.auto import tqdm  # type: ignore[import]
    except ImportError:
        return _Bar()
    return _TqdmBar(tqdm)


@contextmanager
def heard(progress: Any) -> Iterator[Optional[Listener]]:
    """What hears a run; a bar is closed behind it."""
    if progress is None or progress is False:
        yield None
    elif progress is True:
        bar = _bar()
        try:
            yield bar
        finally:
            bar.close()
    elif callable(progress):
        yield progress
    else:
        raise TypeError(f"progress must be a callable, True or None, not {type(progress).__name__}")
