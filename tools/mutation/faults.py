"""The faults that a C++ file can have: where they stand, how the code with the switch in it reads, and their identities."""
import hashlib
import re
from collections import Counter
from dataclasses import dataclass

from .cpp_tokens import CppText
from .functions import Body, find_places
from .statements import Walker

NUMBER = "\0"  # placeholder for the number of the fault in `code`


@dataclass
class Fault:
    file: str
    line: int
    last_line: int
    function: str
    kind: str  # "condition", "operator", "boolean", "number", "statement"
    start: int  # offsets of the text that `code` takes the place of
    end: int
    code: str
    original: str
    mutated: str
    identity: str = ""

    def overlaps(self, other):
        return self.start < other.end and other.start < self.end


class _Collector:
    """Turns the places that the walker finds into faults."""

    def __init__(self, text, file):
        self.text = text
        self.file = file
        self.faults = []
        self.function = ""

    def add(self, kind, first, end, code, mutated, original=None):
        tokens = self.text.tokens
        start, stop = tokens[first].start, tokens[end - 1].end
        if any(self.text.is_kind(i, "preprocessor") or "\n" in tokens[i].text for i in range(first, end)):
            return
        whole = self.text.text[start:stop]
        self.faults.append(Fault(
            file=self.file, line=tokens[first].line, last_line=tokens[end - 1].line, function=self.function, kind=kind,
            start=start, end=stop, code=code(whole), mutated=mutated,
            original=original if original is not None else self.text.one_line(first, end)))


def find_faults(source, file):
    """Every fault that the text of a file can have, in the order of the file."""
    text = CppText(source)
    collector = _Collector(text, file)
    walker = Walker(text, collector)
    for place in find_places(text):
        collector.function = place.function
        if isinstance(place, Body):
            walker.walk_block(place.first, place.end)
        else:
            walker.walk_default(place.first, place.end)
    faults = sorted(collector.faults, key=lambda fault: (fault.start, fault.end, fault.kind, fault.mutated))
    _name(faults, source)
    return faults


def _name(faults, source):
    """Identities last while the lines, their function and the order of equal ones stay: moves of files change nothing."""
    lines = source.split("\n")
    seen = Counter()
    for fault in faults:
        line = re.sub(r"\s+", " ", lines[fault.line - 1]).strip()
        what = (fault.function, line, fault.kind, fault.original, fault.mutated)
        text = "\n".join((*what, str(seen[what])))
        seen[what] += 1
        fault.identity = hashlib.sha256(text.encode()).hexdigest()[:16]


def insert(source, faults_by_number):
    """The text of a file with these faults in it, each behind its switch; lines keep their numbers."""
    for number, fault in sorted(faults_by_number.items(), key=lambda item: -item[1].start):
        source = source[:fault.start] + fault.code.replace(NUMBER, str(number)) + source[fault.end:]
    return source
