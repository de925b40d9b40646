"""A small application: it stamps what is ordered, and asks its database what is overdue."""
import ctypes
import subprocess
from datetime import datetime


class Orders:
    """Orders in a PostgreSQL database, which is reached by psql."""

    def __init__(self, psql, run=subprocess.run):
        self._psql, self._run = psql, run

    def _ask(self, question):
        done = self._run([*self._psql, "-Atqc", question], check=True, capture_output=True, text=True)
        return done.stdout.strip()

    def create(self):
        self._ask("create table orders (name text, at timestamptz default now())")

    def add(self, name):
        self._ask("insert into orders values ('%s')" % name)

    def year_of(self, name):
        return int(self._ask("select extract(year from at) from orders where name = '%s'" % name))

    def seconds(self):
        """What the server takes for now, in seconds since the epoch."""
        return float(self._ask("select extract(epoch from now())"))


def own_seconds():
    return datetime.now().timestamp()


def c_seconds():
    """As a C extension reads the time."""
    return ctypes.CDLL(None).time(None)


def date_seconds(run=subprocess.run):
    return int(run(["date", "+%s"], check=True, capture_output=True, text=True).stdout)
