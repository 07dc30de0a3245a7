"""What `cmake --install` makes: whole, and started from wherever it was copied to."""
import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

BUILD = Path(os.environ["ORV_BUILD"])


class InstalledTreeTest(unittest.TestCase):
    def test_a_copied_tree_runs_its_examples(self):
        with tempfile.TemporaryDirectory() as folder:
            first, tree = Path(folder) / "first", Path(folder) / "a copy"
            subprocess.run(["cmake", "--install", BUILD, "--prefix", first], check=True, stdout=subprocess.DEVNULL)
            first.rename(tree)
            program, example = tree / "bin/iptvtest", tree / "share/doc/iptvtest/examples/zapping-ipv4.yaml"
            run = subprocess.run([program, "run", example, "--db", tree / "zap.db"], cwd="/", env={},
                                 capture_output=True, text=True)
            self.assertEqual(run.returncode, 0, run.stderr)
            self.assertIn("Verdict: PASSED", run.stdout)
            shown = subprocess.run([program, "results", tree / "zap.db", "Port Result"], cwd="/", capture_output=True)
            self.assertEqual(shown.returncode, 0, shown.stderr)
            schema = subprocess.run([program, "schema"], capture_output=True).stdout
            self.assertEqual((tree / "share/iptvtest/test-file.schema.json").read_bytes(), schema)
            loads = subprocess.run(["ldd", tree / "lib/iptvtest/plugins/iptv.so"], capture_output=True, text=True).stdout
            self.assertIn(f"{tree}/lib/iptvtest", loads.replace("plugins/../", ""))
            for file in ("share/man/man1/iptvtest.1", "share/bash-completion/completions/iptvtest",
                         "lib/systemd/system/iptvtest-agent.service", "share/doc/iptvtest/agent/agent.env"):
                self.assertTrue((tree / file).stat().st_size, file)


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
