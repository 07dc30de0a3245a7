"""What a results database has, for tests that interrupt those who write it."""
import contextlib
import sqlite3


def get_figures(outcome):
    """What is the same in every run."""
    return [{key: value for key, value in test.items() if key != "data_set"} for test in outcome["tests"]]


def count_rows(path):
    """Of every table with data sets, by table and data set. Fails for a database that is not sound."""
    with contextlib.closing(sqlite3.connect(f"file:{path}?mode=rw", uri=True)) as database:
        assert database.execute("PRAGMA integrity_check").fetchall() == [("ok",)], path
        counts = {}
        for (table,) in database.execute("SELECT name FROM sqlite_master WHERE type = 'table'").fetchall():
            columns = [column[1] for column in database.execute(f'PRAGMA table_info("{table}")')]
            if "DataSetId" not in columns:
                continue
            for data_set, rows in database.execute(f'SELECT DataSetId, COUNT(*) FROM "{table}" GROUP BY DataSetId'):
                counts[table, data_set] = rows
        return counts
