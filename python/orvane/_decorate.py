"""Functions and classes that run by a clock."""
from __future__ import annotations

import functools
import inspect
import unittest
from collections.abc import Callable
from typing import Any

from orvane._library import OrvaneError


def __tracebackhide__(failed: Any) -> bool:  # noqa: N807, as pytest asks
    """A test's own failure begins at its own line; what is refused before it begins has none there."""
    return failed is None or not failed.errisinstance(OrvaneError)


def decorate(make: Callable[[], Any], function: Any, as_arg: bool, as_kwarg: str) -> Any:
    """What runs inside of what `make` makes each time: as its first argument, and as the named one, if so asked."""
    if inspect.isclass(function):
        return _decorate_class(make, function, as_arg, as_kwarg)

    def given(clock: Any, arguments: tuple[Any, ...], keywords: dict[str, Any]) -> Any:
        return function(*((clock, *arguments) if as_arg else arguments),
                        **({**keywords, as_kwarg: clock} if as_kwarg else keywords))

    def inside(*arguments: Any, **keywords: Any) -> Any:
        with make() as clock:
            return given(clock, arguments, keywords)

    def generating(*arguments: Any, **keywords: Any) -> Any:
        with make() as clock:
            return (yield from given(clock, arguments, keywords))

    async def later(*arguments: Any, **keywords: Any) -> Any:
        with make() as clock:
            return await given(clock, arguments, keywords)

    async def generating_later(*arguments: Any, **keywords: Any) -> Any:
        with make() as clock:
            async for item in given(clock, arguments, keywords):
                yield item

    kinds: tuple[tuple[Any, Any], ...] = (
        (inspect.iscoroutinefunction, later), (inspect.isasyncgenfunction, generating_later),
        (inspect.isgeneratorfunction, generating))
    for is_such, wrapper in kinds:
        if is_such(function):
            return functools.wraps(function)(wrapper)
    return functools.wraps(function)(inside)


def _decorate_class(make: Callable[[], Any], decorated: Any, as_arg: bool, as_kwarg: str) -> Any:
    """A TestCase lives by one clock from its setUpClass to its tearDownClass, and its tests by one each that they are
    given, if they are; another class lives by one in each method."""
    is_case = issubclass(decorated, unittest.TestCase)
    if is_case:
        before = decorated.setUpClass.__func__

        def set_up_class(cls: Any) -> None:
            clock = make()
            clock.start()
            cls.addClassCleanup(clock.stop)
            before(cls)
        decorated.setUpClass = classmethod(set_up_class)
        if not as_arg and not as_kwarg:
            return decorated
    members = {name: member for each in reversed(decorated.__mro__[:-1]) for name, member in vars(each).items()}
    for name, member in members.items():
        if is_case and not name.startswith("test"):
            continue
        if inspect.isfunction(member) and not name.startswith("__"):
            setattr(decorated, name, decorate(make, member, as_arg, as_kwarg))
        elif isinstance(member, (staticmethod, classmethod)):
            setattr(decorated, name, type(member)(decorate(make, member.__func__, as_arg, as_kwarg)))
    return decorated
