"""The source of a message set: tables, and encoders and decoders that name one member after the other."""

from .cpp_text import (add_call, argument, decoded_structs, decoder_arguments, encoder_arguments, fill,
                       message_functions, read_call)
from .model import SIMPLE


def text(message_set):
    packed = [record for record in message_set.records if record.packed]
    includes = ["msgset/msgset_support.h"] + (["msgset/packed_rows.h"] if packed else [])
    parts = [
        f"// Message set {message_set.name}, generated from {message_set.file}.yaml; do not edit.\n",
        f'#include "msgset/{message_set.file}.h"\n\n',
        *(f'#include "{path}"\n' for path in includes),
        f"\nnamespace {message_set.namespace} {{\n\nnamespace msgset = orv::msgset;\n",
        *(_enum(enum) for enum in message_set.enums),
        *(_record(message_set, record) for record in message_set.records),
        *(_message(message_set, message) for message in message_set.requests + message_set.notifications),
        f"\n}}  // namespace {message_set.namespace}\n",
    ]
    return "".join(parts)


def _enum(enum):
    rows = "".join(f'    {{{number}, "{name}"}},\n' for number, name in enum.values)
    return f"\nconst orv::tm::tm_enum_map em_{enum.name}[] = {{\n{rows}    {{0, nullptr}},\n}};\n"


def _names(name, fields, storage=""):
    names = [f'"{field.name}"' for field in fields] + ["nullptr"]
    return "\n" + fill(f"{storage}const char* const {name}[] = {{", names, "};")


def _record(message_set, record):
    fields = [field for field in record.fields if field.encoded]
    lines = [_names(f"{record.stem}_names", record.fields)]
    if record.packed:
        lines.append(_row(record))
    lines.append("\n" + fill(f"void {record.stem}_to_struct(", encoder_arguments(message_set, record), ") {"))
    if fields:
        lines.append(f"    msgset::Record_writer members(out, {record.stem}_names, copyArrays, catalog);\n")
        lines += [f"    {add_call(message_set, field.kind, f'record->{field.name}')}\n" for field in fields]
    else:
        lines.append(f"    out->clear({record.stem}_names);\n    (void)record, (void)copyArrays, (void)catalog;\n")
    lines.append("}\n")
    for struct in decoded_structs(record):
        lines.append("\n" + fill(f"void {record.stem}_from_struct(", decoder_arguments(record, struct), ") {"))
        if fields:
            lines.append(f"    msgset::Members_reader members(*in, {record.stem}_names);\n")
            lines += [f"    {read_call(message_set, field.kind, f'&record->{field.name}')}\n" for field in fields]
        else:
            lines.append("    (void)in, (void)record;\n")
        lines.append("}\n")
    return "".join(lines)


def _row(record):
    """How the record lies in a packed row: all simple members in order, then the bytes of the address."""
    address = next(field.name for field in record.fields if field.kind.is_record())
    simple = [field for field in record.fields if not field.kind.is_record()]
    kinds = ["orv::tm::TMV_STRUCT" if field.name == address else f"orv::tm::{SIMPLE[field.kind.base][1]}"
             for field in record.fields]
    puts = "".join(f"        row.put(record.{field.name});\n" for field in simple)
    gets = "".join(f"        row.get(&record->{field.name});\n" for field in simple)
    return (
        f"\nnamespace {{\n\nstruct {record.name}_row {{\n    using Record = {record.struct};\n"
        f"    static constexpr auto address = &{record.struct}::{address};\n"
        f"    static constexpr auto decode = {record.stem}_from_struct;\n\n"
        "    static const msgset::Row_shapes& shapes() {\n"
        "        static const msgset::Row_shapes shapes(\n"
        f"            {record.stem}_names,\n" + fill("            {", kinds, "});") +
        "        return shapes;\n    }\n\n"
        f"    static void store(const {record.struct}& __restrict record, msgset::Row_out row) {{\n{puts}    }}\n\n"
        f"    static void load(msgset::Row_in row, {record.struct}* __restrict record) {{\n{gets}    }}\n}};\n\n}}  // namespace\n")


def _message(message_set, message):
    lines = []
    tables = {"req": f"{message.name}_members", "resp": f"{message.name}_response_members"}
    if not message.delegate:
        for suffix, members in (("req", message.members), ("resp", message.response)):
            if members:
                lines.append(_names(tables[suffix], members, "static "))
    for prefix, members, arguments in message_functions(message_set, message):
        table = tables[prefix.split("_")[1]] if members else ""
        body = (_delegating if message.delegate else _body)(message_set, message, prefix, members, table)
        lines.append("\n" + fill(f"void {prefix}{message.name}(", arguments, ") {") + body + "}\n")
    return "".join(lines)


def _request_name(message_set, message):
    return f'"{message_set.name}.{message.name}"' if message_set.names_requests else "msgset::kUnnamed"


def _body(message_set, message, prefix, members, table):
    name = _request_name(message_set, message)
    if prefix.startswith("create"):
        lines = []
        if prefix == "create_resp_":
            lines.append("    msgset::begin_response(message);\n")
        else:
            if message_set.use_names_catalog:
                lines.append("    message->set_use_send_member_string(true);\n")
            lines.append(f"    msgset::begin_request(message, {name});\n")
        if members:
            lines.append(f"    msgset::Message_writer members(message, {table}, copyArrays);\n")
            lines += [f"    {add_call(message_set, field.kind, argument(field))}\n" for field in members]
        return "".join(lines) + "    msgset::finish(message);\n"
    check = f"check_request(*message, {name})" if prefix.startswith("parse_req_") else "check_response(*message)"
    lines = [f"    msgset::{check};\n"]
    if members:
        lines.append(f"    msgset::Members_reader members(msgset::members_of(*message), {table});\n")
        lines += [f"    {read_call(message_set, field.kind, argument(field))}\n" for field in members]
    return "".join(lines)


def _delegating(message_set, message, prefix, members, _table):
    """A request of another set under a name of this set."""
    arguments = ["message"] + [argument(field) for field in members]
    if prefix.startswith("create") and members:
        arguments.append("copyArrays")
    call = "    " + fill(f"{message.delegate}::{prefix}{message.name}(", arguments, ");")
    if prefix == "create_req_":
        return call + f"    message->set_request_name({_request_name(message_set, message)});\n"
    if prefix == "parse_req_":
        return f"    msgset::check_request(*message, {_request_name(message_set, message)});\n" + call
    return call
