// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// The live display: requests the next picture when it has drawn the last one, so that a slow page
// gets fewer pictures and no queue builds up.
import { Line } from "./connection.js";
import { sleep } from "./page.js";

export function followDisplay(canvas, onRate) {
  const pen = canvas.getContext("2d");
  let number = 0;
  let drawn = 0;

  async function next(line) {
    const answer = await line.send(`picture ${number}`);
    if (!answer.ok) return;
    const news = Number(answer.output[0]);
    if (answer.picture && news !== number) {
      const picture = await createImageBitmap(answer.picture);
      pen.drawImage(picture, 0, 0);
      picture.close();
      drawn += 1;
    } else if (!answer.picture) {
      pen.clearRect(0, 0, canvas.width, canvas.height);
    }
    number = news;
  }
  async function follow(line) {
    while (line.open) {
      if (document.hidden) await sleep(300);
      else await next(line).catch(() => {});
    }
  }
  const line = new Line(() => follow(line));
  setInterval(() => {
    onRate(drawn);
    drawn = 0;
  }, 1000);
}
