// The editor page: palette, graph tabs, graph view, parameters, preview, assets, undo and save.
import { api, pendingEdits } from "./api.js";
import { GraphView } from "./graphview.js";
import { buildPanel } from "./panel.js";

const $ = (id) => document.getElementById(id);

const state = {
  catalogue: null,
  types: new Map(),
  project: null,
  graphIndex: 0,
  graph: null,
  selected: null,
  // Measured by the page for the browser test: when the last change was sent, when its preview showed.
  lastChangeAt: 0,
  lastPreviewAt: 0,
  lastPreviewBytes: null,
  editsApplied: 0, // edits the server has answered
  previewOfEdit: -1, // the edit count when the shown preview was asked for
};
window.quorinEditor = state;

function status(text, isError = false) {
  $("status").textContent = text;
  $("status").className = isError ? "error" : "";
}

function reportError(e) {
  status(e.message, true);
}

// ---- palette ------------------------------------------------------------------------------------

function buildPalette() {
  const list = $("palette-list");
  const query = $("search").value.trim().toLowerCase();
  const showDisabled = $("show-disabled").checked;
  list.replaceChildren();
  let section = null;
  for (const cat of state.catalogue.categories) {
    const types = state.catalogue.types.filter(
      (t) =>
        t.category === cat.name &&
        t.generator === cat.generator &&
        (showDisabled || !t.disabled) &&
        (!query || t.name.toLowerCase().includes(query) || cat.name.toLowerCase().includes(query)),
    );
    if (!types.length) continue;
    if (section !== cat.generator) {
      section = cat.generator;
      const s = document.createElement("h3");
      s.textContent = section ? "Generators" : "Operators";
      list.append(s);
    }
    const h = document.createElement("h4");
    h.textContent = cat.name;
    h.title = cat.description;
    list.append(h);
    for (const t of types) {
      const item = document.createElement("div");
      item.className = "palette-item" + (t.disabled ? " disabled" : "");
      item.textContent = t.name;
      item.title = t.description;
      item.draggable = true;
      item.dataset.type = t.name;
      item.addEventListener("dragstart", (e) => e.dataTransfer.setData("text/x-quorin-type", t.name));
      item.addEventListener("click", () => addNode(t.name, ...placeForNew()));
      list.append(item);
    }
  }
}

// ---- project and graph --------------------------------------------------------------------------

function showProject(p) {
  state.project = p;
  $("project-name").textContent = p.path + (p.modified ? " *" : "");
  $("undo").disabled = p.undo_steps === 0;
  $("redo").disabled = p.redo_steps === 0;
  const tabs = $("tabs");
  tabs.replaceChildren();
  p.graphs.forEach((name, i) => {
    const b = document.createElement("button");
    b.textContent = name || `graph ${i + 1}`;
    b.className = i === state.graphIndex ? "active" : "";
    b.addEventListener("click", () => openGraph(i));
    tabs.append(b);
  });
  const add = document.createElement("button");
  add.textContent = "+";
  add.title = "Add a graph";
  add.addEventListener("click", async () => {
    const name = prompt("Name of the new graph");
    if (!name) return;
    try {
      const proj = await api.addGraph(name);
      state.graphIndex = proj.graphs.length - 1;
      showProject(proj);
      await openGraph(state.graphIndex);
    } catch (e) {
      reportError(e);
    }
  });
  tabs.append(add);
  const assets = $("assets");
  assets.replaceChildren(
    ...p.assets.map((a) => {
      const li = document.createElement("li");
      li.textContent = `${a.name} (${a.width}×${a.height}${a.embedded ? ", embedded" : ""})`;
      return li;
    }),
  );
  const s = p.settings;
  const w = Math.max(1, Math.floor((s.width * s.preview_permille) / 1000));
  const h = Math.max(1, Math.floor((s.height * s.preview_permille) / 1000));
  $("preview-info").textContent = `preview ${w}×${h}${s.preview_supersampling ? ", supersampled" : ""}`;
}

async function refreshProject() {
  showProject(await api.project());
}

async function openGraph(index) {
  state.graphIndex = index;
  state.selected = null;
  showGraph(await api.graph(index), true);
  view.fit();
  await refreshProject();
}

// Shows a graph the server sent back. The panel is rebuilt when the selection changed.
function showGraph(graph, selectionChanged = false) {
  state.graph = graph;
  if (state.selected !== null && state.selected >= graph.nodes.length) {
    state.selected = null;
    selectionChanged = true;
  }
  if (pendingEdits() === 0) view.show(graph, state.selected);
  if (selectionChanged) showPanel();
  schedulePreview();
  scheduleThumbnails();
}

function showPanel() {
  const node = state.selected !== null ? state.graph.nodes[state.selected] : null;
  buildPanel($("params"), node, node && state.types.get(node.type), (name, value) => setParam(name, value));
}

// An edit that answers with the graph; the project's undo state is refreshed after it.
async function graphEdit(promise, selectionChanged = false) {
  try {
    const graph = await promise;
    if ("created" in graph) {
      state.selected = graph.created;
      selectionChanged = true;
    }
    state.editsApplied++;
    showGraph(graph, selectionChanged);
    status("");
    await refreshProject();
  } catch (e) {
    reportError(e);
    // The server kept the project as it was: show that.
    showGraph(await api.graph(state.graphIndex), true);
  }
}

// A node added by a click goes right of the selected node, or in the middle of the view.
function placeForNew() {
  const sel = state.selected !== null && state.graph.nodes[state.selected];
  return sel ? [sel.x + 240, sel.y] : view.centre();
}

const addNode = (type, x, y) => graphEdit(api.addNode(state.graphIndex, type, x, y));

// Parameter changes are gathered for a moment, then sent as one edit.
let paramBatch = {};
const sendParams = debounced((node) => {
  const values = paramBatch;
  paramBatch = {};
  graphEdit(api.setParams(state.graphIndex, node, values));
}, 60);
function setParam(name, value) {
  paramBatch[name] = value;
  state.lastChangeAt = performance.now();
  sendParams(state.selected);
}

// ---- renders ------------------------------------------------------------------------------------

// Calls `fn` once the calls have paused for `ms`.
function debounced(fn, ms) {
  let timer = null;
  return (...args) => {
    clearTimeout(timer);
    timer = setTimeout(() => fn(...args), ms);
  };
}

let previewTicket = 0;
const schedulePreview = debounced(() => renderPreview(), 80);

async function renderPreview() {
  const ticket = ++previewTicket;
  const node = state.selected;
  const edits = state.editsApplied;
  if (node === null) {
    $("preview").removeAttribute("src");
    $("preview-error").textContent = "";
    return;
  }
  try {
    const blob = await api.preview(state.graphIndex, node);
    if (ticket !== previewTicket) return; // a newer preview is on its way
    const bytes = new Uint8Array(await blob.arrayBuffer());
    const img = $("preview");
    if (img.src) URL.revokeObjectURL(img.src);
    await new Promise((resolve) => {
      img.onload = img.onerror = resolve;
      img.src = URL.createObjectURL(blob);
    });
    if (ticket !== previewTicket) return;
    state.lastPreviewBytes = bytes;
    state.lastPreviewAt = performance.now();
    state.previewOfEdit = edits;
    $("preview-error").textContent = "";
    view.setError(node, null);
  } catch (e) {
    if (e.status === 409 || ticket !== previewTicket) return; // overtaken by a newer render
    $("preview-error").textContent = e.message;
    view.setError(node, e.message);
  }
}

let thumbRound = 0;
const scheduleThumbnails = debounced(() => renderThumbnails(), 400);

async function renderThumbnails() {
  const round = ++thumbRound;
  const graphIndex = state.graphIndex;
  const count = state.graph.nodes.length;
  for (let i = 0; i < count; i++) {
    if (round !== thumbRound) return;
    // Only image nodes get a thumbnail; value nodes render nothing to show.
    if (!state.graph.nodes[i].outputs.some((o) => o.kind === "rgb" || o.kind === "grey")) continue;
    try {
      const blob = await api.thumbnail(graphIndex, i);
      if (round !== thumbRound) return;
      view.setThumbnail(i, await createImageBitmap(blob));
      if (i !== state.selected) view.setError(i, null);
    } catch (e) {
      if (e.status === 422) view.setError(i, e.message);
    }
  }
}

// ---- wiring it up -------------------------------------------------------------------------------

const view = new GraphView($("graph-canvas"), {
  select(index) {
    if (index === state.selected) return;
    state.selected = index;
    showPanel();
    schedulePreview();
  },
  move: (index, x, y) => graphEdit(api.move(state.graphIndex, index, x, y)),
  connect: (from, output, to, input) => graphEdit(api.connect(state.graphIndex, from, output, to, input)),
  disconnect: (to, input) => graphEdit(api.disconnect(state.graphIndex, to, input)),
  remove(index) {
    state.selected = null;
    graphEdit(api.deleteNode(state.graphIndex, index), true);
  },
  drop: addNode,
});
window.quorinEditor.view = view;

async function undoRedo(which) {
  try {
    showProject(await api[which]());
    state.selected = null;
    showGraph(await api.graph(Math.min(state.graphIndex, state.project.graphs.length - 1)), true);
    status(which === "undo" ? "undone" : "redone");
  } catch (e) {
    reportError(e);
  }
}

async function save(path) {
  try {
    const p = await api.save(path);
    showProject(p);
    status(`saved ${p.saved}`);
  } catch (e) {
    reportError(e);
  }
}

function duplicateSelected() {
  if (state.selected !== null) graphEdit(api.duplicate(state.graphIndex, state.selected));
}

function deleteSelected() {
  if (state.selected === null) return;
  const index = state.selected;
  state.selected = null;
  graphEdit(api.deleteNode(state.graphIndex, index), true);
}

$("undo").addEventListener("click", () => undoRedo("undo"));
$("redo").addEventListener("click", () => undoRedo("redo"));
$("save").addEventListener("click", () => save());
$("save-as").addEventListener("click", () => {
  const name = prompt("Save as (a .xml file in the project's folder)", state.project.path);
  if (name) save(name);
});
$("duplicate").addEventListener("click", duplicateSelected);
$("delete").addEventListener("click", deleteSelected);
$("search").addEventListener("input", buildPalette);
$("show-disabled").addEventListener("change", buildPalette);

const sendTime = debounced(async (t) => {
  try {
    showProject(await api.setTime(t));
    schedulePreview();
    scheduleThumbnails();
  } catch (e) {
    reportError(e);
  }
}, 60);
$("time").addEventListener("input", () => {
  const t = Number($("time").value);
  $("time-value").textContent = t.toFixed(3);
  sendTime(t);
});

$("upload").addEventListener("change", async () => {
  const file = $("upload").files[0];
  if (!file) return;
  try {
    showProject(await api.upload(file.name, file));
    status(`added ${file.name}`);
  } catch (e) {
    reportError(e);
  }
  $("upload").value = "";
});

document.addEventListener("keydown", (e) => {
  if (e.target.matches("input, select, textarea")) return;
  const key = e.key.toLowerCase();
  if ((e.ctrlKey || e.metaKey) && key === "z") undoRedo(e.shiftKey ? "redo" : "undo");
  else if ((e.ctrlKey || e.metaKey) && key === "y") undoRedo("redo");
  else if ((e.ctrlKey || e.metaKey) && key === "s") save();
  else if ((e.ctrlKey || e.metaKey) && key === "d") duplicateSelected();
  else return;
  e.preventDefault();
});

async function start() {
  try {
    state.catalogue = await api.catalogue();
    for (const t of state.catalogue.types) state.types.set(t.name, t);
    buildPalette();
    const p = await api.project();
    state.graphIndex = Math.max(0, p.active_graph);
    showProject(p);
    await openGraph(state.graphIndex);
    $("time").value = p.time;
    state.ready = true;
  } catch (e) {
    reportError(e);
  }
}

start();
