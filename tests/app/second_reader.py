"""A second reader of test files, for comparison: one text in each line of the input, in hexadecimal; for each the tree of its
values, or "-" when it is refused."""
import sys

import yaml

DEPTH = 200
NOTHING = ("", "~", "null", "Null", "NULL")


def build(events):
    """The tree of the value that begins with the next event; None for what test files do not have."""
    event = next(events)
    if isinstance(event, yaml.AliasEvent) or event.anchor is not None or event.tag is not None:
        raise ValueError
    if isinstance(event, yaml.ScalarEvent):
        if event.style in ("'", '"') and event.start_mark.line != event.end_mark.line:
            raise ValueError
        return "~" if event.style is None and event.value in NOTHING else f'"{event.value.encode().hex()}"'
    parts, keys, ends = [], set(), (yaml.SequenceEndEvent, yaml.MappingEndEvent)
    is_map = isinstance(event, yaml.MappingStartEvent)
    while not isinstance(events.peek(), ends):
        part = build(events)
        if is_map:
            if not part.startswith('"') or part in keys:
                raise ValueError
            keys.add(part)
            part += ":" + build(events)
        parts.append(part)
    next(events)
    return ("{%s}" if is_map else "[%s]") % ",".join(parts)


class Events:
    def __init__(self, source):
        loader = yaml.SafeLoader(source)
        self.peek, self._get, self._depth = loader.peek_event, loader.get_event, 0

    def __next__(self):
        event = self._get()
        self._depth += isinstance(event, yaml.CollectionStartEvent) - isinstance(event, yaml.CollectionEndEvent)
        if self._depth > DEPTH:
            raise ValueError
        return event


def read(data):
    try:
        source = data.decode()
        events = Events(source[1:] if source.startswith("\ufeff") else source)
        next(events)  # the stream
        if next(events).tags:  # the document
            return "-"
        tree = build(events)
        next(events)
        return tree if isinstance(next(events), yaml.StreamEndEvent) else "-"
    except (yaml.YAMLError, ValueError, AttributeError, StopIteration):
        return "-"


for line in sys.stdin:
    print(read(bytes.fromhex(line)))
