"""The files of the project: what faults are for, and the copy in which they stand."""
import hashlib
import subprocess
from pathlib import Path

from .faults import insert

PRODUCT_FOLDERS = ("app/", "host/", "il/", "iptv/")
HEADER = "orv_fault.h"
_OWN_FILES = ("tools/mutation/", "tools/mutate.py")  # no part of what is measured


def read(path):
    # newline="": offsets are those of the file
    with open(path, encoding="utf-8", newline="") as file:
        return file.read()


def _project_files(project):
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=project,
                            capture_output=True, check=True).stdout.decode()
    return sorted(name for name in set(listed.split("\0")) if name and (project / name).is_file())


def product_sources(project):
    return [name for name in _project_files(project)
            if name.startswith(PRODUCT_FOLDERS) and name.endswith((".cpp", ".h"))]


def write_copy(project, copy, faults_by_number):
    """Makes the folder `copy` equal to the project, with these faults. Files that stay the same are not touched."""
    wanted = {name: project / name for name in _project_files(project)}
    wanted[HEADER] = Path(__file__).with_name(HEADER)
    by_file = {}
    for number, fault in faults_by_number.items():
        by_file.setdefault(fault.file, {})[number] = fault
    for name, source in wanted.items():
        content = source.read_bytes()
        if name in by_file:
            content = insert(read(source), by_file[name]).encode()
        target = copy / name
        if not target.is_file() or target.read_bytes() != content:
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(content)
        target.chmod(source.stat().st_mode & 0o777)
    for path in copy.rglob("*"):
        name = path.relative_to(copy).as_posix()
        if not name.startswith("build/") and path.is_file() and name not in wanted:
            path.unlink()


def fingerprint(project):
    """Changes with any file that goes into the copy."""
    digest = hashlib.sha256()
    for name in _project_files(project):
        if not name.startswith(_OWN_FILES):
            digest.update(f"{name}\0".encode() + (project / name).read_bytes())
    return digest.hexdigest()
