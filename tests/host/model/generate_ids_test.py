"""Tests of tools/generate_ids.py; the folder of the tools is the argument."""
import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, sys.argv.pop(1))
import generate_ids  # noqa: E402

HEAD = "datamodel: 0x7d000000\nname: sample\n"


def header(*texts):
    with tempfile.TemporaryDirectory() as folder:
        files = []
        for index, text in enumerate(texts):
            files.append(pathlib.Path(folder, f"{index}.yaml"))
            files[-1].write_text(text, encoding="utf-8")
        return generate_ids.Model(files).header("sample.yaml")


class GenerateIds(unittest.TestCase):
    def test_constants_are_sorted_by_id_whatever_the_order_of_files(self):
        first = HEAD + """
classes:
  - {name: Late, id: 0x7d002000, display: Late one, doc: Comes last, properties: [
      {name: B, id: 0x7d002002, type: u8, unit: ms}, {name: A, id: 0x7d002001, type: u16, enum: Mode, doc: In order.}]}
relations: [{name: Uses, id: 0x7d000001, from: Late, to: Early}]
"""
        second = HEAD + """
enumerations: {Mode: {FAR: 0x10, NEAR: 2}}
classes: [{name: Early, id: 0x7d001000}]
relations: [{name: Uses, id: 0x7d000001, from: Early, to: Early}]
"""
        lines = [line for line in header(first, second).splitlines() if "{" in line or "=" in line or "///" in line]
        self.assertEqual(lines[-14:], [
            "namespace Mode {",
            "inline constexpr std::uint16_t NEAR = 2;",
            "inline constexpr std::uint16_t FAR = 16;",
            "namespace Early {",
            "inline constexpr common::ClassId CLASS{0x7d001000};",
            "/// Late one. Comes last.",
            "namespace Late {",
            "inline constexpr common::ClassId CLASS{0x7d002000};",
            "/// In order.",
            "inline constexpr common::PropId A{0x7d002001};",
            "/// Unit: ms.",
            "inline constexpr common::PropId B{0x7d002002};",
            "namespace relations {",
            "inline constexpr common::RelationType Uses{0x7d000001, 0};"])
        self.assertEqual(header(first, second), header(second, first))

    def test_an_enumeration_has_the_type_of_its_properties(self):
        def kind(values, *types):
            text = HEAD + f"enumerations: {{Mode: {{{values}}}}}\nclasses:\n- name: A\n  id: 0x7d001000\n  properties:\n"
            for index, name in enumerate(types):
                text += f"  - {{name: P{index}, id: {0x7d001001 + index}, type: {name}, enum: Mode}}\n"
            return header(text).split("inline constexpr ")[1].split(" ")[0]

        for values, types, expected in [("A: 1", ["u8"], "uint8_t"), ("A: 1", ["u32", "u8"], "uint32_t"),
                                        ("A: 1", [], "uint8_t"), ("A: 256", [], "uint16_t"),
                                        ("A: -1", [], "int16_t"), ("A: 0x100000000", [], "uint64_t")]:
            self.assertEqual(kind(values, *types), "std::" + expected)

    def test_what_the_host_would_read_otherwise_is_refused(self):
        one_class = "classes: [{name: A, id: 0x7d001000, properties: [{name: %s, id: %s, type: u8}]}]\n"
        for text, expected in [
            ("- a\n", "expected keys and values"),
            ("name: sample\n", "key \"datamodel\" is missing"),
            (HEAD + "name: more\n", "line 3: key \"name\" is given twice"),
            (HEAD + one_class % ("P", "010"), "found \"010\""),
            (HEAD + one_class % ("P", "0x7d001000"), "id 0x7d001000 is given twice"),
            (HEAD + one_class % ("default", "1"), "\"default\" cannot be a C++ name"),
            (HEAD + one_class % ("a b", "1"), "\"a b\" cannot be a C++ name"),
            (HEAD + "enumerations: {A: {NO: no}}\n", "found \"no\""),
            (HEAD + "enumerations: {A: {X: 1, X: 2}}\n", "line 3: key \"X\" is given twice"),
            (HEAD + "enumerations: {A: {X: 1}}\n" + one_class % ("P", "0x7d001001"), "A is the name of two things"),
            (HEAD + "relations: [{name: R, id: 1}, {name: R, id: 2}]\n", "relation R has two ids"),
        ]:
            with self.subTest(expected):
                with self.assertRaises(generate_ids.ModelError) as caught:
                    header(text)
                self.assertIn(expected, str(caught.exception))
        with self.assertRaises(generate_ids.ModelError):
            header(HEAD, "datamodel: 0x7e000000\nname: sample\n")


if __name__ == "__main__":
    unittest.main()
