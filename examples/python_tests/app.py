"""A small application: it stamps what is ordered, and asks its database what is of which year."""
import subprocess
from datetime import datetime


class Orders:
    """Orders in a PostgreSQL database, which is reached by psql."""

    def __init__(self, psql):
        self._psql = psql

    def _ask(self, question):
        done = subprocess.run([*self._psql, question], check=True, capture_output=True, text=True)
        return done.stdout.strip()

    def create(self):
        self._ask("create table orders (name text, at timestamptz default now())")

    def add(self, name):
        self._ask("insert into orders values ('%s')" % name)

    def year_of(self, name):
        return int(self._ask("select extract(year from at) from orders where name = '%s'" % name))

    def is_late(self, name):
        """By this program's clock, of what was stamped by the server's."""
        stamped = float(self._ask("select extract(epoch from at) from orders where name = '%s'" % name))
        return stamped > datetime.now().timestamp()
