// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Scripts of console commands: what was clicked is saved as one, and one that is dropped is carried
// out. Also downloads of the picture and of the status lines.
import { download, wireDrop } from "./files.js";
import { element, onClick, sleep } from "./page.js";

const MOST_COMMANDS = 10_000;
const SHORTEST_WAIT = 0.2; // seconds; less comes from the browser, not from the user
// The device as the panel starts it.
const BEGIN = ["# Recorded on the front panel.", "battery level 80", "start", "expect-picture"];

const recorded = []; // {line, time}

export function record(line) {
  recorded.push({ line, time: performance.now() });
  if (recorded.length > MOST_COMMANDS) recorded.shift();
}

function script() {
  const lines = [...BEGIN];
  recorded.forEach(({ line, time }, index) => {
    const gap = index ? (time - recorded[index - 1].time) / 1000 : 0;
    if (gap > SHORTEST_WAIT) lines.push(`wait ${gap.toFixed(1)}`);
    lines.push(line);
  });
  return `${lines.join("\n")}\n`;
}

const text = (content) => new Blob([content], { type: "text/plain" });

export function wireScripts(line, say) {
  const message = element("script-text");
  onClick(element("save-script"), () => download(text(script()), "panel.console"));
  onClick(element("save-picture"), () => {
    element("display").toBlob((picture) => download(picture, "display.png"));
  });
  onClick(element("save-lines"), () => {
    const all = [...element("lines").children].map((entry) => `${entry.textContent}\n`);
    download(text(all.join("")), "status.log");
  });
  wireDrop("script", async (file) => {
    const failure = await carryOut(await file.text(), (command) => {
      message.textContent = `${file.name}: ${command}`;
    });
    message.textContent = failure ? `${file.name}, ${failure}` : `${file.name} is done`;
    if (failure) say(failure);
  }, say);

  /** Returns the number of the first line that failed, with the reason. */
  async function carryOut(content, show) {
    for (const [index, written] of content.split("\n").entries()) {
      const command = written.trim();
      if (!command || command.startsWith("#")) continue;
      show(command);
      const pause = /^wait (\d+(?:\.\d+)?)$/.exec(command);
      if (pause) {
        await sleep(1000 * Number(pause[1]));
        continue;
      }
      const answer = await line.send(command);
      if (!answer.ok) return `line ${index + 1}: ${answer.reason}`;
    }
    return "";
  }
}
