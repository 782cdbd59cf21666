
"use strict";
(() => {
  const table = document.getElementById("packages");
  if (!table)
    return;
  const body = table.tBodies[0];
  const rows = [...body.rows];
  const filters = document.getElementById("filters");
  const search = document.getElementById("search");
  const kind = document.getElementById("kind");
  const verdicts = [...filters.querySelectorAll("input[type=checkbox]")];
  const shown = document.getElementById("shown");

  const texts = new Map(rows.map(row => [row, row.textContent.toLowerCase()]));
  function filter() {
    const wanted = new Set(verdicts.filter(box => box.checked).map(box => box.value));
    const words = search.value.toLowerCase().split(/\s+/).filter(Boolean);
    let count = 0;
    for (const row of rows) {
      row.hidden = !wanted.has(row.dataset.verdict) ||
          (kind.value !== "" && kind.value !== row.dataset.kind) ||
          !words.every(word => texts.get(row).includes(word));
      count += row.hidden ? 0 : 1;
    }
    shown.textContent = count + " of " + rows.length + " shown";
  }

  function keyOf(row, column) {
    const cell = row.cells[column];
    return "key" in cell.dataset ? Number(cell.dataset.key) : cell.textContent;
  }
  // Versions go by their numbers; the digits in file names are no numbers.
  const byText = new Intl.Collator("en");
  const byNumbers = new Intl.Collator("en", {numeric: true});
  function compare(a, b) {
    if (typeof a === "number")
      return a - b;
    return (/^[\d.]+$/.test(a + b) ? byNumbers : byText).compare(a, b);
  }
  const heads = [...table.tHead.rows[0].cells];
  function sort(column) {
    const isUp = heads[column].getAttribute("aria-sort") !== "ascending";
    for (const head of heads)
      head.removeAttribute("aria-sort");
    heads[column].setAttribute("aria-sort", isUp ? "ascending" : "descending");
    const sorted = [...body.rows].sort(
        (a, b) => (isUp ? 1 : -1) * compare(keyOf(a, column), keyOf(b, column)));
    body.append(...sorted);
  }
  heads.forEach((head, column) => {
    const button = document.createElement("button");
    button.type = "button";
    button.append(...head.childNodes);
    button.addEventListener("click", () => sort(column));
    head.append(button);
  });

  // A link to a row that is filtered away shows all rows again.
  function reveal() {
    const row = document.getElementById(location.hash.slice(1));
    if (!row || !row.hidden)
      return;
    filters.reset();
    filter();
    row.scrollIntoView();
  }
  filters.addEventListener("input", filter);
  filters.addEventListener("change", filter);
  filters.addEventListener("submit", event => event.preventDefault());
  addEventListener("hashchange", reveal);
  filters.hidden = false;
  filter();
})();
