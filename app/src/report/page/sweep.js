// Data sets that are iterations of a sweep: figures by the value that was varied.
let sweepFigure = null;

function sweepPoints(run) {
  const properties = [...new Set(run.tests.flatMap((test) => Object.keys((test.json.sweep || {}).values || {})))];
  const tests = run.tests.filter((test) => test.json.sweep && test.json.sweep.values);
  const single = properties.length === 1;
  const points = tests.map((test) => ({test, label: sweepLabel({values: test.json.sweep.values}),
    value: single ? test.json.sweep.values[properties[0]] : null}));
  const isNumeric = single && points.every((point) => point.value !== "" && isFinite(Number(point.value)));
  if (isNumeric) points.sort((a, b) => Number(a.value) - Number(b.value));
  return {points, isNumeric, name: single ? properties[0] : properties.join(", ")};
}

function sweepChart(run, title, unit, curves) {
  const {points, isNumeric, name} = sweepPoints(run);
  const datasets = curves.map(({label, value}) => ({label, pointRadius: 4,
    data: points.map((point) => ({x: isNumeric ? Number(point.value) : point.label, y: value(point.test)}))}))
    .filter((set) => set.data.some((point) => isNumber(point.y)));
  if (datasets.length === 0) return {title, empty: "Nothing of this was measured."};
  return {
    title,
    summary: datasets.map((set) => `${set.label}: ${extremes(set.data.map((point) => point.y))}`).join("; "),
    labels: isNumeric ? undefined : [...new Set(points.map((point) => point.label))],
    x: isNumeric ? linear(name) : {title: name, options: {type: "category"}},
    y: fromZero(unit),
    datasets,
    values: {titles: [name, ...datasets.map((set) => set.label)],
      rows: points.map((point, i) => [point.label, ...datasets.map((set) => set.data[i].y)])},
  };
}

function searchResult(run) {
  const search = run.json.sweep_result;
  if (!search || !("highest" in search)) return [];
  return element("p", {class: "result"}, search.highest === null ?
    `No value of ${search.property} passes.` : `The highest value of ${search.property} that passes: ${search.highest}.`);
}

function addSweep(run) {
  const figures = FIGURES.filter((figure) => run.tests.some((test) => test.figures.includes(figure)));
  sweepFigure = sweepFigure || figures[0] || FIGURES[0];
  const {points, name} = sweepPoints(run);
  const latency = new ChartBox(() => sweepChart(run, `Percentiles of ${sweepFigure} by ${name}`, "ms", PERCENTILES.map(
    ([key, label]) => ({label, value: (test) => test.whole.statistic(sweepFigure, key, 0)}))));
  const failed = new ChartBox(() => sweepChart(run, `Failed joins by ${name}`, "%",
    [{label: "Failed joins (%)", value: (test) => test.failedPercent()}]));
  const lost = new ChartBox(() => sweepChart(run, `Lost packets by ${name}`, "Packets",
    [{label: "Lost packets", value: (test) => test.whole.count("lost", 0)}]));
  const id = runs.length > 1 ? `sweep-${runs.indexOf(run) + 1}` : "sweep";
  addSection(id, runs.length > 1 ? `Sweep, ${run.label}` : "Sweep",
    searchResult(run),
    simpleTable(`Iterations by ${name}`, ["Values", "Data set", "Verdict", "Views", "Failed joins (%)", "Lost",
      "Join latency p50 (ms)", "Join latency p99 (ms)"], points.map(({test}) => [sweepLabel(test.json.sweep),
      String(test.json.data_set), verdict(test.json.verdict), numberOrMissing(test.whole.count("views", 0)),
      numberOrMissing(test.failedPercent()), numberOrMissing(test.whole.count("lost", 0)),
      numberOrMissing(test.whole.statistic("join latency", "P50", 0)),
      numberOrMissing(test.whole.statistic("join latency", "P99", 0))]), [1, 3, 4, 5, 6, 7]),
    element("div", {class: "controls"}, select("Latency", figures.map((figure) => [figure, capitalise(figure)]), sweepFigure,
      (figure) => {
        sweepFigure = figure;
        latency.draw();
      })),
    element("div", {class: "charts"}, latency.node, failed.node, lost.node));
}
