"""Holds every #include against the layers of the program, finds circles among files and crowded
folders, and refuses what the core may not use. Prints one line for each fault; exits 1 when there is one."""
import collections
import pathlib
import re
import sys

# What a room may include besides itself, downwards; docs/architecture.md draws it. A room with
# rooms inside it has one door of its own, the files that lie in no inner room: it may include all
# of them, and none of them it. Outside its room an inner room is reached like any other file.
BASE = {"foundation", "platform", "records"}
COLLECTION_WORK = BASE | {"retrieval", "collection/database", "collection/originals",
                          "collection/text"}
FEATURE = BASE | {"retrieval", "collection"}
ALLOWED = {
    "foundation": set(),
    "platform": {"foundation"},
    "records": {"foundation", "platform"},
    "retrieval/text": BASE,
    "retrieval/index": BASE | {"retrieval/text"},
    "retrieval/lexical": BASE | {"retrieval/text", "retrieval/index"},
    "retrieval/deep": BASE | {"retrieval/text", "retrieval/index", "retrieval/lexical"},
    "retrieval/related": BASE | {"retrieval/text", "retrieval/index", "retrieval/lexical",
                                 "retrieval/deep"},
    "retrieval/show": BASE | {"retrieval/text", "retrieval/index", "retrieval/lexical"},
    "retrieval": BASE,
    "collection/database": BASE | {"retrieval"},
    "collection/originals": BASE | {"collection/database"},
    "collection/text": BASE | {"retrieval", "collection/database"},
    "collection/capture": COLLECTION_WORK,
    "collection/inbox": COLLECTION_WORK | {"collection/capture"},
    "collection/enrichment": COLLECTION_WORK,
    "collection/safety": COLLECTION_WORK,
    "collection/store": COLLECTION_WORK | {"collection/capture", "collection/inbox",
                                           "collection/enrichment", "collection/safety"},
    "archive": BASE | {"collection"},
    "mobilelink": FEATURE,
    "receipts": FEATURE,
    "fieldreports": BASE | {"collection"},
    # Knows the reader program by its answers only, not what decodes in it.
    "backends/reader": {"foundation", "platform"},
    "workspace/history": FEATURE | {"receipts", "fieldreports"},
    "workspace": FEATURE | {"archive", "receipts", "fieldreports", "mobilelink"},
    "backends": {"foundation", "platform"},
    "reader": {"foundation", "platform", "backends"},
    "cli/output": {"foundation", "platform"},
    "cli/line": {"foundation", "platform", "cli/output"},
    "cli/context": FEATURE | {"workspace", "cli/line", "cli/output"},
    "cli/views": FEATURE | {"workspace", "receipts", "fieldreports", "cli/line", "cli/output",
                            "cli/context"},
    "cli/resident": BASE | {"workspace", "cli/line", "cli/output", "cli/context"},
    "cli/commands": FEATURE | {"workspace", "archive", "mobilelink", "receipts", "fieldreports", "cli/line",
                               "cli/output", "cli/context", "cli/views", "cli/resident"},
    "cli": BASE | {"archive", "collection", "workspace"},
}
# Only the main files build the world they hand down.
WIRING = {"cli/main.cpp": {"backends"}}

# No folder holds more files than a person can look over.
MOST_FILES = 42

CORE = {"foundation", "platform", "records", "retrieval", "collection", "archive", "mobilelink", "receipts",
        "fieldreports", "workspace"}
FORBIDDEN = [
    (r"#include <regex>|std::regex", "std::regex is neither safe nor fast; use RE2", None),
    (r"#include <Q|#include <Qt", "the core knows no Qt", CORE),
    (r"std::filesystem::(?!path\b)", "file operations go through FileSystem", None),
    (r"\bstd::this_thread::sleep", "waiting goes through a queue", None),
]

# g++ 12 destroys temporaries twice in a larger expression that awaits.
AWAITING = re.compile(r"[^;{}]*\bco_await\b[^;]*;")
RISKY = re.compile(r"\s(\?|&&|\|\|)\s|[(,]\s*\[[^\]]")

SOURCE = pathlib.Path("src")
INCLUDE = re.compile(r'^\s*#include "([^"]+)"', re.MULTILINE)
COMMENT = re.compile(r"//[^\n]*")


def room_of(file):
    """The innermost room that a file lies in."""
    folder = str(pathlib.PurePosixPath(file).parent)
    while folder != "." and folder not in ALLOWED:
        folder = str(pathlib.PurePosixPath(folder).parent)
    return folder


def is_within(file, room):
    return file.startswith(room + "/")


def may_include(file, target):
    room = room_of(file)
    return (
        room_of(target) == room
        # The door of a room knows all of it.
        or ("/" not in room and is_within(target, room))
        or any(is_within(target, other) for other in ALLOWED[room])
        or target.split("/")[0] in WIRING.get(file, set())
    )


def faults_of(file, text):
    folder = file.split("/")[0]
    if room_of(file) == ".":
        yield f"{file}: the folder {folder} has no place among the layers yet"
        return
    for target in INCLUDE.findall(text):
        if not (SOURCE / target).is_file():
            yield f"{file}: includes \"{target}\", which is not below src"
        elif not may_include(file, target):
            yield f"{file}: {room_of(file)} may not include {target}"
    for statement in AWAITING.findall(COMMENT.sub("", text)):
        if RISKY.search(statement.split("co_await", 1)[1]):
            yield f"{file}: await only named values: {' '.join(statement.split())[:60]}"
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


def crowded_folders(files):
    counts = collections.Counter(str(pathlib.PurePosixPath(file).parent) for file in files)
    for folder, count in sorted(counts.items()):
        if count > MOST_FILES:
            yield f"{folder}: {count} files; past {MOST_FILES} it wants to be two rooms"


def main():
    texts = {
        str(path.relative_to(SOURCE)): path.read_text()
        for path in sorted(SOURCE.rglob("*"))
        if path.suffix in (".h", ".cpp")
    }
    faults = [fault for file, text in texts.items() for fault in faults_of(file, text)]
    graph = {file: INCLUDE.findall(text) for file, text in texts.items()}
    faults += crowded_folders(texts)
    faults += [f"circle: {circle}" for circle in circles(graph)]
    print("\n".join(faults), end="\n" if faults else "")
    return 1 if faults or not texts else 0


sys.exit(main())
