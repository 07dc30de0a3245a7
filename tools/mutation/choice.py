"""Chooses faults: at random by lines of code, or the same as in an earlier result."""
import random

from .faults import find_faults
from .sources import product_sources, read


def find_all(project):
    """The faults that each product source can have."""
    return {file: find_faults(read(project / file), file) for file in product_sources(project)}


def _lines_of_code(source):
    return sum(1 for line in source.split("\n") if line.strip() and not line.strip().startswith("//"))


def choose_at_random(project, faults_by_file, count, seed):
    """`count` faults that do not overlap; a file has as many as its lines of code let expect."""
    dice = random.Random(seed)
    left = {file: list(faults) for file, faults in faults_by_file.items() if faults}
    weights = {file: _lines_of_code(read(project / file)) for file in left}
    chosen = []
    while len(chosen) < count and left:
        files = sorted(left)
        file = dice.choices(files, [weights[name] for name in files])[0]
        fault = left[file].pop(dice.randrange(len(left[file])))
        left[file] = [other for other in left[file] if not other.overlaps(fault)]
        if not left[file]:
            del left[file]
        chosen.append(fault)
    return sorted(chosen, key=lambda fault: (fault.file, fault.start))


def _name(file):
    return file.split("/")[-1]


def choose_same(faults_by_file, earlier):
    """The faults of an earlier result that are still there, and the entries of those that are not. Of equal faults in several
    files, the one in the same file is taken, or else in a file of the same name."""
    found, gone, by_identity = [], [], {}
    for faults in faults_by_file.values():
        for fault in faults:
            by_identity.setdefault(fault.identity, []).append(fault)
    for entry in earlier["faults"]:
        candidates = by_identity.get(entry["identity"], [])
        candidates.sort(key=lambda fault: (fault.file != entry["file"], _name(fault.file) != _name(entry["file"])))
        fresh = [fault for fault in candidates
                 if not any(fault.file == other.file and fault.overlaps(other) for other in found)]
        if fresh:
            found.append(fresh[0])
        else:
            gone.append(entry)
    return sorted(found, key=lambda fault: (fault.file, fault.start)), gone
