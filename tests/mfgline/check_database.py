# SPDX-License-Identifier: BSD-2-Clause-Patent
"""mfgline with a real PostgreSQL server: check_database.py PROGRAM

The server lives in a temporary folder, listens on a free port of the loopback address, and is stopped by its id.
"""

import os
import pwd
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
from contextlib import contextmanager
from pathlib import Path

from mfgline import RECORDS, Mfgline

sys.path.append(str(Path(__file__).resolve().parents[2] / "bench"))
import record_generator  # noqa: E402

_RECORDS = 1500
_SAME = (("table",), ("summary",), ("csv", "--values"), ("junit",), ("unit", "SN-0000007"))


def _programs():
    found = sorted(Path("/usr/lib/postgresql").glob("*/bin"), key=lambda folder: int(folder.parent.name))
    if not found:
        sys.exit("check_database: PostgreSQL's server is missing: run `./setup.sh mfgline`")
    return found[-1]


def _free_port():
    with socket.create_server(("127.0.0.1", 0)) as listener:
        return listener.getsockname()[1]


@contextmanager
def _server(folder):
    """Gives the address of a database; the server refuses to run as root."""
    user = {"user": "postgres"} if os.getuid() == 0 else {}
    data, port = folder / "data", _free_port()
    data.mkdir()
    if user:
        folder.chmod(0o755)
        os.chown(data, pwd.getpwnam("postgres").pw_uid, -1)
    initdb = [_programs() / "initdb", "--pgdata", data, "--auth", "trust", "--username", "line", "--encoding", "UTF8"]
    subprocess.run(initdb, check=True, stdout=subprocess.DEVNULL, cwd="/", **user)
    options = ("-p", str(port), "-c", "listen_addresses=127.0.0.1", "-c", f"unix_socket_directories={data}")
    log = folder / "server.log"
    with log.open("w") as output:
        server = subprocess.Popen([_programs() / "postgres", "-D", data, *options], cwd="/", stderr=output, **user)
    try:
        limit = time.monotonic() + 60
        while "ready to accept connections" not in log.read_text(encoding="utf-8"):
            assert server.poll() is None and time.monotonic() < limit, log.read_text(encoding="utf-8")
            time.sleep(0.1)
        yield f"postgresql://line@127.0.0.1:{port}/postgres"
    finally:
        server.send_signal(signal.SIGINT)
        server.wait(60)


def _attempts(lines):
    return {tuple(line.split(",")[:2]) for line in lines}


def _kill_one_of_two(mfgline, units, whole):
    """Kills one process as soon as something is stored; the other goes on, and nothing half is to be seen meanwhile."""
    mfgline("add", next(units.iterdir()))
    killed, other = (mfgline.start("add", units) for _ in range(2))
    with killed, other:
        while len(mfgline.verdicts()) < 2:
            time.sleep(0.05)
        killed.send_signal(signal.SIGKILL)
        assert killed.wait() == -signal.SIGKILL, "it was done before it could be killed: make more records"
        stored = mfgline("csv", "--values").splitlines()[1:]
        attempts = _attempts(stored)
        expected = [line for line in whole if tuple(line.split(",")[:2]) in attempts]
        assert sorted(stored) == sorted(expected), "half a record is stored"
        assert other.wait(300) == 0
    print(f"one of two processes killed after {len(attempts)} of {_RECORDS} records: all whole, the other one went on")


def _check(address, folder):
    units = folder / "records"
    record_generator.write(RECORDS, _RECORDS, units)
    mfgline, sqlite = Mfgline(sys.argv[1], address), Mfgline(sys.argv[1], folder / "lines.db")
    sqlite("add", units)
    _kill_one_of_two(mfgline, units, sqlite("csv", "--values").splitlines()[1:])
    assert f"{_RECORDS:,} known before" in mfgline("add", units)
    for one in (mfgline, sqlite):
        one("waive", "37", "unexpected-event", "--reason", "a lot of memory", "--by", "Q", "--until", "9999-12-31")
    for words in _SAME:
        assert sqlite(*words) == mfgline(*words), f"{words}: SQLite and PostgreSQL answer differently"
    print(f"{len(_SAME)} questions: the answers are those of SQLite")


def main():
    name = tempfile.mkdtemp()
    try:
        with _server(Path(name)) as address:
            _check(address, Path(name))
    finally:
        shutil.rmtree(name, ignore_errors=True)


if __name__ == "__main__":
    main()
