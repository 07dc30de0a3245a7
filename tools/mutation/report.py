"""A result as text: the score, the survivors, and, from a matrix, what each test adds."""
from collections import Counter, defaultdict

_FOLDERS = 4  # deep enough to distinguish host/src/results from host/src/framework


def print_score(result):
    folders = defaultdict(Counter)
    for fault in result["faults"]:
        folders["/".join(fault["file"].split("/")[:-1][:_FOLDERS])][fault["state"]] += 1
    print(f"{'Folder':32} Noticed  Faults  Score  Not reached")
    for name, states in sorted(folders.items()):
        _print_row(name, states)
    _print_row("all", Counter(fault["state"] for fault in result["faults"]))
    if result["does_not_compile"]:
        print(f"{len(result['does_not_compile'])} more did not compile and were left out.")


def _print_row(name, states):
    count = sum(states.values())
    score = f"{100 * states['noticed'] / count:5.1f}" if count else "    -"
    print(f"{name:32} {states['noticed']:7}  {count:6}  {score}  {states['not reached']:11}")


def print_survivors(result):
    for state in ("survived", "not reached"):
        faults = [fault for fault in result["faults"] if fault["state"] == state]
        print(f"\n{len(faults)} {state}")
        for fault in faults:
            print_fault(fault)


def print_fault(fault):
    reached = f", reached by {fault['reached_by']} tests" if fault.get("reached_by") else ""
    print(f"{fault['file']}:{fault['line']} {fault['function']} ({fault['kind']}{reached})")
    print(f"  - {fault['original']}")
    if fault["mutated"]:
        print(f"  + {fault['mutated']}")


def print_matrix(result):
    """Several cases of a program that stand at one line (parameters) are one test case here."""
    tests = result["tests"]
    place_of = {name: (test["file"], test["line"]) for name, test in tests.items()}
    alone_of_file, of_file, alone_of_case = Counter(), Counter(), Counter()
    for fault in result["faults"]:
        places = {place_of[name] for name in fault.get("noticed_by", []) if name in place_of}
        files = {file for file, _ in places}
        of_file.update(files)
        if len(files) == 1 and not fault.get("incomplete"):
            alone_of_file.update(files)
        if len(places) == 1 and not fault.get("incomplete"):
            alone_of_case.update(places)

    names = {}
    for name in sorted(tests):
        names.setdefault(place_of[name], name)
    lines_of_file = Counter()
    for place, name in names.items():
        lines_of_file[place[0]] += tests[name]["lines"]
    print(f"\n{'Test file':60} Lines of cases  Notices  Alone")
    for file in sorted(lines_of_file, key=lambda one: (alone_of_file[one], -lines_of_file[one])):
        print(f"{file:60} {lines_of_file[file]:14}  {of_file[file]:7}  {alone_of_file[file]:5}")

    nothing = sorted((place for place in names if not alone_of_case[place]),
                     key=lambda place: -tests[names[place]]["lines"])
    total = sum(tests[names[place]]["lines"] for place in nothing)
    print(f"\n{len(nothing)} of {len(names)} test cases notice nothing alone ({total} lines)")
    for place in nothing:
        print(f"{tests[names[place]]['lines']:5}  {place[0]}:{place[1]}  {names[place]}")


def print_comparison(changed):
    for what, faults in changed.items():
        print(f"\n{len(faults)} {what}")
        for fault in faults:
            print_fault(fault)


def print_report(result):
    print_score(result)
    print_survivors(result)
    if result["mode"] == "matrix":
        print_matrix(result)
