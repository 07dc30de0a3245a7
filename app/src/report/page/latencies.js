// Curves, histograms and time series of a chosen object.
const MOST_LISTED = 200;
const chosen = {run: 0, test: 0, kind: "test", row: 0, figure: null};
let latencyControls = null;

function chosenTest() {
  return runs[chosen.run].tests[chosen.test];
}
function chosenName() {
  const table = chosenTest().tables.get(chosen.kind);
  return chosen.kind === "test" ? "whole test" : table.names[chosen.row];
}

function choose(change) {
  Object.assign(chosen, change);
  const test = chosenTest();
  if (!test.tables.has(chosen.kind)) Object.assign(chosen, {kind: "test", row: 0});
  if (chosen.row >= test.tables.get(chosen.kind).names.length) chosen.row = 0;
  if (!test.figures.includes(chosen.figure)) chosen.figure = test.figures[0] || FIGURES[0];
  drawLatencies();
}

function objectOptions() {
  const names = chosenTest().tables.get(chosen.kind).names;
  const rows = names.slice(0, MOST_LISTED).map((name, row) => [row, name]);
  if (chosen.row >= MOST_LISTED) rows.push([chosen.row, names[chosen.row]]);
  return rows;
}

function drawLatencies() {
  const test = chosenTest();
  const tests = runs.flatMap((run, i) => run.tests.map((each, j) => [`${i}/${j}`,
    runs.length > 1 ? `${run.label}: ${each.label}` : each.label]));
  const names = test.tables.get(chosen.kind).names;
  // The list that was used keeps the focus.
  const focused = [...latencyControls.querySelectorAll("select")].indexOf(document.activeElement);
  latencyControls.replaceChildren(
    ...(tests.length > 1 ? [select("Test", tests, `${chosen.run}/${chosen.test}`, (value) => {
      const [run, index] = value.split("/").map(Number);
      choose({run, test: index});
      drawObjects();
    })] : []),
    select("Kind of object", [...test.tables.keys()].map((kind) => [kind, KINDS[kind].one]), chosen.kind,
      (kind) => choose({kind, row: 0})),
    ...(chosen.kind === "test" ? [] : [select(KINDS[chosen.kind].one, objectOptions(), chosen.row,
      (row) => choose({row: Number(row)}))]),
    select("Latency of the histogram", (test.figures.length ? test.figures : [FIGURES[0]]).map((name) => [name, capitalise(name)]),
      chosen.figure, (figure) => choose({figure})));
  if (names.length > MOST_LISTED) {
    latencyControls.append(element("p", {class: "note"}, `The list holds the first ${MOST_LISTED} of ` +
      `${formatNumber(names.length)}; the buttons of the table below choose any.`));
  }
  if (focused >= 0) latencyControls.querySelectorAll("select")[focused]?.focus();
  for (const box of latencyBoxes) box.draw();
  const series = chosenSeries();
  document.getElementById("merged-note").textContent = series && series.merged > 1 ?
    `Each point stands for ${series.merged} intervals: counts are sums, means are weighted by views, and of percentiles ` +
    "the greatest is shown." : "";
  document.getElementById("series-note").textContent = chosen.kind !== "test" && chosen.kind !== "port" ?
    "Time series are of the whole test and of ports; those of the whole test are shown." : "";
}

// Of the chosen port, or of the test.
function chosenSeries() {
  const {series} = chosenTest();
  const ofPort = chosen.kind === "port" && series.find((each) => each.kind === "port" && each.name === chosenName());
  return chosen.kind === "port" ? ofPort || null : series.find((each) => each.kind === "test") || null;
}

const latencyBoxes = [];

function addLatencies() {
  latencyControls = element("div", {class: "controls"});
  latencyBoxes.push(
    new ChartBox(() => percentileChart(`Percentiles of latencies, ${chosenName()}`, chosenTest().figures.map((figure) =>
      ({label: capitalise(figure), test: chosenTest(), kind: chosen.kind, row: chosen.row, figure})))),
    new ChartBox(() => histogramChart(chosenTest(), chosen.kind, chosen.row, chosen.figure, chosenName())),
    ...SERIES_CHARTS.map((wanted) => new ChartBox(() => seriesChart(wanted, chosenSeries()))));
  addSection("latencies", "Latencies and course of the test",
    element("p", null, "A percentile is the smallest value that the given share of all values do not exceed, accurate to 1\u00a0%. " +
      "The axis spreads the tail: 90\u00a0%, 99\u00a0% and 99.9\u00a0% are equally far apart."),
    latencyControls,
    element("div", {class: "charts"}, latencyBoxes.slice(0, 2).map((box) => box.node)),
    element("h3", null, "By time"),
    element("p", {class: "note", id: "series-note"}), element("p", {class: "note", id: "merged-note"}),
    element("div", {class: "charts"}, latencyBoxes.slice(2).map((box) => box.node)));
}
