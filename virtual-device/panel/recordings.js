// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Recordings of the camera: a file that is dropped is played instead of the scene, and what the
// camera sees is recorded and downloaded.
import { downloadFrom, upload, wireDrop } from "./files.js";
import { element, onClick } from "./page.js";

const EMPTY = "Drop a recording here";

export function wireRecordings(line, say) {
  const text = element("recording-text");
  const progress = element("recording-progress");
  const record = element("record");

  wireDrop("recording", async (file) => {
    try {
      const answer = await line.send(`camera play ${await upload("recording", file, progress)}`);
      if (!answer.ok) throw new Error(answer.reason);
      text.textContent = `${file.name} is played`;
    } finally {
      progress.hidden = true;
    }
  }, say);
  onClick(record, async () => {
    record.disabled = true;
    record.textContent = "Recording …";
    const answer = await line.send(`camera record ${element("record-seconds").value}`);
    if (answer.ok) downloadFrom(`recorded/${answer.output[0]}`, "scene.rec");
    else say(answer.reason);
    record.textContent = "Record";
    record.disabled = false;
  });
}

/** Shows what the console reports: another page or a restart may have changed it. */
export function showRecording(name) {
  const text = element("recording-text");
  element("scene").disabled = name === "none";
  if (name === "none") text.textContent = EMPTY;
  else if (text.textContent === EMPTY) text.textContent = "A recording is played";
}
