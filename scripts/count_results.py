#!/usr/bin/env python3
"""Counts the test results in JUnit files, as ctest and GoogleTest write them: prints passed, failed and skipped.

    count_results.py FILE...

A missing or broken file counts as one failure: a program that crashed leaves none. A test that failed is also named on
standard error.
"""

import sys
import xml.etree.ElementTree as ElementTree


def outcome(case):
    if case.find("failure") is not None or case.find("error") is not None or case.get("status") == "fail":
        return "failed"
    skipped = case.find("skipped") is not None or case.get("status") in ("notrun", "disabled")
    return "skipped" if skipped else "passed"


def main():
    counts = {"passed": 0, "failed": 0, "skipped": 0}
    for path in sys.argv[1:]:
        try:
            cases = list(ElementTree.parse(path).iter("testcase"))
        except (OSError, ElementTree.ParseError) as error:
            print(f"no results in {path}: {error}", file=sys.stderr)
            counts["failed"] += 1
            continue
        for case in cases:
            result = outcome(case)
            counts[result] += 1
            if result == "failed":
                print(f"failed: {case.get('name')} ({path})", file=sys.stderr)
    print(counts["passed"], counts["failed"], counts["skipped"])


if __name__ == "__main__":
    main()
