"""What `cmake --install` makes: whole, and started from wherever it was copied to."""
import os
import re
import shutil
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

    def test_binaries_are_hardened(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run(["cmake", "--install", BUILD, "--prefix", folder], check=True, stdout=subprocess.DEVNULL)
            binaries = [path for path in Path(folder).rglob("*") if path.is_file() and path.read_bytes()[:4] == b"\x7fELF"]
            self.assertGreaterEqual(len(binaries), 3)
            for binary in binaries:
                shown = subprocess.run(["readelf", "--wide", "--headers", "--dynamic", "--syms", binary],
                                       capture_output=True, text=True, check=True).stdout
                segments = {line.split()[0]: line.split()[-2] for line in shown.splitlines() if "0x" in line and "GNU_" in line}
                for what, holds in {
                        "can lie anywhere": re.search(r"Type: +DYN", shown),
                        "nothing is writable and executable": segments["GNU_STACK"] == "RW" and " RWE " not in shown,
                        "the table of addresses is read-only": "GNU_RELRO" in segments and re.search(r"BIND_NOW|Flags:.* NOW", shown),
                        "no text is relocated": "(TEXTREL)" not in shown,
                        "libraries are looked for beside it only": not re.search(r"(RPATH|RUNPATH).*\[(?!\$ORIGIN)", shown),
                        "stack protector": "__stack_chk_fail" in shown,
                        "indirect branches have targets": bytes.fromhex("f30f1efa") in binary.read_bytes()}.items():
                    self.assertTrue(holds, f"{binary.name}: {what}")

    @unittest.skipUnless(shutil.which("systemd-analyze"), "no systemd")
    def test_service_may_do_little(self):
        service = Path(__file__).parents[2] / "packaging/agent/iptvtest-agent.service"
        subprocess.run(["systemd-analyze", "security", "--offline=true", "--threshold=19", service], check=True,
                       capture_output=True)  # an exposure of at most 1.9


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
