"use strict";

const STATES = {
  converting: { tone: "--accent", live: true },
  paused: { tone: "--orange", live: false, fill: "--orange-fill" },
  finished: { tone: "--green", live: false, fill: "--green-fill" },
  stopped: { tone: "--orange", live: false, fill: "--orange-fill" },
  scanning: { tone: "--purple", live: true },
  sampling: { tone: "--purple", live: true },
  probeClip: { tone: "--purple", live: true },
  idle: { tone: "--muted", live: false },
};

// The icons lie on a grid of 24 × 24; each is a list of SVG elements.
const ICONS = {
  drive: [
    ["rect", { x: 3, y: 6, width: 18, height: 12, rx: 3 }],
    ["path", { d: "M7 14h5" }],
    ["path", { d: "M17 14h.01" }],
  ],
  compress: [
    ["path", { d: "M20 4l-6 6" }],
    ["path", { d: "M14 5v5h5" }],
    ["path", { d: "M4 20l6-6" }],
    ["path", { d: "M10 19v-5H5" }],
  ],
  save: [
    ["circle", { cx: 12, cy: 12, r: 9 }],
    ["path", { d: "M12 7.5v9" }],
    ["path", { d: "M8.5 13l3.5 3.5 3.5-3.5" }],
  ],
  clock: [
    ["circle", { cx: 12, cy: 12, r: 9 }],
    ["path", { d: "M12 7v5l3.5 2" }],
  ],
};

const INTERVAL = 2000, HIDDEN_INTERVAL = 15000, PATIENCE = 5000; // milliseconds
const SVG = "http://www.w3.org/2000/svg";
const SVG_TAGS = new Set(["svg", "path", "rect", "circle"]);

// Keeps a number and its unit on one line.
function joined(text) {
  return String(text).replace(/(\d) (?=(?:%|(?:GB|MB|KB|h|min|s|fps)(?![\p{L}\d])))/gu, "$1\u00a0");
}

// Describes an element; children are elements or texts, and what is null or false is left out.
function h(tag, attributes, ...children) {
  return { tag, attributes: attributes || {}, children: children.flat().filter((child) => child || child === 0) };
}

function create(tag) {
  return SVG_TAGS.has(tag) ? document.createElementNS(SVG, tag) : document.createElement(tag);
}

// Returns the node for a description: that of its key, or the one at this position; otherwise a new one.
function nodeFor(child, at, keyed) {
  if (typeof child !== "object")
    return at && at.nodeType === Node.TEXT_NODE ? at : document.createTextNode("");
  const { key } = child.attributes;
  const found = key === undefined ? at : keyed.get(key);
  if (found && found.localName === child.tag && found.key === key) return found;
  const fresh = create(child.tag);
  fresh.key = key;
  return fresh;
}

// Changes the children of an element to those described, and leaves unchanged ones alone: animations continue.
// A child with a key keeps its node wherever it moves.
function update(parent, children) {
  const wanted = new Set(children.map((child) => child.attributes && child.attributes.key));
  const keyed = new Map();
  for (const node of [...parent.childNodes])
    if (node.key !== undefined) wanted.has(node.key) ? keyed.set(node.key, node) : node.remove();
  let at = parent.firstChild;
  for (const child of children) {
    const node = nodeFor(child, at, keyed);
    if (node !== at) parent.insertBefore(node, at);
    if (typeof child === "object") {
      updateAttributes(node, child.attributes);
      update(node, child.children);
    } else if (node.data !== joined(child)) {
      node.data = joined(child);
    }
    at = node.nextSibling;
  }
  while (at) {
    const next = at.nextSibling;
    at.remove();
    at = next;
  }
}

function updateAttributes(node, attributes) {
  const wanted = Object.entries(attributes).filter(([name, value]) => name !== "key" && value != null);
  for (const { name } of [...node.attributes])
    if (!wanted.some(([other]) => other === name)) node.removeAttribute(name);
  for (const [name, value] of wanted)
    if (node.getAttribute(name) !== String(value)) node.setAttribute(name, value);
}

// Keeps the reader's scroll position while rows are added or removed above it.
function inPlace(action) {
  const parts = scrollY > 0 ? [...document.querySelectorAll("#content > *, #content li")].reverse() : [];
  const above = parts.find((part) => part.getBoundingClientRect().top <= 0);
  const read = parts[parts.indexOf(above) - 1] || above;
  const before = read && read.getBoundingClientRect().top;
  action();
  if (read && read.isConnected) scrollBy(0, read.getBoundingClientRect().top - before);
}

// Returns the same rows with a key each; of two equal ones, the second gets another key.
function withKeys(rows, keyOf, make) {
  const seen = new Map();
  return rows.map((row) => {
    const key = keyOf(row), count = seen.get(key) || 0;
    seen.set(key, count + 1);
    const element = make(row);
    element.attributes.key = key + "\n" + count;
    return element;
  });
}

function percentText(progress) {
  return Math.round(progress * 100) + " %";
}

function bar(progress, fill, size) {
  const isKnown = typeof progress === "number";
  const width = isKnown ? Math.min(Math.max(progress, 0), 1) * 100 : 0;
  return h("div", { class: "bar " + (size || ""), style: `--fill: var(${fill})` },
    h("i", isKnown ? { key: "known", style: `width: ${width}%` } : { key: "sweeping", class: "sweeping" }));
}

function header(s, state) {
  return h("header", { key: "header" },
    h("div", null,
      h("p", { class: "brand" }, "Kestrel"),
      h("h1", null, s.folder || "Kein Ordner geöffnet"),
      s.location && h("p", { class: "location" }, s.location)),
    h("div", { class: state.live ? "pill live" : "pill", style: `--tone: var(${state.tone})` },
      h("span", { class: "dot" }), h("span", null, s.headline || "")));
}

function overall(s, fill) {
  return h("section", { key: "overall", class: "card" },
    h("div", { class: "overall" },
      h("span", { class: "percent" }, percentText(s.progress)),
      s.progressText && h("span", { class: "count" }, s.progressText)),
    bar(s.progress, fill),
    s.note && h("p", { class: "note" }, s.note));
}

function tile(t) {
  const shapes = ICONS[t.icon] || [];
  return h("div", { class: "tile" },
    h("span", { class: "icon" },
      h("svg", { viewBox: "0 0 24 24", "aria-hidden": "true" }, shapes.map(([tag, attributes]) => h(tag, attributes)))),
    h("p", { class: t.tone === "green" ? "value tone-green" : "value" }, t.value),
    h("p", { class: "caption" }, t.caption));
}

function job(j, fill) {
  return h("li", null,
    h("p", { class: "row wrap" }, h("span", { class: "title" }, j.name)),
    h("p", { class: "row sub" }, h("span", null, j.folder || ""), h("span", null, j.text)),
    bar(j.progress, j.state === "analyzing" ? "--purple" : fill, "small"));
}

function folder(f, fill) {
  const isWorking = f.state === "working";
  let right = f.eta || f.count + (f.count === 1 ? " Datei" : " Dateien");
  let tone = null;
  if (f.state === "done") {
    right = "✓ fertig";
    tone = "tone-green";
  } else if (isWorking) {
    right = f.processed + " von " + f.count;
  }
  return h("li", isWorking ? { class: "working" } : null,
    h("p", { class: "row flow" }, h("span", { class: "title" }, f.name), h("span", { class: tone }, right)),
    f.eta && f.state === "open" && h("p", { class: "sub" }, "Geschätzte Fertigstellung"),
    isWorking && bar(f.progress, fill, "small"));
}

function recent(r) {
  const tone = r.tone === "green" || r.tone === "red" ? "tone-" + r.tone : null;
  return h("li", null, h("p", { class: "row flow" }, h("span", null, r.name), h("span", { class: tone }, r.text)));
}

function list(key, title, rows) {
  return rows.length > 0 && [
    h("h2", { key: key + "-title" }, title),
    h("ul", { key, class: "card list" }, rows),
  ];
}

function render(s) {
  const state = STATES[s.state] || STATES.idle;
  const fill = state.fill || "--accent";
  const hasProgress = typeof s.progress === "number";
  const tiles = s.tiles || [];
  const time = new Date().toLocaleTimeString("de-DE");
  inPlace(() => update(document.getElementById("content"), [
    header(s, state),
    hasProgress && overall(s, fill),
    tiles.length > 0 && h("div", { key: "tiles", class: "tiles" }, tiles.map(tile)),
    list("jobs", "Gerade in Arbeit", withKeys(s.jobs || [], (j) => j.folder + "\n" + j.name, (j) => job(j, fill))),
    list("folders", "Ordner", withKeys(s.folders || [], (f) => f.name, (f) => folder(f, fill))),
    list("recent", "Zuletzt fertig", withKeys(s.recent || [], (r) => r.name, recent)),
    !s.folder && h("p", { key: "empty", class: "card empty" },
      "@WITHOUT_FOLDER@"),
    h("footer", { key: "footer" }, "Stand " + time + (s.computer ? " · " + s.computer : "")),
  ].flat().filter(Boolean)));
  document.title = s.state === "converting" && hasProgress ? percentText(s.progress) + " · Kestrel" : "Kestrel";
}

function setOffline(isOffline) {
  document.getElementById("offline").hidden = !isOffline;
  document.body.classList.toggle("is-offline", isOffline);
}

let timer = 0, running = null;

async function refresh() {
  clearTimeout(timer);
  if (running) running.abort(); // a newer request replaces it
  const controller = running = new AbortController();
  const patience = setTimeout(() => controller.abort(), PATIENCE);
  let isOffline = true;
  try {
    const response = await fetch("/status.json", { cache: "no-store", signal: controller.signal });
    if (!response.ok) throw new Error("HTTP " + response.status);
    render(await response.json());
    isOffline = false;
  } catch (error) { // the banner reports it
  }
  clearTimeout(patience);
  if (running !== controller) return;
  running = null;
  setOffline(isOffline);
  timer = setTimeout(refresh, document.hidden ? HIDDEN_INTERVAL : INTERVAL);
}

document.addEventListener("visibilitychange", () => { if (!document.hidden) refresh(); });
window.addEventListener("pageshow", refresh);
