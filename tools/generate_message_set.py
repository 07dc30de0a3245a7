#!/usr/bin/env python3
"""Generates the C++ of a message set from its description.

  generate_message_set.py --output-dir DIR iptvcd_1.yaml        writes DIR/iptvcd_1.h and DIR/iptvcd_1.cpp
  generate_message_set.py --fingerprints FILE a.yaml b.yaml     writes one line per record, enumeration and message
  generate_message_set.py --registry FILE a.yaml b.yaml         writes a header that walks over all of them (tests)

The form of a description is explained in iptv/bll/msgset/README.md.
"""

import argparse
import pathlib
import sys

from message_set import fingerprints, header, registry, source
from message_set.description import DescriptionError, load


def write_if_changed(path, text):
    """Leaves an equal file alone, so that nothing that includes it is built again."""
    path.parent.mkdir(parents=True, exist_ok=True)
    if not path.exists() or path.read_text(encoding="utf-8") != text:
        path.write_text(text, encoding="utf-8")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    what = parser.add_mutually_exclusive_group(required=True)
    what.add_argument("--output-dir", type=pathlib.Path, help="folder for the header and source of one description")
    what.add_argument("--fingerprints", type=pathlib.Path, help="file for the fingerprints of all descriptions")
    what.add_argument("--registry", type=pathlib.Path, help="header for the registry of all descriptions")
    parser.add_argument("descriptions", nargs="+", type=pathlib.Path)
    args = parser.parse_args()

    sets = [load(path) for path in args.descriptions]
    if args.fingerprints:
        write_if_changed(args.fingerprints, fingerprints.text(sets))
    elif args.registry:
        write_if_changed(args.registry, registry.text(sets))
    else:
        for message_set in sets:
            write_if_changed(args.output_dir / f"{message_set.file}.h", header.text(message_set))
            write_if_changed(args.output_dir / f"{message_set.file}.cpp", source.text(message_set))


if __name__ == "__main__":
    try:
        main()
    except DescriptionError as error:
        sys.exit(f"error: {error}")
