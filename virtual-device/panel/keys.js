// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// The three buttons, by mouse, touch and keyboard. Each press and release is sent at once, so that
// the device itself recognises holding and double clicks.

const SHORTCUTS = { t: "torch", r: "reset", p: "power" };

export function wireKeys(send, hasShortcuts) {
  const holders = new Map(); // which pointer or key holds a button

  function press(name, holder) {
    if ([...holders.values()].includes(name)) return;
    holders.set(holder, name);
    show(name, true);
    send(`button ${name} down`);
  }
  function release(holder) {
    const name = holders.get(holder);
    if (!name) return;
    holders.delete(holder);
    show(name, false);
    send(`button ${name} up`);
  }
  function show(name, pressed) {
    document.querySelector(`[data-key=${name}]`).classList.toggle("pressed", pressed);
  }

  /** @type {NodeListOf<HTMLElement>} */
  const keys = document.querySelectorAll("[data-key]");
  for (const key of keys) {
    key.addEventListener("pointerdown", (event) => {
      if (event.button !== 0) return;
      key.setPointerCapture(event.pointerId);
      press(key.dataset.key, `pointer ${event.pointerId}`);
    });
    for (const end of ["pointerup", "pointercancel", "lostpointercapture"]) {
      key.addEventListener(end, (/** @type {PointerEvent} */ event) => {
        release(`pointer ${event.pointerId}`);
      });
    }
    key.addEventListener("contextmenu", (event) => event.preventDefault());
  }
  addEventListener("keydown", (event) => {
    const name = buttonOf(event, hasShortcuts());
    if (!name) return;
    event.preventDefault();
    if (!event.repeat) press(name, event.code);
  });
  addEventListener("keyup", (event) => release(event.code));
  addEventListener("blur", () => [...holders.keys()].forEach(release));
}

function buttonOf(event, hasShortcuts) {
  if (event.ctrlKey || event.altKey || event.metaKey) return null;
  const focused = event.target.closest?.("[data-key]");
  if (focused && (event.key === " " || event.key === "Enter")) return focused.dataset.key;
  if (event.target.matches?.("input[type=number], select") || !hasShortcuts) return null;
  return SHORTCUTS[event.key.toLowerCase()] ?? null;
}
