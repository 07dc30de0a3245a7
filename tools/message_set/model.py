"""What a description consists of, once it has been read and checked."""

from dataclasses import dataclass, field

SIMPLE = {
    "u8": ("std::uint8_t", "TMV_UINT8"),
    "u16": ("std::uint16_t", "TMV_UINT16"),
    "u32": ("std::uint32_t", "TMV_UINT32"),
    "u64": ("std::uint64_t", "TMV_UINT64"),
    "i16": ("std::int16_t", "TMV_INT16"),
    "i32": ("std::int32_t", "TMV_INT32"),
    "i64": ("std::int64_t", "TMV_INT64"),
    "bool": ("bool", "TMV_BOOL"),
}


@dataclass
class Enum:
    name: str
    doc: str
    values: list  # of (number, name)
    namespace: str


@dataclass
class Kind:
    """Kind of a member. `base` is a key of SIMPLE, "string", an Enum or a Record; `form` says how often it occurs."""

    text: str
    base: object
    form: str  # "one", "array", "optional" or "fixed"
    length: int = 0  # of "fixed"

    def is_simple(self):
        return isinstance(self.base, str) and self.base != "string"

    def is_enum(self):
        return isinstance(self.base, Enum)

    def is_record(self):
        return isinstance(self.base, Record)

    def is_rows(self):
        """An array that travels as packed rows."""
        return self.is_record() and self.base.packed and self.form == "array"

    def holds_rows(self):
        return self.is_record() and self.base.has_rows() and self.form == "array"


@dataclass
class Field:
    name: str
    kind: Kind
    doc: str = ""
    encoded: bool = True  # False: has a place in the name table and in the struct, but does not travel


@dataclass
class Record:
    name: str
    doc: str
    fields: list
    namespace: str
    packed: bool = False  # arrays of it travel as packed rows
    external: bool = False  # written by hand

    @property
    def stem(self):
        """What the names of its table, encoder and decoder begin with."""
        return self.name if self.name.endswith("_t") else f"{self.name}_t"

    @property
    def struct(self):
        return self.name if self.name.endswith("_t") else f"{self.name}_s"

    @property
    def struct_in_place(self):
        """The struct whose packed rows stay in the message; only when has_rows()."""
        return f"{self.name}_in_place_s"

    def has_rows(self):
        return any(field.kind.is_rows() for field in self.fields)


@dataclass
class Message:
    """A request or a notification: its own members and those of its response."""

    name: str
    doc: str
    members: list
    response: list
    delegate: str = ""  # namespace whose request of the same name does the work


@dataclass
class MessageSet:
    name: str
    file: str  # name of the generated files, without extension
    namespace: str
    doc: str
    uses: list
    headers: list
    names_requests: bool
    use_names_catalog: bool
    enums: list = field(default_factory=list)
    records: list = field(default_factory=list)
    requests: list = field(default_factory=list)
    notifications: list = field(default_factory=list)

    def qualified(self, item, name):
        """A C++ name of an enumeration or record as it is written within this set's namespace."""
        return name if item.namespace == self.namespace else f"{item.namespace}::{name}"

    def base_type(self, kind):
        if kind.base == "string":
            return "std::string"
        if kind.is_simple():
            return SIMPLE[kind.base][0]
        return self.qualified(kind.base, kind.base.struct if kind.is_record() else kind.base.name)

    def cpp_type(self, kind):
        """Type of a struct's field or of an argument; fixed arrays are declared by their caller."""
        base = self.base_type(kind)
        return f"std::vector<{base}>" if kind.form in ("array", "optional") else base

    def cpp_type_in_place(self, kind):
        """The same where packed rows stay in the message."""
        if kind.is_rows():
            return f"orv::msgset::Packed_records<{self.base_type(kind)}>"
        if kind.holds_rows():
            return f"std::vector<{self.qualified(kind.base, kind.base.struct_in_place)}>"
        return self.cpp_type(kind)
