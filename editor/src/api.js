// The server's JSON API. Edits go out one at a time, in the order they were made.

export class ApiError extends Error {
  constructor(status, message) {
    super(message);
    this.status = status;
  }
}

async function request(method, path, body, contentType = "application/json") {
  const init = { method, headers: {} };
  if (body !== undefined) {
    init.body = contentType === "application/json" ? JSON.stringify(body) : body;
    init.headers["Content-Type"] = contentType;
  }
  const res = await fetch(path, init);
  if (!res.ok) {
    let message = `${res.status} ${res.statusText}`;
    try {
      message = (await res.json()).error || message;
    } catch (_) { /* not JSON */ }
    throw new ApiError(res.status, message);
  }
  return res.headers.get("Content-Type")?.startsWith("image/") ? res.blob() : res.json();
}

let queue = Promise.resolve();
let pending = 0;

// Runs edits strictly one after the other; `pendingEdits()` tells whether more are on the way.
function serial(fn) {
  pending++;
  const run = queue.then(fn).finally(() => pending--);
  queue = run.catch(() => {});
  return run;
}

export const pendingEdits = () => pending;

export const api = {
  catalogue: () => request("GET", "/api/catalogue"),
  project: () => request("GET", "/api/project"),
  graph: (g) => request("GET", `/api/graphs/${g}`),
  addGraph: (name) => serial(() => request("POST", "/api/graphs", { name })),
  addNode: (g, type, x, y) => serial(() => request("POST", `/api/graphs/${g}/nodes`, { type, x, y })),
  deleteNode: (g, n) => serial(() => request("DELETE", `/api/graphs/${g}/nodes/${n}`)),
  duplicate: (g, n) => serial(() => request("POST", `/api/graphs/${g}/nodes/${n}/duplicate`, {})),
  move: (g, n, x, y) => serial(() => request("POST", `/api/graphs/${g}/nodes/${n}/move`, { x, y })),
  setParams: (g, n, values) => serial(() => request("POST", `/api/graphs/${g}/nodes/${n}/params`, values)),
  connect: (g, from, output, to, input) =>
    serial(() => request("POST", `/api/graphs/${g}/connect`, { from, output, to, input })),
  disconnect: (g, to, input) => serial(() => request("POST", `/api/graphs/${g}/disconnect`, { to, input })),
  undo: () => serial(() => request("POST", "/api/undo", {})),
  redo: () => serial(() => request("POST", "/api/redo", {})),
  setTime: (time) => serial(() => request("POST", "/api/time", { time })),
  save: (path) => serial(() => request("POST", "/api/save", path ? { path } : {})),
  upload: (name, file) =>
    serial(() => request("POST", `/api/assets?name=${encodeURIComponent(name)}`, file, "application/octet-stream")),
  preview: (g, n) => request("GET", `/api/graphs/${g}/nodes/${n}/preview.png`),
  thumbnail: (g, n) => request("GET", `/api/graphs/${g}/nodes/${n}/thumbnail.png`),
};
