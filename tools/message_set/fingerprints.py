"""Fingerprints: one line per enumeration, record and message, which changes with names, kinds, values and order."""

import hashlib

HEAD = """\
# Fingerprints of the message sets: a changed line is a changed message, and peers of another version notice.
# After a change that is meant, renew this file from the top of the source tree with
#   python3 tools/generate_message_set.py --fingerprints tests/msgset/fingerprints.txt iptv/bll/msgset/*.yaml
"""


def text(sets):
    lines = []
    for message_set in sets:
        for enum in message_set.enums:
            lines.append(_line("enum", message_set, enum, [f"{number}={name}" for number, name in enum.values]))
        for record in message_set.records:
            lines.append(_line("record", message_set, record, _fields(record.fields)))
        for kind, messages in (("request", message_set.requests), ("notification", message_set.notifications)):
            for message in messages:
                parts = _fields(message.members) + ["->"] + _fields(message.response)
                lines.append(_line(kind, message_set, message, parts))
    return HEAD + "".join(sorted(lines))


def _fields(fields):
    return [f"{field.name}:{field.kind.text}{'' if field.encoded else ' (not sent)'}" for field in fields]


def _line(kind, message_set, item, parts):
    digest = hashlib.sha256("\n".join([kind, item.name, *parts]).encode()).hexdigest()[:12]
    return f"{kind} {message_set.name}.{item.name} {digest}\n"
