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

/** A visitor without a page: what it sends are frames of text unless it says otherwise. */
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
/** What the device's board says, not what the page shows. */
async function state(name) {
  const socket = await visitor();
  const text = await answers(socket, frame("state"));
  socket.destroy();
  return new RegExp(`(?<![a-z-])${name} (.*)`).exec(text)[1];
}

before(async () => {
  server = spawn("/usr/bin/python3", [`${PROJECT}/virtual-device/console`, "--work", WORK, "--snapshot", "--panel", "0"], { stdio: ["ignore", "pipe", "inherit"] });
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

test("the torch, by mouse and by keyboard, on every page", async (context) => {
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

test("the device stays on when the page that has restarted it goes", async () => {
  const leaving = await visitor();
  leaving.write(frame("restart"));
  await word("power", "starting");
  leaving.destroy();
  await word("screen", "thermal image");
  await page.waitForTimeout(1000);
  assert.equal(await state("power"), "on");
});

test("strangers get nothing, and nonsense disturbs nobody", async () => {
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
    "charger 'on",
  ];
  const text = await answers(socket, ...lines.map((line) => frame(line)), frame("state", 0x82));
  assert.equal(text.match(/error /g).length, lines.length + 1, text);
  // Too long, no frame at all, and one that asks for pictures and never reads them.
  (await visitor()).write(frame("x".repeat(1 << 20)));
  (await visitor()).write(randomBytes(5000));
  const slow = await visitor();
  slow.pause().write(Buffer.concat(Array(500).fill(frame("picture 0"))));
  // A finger on the power button of a page that is closed is taken off, or the device would go off.
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

test("the charger brings the charging screen, and pulling it turns the device off", async () => {
  await page.getByLabel("Charger plugged in").check();
  await word("connection", "battery and charger");
  await word("screen", "charging");
  await lamp(false);
  await page.waitForFunction(() => document.querySelector("canvas").getContext("2d").getImageData(240, 276, 1, 1).data[2] > 200);
  const frameOfBattery = await pixel(163, 276);
  [0x2a, 0x35, 0x41].forEach((part, i) => assert.ok(Math.abs(part - frameOfBattery[i]) < 12, `${frameOfBattery}`));
  await page.screenshot({ path: `${WORK}/charging.png` });
  await page.getByLabel("Charger plugged in").uncheck();
  await word("power", "off");
});

test("an update is dropped, installed and runs", async () => {
  execFileSync(`${PROJECT}/virtual-device/make-firmware`, ["--version", "32.27.1.6", `${WORK}/made`]);
  execFileSync(`${PROJECT}/virtual-device/make-update`, ["fit", "rootfs", "THERMAL.STR"].map((name) => `${WORK}/made/${name}`));
  // The device gives a host two seconds, which a busy machine may not be able to keep.
  for (let attempt = 0; attempt < 20 && (await page.locator("#connection").textContent()) !== "host"; ++attempt) {
    await page.getByRole("button", { name: "Connect to the computer" }).click();
    await word("connection", "undetermined");
    await word("connection", "(no )?host");
  }
  const slot = await page.locator("#slot").textContent();
  const content = readFileSync(`${WORK}/made/THERMAL.STR`).toString("base64");
  const transfer = await page.evaluateHandle((base64) => {
    const dropped = new DataTransfer();
    dropped.items.add(new File([Uint8Array.from(atob(base64), (letter) => letter.charCodeAt(0))], "THERMAL.STR"));
    return dropped;
  }, content);
  await page.locator("#drop").dispatchEvent("drop", { dataTransfer: transfer });
  await word("update", "complete");
  await word("screen", "update complete");
  await page.getByRole("button", { name: "Restart into the new firmware" }).click();
  await word("update", "none");
  await word("slot", String(1 - slot));
  await word("version", "1.6.0");
});
