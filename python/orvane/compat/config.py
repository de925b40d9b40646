"""freezegun's settings, which have no meaning for a real clock."""
from __future__ import annotations

import functools
import warnings
from typing import Any

DEFAULT_IGNORE_LIST: list[str] = []


@functools.cache
def say_ignored() -> None:
    """Once."""
    warnings.warn("a real clock is that of the whole process: no module is left out by ignore", stacklevel=3)


def configure(default_ignore_list: Any = None, extend_ignore_list: Any = None) -> None:
    """Takes what freezegun takes."""
    if default_ignore_list is not None or extend_ignore_list is not None:
        say_ignored()


def reset_config() -> None:
    """Nothing has been set."""
