"""The local zone while a clock is there."""
from __future__ import annotations

import os
import time
from datetime import datetime, timedelta


def offset_of(offset: float | timedelta) -> timedelta:
    """Hours, or a timedelta, east of UTC."""
    return offset if isinstance(offset, timedelta) else timedelta(hours=offset)


def zone_of(at: object, offset: timedelta | None) -> str | None:
    """What TZ is to be, if the zone is to be another one: that of a ZoneInfo, which has a key, or a fixed offset."""
    if offset is None:
        return getattr(at.tzinfo, "key", None) if isinstance(at, datetime) else None
    minutes, seconds = divmod(abs(offset) // timedelta(seconds=1), 60)
    east = offset >= timedelta(0)
    return "<%s%02d%02d>%s%d:%02d:%02d" % ("+" if east else "-", *divmod(minutes, 60),
                                           "-" if east else "", *divmod(minutes, 60), seconds)


class Zone:
    """What TZ was, while it is another one."""

    _before: tuple[str | None, ...] = ()

    def enter(self, zone: str | None) -> None:
        if zone is not None:
            self._before = self._before or (os.environ.get("TZ"),)
            _set(zone)

    def leave(self) -> None:
        for zone in self._before:
            _set(zone)
        self._before = ()


def _set(zone: str | None) -> None:
    if zone is None:
        os.environ.pop("TZ", None)
    else:
        os.environ["TZ"] = zone
    time.tzset()
