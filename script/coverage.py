"""The table of script/coverage: reads what gcovr counted, compares each room with what is wanted of
it, and lists file and line of what is missing where a room falls short.
    coverage.py COUNTED.json
"""

import json
import sys

# Room, percentage wanted of its lines, and of its branches; None: no branches wanted.
ROOMS = [
    ("framework/lib/MC_API", 100, 100),
    ("host", 90, None),
    ("dsp", 90, None),
    ("gateway", 90, None),
]


class Count:
    """How many of a room's lines or branches were reached, and where the others are."""

    def __init__(self):
        self.reached = 0
        self.missing = []

    def add(self, where, count):
        if count > 0:
            self.reached += 1
        else:
            self.missing.append(where)

    def total(self):
        return self.reached + len(self.missing)

    def keeps(self, wanted):
        # A room of which nothing was counted was not measured.
        if wanted is None:
            return True
        return self.total() > 0 and 100 * self.reached >= wanted * self.total()

    def percentage(self):
        # Cut, not rounded: 100.0 is all of them.
        return 1000 * self.reached // max(self.total(), 1) / 10

    def text(self, wanted):
        return "%5d of %5d  %5.1f %% %8s" % (
            self.reached, self.total(), self.percentage(),
            "-" if wanted is None else "%d %%" % wanted)


def measured(files, room):
    """Counts of the lines and of the branches of a room."""
    lines, branches = Count(), Count()
    for file in files:
        if not file["file"].startswith(room + "/"):
            continue
        for line in file["lines"]:
            if line["gcovr/noncode"]:
                continue
            where = "%s:%d" % (file["file"], line["line_number"])
            lines.add(where, line["count"])
            for number, branch in enumerate(line["branches"], 1):
                place = "%s (%d of %d)" % (where, number, len(line["branches"]))
                branches.add(place, branch["count"])
    return lines, branches


def main():
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    with open(sys.argv[1], encoding="utf-8") as counted:
        files = json.load(counted)["files"]

    missing = []
    print("%-22s %35s %37s" % ("room", "lines, wanted", "branches, wanted"))
    for room, wanted_lines, wanted_branches in ROOMS:
        lines, branches = measured(files, room)
        kept = True
        for what, count, wanted in (("line", lines, wanted_lines),
                                    ("branch", branches, wanted_branches)):
            if not count.keeps(wanted):
                kept = False
                missing += ["missing %s %s" % (what, where) for where in count.missing]
                missing.append("%s: too few %s" % (room, "lines" if what == "line" else "branches"))
        print("%-22s %s   %s%s" % (room, lines.text(wanted_lines), branches.text(wanted_branches),
                                   "" if kept else "   NOT KEPT"))
    if missing:
        print("\n".join(missing))
        return 1
    return 0


sys.exit(main())
