#!/usr/bin/python3
"""Prints, as JSON, the accessible tree of one running application as AT-SPI serves it to screen
readers: names, descriptions and roles, fourteen levels deep. Usage: atspi_read.py <process id>.
Exits 3 while the application hasn't joined the accessibility bus yet."""
import json
import sys

import pyatspi


def describe(accessible, depth):
    entry = {
        "name": accessible.name or "",
        "description": accessible.description or "",
        "role": accessible.getRoleName(),
        "children": [],
    }
    if depth < 14:
        for index in range(accessible.childCount):
            child = accessible.getChildAtIndex(index)
            if child is not None:
                entry["children"].append(describe(child, depth + 1))
    return entry


def main():
    pid = int(sys.argv[1])
    desktop = pyatspi.Registry.getDesktop(0)
    for application in desktop:
        if application is not None and application.get_process_id() == pid:
            print(json.dumps(describe(application, 0)))
            return 0
    return 3


if __name__ == "__main__":
    sys.exit(main())
