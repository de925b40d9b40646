"""The modules on hosts, which go through what people do to them."""
import os
import re

CHRISTMAS = 1924419600
FROZEN = {"identity": "u:nobody", "at": "2030-12-25 09:00", "speed": "frozen"}
BIN = {"identity": "g:bin", "epoch": CHRISTMAS, "speed": 60}


NONE = ("clocks", False, {"clocks": [], "exact": True})
HOST = "host000"


def seen(clock):
    return clock and (clock["kind"][0] + ":" + clock["name"], clock["epoch"], clock["speed"], clock["rewind"])


def foretold_and_done(fleet, module, arguments):
    """What came of steps, each of which is foretold by check mode first, on a host without clocks."""
    told = fleet.steps(HOST, NONE, *[(module, check, each) for each in arguments for check in (True, False)])
    return list(zip(told[1::2], told[2::2]))


def test_a_fleet_is_set_once_and_one_fails_alone(fleet):
    fleet.add("stray")
    for options, strategy, changed in (["--check"], "linear", 1), ([], "free", 1), ([], "linear", 0):
        told = fleet.play("fleet.yml", *options, strategy=strategy)
        assert {name: told["stats"][name]["changed"] for name in fleet.names} == dict.fromkeys(fleet.names, changed)
        assert all(told["stats"][name]["failures"] == 0 for name in fleet.names), options
        stray = told["tasks"]["Set"]["stray"]
        assert told["stats"]["stray"]["failures"] == 1 and stray["status"] == 5
        assert stray["msg"].startswith("ovuser: error: Open of /proc/zynov failed; error = 2")
    del fleet.hosts["stray"]
    assert fleet.inside(fleet.names[-1], "systemctl is-enabled orvane-clocks; tail -n 1 /etc/orvane/clocks") == \
        "enabled\n--in=1y -- g:bin\n"
    assert not os.path.exists("/etc/orvane/clocks")


def test_a_step_does_what_check_mode_foretold(fleet):
    own = "p:%d" % os.getpid()
    steps = (  # arguments, what differed and what was done, and the clock afterwards
        ({"identity": "g:bin", "state": "absent"}, [], [], None),
        ({"identity": "g:bin", "epoch": CHRISTMAS, "speed": "frozen", "rewind": True}, [], ["set"], (0, True)),
        ({"identity": "g:2", "at": "2030-12-25T09:00:00Z", "speed": 0, "rewind": True}, [], [], (0, True)),
        ({"identity": "g:bin", "epoch": 9 + CHRISTMAS, "speed": 0, "replace": False}, ["rewind", "time"], [],
         (0, True)),
        ({"identity": "g:bin", "epoch": CHRISTMAS + 9, "speed": 0, "within": "9s"}, ["rewind"], ["set"], (0, False)),
        ({"identity": "g:bin", "speed": 2}, ["speed"], ["set"], (2, False)),
        ({"identity": "g:bin", "at": "2031-01-01 00:00", "speed": "2"}, [], [], (2, False)),
        ({"identity": "g:bin", "at": "2031-01-01 00:00", "speed": "2", "within": "1m"}, ["time"], ["set"], (2, False)),
        ({"identity": "g:bin", "state": "absent"}, [], ["delete"], None),
        ({"identity": own, "epoch": CHRISTMAS, "speed": 0}, [], ["set"], (0, False)),
        ({"identity": own, "descendants": True}, ["descendants"], ["set"], (0, False)),
        ({"identity": own, "descendants": True}, [], [], (0, False)),
        ({"identity": own, "state": "absent"}, [], ["delete"], None),
        ({"identity": "u:gone", "state": "absent"}, [], [], None),
        ({"identity": "p:4194304", "state": "absent"}, [], [], None))
    told = foretold_and_done(fleet, "clock", [each[0] for each in steps])
    for (arguments, differs, commands, expected), (foretold, done) in zip(steps, told):
        assert set(foretold) == set(done) and set(foretold.get("clock", {})) == set(done.get("clock", {})), arguments
        for told in foretold, done:
            assert (told["differs"], [command[0] for command in told["commands"]]) == (differs, commands), told
            assert told["changed"] == bool(commands), arguments
            clock = told.get("clock")
            assert (clock and (clock["speed"], clock["rewind"])) == expected, told
        assert foretold["commands"] == done["commands"]
        if expected and not expected[0]:
            assert done.get("diff") == foretold.get("diff") and done["clock"]["time"] == "2030-12-25T09:00:00+00:00"


def test_a_list_is_all_there_is(fleet):
    earlier = dict(FROZEN, at="2029-12-25 09:00", speed=1)
    first = {"clocks": ["u:daemon --epoch 1924419600 --speed 0", earlier, BIN], "persist": True}
    wanted = {"clocks": [FROZEN, dict(BIN, speed=30), "u:1 --speed frozen"], "exact": True, "persist": True}
    told = foretold_and_done(fleet, "clocks", [first, {"clocks": ["u:bin --in 1d"]}, wanted, wanted])
    for foretold, done in told:
        assert set(foretold) == set(done) and foretold["commands"] == done["commands"]
        assert [set(clock) for clock in foretold["clocks"]] == [set(clock) for clock in done["clocks"]]
        assert [seen(clock)[2:] for clock in foretold["clocks"]] == [seen(clock)[2:] for clock in done["clocks"]]
    assert [done["changed"] for _, done in told] == [True, True, True, False]
    done = told[2][1]
    assert done["differs"] == {"u:nobody": ["speed", "time"], "g:bin": ["speed"]}
    assert done["commands"][0] == ["delete", "--", "u:bin"] and len(done["commands"]) == 4
    assert [diff["before_header"] for diff in done["diff"]] == ["clocks", "/etc/orvane/clocks"]
    kept = fleet.inside(HOST, "cat /etc/orvane/clocks; stat -c %a%U /etc/orvane/clocks")
    assert kept.splitlines()[1:] == ["'--at=2030-12-25 09:00' --speed=frozen -- u:nobody",
                                     "--epoch=1924419600 --speed=30 -- g:bin", "u:1 --speed frozen", "644root"]
    info, emptied = fleet.steps(HOST, ("clock_info", False, {"kind": ["user"], "identity": ["u:nobody", "g:bin"]}),
                                ("clocks", True, {"clocks": [], "exact": True}))
    assert [seen(clock) for clock in info["clocks"]] == [("u:nobody", CHRISTMAS, 0, False)]
    assert len(emptied["commands"]) == 3 and emptied["clocks"] == []
    (diff,) = emptied["diff"]
    assert diff["after"] == "" and re.match("g:bin: 2030-12-.. ..:..:..[+]00:00, 30 times faster\n", diff["before"])


def test_a_refusal_says_why_and_changes_nothing(fleet):
    refusals = (
        ("clock", {"identity": "nosuchuser", "at": "now"}, 2, "incorrect/non-existent username, or uid nosuchuser"),
        ("clock", {"identity": "g:bin", "at": "tomorrow"}, 4, "invalid date format"),
        ("clock", {"identity": "g:bin", "speed": False}, None, "write frozen for a clock that stands still"),
        ("clocks", {"clocks": [FROZEN, dict(BIN, speed=1001)]}, 3, "2: wrong parameters for speed"),
        ("clocks", {"clocks": [FROZEN, {"identity": "g:bin", "in": 90}]}, None, "clock 2: in is the number 90"),
        ("clocks", {"clocks": [FROZEN], "within": 60}, None, "within is the number 60, without a unit"))
    told = fleet.steps(HOST, NONE, *[(module, check, arguments) for module, arguments, _, _ in refusals
                                     for check in (True, False)], ("clock_info", False, {}))
    for number, (module, arguments, status, words) in enumerate(refusals):
        for each in told[1 + 2 * number:3 + 2 * number]:
            assert each["failed"] and each.get("status") == status and words in each["msg"], each
    assert told[-1]["clocks"] == []


def test_a_host_that_dies_in_the_middle_is_whole_afterwards(fleet):
    wanted = {"clocks": [FROZEN, dict(BIN, speed=30), "u:daemon --speed frozen"], "exact": True, "persist": True}
    dying = fleet.folder / "dying"
    dying.mkdir()
    (dying / "ovuser").write_text('#!/bin/sh\necho >>"$CALLS"\n[ $(wc -l <"$CALLS") != "$DIES_AT" ] || kill -9 $PPID\n'
                                  'PATH=${PATH#*:} exec ovuser "$@"\n')
    (dying / "ovuser").chmod(0o755)
    tasks = []
    for dies_at in range(1, 8):
        around = {"PATH": "%s:%s" % (dying, os.environ["PATH"]), "CALLS": str(dying / str(dies_at)), "DIES_AT": dies_at}
        tasks += [("clocks", False, {"clocks": [BIN, "u:bin --in 1d"], "exact": True}),
                  ("clocks", False, wanted, around), ("clocks", False, wanted), ("clock_info", False, {}),
                  ("clocks", False, wanted)]
    told = fleet.steps(HOST, *tasks)
    for died, done, info, again in zip(told[1::5], told[2::5], told[3::5], told[4::5]):
        assert [seen(clock)[0::2] for clock in done["clocks"]] == [("u:nobody", 0), ("g:bin", 30), ("u:daemon", 0)]
        assert len(info["clocks"]) == 3 and not again["changed"], again
    # It asks for a plan, deletes a clock, sets three, and reads the result.
    assert [died.get("rc") for died in told[1::5]] == [137] * 6 + [None]


def test_a_host_is_made_one_with_clocks(fleet):
    package, name = os.environ["ORVANE_TOOLS"], fleet.names[-1]
    files = {"orvane_packages_from": "files", "orvane_packages": [package]}
    repository = {"orvane_repository": "deb [trusted=yes] file:%s ./" % os.path.dirname(package)}
    fleet.inside(name, "rm -rf /etc/apt/sources.list*")
    for variables, again in (files, False), (repository, True):
        fleet.inside(name, "apt-get remove -y orvane-tools; rm -rf /var/lib/orvane")
        foretold, done = [fleet.play("host.yml", *options, "--limit", name, **variables)
                          for options in ((["--check"], []) if not again else ([], ["--check"]))]
        assert foretold["stats"][name]["failures"] == done["stats"][name]["failures"] == 0, (foretold, done)
        assert [seen(clock) for clock in done["tasks"]["Look"][name]["clocks"]] == [("u:nobody", CHRISTMAS, 0, False)]
        assert not again or done["stats"][name]["changed"] == 0, done
    without = fleet.play("host.yml", "--check", "--limit", name, orvane_engine="module", orvane_packages_from="none")
    assert without["stats"][name]["failures"] == 0 and without["stats"][name]["changed"] == 2, without
