"""Live ports on agents in namespaces of their own (scripts/lab-agents.sh): what a cut network and a dead controller do."""

import json
import os
import pathlib
import subprocess
import tempfile

import laboratory

EXAMPLE = laboratory.PROJECT / "examples" / "live-zapping-agents.yaml"
# Functions for scripts that run at the controller's place; $1 is a folder.
AIDS = """
set -euo pipefail
cd "$1"
run() { iptvtest run test.yaml --db "$1.db" --json --lease 30 "${@:2}" >"$1.json" 2>"$1.err"; }
until_() { local i; for i in {1..300}; do ! "$@" || return 0; sleep 0.1; done; echo "never: $*" >&2; exit 1; }
begins() { [ "$(grep -c begins "$ORV_AGENTS/lounge.log")" = "$1" ]; }
has_groups() { ip netns exec "$ORV_LAB_DUT" bridge mdb show | grep -q 'port home grp 225'; }
has_none() { ! has_groups; }
"""


class AgentsLabTest(laboratory.LabTestCase):

    def carry_out(self, script):
        """Its outcomes, by name."""
        with tempfile.TemporaryDirectory() as folder:
            (pathlib.Path(folder) / "test.yaml").write_text(EXAMPLE.read_text())
            path = f"{pathlib.Path(os.environ['ORV_PROGRAM']).parent}:{os.environ['PATH']}"
            subprocess.run([laboratory.PROJECT / "scripts" / "lab-agents.sh", "run", "--name=agents", "--", "bash", "-c",
                            AIDS + script, "_", folder], check=True, env={**os.environ, "PATH": path})
            return {file.stem: json.loads(file.read_text()) for file in pathlib.Path(folder).glob("*.json")
                    if file.stat().st_size}

    def expect_whole(self, outcome):
        self.assertEqual((outcome["end"], outcome["errors"]), ("passed", []))
        test, = outcome["tests"]
        self.assertEqual((test["channel_changes"], test["failed_joins"]), (8, 0))
        self.assertEqual({agent["name"] for agent in outcome["agents"]}, {"headend", "lounge"})
        viewers, = [port for port in outcome["live_ports"] if port["name"] == "Viewers"]
        self.assertEqual((viewers["interface"], viewers["joins_and_leaves"], viewers["unseen"]), ("lounge/home0", 16, 0))

    def test_agent_that_is_cut_off_loses_nothing(self):
        self.expect_whole(self.carry_out("""
            run cut & run=$!
            until_ has_groups
            ip link set lounge-line down
            sleep 8
            ip link set lounge-line up
            wait $run""")["cut"])

    def test_agent_leaves_its_groups_when_its_controller_is_dead(self):
        self.expect_whole(self.carry_out("""
            iptvtest run test.yaml --quiet --lease 3 --db dead.db & run=$!
            until_ has_groups
            kill -KILL $run
            wait $run || true
            until_ has_none
            until_ grep -q "has been silent for 3 s" "$ORV_AGENTS/lounge.log"
            run again""")["again"])


if __name__ == "__main__":
    laboratory.main()
