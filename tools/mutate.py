#!/usr/bin/env python3
"""Says how good the tests are: injects faults and looks which of them the tests notice (tools/mutation/README.md)."""
import sys

sys.dont_write_bytecode = True

from mutation.cli import main  # noqa: E402

if __name__ == "__main__":
    main()
