"""A clock for as long as a block, a function or a test lasts."""
from __future__ import annotations

import ctypes as c
import functools
import inspect
import os
import weakref
from datetime import timedelta
from typing import TYPE_CHECKING, Any, Callable, TypeVar

from orvane import _library as lib
from orvane._clocks import Instant, Speed, adding, carry_out, conclude, find

Function = TypeVar("Function", bound=Callable[..., Any])

# Without callbacks, in which an interrupt would be lost.
_to_leave: list[weakref.ref[lib.Request]] = []


def _stay() -> None:
    """A forked child that gets out of a block, too, is not to take its parent's clock away."""
    for request in filter(None, (each() for each in _to_leave)):
        request.operation = lib.NOTHING


os.register_at_fork(after_in_child=_stay)


class _Leaving:
    """What a with statement calls in the end, and looks up before it begins: the library's own function, with its
    arguments, so that an interrupt that is waiting is raised behind it, when the clock is gone."""

    def __get__(self, entered: clock | None, _: type[clock]) -> Callable[..., None]:
        if entered is None:  # as contextlib.ExitStack asks
            return lambda entered, *what: entered._leave(*what)
        return entered._leave


class clock:
    """Gives this process, or another identity, a clock: a context manager and a decorator.

    A naive datetime is local time, an aware one what it says, a text what `ovuser add --at` takes, and None the present
    time. Clocks have whole seconds: what is behind them is cut off. A process's clock is not that of its children.
    Nothing is changed where there is a clock already (AlreadyHasClock), be it one's own or somebody else's. On every
    way out the clock is taken away, and with the process, however it ends, if it is the process's own.
    """

    def __init__(self, at: Instant = None, *, speed: Speed = 1, rewind: bool = False,
                 identity: str | None = None) -> None:
        self._at, self._speed, self._rewind = at, speed, rewind
        self._identity = identity
        self._leaving = lib.Request()  # nothing is asked for yet
        self._leave = functools.partial(lib.leave, c.byref(self._leaving), None)

    @property
    def identity(self) -> str:
        return self._identity if self._identity is not None else "p:%d" % os.getpid()

    def __enter__(self) -> clock:
        slot = c.c_char_p()
        adding_it, slot_place = c.byref(adding(self.identity, self._at, self._speed, self._rewind)), c.byref(slot)
        process_request, leave = lib.process_request, self._leave
        lib.request_for(lib.DELETE, self.identity, self._leaving)
        _to_leave[:] = [each for each in _to_leave if each() is not None] + [weakref.ref(self._leaving)]
        c.set_errno(0)
        # An interrupt may be raised behind any call of these, but not before the first: whatever it was raised
        # behind, the clock is taken away again, unless it was there before.
        try:
            code = process_request(adding_it, slot_place)
            conclude(code, slot)
        except lib.OrvaneError:
            raise
        except BaseException:
            if not lib.was_there():
                leave(None, None, None)
            raise
        return self

    if TYPE_CHECKING:
        def __exit__(self, *what: object) -> None: ...
    else:
        __exit__ = _Leaving()

    def move_to(self, at: Instant) -> None:
        """Sets the clock anew, at the same speed."""
        if self._leaving.id_count == 0:
            raise lib.NoClock(lib.NO_CLOCK, "%s has not been given this clock" % self.identity)
        request = adding(self.identity, at, self._speed, self._rewind)
        carry_out(lib.request_for(lib.DELETE, self.identity))
        carry_out(request)

    def shift(self, distance: timedelta) -> None:
        """Moves the clock by a distance from what it shows."""
        present = find(self.identity)
        if present is None:
            raise lib.NoClock(lib.NO_CLOCK, "%s has no clock to shift" % self.identity)
        self.move_to(present.time + distance)

    def __call__(self, function: Function) -> Function:
        if inspect.isclass(function) or inspect.isgeneratorfunction(function) or inspect.isasyncgenfunction(function):
            raise TypeError("a clock is for a function that is over when it returns, not for %r: use a with statement, "
                            "or pytest.mark.orvane" % function)

        def fresh() -> clock:
            return type(self)(self._at, speed=self._speed, rewind=self._rewind, identity=self._identity)

        @functools.wraps(function)
        def inside(*args: Any, **keywords: Any) -> Any:
            with fresh():
                return function(*args, **keywords)

        @functools.wraps(function)
        async def inside_later(*args: Any, **keywords: Any) -> Any:
            with fresh():
                return await function(*args, **keywords)
        return inside_later if inspect.iscoroutinefunction(function) else inside  # type: ignore[return-value]
