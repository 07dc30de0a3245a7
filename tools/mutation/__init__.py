"""Says how good the tests are: injects faults and looks which of them the tests notice (see README.md)."""
