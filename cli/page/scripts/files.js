// Event files that are dropped on the page or chosen. Nothing of them leaves the browser.

// Yield the entries of a dropped folder: {name, file} or {name, folder}. Chromium cannot read the older kind
// of folder on a page that was opened from a file, and other browsers do not have the newer one.
async function* entriesOfHandle(handle) {
  for await (const entry of (await handle).values())
    yield entry.kind === 'file' ? {name: entry.name, file: await entry.getFile()} :
                                  {name: entry.name, folder: entriesOfHandle(entry)};
}
async function* entriesOfFolder(folder) {
  const reader = folder.createReader();
  for (;;) {
    const entries = await new Promise((done, fail) => reader.readEntries(done, fail));
    if (entries.length === 0) return;
    for (const entry of entries)
      yield entry.isFile ?
          {name: entry.name, file: await new Promise((done, fail) => entry.file(done, fail))} :
          {name: entry.name, folder: entriesOfFolder(entry)};
  }
}

// Returns the files of a folder and of the folders in it.
async function filesOfFolder(path, entries, passOver) {
  let files = [];
  try {
    for await (const {name, file, folder} of entries) {
      if (file)
        files.push({file, path: `${path}/${name}`});
      else
        files = files.concat(await filesOfFolder(`${path}/${name}`, folder, passOver));
    }
  } catch (error) {
    passOver(path, `the browser cannot read it: ${error.message}`);
  }
  return files;
}

// Returns the dropped files. The items are lost after the first pause.
async function filesOfDrop(transfer, passOver) {
  const items =
      [...transfer.items].filter(item => item.kind === 'file').map(item => ({
                                                                     file: item.getAsFile(),
                                                                     entry: item.webkitGetAsEntry?.(),
                                                                     handle: item.getAsFileSystemHandle?.()
                                                                   }));
  let files = [];
  for (const {file, entry, handle} of items) {
    if (entry?.isDirectory)
      files = files.concat(await filesOfFolder(
          entry.name, handle ? entriesOfHandle(handle) : entriesOfFolder(entry), passOver));
    else if (file)
      files.push({file, path: file.name});
  }
  return files;
}

const filesOfInput =
    input => [...input.files].map(file => ({file, path: file.webkitRelativePath || file.name}));

// Reads event files into the store, the oldest first, each once.
class FileReading {
  passedOver = [];
  #store;
  #known = new Set();

  constructor(store) {
    this.#store = store;
  }
  passOver(path, why) {
    this.passedOver.push({path: printable(path), why});
  }

  // Calls progress(done, all) from time to time, so that the page can be drawn.
  async read(files, progress) {
    files.sort((a, b) => a.file.lastModified - b.file.lastModified || (a.path < b.path ? -1 : 1));
    let pause = performance.now() + 100;
    for (const [done, {file, path}] of files.entries()) {
      const key = `${path}\n${file.size}\n${file.lastModified}`;
      if (!this.#known.has(key)) await this.#readFile(file, path);
      this.#known.add(key);
      if (performance.now() < pause) continue;
      progress(done + 1, files.length);
      await new Promise(resume => setTimeout(resume));
      pause = performance.now() + 100;
    }
  }
  async #readFile(file, path) {
    if (file.size > rules.largestFile) return this.passOver(path, 'larger than 256 MB');
    try {
      for (const event of readEvents(await file.arrayBuffer(), file.name, path)) this.#store.add(event);
    } catch (error) {
      this.passOver(
          path, error instanceof Refused ? error.message : `the browser cannot read it: ${error.message}`);
    }
  }
}
