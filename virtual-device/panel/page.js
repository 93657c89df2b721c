// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// What the modules of the page share.

/** @type {(id: string) => any} */
export const element = (id) => document.getElementById(id);

export const sleep = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

export function onClick(target, action) {
  target.addEventListener("click", action);
}
