"""What tools/mutation treats as a fault, and that the code with the faults in it compiles and switches."""
import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

TOOLS, COMPILER = sys.argv.pop(1), sys.argv.pop(1)
sys.path.insert(0, TOOLS)

from mutation import faults  # noqa: E402

COMPILE = [COMPILER, "-std=c++20", "-w", "-include", str(Path(TOOLS) / "mutation" / "orv_fault.h")]

# Code, and its faults as "what is there -> what takes its place"; "deleted" means no replacement.
TABLE = [
    # Conditions are negated, their operators swapped; declarations and what the compiler decides are left alone.
    ("int f(int a, int b) { if (a < b && b) return a; if constexpr (sizeof(int) > 1) return 7; if (int* q = &b) return *q; }",
     ["a < b && b -> !(a < b && b)", "a < b && b -> a < b || b", "a < b && b -> a <= b && b", "7 -> 8"]),
    ("void loop(int n) { for (int i = 0; i != n; ++i) { if (i == 3) continue; else break; } }",
     ["i != n -> i == n", "i == 3 -> !(i == 3)", "i == 3 -> i != 3"]),
    # Brackets of templates are no comparisons, and `*` and `&&` of types no operators.
    ("#include <map>\n#include <utility>\nstd::map<int, std::pair<int, bool>> m;\n"
     "bool k(std::pair<int, bool>&& x) { auto&& y = std::get<0>(x); int* z = &y; return std::get<1>(x) == *z; }",
     ["std::get<1>(x) == *z -> std::get<1>(x) != *z"]),
    # Texts and comments are not code.
    ('const char* s() { return R"x(if (a < b) "return" true; )")x"; /* if (a) { */ } // return true;', []),
    ("char c(char a) { // it's\n  if (a == '\"') return '}'; return '\\''; }",
     ["a == '\"' -> !(a == '\"')", "a == '\"' -> a != '\"'"]),
    ("#define MIN(a, b) ((a) < (b) ? (a) : (b)) \\\n  + 1\nint n() { return 1'000; }", []),
    # Lambdas have statements of their own, which a fault around them does not contain twice.
    ("int apply(int n) { const auto twice = [n](int a) -> int { return a + n; }; return twice(n) - 1; }",
     ["a + n -> a - n", "twice(n) - 1 -> twice(n) + 1", "1 -> 2"]),
    # Only what calls or assigns is deleted, and an `else` keeps its `if`.
    ("struct S { int v = 0; bool on = false; void set(int a) { v = a; } };\n"
     "void d(S& s, bool b) { S other(s); int n = 0; ++n; if (b) s.set(n += 2); else other.v = 1; }",
     ["false -> true", "v = a; -> deleted", "++n; -> deleted", "b -> !(b)", "s.set(n += 2); -> deleted", "2 -> 3",
      "other.v = 1; -> deleted"]),
    # Traces, assertions and data are left alone; an error is something that a user sees.
    ("struct LogLevelType { enum Level { Debug = 1 + 1, Error }; };\n"
     "void LogText(LogLevelType::Level, bool); void Trace(bool); void CHECK(bool);\n"
     "void w(int a) { Trace(a < 3); CHECK(a > 1); LogText(LogLevelType::Debug, true); LogText(LogLevelType::Error, true); }",
     ["LogText(LogLevelType::Error, true); -> deleted"]),
    ("constexpr bool kOn = true; struct Row { int a; bool b; }; const Row kRows[] = {{1 + 1, true}};\n"
     "int q(int a) { static const bool kFlags[] = {true}; switch (a) { case 1 + 1: return 0; } throw 1 + 1; }",
     ["0 -> 1", "1 -> 2", "1 -> 2"]),
    # Constructors, operators and functions evaluated by the compiler.
    ("struct P { int a; bool b; P(int x) : a{x}, b(true) { a += 1; } bool operator<(const P& o) const { return a < o.a; } };\n"
     "constexpr int five(bool b) { return b ? 4 + 1 : 0; } static_assert(five(true) == 5);",
     ["a += 1; -> deleted", "1 -> 2", "a < o.a -> a <= o.a", "b -> !(b)", "b ? 4 + 1 : 0 -> b ? 4 - 1 : 0", "4 -> 5",
      "1 -> 2"]),
]


def describe(fault):
    return f"{fault.original} -> {fault.mutated or 'deleted'}"


class MutationTest(unittest.TestCase):
    def test_faults_of_snippets(self):
        for code, expected in TABLE:
            with self.subTest(code=code):
                found = faults.find_faults(code, "a.cpp")
                self.assertCountEqual([describe(fault) for fault in found], expected)
                self.assertEqual(len({fault.identity for fault in found}), len(found))

    def test_one_fault_is_active_and_those_reached_are_noted(self):
        code = ('#include <cstdio>\nint f(int a) { if (a > 5) return 7; return 0; }\n'
                'constexpr bool g() { return true; }\nstatic_assert(g());\nint main() { printf("%d%d", f(3), g()); }\n')
        found = [fault for fault in faults.find_faults(code, "a.cpp") if fault.kind in ("number", "boolean", "statement")]
        self.assertEqual([describe(fault) for fault in found],
                         ["7 -> 8", "0 -> 1", "true -> false", 'printf("%d%d", f(3), g()); -> deleted'])
        with tempfile.TemporaryDirectory() as folder:
            program, reached = os.path.join(folder, "program"), os.path.join(folder, "reached")
            subprocess.run([*COMPILE, "-x", "c++", "-", "-o", program], text=True, check=True,
                           input=faults.insert(code, dict(enumerate(found))))
            for active, output in (("", "01"), ("0", "01"), ("1", "11"), ("2", "00"), ("3", "")):
                Path(reached).write_bytes(bytes(4))
                environment = {**os.environ, "ORV_FAULTS_REACHED": reached, **({"ORV_FAULT": active} if active else {})}
                run = subprocess.run([program], env=environment, capture_output=True, text=True)
                self.assertEqual(run.stdout, output)
                self.assertEqual(Path(reached).read_bytes(), b"\0\1\1\1" if active != "3" else b"\0\0\0\1")

    def test_identities_last_when_code_moves(self):
        code = "int f(int a) {\n    if (a > 1) return 1;\n    if (a > 1) return 1;\n}\n"
        moved = "// more\n\nnamespace n {\nint f(int a) {\n  if (a > 1)   return 1;\n  if (a > 1) return 1;\n}\n}\n"
        self.assertEqual([fault.identity for fault in faults.find_faults(code, "a.cpp")],
                         [fault.identity for fault in faults.find_faults(moved, "b/c.cpp")])


if __name__ == "__main__":
    unittest.main()
