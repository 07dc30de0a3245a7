"""A file of JSON lines that grows as results come, so that an interrupted run can resume."""
import json
import threading


class Journal:
    def __init__(self, path):
        self.entries = []
        self._lock = threading.Lock()
        whole = 0
        if path.exists():
            content = path.read_bytes()
            whole = content.rfind(b"\n") + 1  # a last line without an end is truncated
            self.entries = [json.loads(line) for line in content[:whole].splitlines()]
        self._file = open(path, "ab")
        self._file.truncate(whole)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._file.close()

    def add(self, entry):
        with self._lock:
            self.entries.append(entry)
            self._file.write(json.dumps(entry).encode() + b"\n")
            self._file.flush()
