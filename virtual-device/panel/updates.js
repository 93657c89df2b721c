// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// An update is uploaded to the development machine and then copied to the device's drive as a USB
// host would do it.
import { upload, wireDrop } from "./files.js";
import { element } from "./page.js";

/** Returns a function that takes each status line, since these report what the device does. */
export function wireUpdates(line, say, connected) {
  const text = element("update-text");
  const progress = element("progress");
  let given = ""; // name of the file that the device is to install
  let copied = false; // the device may find it earlier, and then refuses the part that is there
  let found = false;
  // Beside the field a file must not replace the page.
  addEventListener("dragover", (event) => event.preventDefault());
  addEventListener("drop", (event) => event.preventDefault());
  wireDrop("update", give, say);

  async function give(chosen) {
    if (!connected()) {
      say("Connect the device to the computer first.");
      return;
    }
    try {
      text.textContent = `Uploading ${chosen.name} …`;
      const name = await upload("update", chosen, progress);
      text.textContent = `Copying ${chosen.name} to the device's drive …`;
      [given, copied, found] = [chosen.name, false, false];
      const answer = await line.send(`update ${name}`);
      if (!answer.ok) throw new Error(answer.reason);
      copied = true;
      if (given) text.textContent = `${chosen.name} is on the drive`;
    } catch (error) {
      given = "";
      text.textContent = "Drop an update here";
      throw error;
    } finally {
      progress.hidden = true;
    }
  }

  return (words) => {
    const [, number] = /^FW UPDATE TRANSITION TO STATE: (\d)/.exec(words) ?? [];
    if (!given || number === undefined) return;
    if (number === "1") found = copied;
    else if (number === "0" && found) text.textContent = `${given}: refused: no update archive`;
    else if (number === "5" || number === "6") {
      text.textContent = `${given}: ${number === "5" ? "installed" : "failed"}`;
      given = "";
    }
  };
}
