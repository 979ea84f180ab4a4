// The operator console's pages: the model kept current from the event
// stream, the main window's figures and strip charts drawn from it, and
// every other page (pages.js) driven through the operator API.
"use strict";

const model = {};
let current = null;  // the page in view; null for the main window
let updaters = [];   // what refreshes the page in view from the model
let queue = Promise.resolve();

const $ = (id) => document.getElementById(id);

function text(value) {
  if (value === undefined || value === null) return "";
  return typeof value === "object" ? JSON.stringify(value) : String(value);
}

function el(tag, attrs, ...children) {
  const e = document.createElement(tag);
  Object.assign(e, attrs || {});
  e.append(...children.filter((c) => c !== null && c !== undefined));
  return e;
}

// --- Dialogs: the program's messages, and its questions before a command.

let dialogs = Promise.resolve();

// Shows `message` with `buttons` (captions); resolves to the one pressed.
// Dialogs come one after another, never over each other.
function dialog(message, buttons) {
  const shown = dialogs.then(() => new Promise((resolve) => {
    const box = $("dialog");
    $("dialog-text").textContent = message;
    const row = $("dialog-buttons");
    row.replaceChildren(...buttons.map((caption) => el("button", {
      textContent: caption,
      onclick: () => { box.close(); resolve(caption); },
    })));
    box.showModal();
  }));
  dialogs = shown;
  return shown;
}

// --- The link to the server.

function linkState(up, message) {
  const link = $("link");
  link.textContent = message;
  link.classList.toggle("down", !up);
  $("banner").hidden = up;
  $("banner").textContent = up ? "" : message;
}

function formValues(form) {
  return form === "MainFrm" ? model : ((model.forms || {})[form] || {});
}

const asked = new Set();  // questions the page put to the operator itself

// Runs operator steps, one request after another in the order asked.
function operate(steps) {
  const run = async () => {
    let answer;
    try {
      const r = await fetch("api/operator", {
        method: "POST",
        headers: {"Content-Type": "application/json"},
        body: JSON.stringify(steps),
      });
      answer = await r.json().catch(() => ({error: "the server answered " + r.status}));
    } catch (e) {
      answer = {error: "the server cannot be reached"};
    }
    $("answer").textContent = answer.error ? "Refused: " + answer.error : "";
    if (answer.fields && answer.form) {
      if (answer.form === "MainFrm") Object.assign(model, answer.fields);
      else if (model.forms) model.forms[answer.form] = Object.assign(formValues(answer.form), answer.fields);
    }
    for (const m of answer.messages || []) dialog(m, ["OK"]);
    for (const q of answer.questions || []) {
      if (!asked.has(q)) dialog("The program asked: " + q + "\nThe server's own answer was given.", ["OK"]);
    }
    asked.clear();
    refresh();
    return answer;
  };
  queue = queue.then(run, run);
  return queue;
}

const stepOf = (page, extra) => (page.form === "MainFrm" ? extra : Object.assign({form: page.form}, extra));

// A command of the page in view, with its question asked first.
async function command(page, name) {
  const step = stepOf(page, {do: name});
  const question = QUESTIONS[page.form + " " + name];
  if (question && question.when(model)) {
    const choice = await dialog(question.text, ["Yes", "No"]);
    asked.add(question.text);
    step.answer = choice === "Yes" ? "yes" : "no";
  }
  const answer = await operate(step);
  if (page.form === "MainFrm" && name === "Command7") go("");
  if (page.form !== "MainFrm" && formValues(page.form).open === false && !answer.error) go("");
}

function setField(page, field, index, value) {
  const set = {[field]: index === undefined ? value : {[index]: value}};
  return operate(stepOf(page, {set}));
}

// --- The main window.

function drawChart(canvas, history, scale) {
  if (!Array.isArray(history)) return;
  const g = canvas.getContext("2d");
  const w = canvas.width, h = canvas.height;
  g.fillStyle = "#000";
  g.fillRect(0, 0, w, h);
  g.strokeStyle = "#063";
  for (let y = 0; y <= h; y += h / 4) { g.beginPath(); g.moveTo(0, y); g.lineTo(w, y); g.stroke(); }
  g.strokeStyle = "#0f0";
  g.beginPath();
  history.forEach((v, i) => {
    const x = (i / Math.max(1, history.length - 1)) * w;
    const y = h - Math.min(1, Math.max(0, v / scale)) * h;
    if (i === 0) g.moveTo(x, y); else g.lineTo(x, y);
  });
  g.stroke();
  g.fillStyle = "#9f9";
  g.font = "10px sans-serif";
  g.fillText(String(scale), 2, 10);
  canvas.dataset.drawn = String(history.length);
}

function scaleOf(name) {
  return Number(model[name] !== undefined ? model[name] : name) || 100;
}

function showMain() {
  for (const e of document.querySelectorAll("#page-main [data-field]")) {
    e.textContent = text(model[e.dataset.field]) + (e.dataset.suffix || "");
  }
  for (const c of document.querySelectorAll("#page-main canvas[data-history]")) {
    drawChart(c, model[c.dataset.history], scaleOf(c.dataset.scale));
  }
  const seconds = Number(model.LogAllSeconds) || 0;
  $("recording").textContent = seconds > 0
    ? "Recording all data: " + Math.floor(Number(model.LogAllElapsed) || 0) + " of " + seconds + " s"
    : "Not recording";
  $("recording").classList.toggle("on", seconds > 0);
}

function refresh() {
  $("clock").textContent = model.time || "";
  if (model.ComputerName) $("title").textContent = "Tarnex Server: " + model.ComputerName;
  if (current) {
    const values = formValues(current.form);
    for (const u of updaters) u(values);
  } else {
    showMain();
  }
}

// --- The other pages, drawn from their descriptions.

// An input kept current from the model unless the operator is in it.
function bind(input, read) {
  updaters.push((values) => { if (document.activeElement !== input) read(values); });
}

const valueAt = (values, item) =>
  item.index === undefined ? values[item.field] : (values[item.field] || [])[item.index];

function labelled(caption, ...controls) {
  return el("label", {className: "row"}, el("span", {textContent: caption}), ...controls);
}

const widgets = {
  text(page, item) {
    const input = el("input", {type: item.type === "number" ? "number" : "text", name: item.field});
    input.dataset.field = item.field;
    if (item.index !== undefined) input.dataset.index = item.index;
    let list = null;
    if (item.list) {
      list = el("datalist", {id: "list-" + item.field});
      input.setAttribute("list", list.id);
      updaters.push((values) => {
        const options = values[item.list] || [];
        if (list.childElementCount !== options.length) {
          list.replaceChildren(...options.map((o) => el("option", {value: o})));
        }
      });
    }
    bind(input, (values) => { input.value = text(valueAt(values, item)); });
    input.onchange = () => {
      const value = item.type === "number" ? Number(input.value) : input.value;
      setField(page, item.field, item.index, value);
    };
    if (item.click) input.onfocus = () => operate(stepOf(page, {do: item.click}));
    return labelled(item.label, input, list);
  },
  number(page, item) { return widgets.text(page, item); },
  area(page, item) {
    const area = el("textarea", {name: item.field, rows: 5});
    area.dataset.field = item.field;
    bind(area, (values) => {
      const v = values[item.field];
      area.value = Array.isArray(v) ? v.join("\n") : text(v);
    });
    area.onchange = () => {
      const v = Array.isArray(formValues(page.form)[item.field])
        ? area.value.split("\n").filter((line) => line !== "") : area.value;
      setField(page, item.field, undefined, v);
    };
    return labelled(item.label, area);
  },
  check(page, item) {
    const box = el("input", {type: "checkbox", name: item.field});
    box.dataset.field = item.field;
    if (item.index !== undefined) box.dataset.index = item.index;
    bind(box, (values) => { box.checked = Number(valueAt(values, item)) !== 0; });
    box.onchange = () => {
      if (item.command) operate(stepOf(page, {do: item.command}));
      else setField(page, item.field, item.index, box.checked ? 1 : 0);
    };
    return el("label", {className: "tick"}, box, " " + item.label);
  },
  checks(page, item) {
    return el("div", {className: "ticks"},
              ...item.labels.map((label, index) => widgets.check(page, {field: item.field, index, label})));
  },
  // One of several: a number field holds the index picked; option buttons
  // over an array hold True (-1) at the one picked.
  radio(page, item) {
    const group = el("div", {className: "ticks"});
    const over = item.type === "options";
    item.labels.forEach((label, index) => {
      const r = el("input", {type: "radio", name: item.field, value: String(index)});
      bind(r, (values) => {
        const v = values[item.field];
        r.checked = over ? Number((v || [])[index]) !== 0 : Number(v) === index;
      });
      r.onchange = () => {
        if (!r.checked) return;
        setField(page, item.field, undefined, over ? item.labels.map((_, i) => (i === index ? -1 : 0)) : index);
      };
      group.append(el("label", {className: "tick"}, r, " " + label));
    });
    return group;
  },
  options(page, item) { return widgets.radio(page, item); },
  show(page, item) {
    const out = el("output");
    out.dataset.field = item.field;
    updaters.push((values) => { out.textContent = text(values[item.field]); });
    return item.label ? labelled(item.label, out) : el("div", {className: "line"}, out);
  },
  pre(page, item) {
    const out = el("pre");
    out.dataset.field = item.field;
    updaters.push((values) => { out.textContent = text(values[item.field]); });
    return out;
  },
  list(page, item) {
    const select = el("select", {size: 5, name: item.field});
    select.dataset.field = item.field;
    updaters.push((values) => {
      const entries = values[item.field] || [];
      const now = Array.from(select.options, (o) => o.text);
      if (now.length !== entries.length || now.some((t, i) => t !== entries[i])) {
        select.replaceChildren(...entries.map((e, i) => el("option", {text: e, value: String(i)})));
      }
    });
    const parts = [select];
    if (item.pick) {
      select.onchange = () => setField(page, item.pick, undefined, Number(select.value));
      parts.push(el("button", {textContent: "Remove", onclick: () => command(page, item.remove)}));
    }
    return labelled(item.label, ...parts);
  },
  pairs(page, item) {
    const table = el("table", {className: "pairs"});
    updaters.push((values) => {
      const caps = values[item.caps] || [], vals = values[item.vals] || [];
      const red = item.red ? values[item.red] || [] : [];
      table.replaceChildren(...caps.map((c, i) => {
        if (c === "" && (vals[i] || "") === "") return null;
        const v = el("td", {textContent: text(vals[i])});
        if (Number(red[i]) === 1) v.className = "red";
        return el("tr", null, el("th", {textContent: c}), v);
      }).filter((r) => r));
    });
    return table;
  },
  rows(page, item) {
    const table = el("table", {className: "rows"});
    updaters.push((values) => {
      table.replaceChildren(...(values[item.field] || []).map((row) =>
        el("tr", null, ...String(row).split("\t").map((cell) => el("td", {textContent: cell})))));
    });
    return table;
  },
  charts(page, item) {
    const box = el("div", {className: "charts"});
    const canvases = item.titles.map((t) => {
      const c = el("canvas", {width: 300, height: 100});
      box.append(el("h3", {textContent: t}), c);
      return c;
    });
    updaters.push((values) => {
      const histories = values[item.field] || [];
      canvases.forEach((c, i) => drawChart(c, histories[i], scaleOf(item.scales[i])));
    });
    return box;
  },
  slots(page) {
    const table = el("table", {className: "slots"},
                     el("tr", null, ...["Slot", "Link", "Port", "Password", "", "Back-up port", "User"]
                       .map((h) => el("th", {textContent: h}))));
    for (let i = 0; i < 5; ++i) {
      const cell = (item) => {
        const row = widgets.text(page, item);
        return el("td", null, row.querySelector("input"), row.querySelector("datalist"));
      };
      const link = el("td");
      updaters.push((values) => {
        link.textContent = Number((values.conc || [])[i]) === 1 ? "connected"
          : (Number((values.cno || [])[i]) === 1 ? "not configured" : "listening");
      });
      table.append(el("tr", null, el("td", {textContent: String(i + 1)}), link,
                      cell({field: slotName("CPUPort", i), list: slotName("CPUPort", i) + "List"}),
                      cell({field: "CPUpass", index: i}),
                      el("td", null, el("button", {textContent: "Generate",
                                                   onclick: () => command(page, "Generate(" + i + ")")})),
                      cell({field: slotName("BUPort", i), list: slotName("BUPort", i) + "List"}),
                      cell({field: "MUser", index: i})));
    }
    return el("div", {className: "scroll"}, table);
  },
  buttons(page, item) {
    return el("div", {className: "buttons"}, ...item.items.map(([name, caption]) => {
      const b = el("button", {onclick: () => command(page, name)});
      b.dataset.command = name;
      if (typeof caption === "string") b.textContent = caption;
      else updaters.push((values) => { b.textContent = text(values[caption.field]) || name; });
      return b;
    }));
  },
};

function showPage(page) {
  updaters = [];
  const body = $("page-body");
  body.replaceChildren(el("h2", {textContent: page.title}));
  if (page.about) body.append(el("p", {className: "about", textContent: page.about}));
  for (const item of page.items) body.append(widgets[item.type](page, item));
  if (page.form !== "MainFrm") {
    body.append(el("div", {className: "buttons"}, el("button", {
      textContent: "Close window",
      onclick: async () => { await operate({form: page.form, close: true}); go(""); },
    })));
  }
}

// --- Pages by the address's fragment: #/remotes, #/email ...

function go(id) {
  if (location.hash !== "#/" + id) location.hash = "#/" + id;
}

async function route() {
  const id = location.hash.replace(/^#\/?/, "");
  const page = PAGES.find((p) => p.id === id) || null;
  current = page;
  $("page-main").hidden = page !== null;
  $("page").hidden = page === null;
  for (const a of document.querySelectorAll("nav a")) a.classList.toggle("here", a.dataset.page === id);
  if (!page) { refresh(); return; }
  showPage(page);
  // As the window or panel comes up: the panel shown, the window opened
  // (through its menu where it has one, which sets what the window shows).
  // A menu's answer is the main window's; a step of the form alone brings
  // the window's fields.
  if (page.show) await operate({do: page.show});
  else if (page.menu) await operate([{do: page.menu}, {form: page.form}]);
  else await operate({form: page.form, open: true});
  refresh();
}

function listen() {
  const events = new EventSource("api/events");
  events.addEventListener("frame", (e) => {
    const frame = JSON.parse(e.data);
    Object.assign(model, frame.changed || {});
    model.time = frame.time;
    linkState(true, "live");
    refresh();
  });
  events.onerror = () => linkState(false, "The link to the server is down; trying again…");
}

function buildMenus() {
  const nav = $("nav");
  nav.append(el("a", {href: "#/", textContent: "Main window"}));
  nav.lastChild.dataset.page = "";
  for (const p of PAGES) {
    const a = el("a", {href: "#/" + p.id, textContent: p.title});
    a.dataset.page = p.id;
    nav.append(a);
  }
  // The main window's menus; closing the window ends the program as its
  // close box did, and both ways out are asked about first.
  for (const b of document.querySelectorAll("#page-main button[data-command]")) {
    b.onclick = async () => {
      if (b.dataset.confirm && (await dialog(b.dataset.confirm, ["Yes", "No"])) !== "Yes") return;
      operate(b.dataset.command === "close" ? {form: "MainFrm", close: true} : {do: b.dataset.command});
    };
  }
}

async function start() {
  const r = await fetch("api/forms").catch(() => null);
  if (!r || r.status === 401) {
    linkState(false, "Not logged in: open /login?token=TOKEN (the token is in Bin/Console.token)");
    return;
  }
  buildMenus();
  window.addEventListener("hashchange", route);
  const m = await fetch("api/model").then((x) => x.json()).catch(() => ({}));
  Object.assign(model, m);
  await route();
  listen();
}

start();
