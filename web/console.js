// The operator console's page: the model kept current from the event
// stream, the figures and the strip charts drawn from it, and the forms
// driven through the operator API.
"use strict";

const model = {};
let forms = [];

function text(value) {
  if (value === undefined || value === null) return "";
  return typeof value === "object" ? JSON.stringify(value) : String(value);
}

function showFigures() {
  for (const el of document.querySelectorAll("[data-field]")) {
    el.textContent = text(model[el.dataset.field]) + (el.dataset.suffix || "");
  }
  document.getElementById("clock").textContent = model.time || "";
  if (model.ComputerName) document.getElementById("title").textContent = "Tarnex Server: " + model.ComputerName;
  for (const canvas of document.querySelectorAll("canvas[data-history]")) drawChart(canvas);
}

// A strip chart: the history, newest on the right, against its scale.
function drawChart(canvas) {
  const history = model[canvas.dataset.history];
  if (!Array.isArray(history)) return;
  const scaleName = canvas.dataset.scale;
  const scale = Number(model[scaleName] !== undefined ? model[scaleName] : scaleName) || 100;
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
}

function linkState(up, message) {
  const el = document.getElementById("link");
  el.textContent = message;
  el.classList.toggle("down", !up);
}

function listen() {
  const events = new EventSource("api/events");
  events.addEventListener("frame", (e) => {
    const frame = JSON.parse(e.data);
    Object.assign(model, frame.changed || {});
    model.time = frame.time;
    linkState(true, "live");
    showFigures();
    showForm(false);
  });
  events.onerror = () => linkState(false, "the link to the server is down; trying again…");
}

async function operate(steps) {
  const r = await fetch("api/operator", {
    method: "POST",
    headers: {"Content-Type": "application/json"},
    body: JSON.stringify(steps),
  });
  const answer = await r.json().catch(() => ({error: "the server answered " + r.status}));
  document.getElementById("answer").textContent = JSON.stringify(answer, null, 1);
  for (const q of answer.questions || []) window.alert("Question: " + q);
  for (const m of answer.messages || []) window.alert(m);
  if (answer.fields && answer.form && model.forms && model.forms[answer.form]) {
    Object.assign(model.forms[answer.form], answer.fields);
  }
  return answer;
}

// The chosen form: its fields (editable) and its commands as buttons.
function showForm(rebuild) {
  const choice = document.getElementById("form-choice");
  const body = document.getElementById("form-body");
  const form = forms.find((f) => f.form === choice.value);
  if (!form) return;
  const values = form.form === "MainFrm" ? model : (model.forms || {})[form.form] || {};
  if (!rebuild) {
    for (const input of body.querySelectorAll("input[data-name]")) {
      if (document.activeElement !== input) input.value = text(values[input.dataset.name]);
    }
    return;
  }
  body.replaceChildren();
  const step = (extra) => Object.assign(form.form === "MainFrm" ? {} : {form: form.form}, extra);
  if (form.form !== "MainFrm") {
    const open = document.createElement("button");
    open.textContent = "Open";
    open.onclick = () => operate(step({open: true}));
    const close = document.createElement("button");
    close.textContent = "Close";
    close.onclick = () => operate(step({close: true}));
    body.append(open, close);
  }
  const names = form.fields[0] === "*" ? ["SName", "BNMonitor", "Check3", "Check1", "Text1", "BUPath"] : form.fields;
  for (const name of names) {
    const label = document.createElement("label");
    const input = document.createElement("input");
    input.dataset.name = name;
    input.value = text(values[name]);
    const save = document.createElement("button");
    save.textContent = "Set";
    save.onclick = () => {
      let value = input.value;
      try { if (/^[\[{]|^(true|false)$/.test(value)) value = JSON.parse(value); } catch (e) { /* a text */ }
      operate(step({set: {[name]: value}}));
    };
    label.append(name + " ", input, save);
    body.append(label);
  }
  for (const command of form.commands) {
    const b = document.createElement("button");
    b.textContent = command;
    b.onclick = () => operate(step({do: command}));
    body.append(b);
  }
}

async function start() {
  const r = await fetch("api/forms");
  if (r.status === 401) {
    linkState(false, "not logged in: open /login?token=TOKEN (the token is in Bin/Console.token)");
    return;
  }
  forms = await r.json();
  const choice = document.getElementById("form-choice");
  for (const f of forms) {
    const o = document.createElement("option");
    o.value = o.textContent = f.form;
    choice.append(o);
  }
  choice.onchange = () => showForm(true);
  showForm(true);
  listen();
}

start();
