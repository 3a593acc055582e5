#!/usr/bin/env python3
"""Every text the sources look up by a literal English key has a Spanish and a Portuguese entry.

A key ending in a space is the front of a composed key ("pressure " + level); those are checked
where the full keys are written out, so they are skipped here. The `displayText` functions give the
English keys of the settings' choices, which the windows look up: their literals count as lookups.
"""
import json
import pathlib
import re
import sys

LOOKUP = re.compile(r'\.(?:text|format)\(\s*(?:u|QStringLiteral\()"((?:[^"\\]|\\.)*)"(?:_s|\))')
CHOICE_TEXTS = re.compile(r'QString displayText\([^)]*\)\s*(?:const\s*)?\{(.*?)\n\}', re.S)
LITERAL = re.compile(r'u"((?:[^"\\]|\\.)*)"_s')


def keys_in(source_root: pathlib.Path) -> dict[str, str]:
    found: dict[str, str] = {}
    for path in sorted(source_root.rglob("*")):
        if path.suffix not in (".cpp", ".h"):
            continue
        text = path.read_text(encoding="utf-8")
        literals = [m.group(1) for m in LOOKUP.finditer(text)]
        for body in CHOICE_TEXTS.finditer(text):
            literals += [m.group(1) for m in LITERAL.finditer(body.group(1))]
        for literal in literals:
            key = literal.replace('\\"', '"').replace("\\\\", "\\")
            if key and not key.endswith(" "):
                found.setdefault(key, str(path.relative_to(source_root)))
    return found


def main() -> int:
    source_root = pathlib.Path(sys.argv[1])
    keys = keys_in(source_root)
    failures = []
    for table in sorted((source_root / "core/localization/translations").glob("*.json")):
        entries = json.loads(table.read_text(encoding="utf-8"))
        failures += [f"{table.name}: no entry for {key!r} (used in {where})"
                     for key, where in sorted(keys.items()) if key not in entries]
    print("\n".join(failures) if failures else f"{len(keys)} keys translated in every table")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
