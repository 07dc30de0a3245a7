// What came out: verdict, expectations, and what was run.
const TYPES = {
  ZAPPING: "channel zapping", VERIFICATION: "channel verification", FAST_CHANNEL_CHANGE: "fast channel change",
  RELIABLE_RETRANSMISSION: "RTP retransmission", FCC_WITH_RRR: "fast channel change with RTP retransmission",
};
const ENVIRONMENTS = {TESTING: "test environment", REAL_WORLD: "real world"};

function runVerdict(run) {
  if (run.json.sweep_result) {
    const {end} = run.json.sweep_result;
    return ["passed", "failed"].includes(end) ? end : `not finished: ${end}`;
  }
  if (run.tests.length === 1 && run.tests[0].json.verdict) return run.tests[0].json.verdict;
  if (run.json.end) return ["passed", "failed"].includes(run.json.end) ? run.json.end : `not finished: ${run.json.end}`;
  const verdicts = run.tests.map((test) => test.json.verdict);
  return verdicts.every((text) => text === "PASSED") ? "passed" : verdicts.find((text) => text !== "PASSED");
}

function testFacts(test) {
  const {json, outcome} = test;
  const seconds = isNumber(outcome.duration_s) ? `${formatNumber(outcome.duration_s)} s of ` +
    `${formatNumber(outcome.configured_duration_s)} s` : missing("not stored");
  return [
    ["Test", textOrMissing(json.name)],
    ["Type", textOrMissing(TYPES[outcome.type] || outcome.type)],
    ["Environment", textOrMissing(ENVIRONMENTS[outcome.environment] || outcome.environment)],
    ["Started", json.start ? `${json.start} UTC` : missing("not stored")],
    ["Ended", json.end ? `${json.end} UTC` : missing("no end is stored: the test was broken off, or still runs")],
    ["Duration", seconds],
  ];
}

function joinsFact(test) {
  const allowed = test.outcome.join_fail_threshold_percent;
  const percent = test.failedPercent();
  return ["Failed joins", [numberOrMissing(test.whole.count("failed", 0)), " in ",
    numberOrMissing(test.whole.count("views", 0)), " views",
    isNumber(percent) ? `, ${formatNumber(percent)} %` : "",
    isNumber(allowed) ? `; ${formatNumber(allowed)} % may fail` : ""]];
}

function expectations(test, several) {
  const list = test.outcome.expectations || [];
  if (list.length === 0) return [];
  return simpleTable(`Expectations of ${several ? test.label : test.json.name || "the test"}`, ["Expectation", "Measured", "Unit", "Met"],
    list.map((item) => [textOrMissing(item.text),
      isNumber(item.measured) ? formatNumber(item.measured) : textOrMissing(item.measured, "not measured"),
      item.unit || "", item.met === null || item.met === undefined ? verdict("not decided") :
        verdict(item.met ? "passed" : "failed")]), [1]);
}

function expectationsLine(run) {
  const all = run.tests.flatMap((test) => test.outcome.expectations || []);
  if (all.length === 0) return [];
  const met = all.filter((item) => item.met === true).length;
  const failed = all.some((item) => item.met === false);
  if (!failed && met < all.length) return element("p", {class: "verdict-line"}, "Expectations: ", verdict("not finished"));
  return element("p", {class: "verdict-line"}, "Expectations: ", verdict(failed ? "failed" : "passed"),
    ` ${met} of ${all.length} met`);
}

function testsTable(run) {
  const numbers = [4, 5, 6];
  return simpleTable("Tests of the run", ["Test", "Verdict", "Started (UTC)", "Type", "Views", "Failed joins", "Failed joins (%)"],
    run.tests.map((test) => [test.label, verdict(test.json.verdict), textOrMissing(test.json.start),
      textOrMissing(TYPES[test.outcome.type] || test.outcome.type), numberOrMissing(test.whole.count("views", 0)),
      numberOrMissing(test.whole.count("failed", 0)), numberOrMissing(test.failedPercent())]), numbers);
}

function problems(title, list) {
  if (!list || list.length === 0) return [];
  return [element("h4", null, title), element("ul", {class: "problems"}, list.map((text) => element("li", null, text)))];
}

function runCard(run) {
  const {json, outcome} = run;
  const several = run.tests.length > 1;
  const unfinished = outcome.unfinished_test;
  return element("div", {class: "card"},
    element("h3", null, runs.length > 1 ? run.label : several ? "Run" : `Test ${run.tests[0].json.name || run.label}`),
    element("p", {class: "verdict-line"}, "Verdict: ", verdict(runVerdict(run))),
    expectationsLine(run),
    searchResult(run),
    outcome.unfinished_reason && element("p", null, `No test of this run can have passed: ${outcome.unfinished_reason}.`),
    unfinished && element("p", null, `Test ${unfinished.name} did not finish: ${formatNumber(unfinished.elapsed_s)} of ` +
      `${formatNumber(unfinished.configured_duration_s)} s ran.`),
    definitions([
      ...(runs.length > 1 ? [["Title", textOrMissing(json.title)]] : []),
      ...(several ? [["Tests", String(run.tests.length)]] : [...testFacts(run.tests[0]), joinsFact(run.tests[0])]),
      ["Seed", textOrMissing(json.seed)],
      ["Program", json.version ? `iptvtest ${json.version}` : missing("not stored")],
      ["Database", json.file],
    ]),
    several && testsTable(run),
    run.tests.map((test) => expectations(test, several)),
    problems("Errors of the run", outcome.errors),
    problems("Warnings", outcome.warnings));
}

function addVerdict() {
  addSection("verdict", runs.length > 1 ? "Verdicts" : "Verdict", element("div", {class: "cards"}, runs.map(runCard)));
}
