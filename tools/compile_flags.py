"""Prints the flags with which a source file is compiled, without its input and output.

    compile_flags.py compile_commands.json src/folder/File.cpp
"""
import json
import shlex
import sys


def flags_of(database_path, source):
    for entry in json.load(open(database_path)):
        if entry["file"].endswith("/" + source):
            words = shlex.split(entry["command"])
            compiler = next(i for i, word in enumerate(words) if word.endswith("++"))
            return drop_input_and_output(words[compiler + 1:])
    sys.exit(f"{source} is not in {database_path}")


def drop_input_and_output(words):
    kept = []
    skip = False
    for word in words:
        if skip:
            skip = False
        elif word in ("-o", "-c"):
            skip = True
        else:
            kept.append(word)
    return kept


print(shlex.join(flags_of(sys.argv[1], sys.argv[2])))
