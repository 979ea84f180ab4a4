#!/usr/bin/python3
"""Reads a metrics page with the Prometheus client's own text parser.

Usage: parse_metrics.py FILE

Prints one line per family, "NAME TYPE SAMPLES", and exits 1 when the page
does not parse, or when a family has no help text or no declared type.
"""
import sys

from prometheus_client.parser import text_string_to_metric_families


def main():
    with open(sys.argv[1], encoding="utf-8") as f:
        text = f.read()
    bad = 0
    try:
        families = list(text_string_to_metric_families(text))
    except Exception as e:  # the parser's own complaint, whatever its kind
        print("does not parse: %s" % e)
        return 1
    for family in families:
        print("%s %s %d" % (family.name, family.type, len(family.samples)))
        if family.type in ("unknown", "untyped") or not family.documentation:
            print("untyped or without help: %s" % family.name)
            bad += 1
    return 1 if bad or not families else 0


if __name__ == "__main__":
    sys.exit(main())
