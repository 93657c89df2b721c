// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// Files that the page takes, dropped or chosen, and files that it saves.
import { element, onClick } from "./page.js";

/**
 * An area with the ID `name` that takes a file, dropped or chosen by the button in it. A failure of
 * take(file) is reported with say(), also that of a folder, which cannot be read.
 */
export function wireDrop(name, take, say) {
  const area = element(`${name}-drop`);
  const choose = area.querySelector("button");
  const file = area.querySelector("input[type=file]");
  const give = async (chosen) => {
    choose.disabled = true;
    try {
      await take(chosen);
    } catch (error) {
      say(`${chosen.name}: ${error.message}`);
    }
    choose.disabled = false;
  };

  onClick(choose, () => file.click());
  file.addEventListener("change", () => {
    if (file.files[0]) give(file.files[0]);
    file.value = "";
  });
  area.addEventListener("dragover", () => area.classList.add("over"));
  area.addEventListener("dragleave", () => area.classList.remove("over"));
  area.addEventListener("drop", (event) => {
    area.classList.remove("over");
    if (event.dataTransfer.files[0]) give(event.dataTransfer.files[0]);
  });
}

/** Stores a file of a kind on the development machine; returns its name there. */
export function upload(kind, file, progress) {
  return new Promise((resolve, reject) => {
    const request = new XMLHttpRequest();
    request.open("PUT", `upload/${kind}`);
    request.upload.onprogress = (event) => {
      progress.hidden = false;
      progress.value = event.loaded / event.total;
    };
    request.onload = () => {
      if (request.status === 200) resolve(request.responseText);
      else reject(new Error(`the upload was refused: ${request.status} ${request.statusText}`));
    };
    request.onerror = () => reject(new Error("the upload broke off"));
    request.send(file);
  });
}

export function downloadFrom(address, name) {
  const link = document.createElement("a");
  link.href = address;
  link.download = name;
  link.click();
}

export function download(blob, name) {
  const address = URL.createObjectURL(blob);
  downloadFrom(address, name);
  setTimeout(() => URL.revokeObjectURL(address), 10_000);
}
