// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// The front panel from end to end: a browser, the server, the device. Run by ./test; PROJECT is the
// project's folder and WORK a folder for this device.
import assert from "node:assert/strict";
import { execFileSync, spawn } from "node:child_process";
import { randomBytes } from "node:crypto";
import { readFileSync } from "node:fs";
import http from "node:http";
import net from "node:net";
import os from "node:os";
import { createInterface } from "node:readline";
import { after, before, test } from "node:test";
import { chromium } from "playwright-core";

const { PROJECT, WORK } = process.env;
const PATIENCE = 600_000; // milliseconds, for a hang; the device is emulated on a machine that may be busy
let server, address, browser, page;

async function open() {
  const opened = await browser.newPage();
  opened.setDefaultTimeout(PATIENCE);
  await opened.goto(address.href);
  return opened;
}
const word = (name, text, on = page) => on.locator(`dd[data-state=${name}]`, { hasText: new RegExp(`^${text}$`) }).waitFor();
const lamp = (lit, on = page) => on.getByRole("img", { name: `Torch: ${lit ? "on" : "off"}` }).waitFor();
const pixel = (x, y) => page.evaluate(([x, y]) => [...document.querySelector("canvas").getContext("2d").getImageData(x, y, 1, 1).data], [x, y]);

/** A connection without a page; the caller sends frames of text or of other kinds. */
function visitor(headers = {}) {
  return new Promise((resolve, reject) => {
    const request = http.get(new URL("/console", address), { headers: {
      Connection: "Upgrade", Upgrade: "websocket", "Sec-WebSocket-Version": "13", "Sec-WebSocket-Key": "AAAAAAAAAAAAAAAAAAAAAA==", ...headers } });
    request.on("upgrade", (_, socket) => resolve(socket.on("error", () => {})));
    request.on("response", (response) => resolve(response.resume().statusCode));
    request.on("error", reject);
  });
}
function frame(text, kind = 0x81) {
  const data = Buffer.from(text);
  const size = data.length < 126 ? [0x80 | data.length] : [0xff, 0, 0, 0, 0, ...Buffer.from(new Uint32Array([data.length]).buffer).reverse()];
  return Buffer.concat([Buffer.from([kind, ...size, 0, 0, 0, 0]), data]);
}
async function answers(socket, ...frames) {
  let text = "";
  socket.on("data", (data) => { text += data.toString("latin1"); });
  for (const sent of frames) socket.write(sent);
  while ((text.match(/ok|error /g) ?? []).length < frames.length && !socket.destroyed) await new Promise((resolve) => setTimeout(resolve, 50));
  return text;
}
/** A value of the device's state as the console reports it, which the page may not show yet. */
async function state(name) {
  const socket = await visitor();
  const text = await answers(socket, frame("state"));
  socket.destroy();
  return new RegExp(`^${name} (.*)`, "m").exec(text.slice(4))[1]; // after the frame's head
}

/** Drops a file on an area of the page, as a hand does. */
async function drop(area, name, content) {
  const transfer = await page.evaluateHandle(([file, base64]) => {
    const dropped = new DataTransfer();
    dropped.items.add(new File([Uint8Array.from(atob(base64), (letter) => letter.charCodeAt(0))], file));
    return dropped;
  }, [name, Buffer.from(content).toString("base64")]);
  await page.locator(area).dispatchEvent("drop", { dataTransfer: transfer });
}
/** All controls below a node of the accessibility tree. */
const CONTROLS = ["button", "checkbox", "combobox", "slider", "spinbutton"];
function* controls(node) {
  if (CONTROLS.includes(node.role)) yield node;
  for (const child of node.children ?? []) yield* controls(child);
}

before(async () => {
  const panel = ["--work", WORK, "--snapshot", "--panel", "0"];
  server = spawn("/usr/bin/python3", [`${PROJECT}/virtual-device/console`, ...panel], {
    stdio: ["ignore", "pipe", "inherit"],
  });
  for await (const line of createInterface({ input: server.stdout })) {
    if (line.startsWith("http:")) {
      address = new URL(line);
      break;
    }
  }
  browser = await chromium.launch({
    executablePath: "/usr/bin/chromium",
    args: [
      "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
      "--disable-background-networking", "--disable-component-update", "--disable-sync",
    ],
  });
  page = await open();
});
after(async () => {
  await page?.screenshot({ path: `${WORK}/end.png` });
  await browser?.close();
  server?.kill();
});

test("a click and a key switch the torch, and every page shows it", async (context) => {
  await word("screen", "thermal image");
  const other = await open();
  await page.getByRole("button", { name: "Torch" }).click({ delay: 150 });
  await Promise.all([lamp(true), lamp(true, other)]);
  assert.equal(await state("led"), "1");
  await other.close();
  await page.keyboard.press("t", { delay: 150 });
  await lamp(false);
  assert.equal(await state("led"), "0");
  await page.locator("#rate", { hasText: /\d/ }).waitFor();
  const rate = parseInt(await page.locator("#rate").textContent());
  context.diagnostic(`${rate} pictures a second`);
  assert.ok(rate >= 1, `only ${rate} pictures a second`); // 15 and more where the machine is not shared
});

test("every control has a name, and the display stays in sight on a phone", async () => {
  const found = [...controls(await page.accessibility.snapshot())];
  for (const role of CONTROLS) assert.ok(found.some((node) => node.role === role), role);
  assert.deepEqual(found.filter((node) => !node.name), []);
  assert.ok(found.some((node) => node.role === "slider" && node.name.startsWith("Charge")));
  const before = page.viewportSize();
  await page.setViewportSize({ width: 390, height: 780 });
  await page.locator("#save-script").scrollIntoViewIfNeeded();
  const display = await page.locator("#display").boundingBox();
  assert.ok(display.y >= 0 && display.y + display.height < 780 / 2, JSON.stringify(display));
  const save = await page.locator("#save-script").boundingBox();
  assert.ok(save.y > display.y + display.height, JSON.stringify(save));
  assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), 390);
  await page.screenshot({ path: `${WORK}/phone.png` });
  await page.setViewportSize(before);
});

test("shortcuts can be off, a script runs, and what was clicked is saved as one", async () => {
  const shortcuts = page.getByLabel("Keyboard shortcuts");
  await shortcuts.uncheck();
  await page.keyboard.press("t", { delay: 150 });
  await drop("#script-drop", "on.console", "# a script\nbutton torch down\nwait 0.2\nbutton torch up\nbattery level 33\n");
  await page.getByText("on.console is done").waitFor();
  await lamp(true); // one click, not two
  assert.equal(await state("level"), "33");
  await drop("#script-drop", "bad.console", "battery level 40\nput /etc/passwd /x\nbattery level 50\n");
  await page.getByText("bad.console, line 2: the panel has no such command").waitFor();
  assert.equal(await state("level"), "40");
  await shortcuts.check();
  await page.keyboard.press("t", { delay: 150 });
  await lamp(false);
  const [saved] = await Promise.all([page.waitForEvent("download"), page.getByRole("button", { name: "Save as script" }).click()]);
  const lines = readFileSync(await saved.path(), "utf8");
  assert.match(lines, /^battery level 80\nstart\n/m);
  assert.match(lines, /^button torch down\n(wait [0-9.]+\n)?button torch up$/m);
  const [picture] = await Promise.all([page.waitForEvent("download"), page.getByRole("button", { name: "Save the picture" }).click()]);
  assert.equal(readFileSync(await picture.path()).subarray(1, 4).toString(), "PNG");
});

test("the device stays on when the page that restarted it closes", async () => {
  const leaving = await visitor();
  leaving.write(frame("restart"));
  await word("power", "starting");
  leaving.destroy();
  await word("screen", "thermal image");
  await page.waitForTimeout(1000);
  assert.equal(await state("power"), "on");
});

test("other origins are refused, and bad input does not affect other pages", async () => {
  const port = address.port;
  assert.equal(await visitor({ Host: `panel.example:${port}` }), 403);
  assert.equal(await visitor({ Origin: "http://panel.example" }), 403);
  assert.equal(await visitor({ Origin: "null" }), 403);
  for (const other of Object.values(os.networkInterfaces()).flat().filter((each) => !each.internal && each.family === "IPv4")) {
    await assert.rejects(new Promise((resolve, reject) => net.connect(port, other.address, resolve).on("error", reject)));
  }
  const socket = await visitor();
  const lines = [
    "", "shell id", "put /etc/passwd /x", "screenshot /tmp/x.png", "update ../../flash/bank1.raw",
    "button torch sideways", "battery level 1e9", "camera rate 241", "picture -1", "state\nquit",
    "camera play /etc/passwd", "camera record /tmp/recording 1", "gauge dump /tmp/x", "wait 3600",
    "charger 'on",
  ];
  const text = await answers(socket, ...lines.map((line) => frame(line)), frame("state", 0x82));
  assert.equal(text.match(/error /g).length, lines.length + 1, text);
  // A frame that is too long, random bytes, and a client that requests pictures and never reads them.
  (await visitor()).write(frame("x".repeat(1 << 20)));
  (await visitor()).write(randomBytes(5000));
  const slow = await visitor();
  slow.pause().write(Buffer.concat(Array(500).fill(frame("picture 0"))));
  // The power button that a page holds is released when the page closes, or the device would turn off.
  const leaving = await open();
  await word("screen", "thermal image", leaving);
  await leaving.locator("[data-key=power]").focus();
  await leaving.keyboard.down(" ");
  await leaving.close();
  await page.waitForTimeout(2500);
  assert.equal(await state("power"), "on");
  await page.keyboard.press("t", { delay: 150 });
  await lamp(true);
  slow.destroy();
});

test("the charger shows the charging screen, and unplugging it turns the device off", async () => {
  await page.getByLabel("Charger plugged in").check();
  await word("connection", "battery and charger");
  await word("screen", "charging");
  await lamp(false);
  // Not by waitForFunction(): the page's policy forbids the evaluation by which it polls.
  while ((await pixel(240, 276))[2] <= 200) await page.waitForTimeout(50);
  const frameOfBattery = await pixel(163, 276);
  [0x2a, 0x35, 0x41].forEach((part, i) => assert.ok(Math.abs(part - frameOfBattery[i]) < 12, `${frameOfBattery}`));
  await page.screenshot({ path: `${WORK}/charging.png` });
  await page.getByLabel("Charger plugged in").uncheck();
  await word("power", "off");
});

test("a file that is no update is refused, and an update is installed and runs", async () => {
  execFileSync(`${PROJECT}/virtual-device/make-firmware`, ["--version", "32.27.1.6", `${WORK}/made`]);
  execFileSync(`${PROJECT}/virtual-device/make-update`, ["fit", "rootfs", "THERMAL.STR"].map((name) => `${WORK}/made/${name}`));
  // The device gives a host two seconds, which a busy machine may not be able to keep.
  for (let attempt = 0; attempt < 20 && (await page.locator("#connection").textContent()) !== "host"; ++attempt) {
    await page.getByRole("button", { name: "Connect to the computer" }).click();
    await word("connection", "undetermined");
    await word("connection", "(no )?host");
  }
  const slot = await page.locator("#slot").textContent();
  await drop("#update-drop", "notes.txt", "no archive");
  await page.getByText("notes.txt: refused: no update archive").waitFor();
  await drop("#update-drop", "THERMAL.STR", readFileSync(`${WORK}/made/THERMAL.STR`));
  await word("update", "complete");
  await word("usb", "not attached"); // the update has taken the port off the bus
  await page.getByText("THERMAL.STR: installed").waitFor();
  await word("screen", "update complete");
  await page.getByRole("button", { name: "Restart into the new firmware" }).click();
  await word("update", "none");
  await word("slot", String(1 - slot));
  await word("version", "1.6.0");
});
