// The table's filter and order live in the page's fragment, so that a link leads to them:
// index.html#q=SN-0001&verdict=FAIL&sort=2&down=1
const form = document.getElementById("filter");
const heads = [...document.querySelectorAll("#units th")];
const body = document.querySelector("#units tbody");
const rows = [...body.rows].map((row) => ({ row, text: row.textContent.toLowerCase(), verdict: row.cells[1].textContent }));
const collator = new Intl.Collator(undefined, { numeric: true });

const asked = () => new URLSearchParams(location.hash.slice(1));

function ask(changes) {
  const now = asked();
  for (const [name, value] of Object.entries(changes)) value === "" ? now.delete(name) : now.set(name, value);
  history.replaceState(null, "", "#" + now);
  show();
}

function show() {
  const now = asked();
  const words = (now.get("q") ?? "").toLowerCase().split(/\s+/);
  const verdict = now.get("verdict") ?? "";
  form.q.value = now.get("q") ?? "";
  form.verdict.value = verdict;
  let shown = 0;
  for (const { row, text, verdict: own } of rows) {
    row.hidden = !(words.every((word) => text.includes(word)) && (verdict === "" || verdict === own));
    if (!row.hidden) shown++;
  }
  form.querySelector("output").textContent = `${shown} of ${rows.length} units`;
  sort(now.get("sort"), now.get("down") === "1");
}

function sort(column, down) {
  if (sort.done === `${column} ${down}`) return;
  sort.done = `${column} ${down}`;
  heads.forEach((head, i) => head.setAttribute("aria-sort", String(i) !== column ? "none" : down ? "descending" : "ascending"));
  if (!heads[column]) return;
  const keyed = rows.map(({ row }) => [row.cells[column].textContent, row]);
  keyed.sort((one, other) => collator.compare(one[0], other[0]) * (down ? -1 : 1));
  body.append(...keyed.map(([, row]) => row));
}

form.q.addEventListener("input", () => ask({ q: form.q.value }));
form.verdict.addEventListener("change", () => ask({ verdict: form.verdict.value }));
form.addEventListener("submit", (event) => event.preventDefault());
heads.forEach((head, i) => head.addEventListener("click", () => {
  const again = asked().get("sort") === String(i) && asked().get("down") !== "1";
  ask({ sort: String(i), down: again ? "1" : "" });
}));
addEventListener("hashchange", show);
show();
