// The node graph drawn with litegraph: built from the server's graph, user gestures reported back.
import { LiteGraph, LGraph, LGraphCanvas, LGraphNode } from "litegraph.js/build/litegraph.core.js";

export const KIND_COLOURS = {
  rgb: "#e0605a",
  grey: "#b0b0b0",
  scalar: "#5fb86a",
  colour: "#e0b040",
  string: "#6a9ee0",
};

const THUMB = 64;

// One litegraph type stands for every engine type: ports and title come from the server.
function EngineNode() {}
EngineNode.title = "node";
EngineNode.prototype = Object.create(LGraphNode.prototype);
EngineNode.prototype.onDrawForeground = function (ctx) {
  if (this.flags.collapsed) return;
  const top = this.slotRows * LiteGraph.NODE_SLOT_HEIGHT + 6;
  if (this.thumb) ctx.drawImage(this.thumb, (this.size[0] - THUMB) / 2, top, THUMB, THUMB);
  if (this.error) {
    ctx.fillStyle = "#f77";
    ctx.font = "11px sans-serif";
    ctx.fillText("render failed", 6, top + THUMB + 12);
  }
};
LiteGraph.registerNodeType("quorin/node", EngineNode);

export class GraphView {
  // `events` receives: select(index|null), move(index, x, y), connect(from, output, to, input),
  // disconnect(to, input), remove(index), drop(type, x, y).
  constructor(canvasElement, events) {
    this.events = events;
    this.graph = new LGraph();
    this.canvas = new LGraphCanvas(canvasElement, this.graph);
    this.canvas.allow_searchbox = false;
    this.canvas.allow_dragcanvas = true;
    this.canvas.render_canvas_border = false;
    this.canvas.show_info = false;
    this.canvas.processContextMenu = () => {};
    this.canvas.copyToClipboard = () => {};
    this.canvas.pasteFromClipboard = () => {};
    for (const [kind, colour] of Object.entries(KIND_COLOURS)) LGraphCanvas.link_type_colors[kind] = colour;
    this.nodes = [];
    this.building = false;

    this.canvas.onSelectionChange = (selected) => {
      if (this.building) return;
      const node = Object.values(selected || {})[0];
      events.select(node ? node.qIndex : null);
    };
    this.canvas.onNodeMoved = (node) =>
      !this.building && events.move(node.qIndex, Math.round(node.pos[0]), Math.round(node.pos[1]));
    this.canvas.deleteSelectedNodes = () => {
      const node = Object.values(this.canvas.selected_nodes || {})[0];
      if (node) events.remove(node.qIndex);
    };
    const view = this;
    EngineNode.prototype.onConnectionsChange = function (type, slot, connected, link) {
      if (view.building || type !== LiteGraph.INPUT) return;
      const input = this.inputs[slot].name;
      if (connected && link) {
        const from = view.graph.getNodeById(link.origin_id);
        events.connect(from.qIndex, link.origin_slot, this.qIndex, input);
      } else if (!connected) {
        events.disconnect(this.qIndex, input);
      }
    };

    canvasElement.addEventListener("dragover", (e) => e.preventDefault());
    canvasElement.addEventListener("drop", (e) => {
      e.preventDefault();
      const type = e.dataTransfer.getData("text/x-quorin-type");
      if (!type) return;
      const [x, y] = this.canvas.convertEventToCanvasOffset(e);
      events.drop(type, Math.round(x), Math.round(y));
    });
    new ResizeObserver(() => this.resize(canvasElement)).observe(canvasElement.parentElement);
    this.resize(canvasElement);
  }

  resize(el) {
    const r = el.parentElement.getBoundingClientRect();
    this.canvas.resize(Math.max(1, Math.floor(r.width)), Math.max(1, Math.floor(r.height)));
  }

  // The graph's centre in graph coordinates, for nodes added without a position.
  centre() {
    const el = this.canvas.canvas;
    return this.canvas.ds.convertOffsetToCanvas([el.width / 2 - 90, el.height / 2 - 60]).map(Math.round);
  }

  // Rebuilds the drawing from the server's description; no gesture events while it runs.
  show(data, selected) {
    this.building = true;
    const thumbs = this.nodes.map((n) => n.thumb);
    this.graph.clear();
    this.nodes = data.nodes.map((nd) => {
      const n = LiteGraph.createNode("quorin/node");
      n.title = nd.name || nd.type;
      n.qIndex = nd.index;
      for (const p of nd.inputs) {
        // An RGB input also takes a grey image.
        const type = p.kind === "rgb" ? "rgb,grey" : p.kind;
        n.addInput(p.name, type, { color_on: KIND_COLOURS[p.kind], color_off: KIND_COLOURS[p.kind] });
      }
      for (const p of nd.outputs)
        n.addOutput(p.name, p.kind, { color_on: KIND_COLOURS[p.kind], color_off: KIND_COLOURS[p.kind] });
      n.slotRows = Math.max(nd.inputs.length, nd.outputs.length);
      n.hasImage = nd.outputs.some((o) => o.kind === "rgb" || o.kind === "grey");
      n.size = [180, n.slotRows * LiteGraph.NODE_SLOT_HEIGHT + (n.hasImage ? THUMB + 22 : 16)];
      n.pos = [nd.x, nd.y];
      n.boxcolor = nd.disabled ? "#666" : undefined;
      this.graph.add(n);
      return n;
    });
    if (data.nodes.length === thumbs.length) this.nodes.forEach((n, i) => (n.thumb = thumbs[i]));
    for (const nd of data.nodes)
      nd.inputs.forEach((p, k) => {
        if (p.source !== null) this.nodes[p.source].connect(p.output, this.nodes[nd.index], k);
      });
    if (selected !== null && this.nodes[selected]) this.canvas.selectNode(this.nodes[selected]);
    this.canvas.setDirty(true, true);
    this.building = false;
  }

  // Scales and scrolls the view so that every node shows.
  fit() {
    if (!this.nodes.length) return;
    const el = this.canvas.canvas;
    const x0 = Math.min(...this.nodes.map((n) => n.pos[0])) - 40;
    const y0 = Math.min(...this.nodes.map((n) => n.pos[1])) - 60;
    const x1 = Math.max(...this.nodes.map((n) => n.pos[0] + n.size[0])) + 40;
    const y1 = Math.max(...this.nodes.map((n) => n.pos[1] + n.size[1])) + 40;
    const scale = Math.min(1, el.width / (x1 - x0), el.height / (y1 - y0));
    this.canvas.ds.scale = scale;
    this.canvas.ds.offset = [-x0 + (el.width / scale - (x1 - x0)) / 2, -y0 + (el.height / scale - (y1 - y0)) / 2];
    this.canvas.setDirty(true, true);
  }

  select(index) {
    if (this.nodes[index]) this.canvas.selectNode(this.nodes[index]);
  }

  setThumbnail(index, bitmap) {
    if (!this.nodes[index]) return;
    this.nodes[index].thumb = bitmap;
    this.canvas.setDirty(true, false);
  }

  setError(index, message) {
    const n = this.nodes[index];
    if (!n) return;
    n.error = message;
    n.color = message ? "#7a2020" : undefined;
    this.canvas.setDirty(true, false);
  }

  // Screen position of a port, for tests and tooltips.
  portPosition(index, isInput, slot) {
    const pos = this.nodes[index].getConnectionPos(isInput, slot);
    const [x, y] = this.canvas.ds.convertCanvasToOffset(pos);
    const r = this.canvas.canvas.getBoundingClientRect();
    return [r.left + x, r.top + y];
  }

  titlePosition(index) {
    const n = this.nodes[index];
    const [x, y] = this.canvas.ds.convertCanvasToOffset([n.pos[0] + 60, n.pos[1] - LiteGraph.NODE_TITLE_HEIGHT / 2]);
    const r = this.canvas.canvas.getBoundingClientRect();
    return [r.left + x, r.top + y];
  }
}
