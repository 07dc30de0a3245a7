#!/usr/bin/env python3
"""Compares the results databases of two runs, row by row, in the order in which they were stored. Times of the wall clock
and paths of files are left out. Says where the databases differ; the exit status is 1 when they do."""
import argparse
import itertools
import sqlite3
import sys

# What two runs of one test never share.
LEFT_OUT = {"IptvTestResults": {"TestStartTime", "TestEndTime"}, "IterationDatabases": {"Path"},
            "IptvStartTestCommand": {"DatabaseFileName"}}
DESCRIPTIONS = {"StartTime", "EndTime"}  # rows of DataSetDescriptions, by name


def get_schema(database):
    return {name: sql for name, sql in database.execute("SELECT name, sql FROM sqlite_master WHERE sql IS NOT NULL")}


def get_rows(database, table):
    cursor = database.execute(f'SELECT * FROM "{table}" ORDER BY rowid')
    columns = [column[0] for column in cursor.description]
    for row in cursor:
        values = dict(zip(columns, row))
        if table == "DataSetDescriptions" and values["Name"] in DESCRIPTIONS:
            continue
        yield {name: value for name, value in values.items() if name not in LEFT_OUT.get(table, ())}


def find_differences(first, second):
    first_schema, second_schema = get_schema(first), get_schema(second)
    for name in sorted(first_schema.keys() | second_schema.keys()):
        if first_schema.get(name) != second_schema.get(name):
            yield f"{name}: {first_schema.get(name)} / {second_schema.get(name)}"
    for name in sorted(first_schema.keys() & second_schema.keys()):
        if not first_schema[name].upper().startswith("CREATE TABLE"):
            continue
        for number, (a, b) in enumerate(itertools.zip_longest(get_rows(first, name), get_rows(second, name))):
            if a is None or b is None:
                yield f"{name}: row {number} is only in the {'second' if a is None else 'first'}"
                break
            for column in sorted(a.keys() | b.keys()):
                if a.get(column) != b.get(column):
                    yield f"{name}, row {number}, {column}: {a.get(column)!r} / {b.get(column)!r}"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("first")
    parser.add_argument("second")
    arguments = parser.parse_args()
    databases = []
    for path in (arguments.first, arguments.second):
        try:
            databases.append(sqlite3.connect(f"file:{path}?mode=ro", uri=True))
            databases[-1].execute("SELECT count(*) FROM DataSets")
        except sqlite3.Error as error:
            parser.error(f"{path}: {error}")
    differs = False
    for difference in find_differences(*databases):
        print(difference)
        differs = True
    sys.exit(1 if differs else 0)


if __name__ == "__main__":
    main()
