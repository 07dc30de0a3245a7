"""The result of a run as one JSON file, and what has changed since an earlier one."""
import json


def make_result(mode, faults, entries, tests, dropped, gone):
    """`faults` by number, `entries` by identity."""
    return {
        "mode": mode,
        "does_not_compile": [_place(fault) for fault in dropped],
        "gone": gone,
        "faults": [{**_place(fault), **_without_number(entries[fault.identity])} for fault in faults.values()],
        "tests": {test.name: {"file": test.file, "line": test.line, "lines": test.lines, "seconds": test.seconds,
                              "reached": len(test.reached)} for test in tests},
    }


def _place(fault):
    return {"identity": fault.identity, "file": fault.file, "line": fault.line, "function": fault.function,
            "kind": fault.kind, "original": fault.original, "mutated": fault.mutated}


def _without_number(entry):
    return {key: value for key, value in entry.items() if key != "number"}


def load(path):
    try:
        with open(path, encoding="utf-8") as file:
            result = json.load(file)
    except (OSError, ValueError) as error:
        raise SystemExit(f"{path}: not a result of this tool: {error}")
    if not isinstance(result, dict) or "faults" not in result:
        raise SystemExit(f"{path}: not a result of this tool: it has no faults")
    return result


def save(result, path):
    with open(path, "w", encoding="utf-8") as file:
        json.dump(result, file, indent=1)
        file.write("\n")


def compare(earlier, result):
    """Faults by their outcome: "newly survived", "newly noticed", "gone"."""
    before = {fault["identity"]: fault["state"] == "noticed" for fault in earlier["faults"]}
    changed = {"newly survived": [], "newly noticed": [], "gone": result["gone"] + result["does_not_compile"]}
    for fault in result["faults"]:
        was, is_now = before.get(fault["identity"]), fault["state"] == "noticed"
        if was is not None and was != is_now:
            changed["newly noticed" if is_now else "newly survived"].append(fault)
    return changed
