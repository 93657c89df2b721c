// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
import { Line } from "./connection.js";
import { followDisplay } from "./display.js";
import { wireKeys } from "./keys.js";
import { element, onClick, sleep } from "./page.js";
import { showRecording, wireRecordings } from "./recordings.js";
import { record, wireScripts } from "./scripts.js";
import { wireUpdates } from "./updates.js";

const REFRESH = 150; // milliseconds between two requests for the state
const GRACE = 1500; // milliseconds for which a control shows the user's value, not the device's
const MOST_LINES = 500;
const POWER = {
  off: "The device is off",
  cut: "The power was cut",
  failed: "The device has failed",
  starting: "Starting …",
};

const touched = new Map(); // when a control was last moved
const notice = element("notice");
let noticeTimer = 0;
let state = {};
let lineNumber = 0;

const line = new Line(
  () => say(""),
  () => say("The console does not answer. Trying to connect …", true),
);

function say(text, stays = false) {
  clearTimeout(noticeTimer);
  notice.textContent = text.charAt(0).toUpperCase() + text.slice(1);
  notice.hidden = !text;
  if (text && !stays) noticeTimer = setTimeout(() => say(""), 6000);
}

async function command(text) {
  record(text);
  const answer = await line.send(text);
  if (!answer.ok && line.open) say(answer.reason);
  return answer.ok;
}

// --- controls ------------------------------------------------------------------------------------

function wireSwitch(input) {
  const [on, off] = (input.dataset.words ?? "on off").split(" ");
  input.addEventListener("change", async () => {
    touched.set(input, Date.now());
    const accepted = await command(`${input.dataset.command} ${input.checked ? on : off}`);
    if (!accepted) touched.delete(input);
  });
}

/** Sends the newest value only, when the one before has been answered. */
function wireSlider(input) {
  let busy = false;
  let pending = false;
  input.addEventListener("input", async () => {
    touched.set(input, Date.now());
    showSlider(input);
    pending = true;
    if (busy) return;
    busy = true;
    while (pending) {
      pending = false;
      await command(`${input.dataset.command} ${input.value}`);
    }
    busy = false;
  });
}

function showSlider(input) {
  input.parentElement.querySelector("output").textContent = input.value + input.dataset.unit;
}

// Without the battery, since the device waits for a host only when nothing else supplies it.
async function attach() {
  for (const step of ["charger off", "battery off", "cable plug", "restart"]) {
    if (!(await command(step))) return;
  }
}

/** Returns whether they are on. Speech input may type single letters, so they can be off. */
function wireShortcuts() {
  const shortcuts = element("shortcuts");
  shortcuts.checked = localStorage.getItem("shortcuts") !== "off";
  const hint = document.querySelector(".shortcuts");
  const show = () => hint.classList.toggle("off", !shortcuts.checked);
  shortcuts.addEventListener("change", () => {
    localStorage.setItem("shortcuts", shortcuts.checked ? "on" : "off");
    show();
  });
  show();
  return () => shortcuts.checked;
}

function wireControls() {
  document.querySelectorAll(".switch input[data-command]").forEach(wireSwitch);
  document.querySelectorAll(".slide input").forEach(wireSlider);
  /** @type {NodeListOf<HTMLElement>} */
  const buttons = document.querySelectorAll("button[data-command]");
  for (const button of buttons) onClick(button, () => command(button.dataset.command));
  onClick(element("camera-error"), () => command(`camera error ${element("camera-code").value}`));
  onClick(element("gauge-raise"), () => command(`gauge fault ${element("gauge-fault").value}`));
  onClick(element("attach"), attach);
}

// --- state of the device -------------------------------------------------------------------------

function showState() {
  for (const [name, value] of Object.entries(state)) {
    for (const target of document.querySelectorAll(`[data-state="${name}"]`)) {
      showValue(target, value);
    }
  }
  const on = state.power === "on";
  element("power").className = on ? "good" : "bad";
  element("update").className = { complete: "good", failed: "bad" }[state.update] ?? "";
  const lit = on && state.led !== "0";
  element("lamp").classList.toggle("lit", lit);
  element("lamp").ariaLabel = `Torch: ${lit ? "on" : "off"}`;
  element("display").ariaLabel = `The device's display: ${state.screen}`;
  showRecording(state.recording);
  showSleep(on);
  const installed = state.update === "complete";
  element("restart").classList.toggle("next", installed);
  element("restart").textContent = installed ? "Restart into the new firmware" : "Restart";
}

function showValue(target, value) {
  if (target.tagName !== "INPUT") {
    if (target.textContent !== value) target.textContent = value;
  } else if (Date.now() - (touched.get(target) ?? 0) > GRACE) {
    if (target.type === "checkbox") target.checked = value === (target.dataset.on ?? "1");
    else {
      target.value = value;
      showSlider(target);
    }
  }
}

function showSleep(on) {
  const dark = !on || state.screen === "dark";
  const stopped = on && state.application === "ended";
  element("asleep").hidden = !dark;
  element("asleep-why").textContent = POWER[state.power] ??
    (stopped ? "The application has ended" : "The application is starting …");
  element("power-on").hidden = !(stopped || (!on && state.power !== "starting"));
}

function showLines(lines) {
  const list = element("lines");
  const follows = list.scrollHeight - list.scrollTop - list.clientHeight < 40;
  for (const text of lines) {
    const [, number, words] = /^(\d+) (.*)/.exec(text) ?? [];
    if (number === undefined) continue;
    lineNumber = Number(number) + 1;
    followUpdate(words);
    const entry = document.createElement("li");
    entry.textContent = words;
    if (/STATE: /.test(words)) entry.className = "turn";
    list.append(entry);
  }
  while (list.children.length > MOST_LINES) list.firstChild.remove();
  if (follows && lines.length) list.scrollTop = list.scrollHeight;
}

async function poll(watcher) {
  const answer = await watcher.send("state");
  if (answer.ok) {
    state = Object.fromEntries(answer.output.map((text) => text.split(/ (.*)/, 2)));
    showState();
  }
  showLines((await watcher.send(`lines ${lineNumber}`)).output);
}

wireControls();
wireKeys(command, wireShortcuts());
// On lines of their own: a copy of an update, a script and a recording take seconds.
const followUpdate = wireUpdates(new Line(), say, () => state.connection === "host");
wireScripts(new Line(), say);
wireRecordings(new Line(), say);
followDisplay(element("display"), (rate) => {
  element("rate").textContent = rate ? `${rate} pictures a second` : "";
});

// On a line of its own: a restart takes seconds and must not hold it up.
const watcher = new Line(async () => {
  // A console that was started again numbers its status lines from 0.
  lineNumber = 0;
  element("lines").replaceChildren();
  while (watcher.open) {
    await poll(watcher);
    await sleep(document.hidden ? 1000 : REFRESH);
  }
});
