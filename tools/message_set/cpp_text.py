"""Pieces of C++ text that the header and the source share: signatures, member calls, line breaks."""

LIMIT = 110


def fill(opening, items, closing):
    """`opening` and the comma-separated items and `closing`, broken below the opening bracket where too long."""
    indent = " " * len(opening)
    lines, line = [], opening
    for position, item in enumerate(items):
        piece = item + ("," if position + 1 < len(items) else closing)
        if line.strip() and line not in (opening, indent):
            if len(line) + 1 + len(piece) > LIMIT:
                lines.append(line)
                line = indent
            else:
                line += " "
        line += piece
    if not items:
        line += closing
    return "\n".join(lines + [line]) + "\n"


def argument(field):
    """A wire name as the name of an argument: stblock_handles becomes stblockHandles."""
    head, *rest = field.name.split("_")
    return head + "".join(word[:1].upper() + word[1:] for word in rest)


def _input(message_set, field):
    kind = message_set.cpp_type(field.kind)
    by_value = field.kind.form == "one" and (field.kind.is_simple() or field.kind.is_enum())
    return f"{kind} {argument(field)}" if by_value else f"const {kind}& {argument(field)}"


def create_arguments(message_set, members):
    arguments = ["orv::tm::Message* message"] + [_input(message_set, field) for field in members]
    return arguments + ["bool copyArrays"] if members else arguments


def parse_arguments(message_set, members, in_place=False):
    cpp_type = message_set.cpp_type_in_place if in_place else message_set.cpp_type
    outputs = [f"{cpp_type(field.kind)}* {argument(field)}" for field in members]
    return ["const orv::tm::Message* message"] + outputs


def message_functions(message_set, message):
    """The functions of a request or notification: (prefix, members, arguments)."""
    functions = [
        ("create_req_", message.members, create_arguments(message_set, message.members)),
        ("parse_req_", message.members, parse_arguments(message_set, message.members)),
        ("create_resp_", message.response, create_arguments(message_set, message.response)),
        ("parse_resp_", message.response, parse_arguments(message_set, message.response)),
    ]
    if any(field.kind.holds_rows() for field in message.members):
        functions.append(("parse_req_in_place_", message.members,
                          parse_arguments(message_set, message.members, True)))
    return functions


def encoder_arguments(message_set, record):
    return ["orv::tm::Tm_prenamed_struct* out", f"const {record.struct}* record", "bool copyArrays",
            "orv::tm::Tm_names_catalog* catalog"]


def decoder_arguments(record, struct):
    return ["const orv::tm::Tm_struct* in", f"{struct}* record"]


def decoded_structs(record):
    """The structs that have a decoder."""
    return [record.struct] + ([record.struct_in_place] if record.has_rows() else [])


def add_call(message_set, kind, value):
    """The statement that adds a member of this kind."""
    if kind.is_enum():
        function = "add_enum" if kind.form == "one" else "add_enums"
        return f"members.{function}({value}, {message_set.qualified(kind.base, f'em_{kind.base.name}')});"
    if not kind.is_record():
        return f"members.add({value});"
    encoder = message_set.qualified(kind.base, f"{kind.base.stem}_to_struct")
    if kind.form == "optional":
        return f"if (!members.add_optional({value}, {encoder})) return;"
    if kind.form == "array" and kind.base.packed:
        return f"members.add_rows<{kind.base.name}_row>({value});"
    return f"members.{'add_record' if kind.form == 'one' else 'add_records'}({value}, {encoder});"


def read_call(message_set, kind, target):
    """The statement that reads a member of this kind into what `target` points to."""
    if kind.is_enum():
        function = "read_enum" if kind.form == "one" else "read_enums"
        return f"members.{function}({target}, {message_set.qualified(kind.base, f'em_{kind.base.name}')});"
    if not kind.is_record():
        return f"members.read({target});"
    decoder = message_set.qualified(kind.base, f"{kind.base.stem}_from_struct")
    if kind.form == "array" and kind.base.packed:
        return f"members.read_rows<{kind.base.name}_row>({target});"
    function = {"one": "read_record", "optional": "read_optional"}.get(kind.form, "read_records")
    return f"members.{function}({target}, {decoder});"
