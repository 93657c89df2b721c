// An update is uploaded to the development machine and then copied to the device's drive as a USB host
// would do it.

export function wireUpdates(line, say, connected) {
  const drop = document.getElementById("drop");
  const text = document.getElementById("drop-text");
  const file = document.getElementById("file");
  const progress = document.getElementById("progress");
  const choose = document.getElementById("choose");

  choose.addEventListener("click", () => file.click());
  file.addEventListener("change", () => {
    if (file.files[0]) give(file.files[0]);
    file.value = "";
  });
  // Beside the field a file must not replace the page.
  addEventListener("dragover", (event) => event.preventDefault());
  addEventListener("drop", (event) => event.preventDefault());
  drop.addEventListener("dragover", () => drop.classList.add("over"));
  drop.addEventListener("dragleave", () => drop.classList.remove("over"));
  drop.addEventListener("drop", (event) => {
    drop.classList.remove("over");
    if (event.dataTransfer.files[0]) give(event.dataTransfer.files[0]);
  });

  async function give(chosen) {
    if (!connected()) {
      say("Connect the device to the computer first.");
      return;
    }
    choose.disabled = true;
    try {
      text.textContent = `Uploading ${chosen.name} …`;
      const name = await upload(chosen, progress);
      text.textContent = `Copying ${chosen.name} to the device's drive …`;
      const answer = await line.send(`update ${name}`);
      if (!answer.ok) throw new Error(answer.reason);
      text.textContent = `${chosen.name} is on the drive`;
    } catch (error) {
      text.textContent = "Drop an update here";
      say(error.message);
    }
    progress.hidden = true;
    choose.disabled = false;
  }
}

function upload(file, progress) {
  return new Promise((resolve, reject) => {
    const request = new XMLHttpRequest();
    request.open("PUT", "upload");
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
