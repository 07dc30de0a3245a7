#!/usr/bin/env python3
"""Writes the C++ constants of one data model: ids of classes, properties and relations, values of enumerations.

The host checks the files in full when it reads them. Here everything is refused that would give a header other than
what the host reads: keys given twice, numbers in any other form than decimal and 0x hexadecimal, names that are no C++
names, ids and names given to two things.
"""
import argparse
import pathlib
import re
import sys
import textwrap

import yaml

HEAD = """// Constants of the data model {name} ({model}). Written by the build from {sources}.
#pragma once

#include <cstdint>

#include "orv/common/ids.h"

namespace orv::ids {{
"""
CPP_TYPES = {"u8": "std::uint8_t", "u16": "std::uint16_t", "s16": "std::int16_t", "u32": "std::uint32_t",
             "s32": "std::int32_t", "u64": "std::uint64_t", "s64": "std::int64_t"}
# What a name could collide with: words of the language and macros of its standard headers.
RESERVED = set("""alignas alignof and asm auto bool break case catch char class compl concept const constexpr continue
    decltype default delete do double else enum explicit export extern false float for friend goto if inline int long
    mutable namespace new noexcept not nullptr operator or private protected public register requires return short
    signed sizeof static struct switch template this throw true try typedef typename union unsigned using virtual void
    volatile wchar_t while xor NULL EOF CLASS""".split())


class ModelError(Exception):
    """A file that no header can be written from."""


class TextLoader(yaml.BaseLoader):
    """Leaves every scalar a text, so that 010, no and 1e3 arrive as written, and refuses keys given twice."""

    def construct_mapping(self, node, deep=False):
        seen = set()
        for key, _ in node.value:
            text = self.construct_object(key)
            if text in seen:
                raise ModelError(f"line {key.start_mark.line + 1}: key \"{text}\" is given twice")
            seen.add(text)
        return super().construct_mapping(node, deep)


def number(text):
    if not isinstance(text, str) or not re.fullmatch(r"-?(0|[1-9][0-9]*|0x[0-9a-fA-F]+)", text):
        raise ModelError(f"expected a whole number (decimal or 0x hexadecimal), found \"{text}\"")
    return int(text, 0)


def cpp_name(text):
    if not isinstance(text, str) or not re.fullmatch(r"[A-Za-z_][A-Za-z0-9_]*", text) or text in RESERVED:
        raise ModelError(f"\"{text}\" cannot be a C++ name")
    return text


def get(mapping, key):
    if key not in mapping:
        raise ModelError(f"{mapping.get('name', 'an entry')}: key \"{key}\" is missing")
    return mapping[key]


def comment(*texts):
    """Comment lines of the texts that there are, without line breaks of their own."""
    whole = " ".join(" ".join(text.split()) for text in texts if text)
    return [f"/// {line}" for line in textwrap.wrap(whole, 110)]


def sentence(text):
    return text if not text or text.endswith(".") else text + "."


def describe(definition):
    unit = definition.get("unit")
    return comment(sentence(definition.get("display")), sentence(definition.get("doc")), f"Unit: {unit}." if unit else "")


class Model:
    """The entries of all files of one model."""

    def __init__(self, files):
        self.enumerations, self.classes, self.relations = {}, [], {}
        self.names = set()
        for file in files:
            try:
                self.add(yaml.load(file.read_text(encoding="utf-8"), TextLoader))
            except (ModelError, yaml.YAMLError) as error:
                raise ModelError(f"{file}: {error}") from None

    def add(self, content):
        if not isinstance(content, dict):
            raise ModelError("expected keys and values")
        model = (cpp_name(get(content, "name")), number(get(content, "datamodel")))
        if getattr(self, "model", model) != model:
            raise ModelError(f"belongs to another model than the files before: {model}, {self.model}")
        self.model = model
        for name, values in (content.get("enumerations") or {}).items():
            self.add_name(name)
            self.enumerations[name] = {cpp_name(key): number(value) for key, value in values.items()}
        for definition in content.get("classes") or []:
            self.add_name(get(definition, "name"))
            self.classes.append(definition)
        for relation in content.get("relations") or []:
            name, value = cpp_name(get(relation, "name")), number(get(relation, "id"))
            if self.relations.setdefault(name, value) != value:
                raise ModelError(f"relation {name} has two ids")

    def add_name(self, name):
        if cpp_name(name) in self.names or name == "relations":
            raise ModelError(f"{name} is the name of two things")
        self.names.add(name)

    def find_type(self, enumeration):
        """The widest type of the properties that hold such values; without any, the narrowest that does."""
        used = {prop["type"] for definition in self.classes for prop in definition.get("properties") or []
                if prop.get("enum") == enumeration}
        values = self.enumerations[enumeration].values()
        fits = [name for name in CPP_TYPES if all(in_type(name, value) for value in values)]
        wide_enough = [name for name in CPP_TYPES if name in used & set(fits)] or fits
        if not wide_enough:
            raise ModelError(f"enumeration {enumeration}: no type holds all its values")
        return CPP_TYPES[wide_enough[-1] if used else wide_enough[0]]

    def header(self, sources):
        lines = [HEAD.format(name=self.model[0], model=f"{self.model[1]:#010x}", sources=sources)]
        for name, values in sorted(self.enumerations.items()):
            kind = self.find_type(name)
            constants = sorted(values.items(), key=lambda entry: entry[1])
            lines += block(name, [f"inline constexpr {kind} {key} = {value};" for key, value in constants])
        ids = set()
        for definition in sorted(self.classes, key=lambda entry: number(get(entry, "id"))):
            lines += describe(definition) + block(definition["name"], class_constants(definition, ids))
        constants = [f"inline constexpr common::RelationType {name}{{{value:#010x}, 0}};"
                     for name, value in sorted(self.relations.items(), key=lambda entry: entry[1])]
        if constants:
            lines += block("relations", constants)
        return "\n".join(lines + ["}  // namespace orv::ids"]) + "\n"


def in_type(name, value):
    bits = int(name[1:])
    return 0 <= value < 1 << bits if name[0] == "u" else -(1 << bits - 1) <= value < 1 << bits - 1


def block(name, lines):
    return [f"namespace {name} {{", *lines, f"}}  // namespace {name}", ""]


def class_constants(definition, ids):
    properties = [(number(get(prop, "id")), prop) for prop in definition.get("properties") or []]
    for value in [number(definition["id"]), *(value for value, _ in properties)]:
        if value in ids:
            raise ModelError(f"{definition['name']}: id {value:#010x} is given twice")
        ids.add(value)
    lines = [f"inline constexpr common::ClassId CLASS{{{number(definition['id']):#010x}}};"]
    for value, prop in sorted(properties, key=lambda entry: entry[0]):
        lines += describe(prop)
        lines.append(f"inline constexpr common::PropId {cpp_name(get(prop, 'name'))}{{{value:#010x}}};")
    return lines


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--output", type=pathlib.Path, required=True)
    parser.add_argument("files", type=pathlib.Path, nargs="+")
    arguments = parser.parse_args()
    try:
        text = Model(arguments.files).header(", ".join(file.name for file in arguments.files))
    except ModelError as error:
        sys.exit(f"generate_ids.py: {error}")
    arguments.output.parent.mkdir(parents=True, exist_ok=True)
    arguments.output.write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
