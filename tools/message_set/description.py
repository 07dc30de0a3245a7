"""Reads a description and checks it. Whatever is wrong ends in DescriptionError, which says where."""

import copy
import re

import yaml

from .model import SIMPLE, Enum, Field, Kind, Message, MessageSet, Record

KIND = re.compile(r"(?:(array of|optional) )?(\w+)(?:\[(\d+)\])?")


class DescriptionError(Exception):
    pass


def load(path):
    """The MessageSet that the file describes, with the sets that it uses."""
    if not path.exists():
        raise DescriptionError(f"{path}: no such description")
    try:
        data = yaml.safe_load(path.read_text(encoding="utf-8"))
    except yaml.YAMLError as error:
        raise DescriptionError(f"{path}: {error}") from error
    return _Reader(path).read(data)


class _Reader:
    def __init__(self, path):
        self.path = path
        self.types = {}

    def fail(self, where, what):
        raise DescriptionError(f"{self.path}: {where}: {what}")

    def take(self, data, where, required, optional=()):
        """The mapping itself, after a check of its keys."""
        if not isinstance(data, dict):
            self.fail(where, f"expected a mapping, found {data!r}")
        for key in required:
            if key not in data:
                self.fail(where, f"key {key!r} is missing")
        for key in data:
            if key not in required and key not in optional:
                self.fail(where, f"unknown key {key!r}")
        return data

    def read(self, data):
        self.take(data, "description", ("set", "namespace", "doc"),
                  ("uses", "headers", "external_records", "names_requests", "use_names_catalog", "enums", "records",
                   "requests", "notifications"))
        uses = [load(self.path.parent / name) for name in data.get("uses", [])]
        message_set = MessageSet(
            name=data["set"], file=self.path.stem, namespace=data["namespace"], doc=data["doc"], uses=uses,
            headers=data.get("headers", []), names_requests=data.get("names_requests", True),
            use_names_catalog=data.get("use_names_catalog", False))
        for used in uses:
            for item in used.enums + used.records:
                self.define(item)
        for name in data.get("external_records", []):
            self.define(Record(name, "", [], message_set.namespace, external=True))
        for entry in data.get("enums", []):
            message_set.enums.append(self.define(self.enum(entry, message_set.namespace)))
        for entry in data.get("records", []):
            message_set.records.append(self.define(self.record(entry, message_set.namespace)))
        message_set.requests = self.messages(data.get("requests", []), "requests", uses)
        message_set.notifications = self.messages(data.get("notifications", []), "notifications", uses)
        return message_set

    def define(self, item):
        if item.name in self.types or item.name in SIMPLE or item.name == "string":
            self.fail(item.name, "is defined twice")
        self.types[item.name] = item
        return item

    def enum(self, entry, namespace):
        self.take(entry, "enums", ("name", "doc", "values"))
        values = [tuple(value) for value in entry["values"]]
        for position in (0, 1):
            seen = [value[position] for value in values]
            if not seen or len(set(seen)) != len(seen):
                self.fail(entry["name"], "needs values with distinct numbers and names")
        return Enum(entry["name"], entry["doc"], values, namespace)

    def record(self, entry, namespace):
        self.take(entry, "records", ("name", "doc", "fields"), ("packed",))
        name = entry["name"]
        record = Record(name, entry["doc"], self.fields(entry["fields"], name), namespace,
                        packed=entry.get("packed", False))
        travelling = [field.encoded for field in record.fields]
        if travelling != sorted(travelling, reverse=True):
            self.fail(name, "fields that do not travel must come last")
        if record.packed:
            addresses = [field for field in record.fields if field.kind.is_record()]
            for field in record.fields:
                if field.kind.form != "one" or not (field.kind.is_simple() or field in addresses):
                    self.fail(f"{name}.{field.name}", f"a packed record cannot have a member of kind {field.kind.text}")
            if [field.kind.base.name for field in addresses] != ["ipAddress_t"]:
                self.fail(name, "a packed record needs exactly one ipAddress_t, and no other record")
        return record

    def fields(self, entries, where):
        fields = []
        for entry in entries:
            self.take(entry, where, ("name", "kind"), ("doc", "encoded"))
            if any(field.name == entry["name"] for field in fields):
                self.fail(where, f"two members are called {entry['name']}")
            kind = self.kind(entry["kind"], f"{where}.{entry['name']}")
            fields.append(Field(entry["name"], kind, entry.get("doc", ""), entry.get("encoded", True)))
        return fields

    def kind(self, text, where):
        match = KIND.fullmatch(text)
        if not match:
            self.fail(where, f"cannot read kind {text!r}")
        form, name, length = match.groups()
        base = name if name in SIMPLE or name == "string" else self.types.get(name)
        if base is None:
            self.fail(where, f"no record or enumeration is called {name!r}")
        kind = Kind(text, base, {None: "one", "array of": "array", "optional": "optional"}[form])
        if length:
            kind.form, kind.length = "fixed", int(length)
        if (kind.form == "optional" and not kind.is_record()) or (
                kind.form in ("array", "fixed") and (base in ("string", "bool"))) or (
                kind.form == "fixed" and not kind.is_simple()):
            self.fail(where, f"kind {text!r} is not supported")
        return kind

    def messages(self, entries, where, uses):
        messages = []
        for entry in entries:
            self.take(entry, where, ("name",), ("doc", "members", "response", "from"))
            name = entry["name"]
            if "from" in entry:
                messages.append(self.delegated(name, entry["from"], uses))
                continue
            members = self.fields(entry.get("members", []), name)
            messages.append(Message(name, entry.get("doc", ""), members, self.response(entry.get("response", []), name)))
        return messages

    def delegated(self, name, set_name, uses):
        for used in uses:
            for request in used.requests:
                if used.name == set_name and request.name == name:
                    message = copy.copy(request)
                    message.delegate = used.namespace
                    return message
        self.fail(name, f"no used message set {set_name!r} has this request")

    def response(self, entry, where):
        if isinstance(entry, list):
            return self.fields(entry, f"{where} response")
        self.take(entry, where, ("record", "first", "last"), ("except", "rename"))
        record = self.types.get(entry["record"])
        names = [field.name for field in record.fields] if isinstance(record, Record) else []
        used = {entry["first"], entry["last"], *entry.get("except", []), *entry.get("rename", {})}
        if not used.issubset(names):
            self.fail(where, f"record {entry['record']!r} has no member {', '.join(sorted(used - set(names)))}")
        first, last = names.index(entry["first"]), names.index(entry["last"])
        renamed = entry.get("rename", {})
        return [Field(renamed.get(field.name, field.name), field.kind, field.doc)
                for field in record.fields[first:last + 1] if field.name not in entry.get("except", [])]
