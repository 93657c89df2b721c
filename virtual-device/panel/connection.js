// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// A line to the device's console: each command is answered, in order, by its output and then "ok"
// or "error REASON".

const RETRY = 1000; // milliseconds

export class Line {
  #socket = null;
  #waiting = []; // resolve functions of the commands that have been sent
  #picture = null; // comes before the answer that it belongs to

  constructor(onOpen = () => {}, onLost = () => {}) {
    this.onOpen = onOpen;
    this.onLost = onLost;
    this.#connect();
  }

  get open() {
    return this.#socket.readyState === WebSocket.OPEN;
  }

  /** Answers {ok, reason, output, picture}; a lost connection is an error, too. */
  send(command) {
    if (!this.open) return Promise.resolve(failed("no connection"));
    this.#socket.send(command);
    return new Promise((resolve) => this.#waiting.push(resolve));
  }

  #connect() {
    this.#socket = new WebSocket(`ws://${location.host}/console`);
    this.#socket.binaryType = "blob";
    this.#socket.onopen = () => this.onOpen();
    this.#socket.onmessage = (event) => this.#take(event.data);
    this.#socket.onclose = () => {
      for (const resolve of this.#waiting.splice(0)) resolve(failed("connection lost"));
      this.onLost();
      setTimeout(() => this.#connect(), RETRY);
    };
  }

  #take(data) {
    if (data instanceof Blob) {
      this.#picture = data;
      return;
    }
    const output = data.split("\n");
    const last = output.pop();
    const picture = this.#picture;
    this.#picture = null;
    const reason = last.replace(/^error /, "");
    this.#waiting.shift()?.({ ok: last === "ok", reason, output, picture });
  }
}

function failed(reason) {
  return { ok: false, reason, output: [], picture: null };
}
