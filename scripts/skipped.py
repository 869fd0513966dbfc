"""Prints one line per skipped test with its reason, from ctest's JUnit report:
scripts/skipped.py REPORT. The reason is the line a GoogleTest skip prints after "Skipped", or
the text after "SKIPPED: " that an end-to-end script prints, or a unittest skip's reason."""
import re
import sys
import xml.etree.ElementTree as ET

REASON = re.compile(r"^SKIPPED: (.+)$|:\d+: Skipped\n(.+)$|\.\.\. skipped '(.+)'$", re.M)

for case in ET.parse(sys.argv[1]).getroot().iter("testcase"):
    if case.find("skipped") is None:
        continue
    found = REASON.search(case.findtext("system-out") or "")
    why = next(filter(None, found.groups())) if found else "no reason given"
    print(f"SKIPPED {case.get('name')}: {why}")
