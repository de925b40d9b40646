#!/usr/bin/python3
"""Takes a user's virtual clock away, and lists those that are left: release_clock.py USER"""
import ctypes as c
import sys


class Request(c.Structure):  # ov_request
    _fields_ = [(name, c.c_int32) for name in ("operation", "speed", "time_form", "rel_mode", "rewind", "id_count")] + [
        ("id_kind", c.c_int32 * 10),
        ("id_text", c.c_char_p * 10),
    ] + [(name, c.c_char_p) for name in ("abs_time", "x_date", "rel_minutes", "rel_hours", "rel_days", "rel_years",
                                         "rel_origin")] + [("virtime", c.c_int64)]


OV_LIST, OV_OK = 3, 0
engine, libc = c.CDLL("libov_helper.so.12"), c.CDLL(None)
engine.ov_process_request.argtypes = [c.POINTER(Request), c.POINTER(c.c_void_p)]

if len(sys.argv) != 2:
    sys.exit("usage: release_clock.py USER")
failure = engine.deleteUserClock(sys.argv[1].encode())
if failure:
    sys.exit(failure)

message = c.c_void_p()  # not c_char_p, which would copy the text and lose what to free
result = engine.ov_process_request(c.byref(Request(operation=OV_LIST)), c.byref(message))
libc.fflush(None)  # the listing is in the C library's buffer, which Python's does not know
if message:
    print(c.string_at(message).decode(), end="", file=sys.stdout if result == OV_OK else sys.stderr)
    libc.free(message)
sys.exit(engine.check_rc(result))
