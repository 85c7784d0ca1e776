/*
 * What the page can do beyond being read: filters, search, changes side by side, and a view of the text that draws only
 * what is on the screen. Its data is the page itself: the rows of each <pre class="rows">, told in page_rows.h, and the
 * causes. Texts become text nodes, and nothing here makes markup of one.
 */
"use strict";
document.documentElement.classList.add("scripts"); // at once, so that nobody lays out rows that the view will draw

const ROW = 20;             // pixels; the style says so too
const TALLEST = 15_000_000; // pixels that a browser surely scrolls
const LONGEST = 2000;       // characters of a row that are drawn
const AT_ONCE = 50;         // changes
const IN_PRINT = 2000;

const by_id = id => document.getElementById(id);

function element(name, attributes = {}, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) {
    if (key.startsWith("on")) made.addEventListener(key.slice(2), value);
    else made.setAttribute(key, value);
  }
  made.append(...children);
  return made;
}

function button(label, act, attributes = {}) {
  return element("button", {type: "button", onclick: act, ...attributes}, label);
}

/* ---- rows ---- */

const FATES = {"-": "dropped", "~": "rewritten", "+": "added", ">": "moved", " ": "kept"};

/* A row in parts. The text has no tabulator: it stands there written out. */
function parsed(line) {
  const [head, now, why, text, said = ""] = line.split("\t");
  const goes_on = why === '"';
  return {mark: head[0], was: head.slice(1).trim(), now, why: goes_on ? "" : why, goes_on, text, said};
}

const opens = text => /^\s*(config|edit)(\s|$)/i.test(text);
const closes = text => /^\s*(end|next)\s*$/i.test(text);

/* One walk over a file's rows: its changes, its blocks, and below which row each row stands. */
function read_file(id, rows) {
  const count = rows.length;
  const file = {id, rows, parents: new Int32Array(count).fill(-1), ends: new Int32Array(count), changes: [], changed: new Uint32Array(count + 1)};
  const open = [];
  let change = null;
  for (let at = 0; at < count; at++) {
    const line = rows[at];
    const mark = line[0];
    const now = line.indexOf("\t") + 1;
    const why = line.indexOf("\t", now) + 1;
    const goes_on = line[why] === '"';
    const text = line.slice(line.indexOf("\t", why) + 1);
    const is_gone = line[now] === "\t";
    const closing = !goes_on && closes(text.split("\t", 1)[0]);
    if (closing && open.length) file.ends[open.pop()] = at;
    file.parents[at] = open.length ? open[open.length - 1] : -1;
    file.changed[at + 1] = file.changed[at] + (mark === " " ? 0 : 1);
    const continues = change && (goes_on || (mark === "~" && !is_gone && change.mark === "~" && change.fresh === 0));
    if (mark === " " || closing) change = goes_on ? change : null;
    else if (!continues) {
      change = {file, first: at, last: at, mark, fresh: 0, causes: line.slice(why, line.indexOf("\t", why)).split(",").map(Number)};
      file.changes.push(change);
    }
    if (change) {
      change.last = at;
      if (!is_gone && !goes_on) change.fresh = at;
    }
    if (!goes_on && opens(text) && !(mark === "~" && is_gone)) {
      open.push(at);
      file.ends[at] = at;
    }
  }
  for (const left of open) file.ends[left] = count - 1;
  return file;
}

const files = new Map();

/* A file is read when it is first asked for. */
function file_of(id) {
  if (!files.has(id)) {
    const rows = by_id("text").querySelector(`section.text[data-file="${CSS.escape(id)}"] pre`).textContent.split("\n");
    rows.pop();
    files.set(id, read_file(id, rows));
  }
  return files.get(id);
}

let names = []; // short names of all files with a text

const all_files = () => names.map(file_of);

function path_of(file, at) {
  const path = [];
  for (let up = file.parents[at]; up >= 0; up = file.parents[up])
    path.unshift(parsed(file.rows[up]).text.trim().replace(/^\S+\s+/, ""));
  return path.join(" / ");
}

/* ---- what is wanted ---- */

const causes = new Map(); // by number: {release, section, title}

function wanted() {
  return {
    text: by_id("search").value.trim().toLowerCase(),
    release: by_id("by-release").value,
    cause: Number(by_id("by-cause").value),
    file: by_id("by-file").value,
    fate: by_id("by-fate").value,
  };
}

const wants_all = want => !want.text && !want.release && !want.cause && !want.file && !want.fate;

function has_text(change, text) {
  for (let at = change.first; at <= change.last; at++)
    if (change.file.rows[at].toLowerCase().includes(text)) return true;
  return path_of(change.file, change.first).toLowerCase().includes(text) ||
    change.causes.some(number => causes.get(number)?.section.querySelector("summary").textContent.toLowerCase().includes(text));
}

function is_wanted(change, want) {
  return (!want.file || change.file.id === want.file) &&
    (!want.fate || FATES[change.mark] === want.fate) &&
    (!want.cause || change.causes.includes(want.cause)) &&
    (!want.release || change.causes.some(number => causes.get(number)?.release === want.release)) &&
    (!want.text || has_text(change, want.text));
}

const wanted_changes = want => all_files().flatMap(file => file.changes.filter(change => is_wanted(change, want)));

/* ---- changes side by side ---- */

/* The words between what both begin with and what both end with are marked. */
function with_marks(text, other) {
  const words = text.split(/(\s+)/), others = other.split(/(\s+)/);
  let start = 0, end = 0;
  while (start < words.length && start < others.length && words[start] === others[start]) start++;
  while (end < words.length - start && end < others.length - start && words.at(-1 - end) === others.at(-1 - end)) end++;
  const middle = words.slice(start, words.length - end).join("");
  return [words.slice(0, start).join(""), middle && element("mark", {}, middle), words.slice(words.length - end).join("")];
}

function side(kind, text, other) {
  const shown = text.length > 20 * LONGEST ? text.slice(0, 20 * LONGEST) + `… (${text.length} characters)` : text;
  return element("pre", {class: kind, tabindex: "0", "aria-label": kind === "old" ? "before" : "after"},
    ...(other && shown === text ? with_marks(text, other) : [shown]));
}

/* Changes of the same cause that stand below each other are shown as one; between them blocks may end. */
function joined(changes) {
  const all = [];
  for (const change of changes) {
    const last = all.at(-1);
    const follows = last && change.mark !== "~" && last.mark === change.mark && last.file === change.file && String(last.causes) === String(change.causes) &&
      change.file.rows.slice(last.last + 1, change.first).every(row => row[0] === change.mark && closes(parsed(row).text)) && change.first - last.last < 9;
    if (follows) last.last = change.last;
    else all.push({...change});
  }
  return all;
}

/* Lines without the indent of the first. */
function block_text(rows) {
  const indent = rows.length ? rows[0].text.match(/^ */)[0].length : 0;
  return rows.map(row => row.goes_on ? row.text : row.text.slice(Math.min(indent, row.text.match(/^ */)[0].length)).trimEnd()).join("\n");
}

function address_of(change) {
  const shown = parsed(change.file.rows[change.fresh || change.first]);
  return `${change.file.id}:${shown.now || "was-" + shown.was}`;
}

function drawn_change(change) {
  const rows = change.file.rows.slice(change.first, change.last + 1).map(parsed);
  const before = block_text(rows.filter(row => !row.now)), after = block_text(rows.filter(row => row.now));
  const said = rows.map(row => row.said).find(Boolean);
  const others = change.causes.length > 1 ? ` · causes ${change.causes.join(", ")}` : "";
  const origin = FATES[change.mark] === "moved" ? ` · from line ${rows[0].was}` : "";
  return element("div", {class: "change"},
    element("p", {}, element("a", {href: "#" + address_of(change)}, address_of(change)), ` ${path_of(change.file, change.first)}${origin}${said ? ` · ${said}` : ""}${others}`),
    element("div", {class: "sides"}, before && side("old", before, after), after && side(change.mark === ">" ? "moved" : "new", after, before)));
}

/* Draws the first of a cause's changes, and a button for more. */
function draw_cause(cause, limit = AT_ONCE) {
  const list = cause.list;
  const changes = joined(cause.changes);
  list.replaceChildren(...changes.slice(0, limit).map(drawn_change));
  const left = changes.length - limit;
  if (left > 0)
    list.append(element("p", {class: "more"}, `${left} more. `, button(`Show ${Math.min(left, AT_ONCE)} of them`, () => draw_cause(cause, limit + AT_ONCE))));
}

function filter_causes() {
  const want = wanted();
  const some = wants_all(want);
  for (const cause of causes.values()) cause.changes = [];
  const found = wanted_changes(want);
  for (const change of found)
    for (const number of change.causes) causes.get(number)?.changes.push(change);
  for (const cause of causes.values()) {
    cause.section.hidden = !some && cause.changes.length === 0;
    if (cause.section.open) draw_cause(cause);
  }
  by_id("found").textContent = some ? "" : `${found.length} ${found.length === 1 ? "change" : "changes"}`;
  return found;
}

/* ---- the view of the text ---- */

const view = {file: null, folded: null, visible: [], here: -1, later: 0, drawn: 0, box: null, canvas: null};

/* Blocks in which nothing changed are folded at first. */
function fold_unchanged() {
  const {rows, ends, changed} = view.file;
  view.folded = new Uint8Array(rows.length);
  for (let at = 0; at < rows.length; at++) view.folded[at] = ends[at] > at && changed[ends[at] + 1] === changed[at] ? 1 : 0;
}

function find_visible() {
  const visible = [];
  for (let at = 0; at < view.file.rows.length; at++) {
    visible.push(at);
    if (view.folded[at]) at = view.file.ends[at];
  }
  view.visible = visible;
  view.canvas.style.height = Math.min(visible.length * ROW, TALLEST) + "px";
}

/* How many rows a pixel of the scroll bar stands for, in rows' heights. */
const stretch = () => Math.max(1, (view.visible.length * ROW - view.box.clientHeight) / (TALLEST - view.box.clientHeight));

function text_with_found(text, found) {
  const at = found ? text.toLowerCase().indexOf(found) : -1;
  return at < 0 ? [text] : [text.slice(0, at), element("mark", {}, text.slice(at, at + found.length)), ...text_with_found(text.slice(at + found.length), found)];
}

function show_whole(text) {
  const dialog = element("dialog", {"aria-label": "The whole line"}, button("Close", () => dialog.close()), element("pre", {class: "whole"}, text));
  dialog.addEventListener("close", () => dialog.remove());
  document.body.append(dialog);
  dialog.showModal();
}

function drawn_row(at, top, found) {
  const file = view.file;
  const row = parsed(file.rows[at]);
  const fold = file.ends[at] > at
    ? button(view.folded[at] ? "▸" : "▾", () => toggle(at), {class: "fold", "aria-expanded": String(!view.folded[at]), "aria-label": `the block at ${row.now || "old " + row.was}`})
    : element("span", {class: "fold"});
  const shown = row.text.slice(0, LONGEST);
  const made = element("div", {class: `row ${row.mark === "~" && !row.now ? "old" : FATES[row.mark]}${at === view.here ? " here" : ""}`}, fold,
    element("span", {class: "was"}, row.was), element("span", {class: "now"}, row.now),
    element("span", {class: "mark"}, row.mark === "~" && !row.now ? "-" : row.mark),
    element("span", {class: "why"}, ...row.why.split(",").filter(Boolean).flatMap((number, place) => [place ? "," : "", element("a", {href: "#cause-" + number}, number)])),
    element("span", {}, ...text_with_found(shown, found), shown.length < row.text.length ? "…" : ""));
  if (shown.length < row.text.length)
    made.lastChild.before(button(`all ${row.text.length} characters`, () => show_whole(row.text), {class: "more-text"}));
  if (view.folded[at]) made.append(element("span", {class: "said"}, `… ${file.ends[at] - at} lines`));
  if (row.said) made.append(element("span", {class: "said"}, row.said));
  made.style.top = top + "px";
  return made;
}

function draw() {
  const {box, canvas, visible} = view;
  const found = wanted().text;
  const offset = box.scrollTop * stretch();
  const first = Math.max(0, Math.floor(offset / ROW) - 5);
  const last = Math.min(visible.length, first + Math.ceil(box.clientHeight / ROW) + 15);
  const rows = [];
  for (let at = first; at < last; at++) rows.push(drawn_row(visible[at], box.scrollTop + at * ROW - offset, found));
  canvas.replaceChildren(...rows);
  view.drawn = box.scrollTop;
}

function toggle(at) {
  view.folded[at] ^= 1;
  find_visible();
  draw();
}

function show_file(id) {
  if (view.file?.id === id) return;
  view.file = file_of(id);
  view.here = -1;
  clearTimeout(view.later);
  for (const tab of document.querySelectorAll(".tabs button")) tab.setAttribute("aria-pressed", String(tab.value === id));
  fold_unchanged();
  find_visible();
  view.box.scrollTop = 0;
  draw();
}

function place_of(at) {
  let low = 0, high = view.visible.length - 1;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (view.visible[middle] < at) low = middle + 1;
    else high = middle;
  }
  return low;
}

function go_to(id, at) {
  show_file(id);
  view.here = at;
  for (let up = view.file.parents[at]; up >= 0; up = view.file.parents[up]) view.folded[up] = 0;
  find_visible();
  view.box.scrollTop = (place_of(at) * ROW - view.box.clientHeight / 3) / stretch();
  draw();
  view.box.scrollIntoView({block: "nearest"});
  clearTimeout(view.later);
  view.later = setTimeout(show_address, 200); // browsers bear few changes of the address at a time
}

function show_address() {
  const row = parsed(view.file.rows[view.here]);
  history.replaceState(null, "", `#${view.file.id}:${row.now || "was-" + row.was}`);
}

/* The rows that j and k go through: what is searched for in the text, or the changes that the filters let through. */
function found_stops(file, want) {
  if (want.file && want.file !== file.id) return [];
  const changes = file.changes.filter(change => is_wanted(change, want)).map(change => change.fresh || change.first);
  if (!want.text || want.release || want.cause || want.fate) return changes;
  const stops = [];
  file.rows.forEach((row, at) => { if (row.slice(row.indexOf("\t")).toLowerCase().includes(want.text)) stops.push(at); });
  return stops;
}

let kept = {key: "", stops: new Map()}; // of the filters as they were last

function stops_in(file, want) {
  const key = JSON.stringify(want);
  if (kept.key !== key) kept = {key, stops: new Map()};
  if (!kept.stops.has(file.id)) kept.stops.set(file.id, found_stops(file, want));
  return kept.stops.get(file.id);
}

function step(forward) {
  const want = wanted();
  const order = forward ? names : [...names].reverse();
  const start = order.indexOf(view.file.id);
  for (let turn = 0; turn <= order.length; turn++) {
    const id = order[(start + turn) % order.length];
    const stops = stops_in(file_of(id), want);
    const ahead = at => turn > 0 || view.here < 0 || (forward ? at > view.here : at < view.here);
    const next = forward ? stops.find(ahead) : stops.findLast(ahead);
    if (next !== undefined) return go_to(id, next);
  }
}

/* ---- addresses ---- */

function row_at(file, place) {
  const gone = place.startsWith("was-");
  const number = gone ? place.slice(4) : place;
  const is_it = row => gone ? row.was === number && row.mark !== ">" && row.mark !== "+" : row.now === number;
  return file.rows.findIndex(row => row.includes(number) && is_it(parsed(row)));
}

function follow(address) {
  const [, id, place] = address.match(/^#([\w-]+):((?:was-)?\d+)$/) ?? [];
  if (id && names.includes(id)) {
    const at = row_at(file_of(id), place);
    if (at >= 0) go_to(id, at);
    return at >= 0;
  }
  const cause = address.startsWith("#cause-") && causes.get(Number(address.slice(7)));
  if (cause) {
    cause.section.hidden = false;
    cause.section.open = true;
    cause.section.scrollIntoView({block: "start"});
  }
  return Boolean(cause);
}

/* ---- setting up ---- */

function fill_choices() {
  const numbers = [...causes.keys()];
  const releases = [...new Set(numbers.map(number => causes.get(number).release))].sort((one, other) => one.localeCompare(other, "en", {numeric: true}));
  by_id("by-release").append(...releases.map(release => element("option", {}, release)));
  by_id("by-cause").append(...numbers.map(number => element("option", {value: number}, `${number} ${causes.get(number).title}`.slice(0, 90))));
  by_id("by-file").append(...names.map(name => element("option", {}, name)));
}

function set_up_causes() {
  for (const section of document.querySelectorAll(".cause")) {
    const cause = {section, release: section.dataset.release, title: section.querySelector("h3").lastChild.textContent.trim(), changes: null, list: element("div")};
    causes.set(Number(section.dataset.number), cause);
    section.querySelector(".places")?.replaceWith(cause.list);
    section.addEventListener("toggle", () => {
      if (!section.open) return cause.list.replaceChildren();
      if (!cause.changes) filter_causes();
      draw_cause(cause);
    });
  }
}

function set_up_filters() {
  let later = 0;
  const filter = () => { filter_causes(); draw(); };
  by_id("filters").addEventListener("input", () => { clearTimeout(later); later = setTimeout(filter, 150); });
  by_id("filters").addEventListener("reset", () => setTimeout(filter));
  by_id("filters").addEventListener("submit", event => { event.preventDefault(); step(true); });
  for (const item of document.querySelectorAll(".releases li:not(.quiet)")) {
    const name = item.querySelector(".release");
    name.replaceChildren(button(name.textContent, () => {
      by_id("by-release").value = item.dataset.release;
      filter();
      by_id("changes").scrollIntoView();
    }, {"aria-label": `Changes of release ${name.textContent}`}));
  }
}

function set_up_view() {
  view.canvas = element("div", {class: "canvas"});
  view.box = element("div", {class: "viewer", tabindex: "0", role: "region", "aria-label": "The upgraded text"}, view.canvas);
  const tabs = element("div", {class: "tabs", role: "group", "aria-label": "Files"}, ...names.map(name => button(name, () => show_file(name), {value: name, "aria-pressed": "false"})));
  const unfold = fold => () => { fold ? fold_unchanged() : view.folded.fill(0); find_visible(); draw(); };
  const tools = element("div", {class: "tools"}, button("Previous change", () => step(false)), button("Next change", () => step(true)),
    button("Unfold all", unfold(false)), button("Fold what is unchanged", unfold(true)));
  by_id("text").append(tabs, tools, view.box);
  let drawing = false;
  view.box.addEventListener("scroll", () => {
    if (drawing || view.box.scrollTop === view.drawn) return; // sideways all is drawn
    drawing = true;
    requestAnimationFrame(() => { drawing = false; draw(); });
  });
  addEventListener("resize", draw);
  show_file(names[0]);
}

function set_up_keys() {
  addEventListener("keydown", event => {
    const typing = event.target.matches?.("input, select, textarea");
    if (event.key === "Escape" && typing) event.target.blur();
    if (typing || event.ctrlKey || event.metaKey || event.altKey) return;
    const act = {"/": () => by_id("search").focus(), j: () => step(true), k: () => step(false)}[event.key];
    if (act) { event.preventDefault(); act(); }
  });
}

/* Paper has the changes that the filters let through, each cause open. */
function set_up_print() {
  let closed = [];
  addEventListener("beforeprint", () => {
    filter_causes();
    closed = [...causes.values()].filter(cause => !cause.section.open);
    let left = IN_PRINT;
    for (const cause of causes.values()) {
      cause.section.open = true;
      draw_cause(cause, Math.min(left, cause.changes.length));
      left -= Math.min(left, cause.changes.length);
    }
  });
  addEventListener("afterprint", () => closed.forEach(cause => { cause.section.open = false; }));
}

function start() {
  names = [...document.querySelectorAll("section.text")].map(section => section.dataset.file);
  set_up_causes();
  if (names.length === 0) return;
  for (const part of document.querySelectorAll(".scripted")) part.hidden = false;
  fill_choices();
  set_up_view();
  set_up_filters();
  set_up_keys();
  set_up_print();
  addEventListener("hashchange", () => follow(location.hash));
  document.addEventListener("click", event => {
    const link = event.target.closest?.('a[href^="#"]');
    if (link && follow(link.getAttribute("href"))) event.preventDefault();
  });
  follow(location.hash);
}

addEventListener("DOMContentLoaded", () => {
  try {
    start();
  } catch (error) {
    document.documentElement.classList.remove("scripts"); // the rows say all of it, too
    throw error;
  }
});
