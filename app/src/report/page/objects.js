// A table for each kind of object.
let objectsNode = null;

function objectColumns(test, table, figure) {
  const share = (row) => {
    const views = table.count("views", row);
    return views ? table.count("failed", row) / views * 100 : null;
  };
  const columns = [
    {title: "Name", value: (row) => table.names[row]},
    {title: "Views", value: (row) => table.count("views", row)},
    {title: "Failed joins", value: (row) => table.count("failed", row)},
    {title: "Failed joins (%)", value: share},
    {title: "Packets", value: (row) => table.count("packets", row)},
    {title: "Lost", value: (row) => table.count("lost", row)},
    {title: "Values", value: (row) => table.statistic(figure, "Count", row)},
    ...PERCENTILES.map(([key, title]) => ({title: `${title} (ms)`, value: (row) => table.statistic(figure, key, row)})),
    ...(table.isLarge ? [] : [{title: "Greatest (ms)", value: (row) => table.statistic(figure, "Max", row)}]),
    {title: "", cell: (row) => element("button", {type: "button", "aria-label": `Show charts of ${table.names[row]}`,
      onclick: () => {
        choose({kind: table.kind, row});
        document.getElementById("latencies-heading").scrollIntoView();
      }}, "Charts")},
  ];
  return columns;
}

function drawObjects() {
  const test = chosenTest();
  const figures = test.figures.length ? test.figures : [FIGURES[0]];
  let figure = figures[0];
  const tables = ["block", "range", "profile", "port"].filter((kind) => test.tables.has(kind)).map((kind) => {
    const table = test.tables.get(kind);
    const caption = () => `${KINDS[kind].many}: counts and percentiles of ${figure}`;
    const shown = new DataTable({caption: caption(), noun: KINDS[kind].many.replace(/^[A-Z](?=[a-z])/, (c) => c.toLowerCase()),
      rows: table.names.length, columns: objectColumns(test, table, figure)});
    return {kind, table, shown, caption};
  });
  const change = (name) => {
    figure = name;
    for (const {table, shown, caption} of tables) {
      shown.node.querySelector("caption").textContent = caption();
      shown.setColumns(objectColumns(test, table, figure));
    }
  };
  const leftOut = test.json.left_out.rows;
  objectsNode.replaceChildren(
    ...(runs.length > 1 || runs[0].tests.length > 1 ? [element("p", null, `Of ${runs.length > 1 ? `${test.run.label}: ` : ""}` +
      `${test.label}; the list "Test" above chooses another.`)] : []),
    element("div", {class: "controls"}, select("Latency", figures.map((name) => [name, capitalise(name)]), figure, change)),
    ...(leftOut ? [element("p", {class: "note"}, `The ${formatNumber(leftOut)} STB blocks of this test are not in the page: ` +
      "together with those of the other tests they are too many. A report of this data set alone has them (--data-set).")] : []),
    ...(tables.some(({table}) => table.isLarge) ? [element("p", {class: "note"}, "Of this many objects the page holds " +
      "percentiles with three digits, and not the least, mean and greatest values.")] : []),
    ...tables.flatMap(({kind, shown}) => [element("h3", null, KINDS[kind].many), shown.node]),
    element("p", {class: "note"}, `${MISSING} stands for what was not measured: no view had that latency, or the ports ` +
      "cannot see it. Views and failed joins of a port are those of its time series."));
}

function addObjects() {
  objectsNode = element("div");
  addSection("objects", "Objects", objectsNode);
  drawObjects();
}
