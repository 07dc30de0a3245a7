"""The header of a message set: enumerations, records, declarations of encoders and decoders."""

from .cpp_text import argument, decoded_structs, decoder_arguments, encoder_arguments, fill, message_functions


def text(message_set):
    parts = [
        f"// {message_set.doc} Message set {message_set.name}, generated from {message_set.file}.yaml; do not edit.\n",
        "#pragma once\n\n",
        "#include <cstdint>\n#include <string>\n#include <type_traits>\n#include <vector>\n\n",
        *(f'#include "{path}"\n' for path in _includes(message_set)),
        f"\nnamespace {message_set.namespace} {{\n",
        *(_enum(enum) for enum in message_set.enums),
        *(_record(message_set, record) for record in message_set.records),
        _messages(message_set, "Requests: create_req and parse_resp are the sender's, parse_req and create_resp the "
                               "receiver's.", message_set.requests),
        _messages(message_set, "Notifications: sent by the port, which gets back an empty response.",
                  message_set.notifications),
        f"\n}}  // namespace {message_set.namespace}\n",
    ]
    return "".join(parts)


def _includes(message_set):
    support = ["msgset/packed_records.h"] if any(record.has_rows() for record in message_set.records) else []
    system = ["orv/tm/enum_map.h", "orv/tm/message.h", "orv/tm/struct.h"]
    return sorted(message_set.headers + support + [f"msgset/{used.file}.h" for used in message_set.uses]) + system


def _enum(enum):
    values = "".join(f"    {name} = {number},\n" for number, name in enum.values)
    return (f"\n/// {enum.doc}\nenum class {enum.name} : std::int32_t {{\n{values}}};\n"
            f"extern const orv::tm::tm_enum_map em_{enum.name}[];\n")


def _record(message_set, record):
    lines = [f"\n/// {record.doc}\nstruct {record.struct} {{\n"]
    for field in record.fields:
        lines.append(f"    {_declaration(message_set, field)};{f'  ///< {field.doc}' if field.doc else ''}\n")
    if record.fields:
        lines.append("\n")
    lines.append(f"    bool operator==(const {record.struct}&) const = default;\n}};\n")
    if record.has_rows():
        lines.append(_in_place(message_set, record))
    if record.packed:
        lines.append(_visitor(record))
    lines.append(f"extern const char* const {record.stem}_names[];\n")
    lines.append(fill(f"void {record.stem}_to_struct(", encoder_arguments(message_set, record), ");"))
    lines += [fill(f"void {record.stem}_from_struct(", decoder_arguments(record, struct), ");")
              for struct in decoded_structs(record)]
    return "".join(lines)


def _in_place(message_set, record):
    fields = "".join(f"    {message_set.cpp_type_in_place(field.kind)} {field.name}"
                     f"{'' if field.kind.is_rows() else ' = {}'};\n" for field in record.fields)
    return ("/// The same, with the packed rows left in the message, which must outlive it.\n"
            f"struct {record.struct_in_place} {{\n{fields}}};\n")


def _visitor(record):
    """Calls `visit(name, member)` for each member: for writers of records in other formats."""
    calls = "".join(f'    visit("{field.name}", record.{field.name});\n' for field in record.fields)
    return (f"template <class Record, class Visit>\n"
            f"    requires std::is_same_v<std::remove_const_t<Record>, {record.struct}>\n"
            f"void visit_members(Record& record, Visit&& visit) {{\n{calls}}}\n")


def _declaration(message_set, field):
    """The field with its initial value: an enumeration starts with the first value of its table."""
    kind = field.kind
    declared = f"{message_set.cpp_type(kind)} {field.name}"
    if kind.form == "fixed":
        return f"{declared}[{kind.length}] = {{}}"
    if kind.form in ("array", "optional") or kind.base == "string" or kind.is_record():
        return declared
    if kind.is_enum():
        return f"{declared} = {message_set.base_type(kind)}::{kind.base.values[0][1]}"
    return f"{declared} = {'false' if kind.base == 'bool' else '0'}"


def _messages(message_set, title, messages):
    if not messages:
        return ""
    lines = [f"\n// {title}\n"]
    for message in messages:
        lines.append("\n")
        if message.doc:
            lines.append(f"/// {message.doc}\n")
        for group in (message.members, message.response):
            lines += [f"/// {argument(field)}: {field.doc}.\n" for field in group if field.doc and len(group) < 6]
        for prefix, _, arguments in message_functions(message_set, message):
            lines.append(fill(f"void {prefix}{message.name}(", arguments, ");"))
    return "".join(lines)
