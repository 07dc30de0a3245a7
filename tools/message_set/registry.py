"""A header for tests that walks over every field of a record, and over all records and messages."""


def text(sets):
    parts = ["// Every record, enumeration and message of the sets, generated for tests; do not edit.\n#pragma once\n\n"]
    parts += [f'#include "msgset/{message_set.file}.h"\n' for message_set in sets]
    for message_set in sets:
        parts.append(f"\nnamespace {message_set.namespace} {{\n\n")
        for enum in message_set.enums:
            parts.append(f"inline const orv::tm::tm_enum_map* map_of({enum.name}) {{ return em_{enum.name}; }}\n")
        for record in message_set.records:
            parts.append(_fields(record))
        parts.append(f"\n}}  // namespace {message_set.namespace}\n")
    parts.append("\nnamespace msgset_test {\n\n" + _records(sets) + "\n" + _enums(sets) + "\n" + _messages(sets))
    return "".join(parts) + "\n}  // namespace msgset_test\n"


def _fields(record):
    """Optional members are distinguished, because their vectors hold at most one element."""
    calls = "".join(f"    {'optional' if field.kind.form == 'optional' else 'visit'}(record.{field.name});\n"
                    for field in record.fields if field.encoded)
    return ("\ntemplate <class Visit, class Optional>\n"
            f"void for_each_field([[maybe_unused]] {record.struct}& record, [[maybe_unused]] Visit visit,\n"
            f"                    [[maybe_unused]] Optional optional) {{\n{calls}}}\n")


def _records(sets):
    calls = "".join(f'    visit("{s.name}.{r.name}", {s.namespace}::{r.stem}_to_struct, '
                    f"{s.namespace}::{r.stem}_from_struct);\n" for s in sets for r in s.records)
    return f"template <class Visit>\nvoid for_each_record(Visit visit) {{\n{calls}}}\n"


def _enums(sets):
    calls = "".join(f'    visit("{s.name}.{e.name}", {s.namespace}::em_{e.name});\n' for s in sets for e in s.enums)
    return f"template <class Visit>\nvoid for_each_enum(Visit visit) {{\n{calls}}}\n"


def _messages(sets):
    calls = "".join(
        f'    visit("{s.name}.{m.name} {side}", {s.namespace}::create_{short}_{m.name}, '
        f"{s.namespace}::parse_{short}_{m.name});\n"
        for s in sets for m in s.requests + s.notifications for short, side in (("req", "request"), ("resp", "response")))
    return f"template <class Visit>\nvoid for_each_message(Visit visit) {{\n{calls}}}\n"
