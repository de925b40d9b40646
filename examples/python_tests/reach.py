"""Who is asked for the time, in seconds since the epoch; servers are started for it."""
import contextlib
import ctypes
import glob
import multiprocessing
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import time
import urllib.request
from datetime import datetime

DJANGO = """
import time
from django.conf import settings
settings.configure(ROOT_URLCONF=__name__, ALLOWED_HOSTS=["*"], SECRET_KEY="-", USE_TZ=True)
import django
from django.core.servers.basehttp import WSGIRequestHandler, WSGIServer
from django.core.wsgi import get_wsgi_application
from django.http import HttpResponse
from django.urls import path
from django.utils import timezone
urlpatterns = [path("", lambda request: HttpResponse(str(timezone.now().timestamp())))]
server = WSGIServer(("127.0.0.1", 0), WSGIRequestHandler)
server.set_app(get_wsgi_application())
print(server.server_port, flush=True)
server.serve_forever()
"""
CELERY = """
import os, time, celery
app = celery.Celery("tasks", broker="filesystem://", backend="file://" + os.getcwd())
app.conf.broker_transport_options = {"data_folder_in": os.getcwd(), "data_folder_out": os.getcwd()}
@app.task
def now():
    return time.time()
"""


@contextlib.contextmanager
def folder():
    path = tempfile.mkdtemp()
    try:
        yield path
    finally:
        shutil.rmtree(path, ignore_errors=True)


@contextlib.contextmanager
def running(*words, **options):
    """A server, for as long as it is asked."""
    process = subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                               text=True, **options)
    try:
        yield process
    finally:
        process.kill()
        process.communicate()


def output(*words, **options):
    return subprocess.run(words, check=True, stdout=subprocess.PIPE, text=True, **options).stdout.strip()


@contextlib.contextmanager
def postgresql():
    """How psql reaches a server."""
    programs = max(glob.glob("/usr/lib/postgresql/*/bin")) + "/"
    with folder() as here:
        data = here + "/data"
        output(programs + "initdb", "-D", data, "-A", "trust", "-U", "tester", "--no-sync", cwd=here)
        subprocess.run([programs + "pg_ctl", "-D", data, "-w", "-t", "600", "-l", here + "/log", "-o",
                        "-F -c listen_addresses='' -k " + here, "start"], check=True, stdout=subprocess.DEVNULL)
        try:
            yield [programs + "psql", "-h", here, "-U", "tester", "postgres", "-Atqc"]
        finally:
            output(programs + "pg_ctl", "-D", data, "-m", "immediate", "stop")


def ask_postgresql():
    with postgresql() as psql:
        return float(output(*psql, "select extract(epoch from now())"))


def ask_redis():
    with folder() as here:
        path = here + "/socket"
        with running("redis-server", "--port", "0", "--unixsocket", path, "--save", "", cwd=here) as server:
            while server.poll() is None:
                with contextlib.suppress(OSError), socket.socket(socket.AF_UNIX) as connection:
                    connection.connect(path)
                    return int(output("redis-cli", "-s", path, "time").split()[0])
                time.sleep(0.01)


def ask_django():
    with running(sys.executable, "-c", DJANGO) as server:
        with urllib.request.urlopen("http://127.0.0.1:%d/" % int(server.stdout.readline())) as answer:
            return float(answer.read())


def ask_celery():
    with folder() as here:
        with open(here + "/tasks.py", "w") as file:
            file.write(CELERY)
        with running(sys.executable, "-m", "celery", "-A", "tasks", "worker", "--pool", "solo", cwd=here):
            ask = "import tasks; print(tasks.now.delay().get(timeout=600))"
            return float(output(sys.executable, "-c", ask, cwd=here))


def in_child(method):
    context = multiprocessing.get_context(method)
    with context.Pool(1) as pool:
        return pool.apply(time.time)


def in_thread():
    read = []
    thread = threading.Thread(target=lambda: read.append(datetime.now().timestamp()))
    thread.start()
    thread.join()
    return read[0]


READINGS = {
    "`datetime.now()`, `time.time()`": lambda: time.time(),
    "a thread": in_thread,
    "a C extension": lambda: ctypes.CDLL(None).time(None),
    "a program: `subprocess`, `os.system`": lambda: int(output("date", "+%s")),
    "`multiprocessing` by fork": lambda: in_child("fork"),
    "`multiprocessing` by spawn": lambda: in_child("spawn"),
    "PostgreSQL, started inside": ask_postgresql,
    "Redis, started inside": ask_redis,
    "Django with its server": ask_django,
    "a Celery worker": ask_celery,
}
