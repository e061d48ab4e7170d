"""Holds every #include against the layers of the program, finds circles among files, and refuses
what the core may not use. Prints one line for each fault; exits 1 when there is one."""
import pathlib
import re
import sys

# What a folder may include besides itself; docs/architecture.md draws it.
ALLOWED = {
    "foundation": set(),
    "platform": {"foundation"},
    "retrieval": {"foundation", "platform"},
    "collection": {"foundation", "platform", "retrieval"},
    "archive": {"foundation", "platform", "collection"},
    "mobilelink": {"foundation", "platform", "retrieval", "collection"},
    "receipts": {"foundation", "platform", "retrieval", "collection"},
    "fieldreports": {"foundation", "platform", "collection"},
    "backends": {"foundation", "platform"},
    "cli": {"foundation", "platform", "retrieval", "collection", "archive", "mobilelink",
            "receipts", "fieldreports"},
}
# Single files that a folder may reach beyond that.
EXCEPTIONS = {
    ("retrieval", "collection/CrumbItem.h"): "search reads records; it does not know the store",
}
# Only the main files build the world they hand down.
WIRING = {"cli/main.cpp": {"backends"}}

CORE = {"foundation", "platform", "retrieval", "collection", "archive", "mobilelink", "receipts",
        "fieldreports"}
FORBIDDEN = [
    (r"#include <regex>|std::regex", "std::regex is neither safe nor fast; use RE2", None),
    (r"#include <Q|#include <Qt", "the core knows no Qt", CORE),
    (r"std::filesystem::(?!path\b)", "file operations go through FileSystem", None),
    (r"\bstd::this_thread::sleep", "waiting goes through a queue", None),
]

SOURCE = pathlib.Path("src")
INCLUDE = re.compile(r'^\s*#include "([^"]+)"', re.MULTILINE)
COMMENT = re.compile(r"//[^\n]*")


def may_include(file, target):
    folder, other = file.split("/")[0], target.split("/")[0]
    return (
        folder == other
        or other in ALLOWED[folder]
        or (folder, target) in EXCEPTIONS
        or other in WIRING.get(file, set())
    )


def faults_of(file, text):
    folder = file.split("/")[0]
    if folder not in ALLOWED:
        yield f"{file}: the folder {folder} has no place among the layers yet"
        return
    for target in INCLUDE.findall(text):
        if not (SOURCE / target).is_file():
            yield f"{file}: includes \"{target}\", which is not below src"
        elif not may_include(file, target):
            yield f"{file}: {folder} may not include {target}"
    for pattern, reason, folders in FORBIDDEN:
        if (folders is None or folder in folders) and re.search(pattern, COMMENT.sub("", text)):
            yield f"{file}: {reason}"


def circles(graph):
    state = {}

    def visit(file, trail):
        state[file] = "open"
        for target in graph.get(file, ()):
            if state.get(target) == "open":
                yield " -> ".join(trail[trail.index(target):] + [target])
            elif target not in state:
                yield from visit(target, trail + [target])
        state[file] = "done"

    for file in graph:
        if file not in state:
            yield from visit(file, [file])


def main():
    texts = {
        str(path.relative_to(SOURCE)): path.read_text()
        for path in sorted(SOURCE.rglob("*"))
        if path.suffix in (".h", ".cpp")
    }
    faults = [fault for file, text in texts.items() for fault in faults_of(file, text)]
    graph = {file: INCLUDE.findall(text) for file, text in texts.items()}
    faults += [f"circle: {circle}" for circle in circles(graph)]
    print("\n".join(faults), end="\n" if faults else "")
    return 1 if faults or not texts else 0


sys.exit(main())
