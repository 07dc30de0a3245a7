// Runs side by side, and which differences are beyond noise.
const RESULTS = {different: "beyond noise", "no difference": "no difference shown"};

function pairTests(pair) {
  return [pair.a, pair.b].map(([run, test]) => runs[run].tests[test]);
}

function testedTable(pair) {
  const [a, b] = pairTests(pair);
  return simpleTable(`Figures by interval: ${a.run.label} and ${b.run.label}`,
    ["Mean of the intervals", a.run.label, b.run.label, "Difference", "Difference (%)", "Intervals", "p (Holm)", "Result"],
    pair.figures.map(({figure, unit, values, n, p, result}) => [`${figure}${unit === "ms" ? " (ms)" : ""}`,
      ...values.map((value) => numberOrMissing(value)),
      isNumber(values[0]) && isNumber(values[1]) ? formatDifference(values[1] - values[0]) : missing(),
      isNumber(relativeDifference(...values)) ? formatDifference(relativeDifference(...values)) : missing(values[0] === 0 ? "the first value is 0" : undefined),
      `${n[0]} / ${n[1]}`, isNumber(p) ? p < 0.0001 ? "< 0.0001" : p.toFixed(4) : missing("not tested"),
      element("span", {class: result === "different" ? "beyond" : "within"}, RESULTS[result] || result)]), [1, 2, 3, 4, 5, 6]);
}

function distributionsTable(pair) {
  const tests = pairTests(pair);
  const rows = FIGURES.filter((figure) => tests.some((test) => test.whole.hasFigure(figure))).flatMap((figure) =>
    [["Count", "values"], ...STATISTICS].map(([key, title]) => {
      const values = tests.map((test) => test.whole.statistic(figure, key, 0));
      const both = values.every(isNumber);
      return [`${capitalise(figure)}, ${title.toLowerCase()}${key === "Count" ? "" : " (ms)"}`, ...values.map((value) => numberOrMissing(value)),
        both ? formatDifference(values[1] - values[0]) : missing(),
        isNumber(relativeDifference(...values)) ? formatDifference(relativeDifference(...values)) : missing()];
    }));
  const counts = [["Views", "views"], ["Failed joins", "failed"], ["Packets", "packets"], ["Lost packets", "lost"]].map(([title, name]) => {
    const values = tests.map((test) => test.whole.count(name, 0));
    return [title, ...values.map((value) => numberOrMissing(value)),
      values.every(isNumber) ? formatDifference(values[1] - values[0]) : missing(),
      isNumber(relativeDifference(...values)) ? formatDifference(relativeDifference(...values)) : missing("the first value is 0 or missing")];
  });
  return simpleTable("Whole test: counts and percentiles, not tested", ["Figure", ...tests.map((test) => test.run.label), "Difference",
    "Difference (%)"], [...counts, ...rows], [1, 2, 3, 4]);
}

function addComparison() {
  const {pairs, alpha, least_intervals: least, hypotheses} = data.comparison;
  const figures = FIGURES.filter((figure) => runs.some((run) => run.tests.some((test) => test.whole.hasFigure(figure))));
  let figure = figures[0] || FIGURES[0];
  const different = pairs.flatMap((pair) => pair.figures).filter((each) => each.result === "different").length;
  const boxes = [];
  const content = pairs.map((pair, i) => {
    const tests = pairTests(pair);
    const box = new ChartBox(() => percentileChart(`Percentiles of ${figure}`, tests.map((test) =>
      ({label: test.run.label, test, kind: "test", row: 0, figure}))));
    boxes.push(box);
    return [element("h3", null, `${tests[0].run.label}: ${tests[0].label} \u2013 ${tests[1].run.label}: ${tests[1].label}`),
      testedTable(pair),
      i === 0 && element("div", {class: "controls"}, select("Latency of the curves", figures.map((name) => [name, capitalise(name)]), figure,
        (name) => {
          figure = name;
          for (const each of boxes) each.draw();
        })),
      element("div", {class: "charts"}, box.node), distributionsTable(pair)];
  });
  addSection("comparison", "Comparison",
    element("p", {class: "result"}, pairs.length === 0 ? "The runs have no test in common." : different === 0 ?
      "No figure differs beyond noise." : `${countOf(different, "figure")} ${different === 1 ? "differs" : "differ"} beyond noise.`),
    element("p", null, "Each run is compared with the first one. A difference is called beyond noise if a two-sided Mann-Whitney " +
      "U test (normal approximation, corrected for ties) on the values of the intervals of one second (longer in long tests) rejects that they are " +
      `equally distributed: significance level \u03b1 = ${alpha} for the whole comparison, ${countOf(hypotheses, "tested figure")}, p values ` +
      `adjusted by Holm's method. The first and the last interval are left out. A figure with fewer than ${least} intervals in ` +
      "one of the runs is not tested. \"No difference shown\" does not prove that there is none."),
    content);
}
