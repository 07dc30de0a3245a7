// What was configured, and how it was measured.
function addConfiguration() {
  addSection("configuration", "What was configured", runs.map((run) => {
    const {json} = run;
    const text = json.test_file_text;
    const cut = text && json.test_file_bytes > new TextEncoder().encode(text).length;
    return [
      runs.length > 1 && element("h3", null, run.label),
      definitions([
        ["Test file", textOrMissing(json.test_file)],
        ["Settings on the command line", json.settings.length ? element("ul", null, json.settings.map((line) =>
          element("li", null, element("code", null, line)))) : "none"],
        ["Seed of the simulated network", textOrMissing(json.seed)],
      ]),
      text ? element("details", null, element("summary", null, "Test file as it was run"),
        cut && element("p", {class: "note"}, `The beginning of ${formatNumber(json.test_file_bytes)} bytes; ` +
          `iptvtest results DATABASE --test-file prints all of it.`),
        element("pre", {tabindex: "0"}, text)) : element("p", null, "The database does not hold the test file."),
    ];
  }));
}

const LIVE_COLUMNS = [["interface", "Interface"], ["joins_and_leaves", "Joins and leaves seen"], ["unseen", "Not seen leaving"],
  ["late_joins", "More than 1 ms late"], ["latest_join_ms", "Latest (ms)"], ["frames_dropped", "Received frames dropped"],
  ["frames_unsent", "Frames not sent"], ["stream_packets_sent", "Stream packets sent"],
  ["stream_packets_unsent", "Stream packets not sent"]];
const PORT_KINDS = {
  simulated: "simulated: set-top boxes on a simulated network",
  live: "live: hosts on a network interface, times are the kernel's time stamps",
  recording: "played back from a recording: nothing was measured anew",
};

function unseenNotes(run) {
  const notes = [];
  const ports = run.outcome.live_ports || [];
  const unseen = ports.reduce((sum, port) => sum + (port.unseen || 0), 0);
  const dropped = ports.reduce((sum, port) => sum + (port.frames_dropped || 0), 0);
  if (unseen) notes.push(`${countOf(unseen, "join or leave")} were not seen leaving the interface; their views are not in the results.`);
  if (dropped) notes.push(`${countOf(dropped, "received frame")} were dropped before they were read; what they carried is missing.`);
  if (run.tests.some((test) => test.outcome.environment === "REAL_WORLD")) {
    notes.push("In the real world losses are found by RTP sequence numbers; of streams without RTP they are not seen.");
  }
  if (run.tests.some((test) => test.series.length === 0)) {
    notes.push("A test has no time series in this database, and latencies without percentiles, if an earlier version of the program wrote it.");
  }
  return notes.length ? notes : ["Nothing that was to be measured is known to be missing."];
}

function measurement(run) {
  const {outcome} = run;
  const clock = {virtual: "virtual: the test ran as fast as the computer could, and times are those of the simulation",
    real: "real: the test ran in real time"}[outcome.clock];
  const live = outcome.live_ports || [];
  return [
    runs.length > 1 && element("h3", null, run.label),
    definitions([["Clock", textOrMissing(clock || outcome.clock)]]),
    outcome.ports ? simpleTable("Ports", ["Port", "Location", "How it measures"], outcome.ports.map((port) =>
      [port.name, textOrMissing(port.location, "none: a simulated port"), PORT_KINDS[port.kind] || textOrMissing(port.kind)]), []) :
      element("p", null, "The database does not say how its ports measured: the run has not ended in order, or an earlier version wrote it."),
    live.length > 0 && simpleTable("Live ports", ["Port", ...LIVE_COLUMNS.map(([, title]) => title)], live.map((port) =>
      [port.name, ...LIVE_COLUMNS.map(([key]) => isNumber(port[key]) ? formatNumber(port[key]) : textOrMissing(port[key]))]),
    [2, 3, 4, 5, 6, 7, 8, 9]),
    element("h3", null, "What was not seen"),
    element("ul", null, unseenNotes(run).map((note) => element("li", null, note))),
  ];
}

function addMeasurement() {
  addSection("measurement", "How it was measured", runs.map(measurement));
}
