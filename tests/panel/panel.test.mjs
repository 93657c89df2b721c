// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// The front panel from end to end: a browser, the server, the device. Run by ./test; PROJECT is the
// project's folder and WORK a folder for this device.
import assert from "node:assert/strict";
import { execFileSync, spawn } from "node:child_process";
import { readFileSync } from "node:fs";
import http from "node:http";
import net from "node:net";
import os from "node:os";
import { createInterface } from "node:readline";
import { after, before, test } from "node:test";
import { chromium } from "playwright-core";

const { PROJECT, WORK } = process.env;
// Milliseconds, for a hang; the device is emulated on a machine that may be busy.
const PATIENCE = 600_000;
let server, address, browser, page;

async function open() {
  const opened = await browser.newPage();
  opened.setDefaultTimeout(PATIENCE);
  await opened.goto(address.href);
  return opened;
}
function word(name, text, on = page) {
  const whole = new RegExp(`^${text}$`);
  return on.locator(`dd[data-state=${name}]`, { hasText: whole }).waitFor();
}
function lamp(lit, on = page, timeout = PATIENCE) {
  return on.getByRole("img", { name: `Torch: ${lit ? "on" : "off"}` }).waitFor({ timeout });
}
// For the device, a press that a busy machine stretches beyond a second is no click: press again.
async function pressUntil(lit) {
  for (let tries = 0; tries < 10; ++tries) {
    await page.keyboard.press("t", { delay: 150 });
    if (await lamp(lit, page, 20000).then(() => true, () => false)) return;
  }
  await lamp(lit);
}
function pixel(x, y) {
  return page.evaluate((place) => {
    const pen = document.querySelector("canvas").getContext("2d");
    return [...pen.getImageData(...place, 1, 1).data];
  }, [x, y]);
}
const sleep = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));
/** Not by waitForFunction(): the page's policy forbids the evaluation by which it polls. */
async function until(condition, complaint) {
  for (const begin = Date.now(); !(await condition()); await sleep(50)) {
    assert.ok(Date.now() - begin < PATIENCE, complaint());
  }
}
/** Bytes that look random and are the same in each run. */
function noise(length) {
  let value = 1;
  return Buffer.from(Array.from({ length }, () => {
    value = (Math.imul(value, 1103515245) + 12345) >>> 0;
    return value >>> 16; // its lowest byte
  }));
}

/** A connection without a page; the caller sends frames of text or of other kinds. */
function visitor(headers = {}) {
  return new Promise((resolve, reject) => {
    const request = http.get(new URL("/console", address), {
      headers: {
        Connection: "Upgrade",
        Upgrade: "websocket",
        "Sec-WebSocket-Version": "13",
        "Sec-WebSocket-Key": "AAAAAAAAAAAAAAAAAAAAAA==",
        ...headers,
      },
    });
    request.on("upgrade", (_, socket) => resolve(socket.on("error", () => {})));
    request.on("response", (response) => resolve(response.resume().statusCode));
    request.on("error", reject);
  });
}
function frame(text, kind = 0x81) {
  const data = Buffer.from(text);
  const mask = Buffer.alloc(4);
  let head = Buffer.from([kind, 0x80 | data.length]);
  if (data.length >= 126) {
    head = Buffer.from([kind, 0xff, 0, 0, 0, 0, 0, 0, 0, 0]);
    head.writeUInt32BE(data.length, 6);
  }
  return Buffer.concat([head, mask, data]);
}
async function answers(socket, ...frames) {
  let text = "";
  socket.on("data", (data) => { text += data.toString("latin1"); });
  for (const sent of frames) socket.write(sent);
  const answered = () => (text.match(/ok|error /g) ?? []).length;
  await until(() => answered() >= frames.length || socket.destroyed,
    () => `${answered()} of ${frames.length} answers: ${text.slice(-200)}`);
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
    const bytes = Uint8Array.from(atob(base64), (letter) => letter.charCodeAt(0));
    dropped.items.add(new File([bytes], file));
    return dropped;
  }, [name, Buffer.from(content).toString("base64")]);
  await page.locator(area).dispatchEvent("drop", { dataTransfer: transfer });
}
/** The content of the file that a button saves. */
async function saved(name) {
  const button = page.getByRole("button", { name });
  const [file] = await Promise.all([page.waitForEvent("download"), button.click()]);
  return readFileSync(await file.path());
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
  await pressUntil(false);
  assert.equal(await state("led"), "0");
  // 15 and more on a machine that is not shared; on a busy one a second may have no picture.
  let rate;
  await until(async () => {
    rate = parseInt(await page.locator("#rate").textContent());
    return rate >= 1;
  }, () => `${rate} pictures a second`);
  context.diagnostic(`${rate} pictures a second`);
});

test("every control has a name, and the display stays in sight on a phone", async () => {
  const found = [...controls(await page.accessibility.snapshot())];
  for (const role of CONTROLS) assert.ok(found.some((node) => node.role === role), role);
  assert.deepEqual(found.filter((node) => !node.name), []);
  assert.ok(found.some((node) => node.role === "slider" && node.name.startsWith("Charge")));
  const desktop = page.viewportSize();
  await page.setViewportSize({ width: 390, height: 780 });
  await page.locator("#save-script").scrollIntoViewIfNeeded();
  const display = await page.locator("#display").boundingBox();
  assert.ok(display.y >= 0 && display.y + display.height < 780 / 2, JSON.stringify(display));
  const save = await page.locator("#save-script").boundingBox();
  assert.ok(save.y > display.y + display.height, JSON.stringify(save));
  assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), 390);
  await page.screenshot({ path: `${WORK}/phone.png` });
  await page.setViewportSize(desktop);
});

test("shortcuts can be off, a script runs, and what was clicked is saved as one", async () => {
  const shortcuts = page.getByLabel("Keyboard shortcuts");
  await shortcuts.uncheck();
  await page.keyboard.press("t", { delay: 150 });
  const click = "button torch down\nwait 0.2\nbutton torch up\n";
  await drop("#script-drop", "on.console", `# a script\n${click}battery level 33\n`);
  await page.getByText("on.console is done").waitFor();
  await lamp(true); // one click, not two
  assert.equal(await state("level"), "33");
  const refused = "battery level 40\nput /etc/passwd /x\nbattery level 50\n";
  await drop("#script-drop", "bad.console", refused);
  await page.getByText("bad.console, line 2: the panel has no such command").waitFor();
  assert.equal(await state("level"), "40");
  await shortcuts.check();
  await pressUntil(false);
  const lines = (await saved("Save as script")).toString();
  assert.match(lines, /^battery level 80\nstart\n/m);
  assert.doesNotMatch(lines, /undefined/); // from the switch of the shortcuts
  assert.match(lines, /^button torch down\n(wait [0-9.]+\n)?button torch up$/m);
  assert.equal((await saved("Save the picture")).subarray(1, 4).toString(), "PNG");
});

test("a file that cannot be read, as a folder, is reported and the next one is taken", async () => {
  await page.evaluate(() => {
    File.prototype.text = () => Promise.reject(new Error("not readable"));
  });
  await drop("#script-drop", "folder", "");
  await page.getByText("folder: not readable").waitFor();
  await page.evaluate(() => delete File.prototype.text);
  await drop("#script-drop", "short.console", "wait 0\n");
  await page.getByText("short.console is done").waitFor();
});

test("a recording is played, and what the camera sees is downloaded", async () => {
  await drop("#recording-drop", "notes.txt", "no recording");
  await page.getByText("notes.txt: not a recording").waitFor(); // the notice, with the reason
  assert.equal(await state("recording"), "none");
  await drop("#recording-drop", "even.rec", Buffer.alloc(38400, 0x10)); // 41.12 degrees everywhere
  await page.getByText("is played").waitFor();
  await page.getByLabel("Seconds").fill("1");
  const [file] = await Promise.all([
    page.waitForEvent("download"), page.locator("#record").click(),
  ]);
  const recorded = readFileSync(await file.path());
  assert.ok(recorded.length >= 38400 && recorded.length % 38400 === 0, `${recorded.length} bytes`);
  assert.deepEqual(recorded, Buffer.alloc(recorded.length, 0x10));
  await page.getByRole("button", { name: "Show the scene" }).click();
  await page.getByText("Drop a recording here").waitFor();
  assert.equal(await state("recording"), "none");
});

test("an open page shows the lines of a console that was started again", async () => {
  const opened = await browser.newPage();
  opened.setDefaultTimeout(PATIENCE);
  const sockets = [];
  let said = ["0 one", "1 two", "2 three"];
  await opened.routeWebSocket(/console$/, (socket) => {
    sockets.push(socket);
    socket.onMessage((text) => {
      const [, from] = /^lines (\d+)$/.exec(text) ?? [];
      socket.send([...said.slice(from ?? said.length), "ok"].join("\n"));
    });
  });
  await opened.goto(address.href);
  await opened.locator("#lines li", { hasText: "three" }).waitFor();
  said = ["0 again"];
  for (const socket of sockets) await socket.close();
  await opened.locator("#lines li", { hasText: "again" }).waitFor();
  assert.equal(await opened.locator("#lines li").count(), 1);
  await opened.close();
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
  const connect = (host) => new Promise((resolve, reject) => {
    net.connect(port, host, resolve).on("error", reject);
  });
  for (const other of Object.values(os.networkInterfaces()).flat()) {
    if (!other.internal && other.family === "IPv4") await assert.rejects(connect(other.address));
  }
  const socket = await visitor();
  const lines = [
    "", "shell id", "put /etc/passwd /x", "screenshot /tmp/x.png", "update ../../flash/bank1.raw",
    "button torch sideways", "battery level 1e9", "camera rate 241", "picture -1", "state\nquit",
    "camera play /etc/passwd", "camera record /tmp/recording 1", "camera record 1e9",
    "gauge dump /tmp/x", "wait 3600",
    "charger 'on",
  ];
  const text = await answers(socket, ...lines.map((line) => frame(line)), frame("state", 0x82));
  assert.equal(text.match(/error /g).length, lines.length + 1, text);
  // A frame that is too long, random bytes, and a client that requests pictures and reads none.
  (await visitor()).write(frame("x".repeat(1 << 20)));
  (await visitor()).write(noise(5000));
  const slow = await visitor();
  slow.pause().write(Buffer.concat(Array(500).fill(frame("picture 0"))));
  // The power button that a page holds is released when the page closes, or the device would turn
  // off.
  const leaving = await open();
  await word("screen", "thermal image", leaving);
  await leaving.locator("[data-key=power]").focus();
  await leaving.keyboard.down(" ");
  await leaving.close();
  await page.waitForTimeout(2500);
  assert.equal(await state("power"), "on");
  await pressUntil(true);
  slow.destroy();
});

test("the charger shows the charging screen, and unplugging it turns the device off", async () => {
  await page.getByLabel("Charger plugged in").check();
  await word("connection", "battery and charger");
  await word("screen", "charging");
  await lamp(false);
  await until(async () => (await pixel(240, 276))[2] > 200, () => "no battery on the display");
  const frameOfBattery = await pixel(163, 276);
  [0x2a, 0x35, 0x41].forEach((part, i) => {
    assert.ok(Math.abs(part - frameOfBattery[i]) < 12, `${frameOfBattery}`);
  });
  await page.screenshot({ path: `${WORK}/charging.png` });
  await page.getByLabel("Charger plugged in").uncheck();
  await word("power", "off");
});

test("a file that is not an update is refused, and an update is installed and runs", async () => {
  const programs = `${PROJECT}/virtual-device`;
  const made = `${WORK}/made`;
  execFileSync(`${programs}/make-firmware`, ["--version", "32.27.1.6", made]);
  execFileSync(`${programs}/make-update`, [`${made}/fit`, `${made}/rootfs`, `${made}/THERMAL.STR`]);
  // The device gives a host two seconds, which a busy machine may not be able to keep.
  const connection = page.locator("#connection");
  for (let tries = 0; tries < 20 && (await connection.textContent()) !== "host"; ++tries) {
    await page.getByRole("button", { name: "Connect to the computer" }).click();
    await word("connection", "undetermined");
    await word("connection", "(no )?host");
  }
  const slot = await page.locator("#slot").textContent();
  await drop("#update-drop", "notes.txt", "no archive");
  await page.getByText("notes.txt: refused: no update archive").waitFor();
  await drop("#update-drop", "THERMAL.STR", readFileSync(`${made}/THERMAL.STR`));
  await word("update", "complete");
  await word("usb", "not attached"); // the update has taken the port off the bus
  await page.getByText("THERMAL.STR: installed").waitFor();
  await word("screen", "update complete");
  await page.getByRole("button", { name: "Restart into the new firmware" }).click();
  await word("update", "none");
  await word("slot", String(1 - slot));
  await word("version", "1.6.0");
});
