#!/usr/bin/python3
"""Presses one element of a running application through AT-SPI, as a screen reader's user would:
the first element, depth first, with the given name (and role, when given) that offers an action.
Only elements that are showing and enabled count. Usage: atspi_press.py <process id> <name> [role]
[description]. Exits 3 when no such element is there yet."""
import sys

import pyatspi


def pressable(accessible):
    states = accessible.getState()
    return states.contains(pyatspi.STATE_SHOWING) and states.contains(pyatspi.STATE_SENSITIVE)


def find(accessible, name, role, description, depth):
    if accessible is None or depth > 16:
        return None
    if (accessible.name == name and (not role or accessible.getRoleName() == role)
            and (not description or accessible.description == description) and pressable(accessible)):
        try:
            action = accessible.queryAction()
            if action.nActions > 0:
                return action
        except NotImplementedError:
            pass
    for index in range(accessible.childCount):
        found = find(accessible.getChildAtIndex(index), name, role, description, depth + 1)
        if found is not None:
            return found
    return None


def main():
    pid, name = int(sys.argv[1]), sys.argv[2]
    role = sys.argv[3] if len(sys.argv) > 3 else ""
    description = sys.argv[4] if len(sys.argv) > 4 else ""
    desktop = pyatspi.Registry.getDesktop(0)
    for application in desktop:
        if application is not None and application.get_process_id() == pid:
            action = find(application, name, role, description, 0)
            if action is None:
                return 3
            action.doAction(0)
            return 0
    return 3


if __name__ == "__main__":
    sys.exit(main())
