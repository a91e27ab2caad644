"""Talks to a cellar-server process over its line protocol."""

import subprocess


class CellarError(Exception):
    """The server answered ERR, or went away."""


class Client:
    """One server process, started on open and stopped on close.

    >>> with Client("data.log") as db:
    ...     db.put("colour", "green")
    ...     db.get("colour")
    'green'
    """

    def __init__(self, log_path, server="cellar-server"):
        self._process = subprocess.Popen(
            [server, log_path],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            text=True,
        )

    def _ask(self, line):
        if "\n" in line:
            raise ValueError("a request is one line")
        self._process.stdin.write(line + "\n")
        self._process.stdin.flush()
        reply = self._process.stdout.readline()
        if not reply:
            raise CellarError("the server went away")
        status, _, detail = reply.rstrip("\n").partition(" ")
        if status == "ERR":
            raise CellarError(detail or "write failed")
        return status, detail

    def get(self, key):
        status, value = self._ask("GET " + key)
        return value if status == "OK" else None

    def put(self, key, value):
        self._ask("PUT %s %s" % (key, value))

    def delete(self, key):
        self._ask("DEL " + key)

    def __len__(self):
        return int(self._ask("COUNT")[1])

    def close(self):
        self._process.stdin.close()
        self._process.wait()

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()
