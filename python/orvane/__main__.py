"""python3 -m orvane [--intervals] WORDS...: runs python3 WORDS..., such as a script, where there are virtual clocks."""
import os
import sys

from orvane._start import has_clocks, interpreter_flags, start


def main() -> None:
    words = sys.argv[1:]
    intervals = words[:1] == ["--intervals"]
    command = interpreter_flags() + words[intervals:]
    if not words[intervals:] or words[0] in ("-h", "--help"):
        print(__doc__)
        sys.exit(0 if words else 2)
    if has_clocks(intervals):
        os.execv(sys.executable, [sys.executable, *command])
    start(command, intervals)


main()
