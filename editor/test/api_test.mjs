// The editor's JSON API over a live `quorin serve`: every endpoint, and bad requests that must be
// refused with a 4xx and a message while the project stays as it was.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { existsSync, readFileSync } from "node:fs";
import { join } from "node:path";
import { test, after } from "node:test";
import { startServer, tempFolder } from "./server.mjs";

const quorin = process.argv[2];
const folder = tempFolder();
const project = join(folder, "api.xml");
const server = await startServer(quorin, project, ["--max-body", "200000"]);
after(() => server.stop());

async function call(method, path, body, raw = false) {
  const init = { method };
  if (body !== undefined) init.body = raw ? body : JSON.stringify(body);
  const res = await fetch(server.url + path.slice(1), init);
  const type = res.headers.get("Content-Type") || "";
  const data = type.startsWith("image/") ? Buffer.from(await res.arrayBuffer()) : await res.json();
  return { status: res.status, data };
}

async function ok(method, path, body, raw) {
  const r = await call(method, path, body, raw);
  assert.equal(r.status, 200, `${method} ${path}: ${JSON.stringify(r.data)}`);
  return r.data;
}

// The whole visible state: project settings, history and every graph.
async function everything() {
  const p = await ok("GET", "/api/project");
  const graphs = [];
  for (let g = 0; g < p.graphs.length; g++) graphs.push(await ok("GET", `/api/graphs/${g}`));
  return { p, graphs };
}

// Each bad request gets its status and a message naming the problem, and changes nothing.
async function refused(cases) {
  for (const [method, path, body, status, pattern, raw] of cases) {
    const before = await everything();
    const r = await call(method, path, body, raw);
    assert.equal(r.status, status, `${method} ${path} ${JSON.stringify(body)?.slice(0, 80)}: ${JSON.stringify(r.data)}`);
    assert.match(r.data.error, pattern);
    assert.deepEqual(await everything(), before, `${method} ${path} left the project as it was`);
  }
}

const pngSize = (png) => [png.readUInt32BE(16), png.readUInt32BE(20)];

test("catalogue and a new project", async () => {
  const cat = await ok("GET", "/api/catalogue");
  assert.equal(cat.types.length, 129);
  const turb = cat.types.find((t) => t.name === "Turbulence");
  assert.deepEqual(turb.outputs, [{ name: "Grey", kind: "grey" }]);
  const size = turb.params.find((p) => p.name === "size");
  assert.deepEqual([size.type, size.min, size.max, size.default], ["float", 1, 250, 8]);
  assert.ok(turb.params.find((p) => p.name === "noise").values.includes("classic"));
  assert.ok(cat.categories.some((c) => c.name === "Noise" && c.generator));

  const p = await ok("GET", "/api/project");
  assert.deepEqual([p.path, p.graphs, p.undo_steps, p.modified], ["api.xml", ["main"], 0, false]);
  assert.deepEqual([p.settings.width, p.settings.preview_permille, p.settings.max_undo_redo_steps], [256, 1000, 10]);
});

test("nodes, parameters and wires", async () => {
  const a = await ok("POST", "/api/graphs/0/nodes", { type: "Turbulence", x: 20, y: 40 });
  assert.equal(a.created, 0);
  assert.deepEqual([a.nodes[0].x, a.nodes[0].y, a.nodes[0].params.size], [20, 40, 8]);
  await ok("POST", "/api/graphs/0/nodes", { type: "Blend", x: 300, y: 40 });
  await ok("POST", "/api/graphs/0/nodes", { type: "ScalarExpr" });

  let g = await ok("POST", "/api/graphs/0/nodes/0/params", { size: 40.5, seed: 7, noise: "classic" });
  assert.deepEqual([g.nodes[0].params.size, g.nodes[0].params.seed], [40.5, 7]);
  g = await ok("POST", "/api/graphs/0/nodes/1/params", { swap: true, mode: 1 });
  assert.equal(g.nodes[1].params.swap, true);
  assert.equal(typeof g.nodes[1].params.mode, "string");

  g = await ok("POST", "/api/graphs/0/connect", { from: 0, output: 0, to: 1, input: "RGB-1" });
  assert.deepEqual([g.nodes[1].inputs[0].source, g.nodes[1].inputs[0].output], [0, 0]);
  g = await ok("POST", "/api/graphs/0/nodes/1/move", { x: 310, y: 50 });
  assert.deepEqual([g.nodes[1].x, g.nodes[1].y], [310, 50]);
  g = await ok("POST", "/api/graphs/0/nodes/1/name", { name: "mix" });
  assert.equal(g.nodes[1].name, "mix");

  await refused([
    ["POST", "/api/graphs/0/nodes", { type: "NoSuchType" }, 400, /no node type 'NoSuchType'/],
    ["POST", "/api/graphs/0/nodes", { type: "Blend", x: "left" }, 400, /'x'/],
    ["POST", "/api/graphs/5/nodes", { type: "Blend" }, 404, /no graph 5/],
    ["POST", "/api/graphs/0/nodes/9/params", { size: 2 }, 404, /no node 9/],
    ["POST", "/api/graphs/0/nodes/0/params", { sizes: 2 }, 400, /no parameter 'sizes'/],
    ["POST", "/api/graphs/0/nodes/0/params", { size: "big" }, 400, /needs a number/],
    ["POST", "/api/graphs/0/nodes/0/params", { size: 400 }, 400, /from 1 to 250; 400 is outside/],
    // One bad value refuses the whole request, also the good values in it.
    ["POST", "/api/graphs/0/nodes/0/params", { seed: 3, lofreq: -1 }, 400, /whole number/],
    ["POST", "/api/graphs/0/nodes/0/params", { noise: "loud" }, 400, /one of: .*classic/],
    ["POST", "/api/graphs/0/nodes/1/params", { swap: "yes" }, 400, /true or false/],
    ["POST", "/api/graphs/0/nodes/2/params", { expression: "1 + (" }, 400, /expression/],
    ["POST", "/api/graphs/0/nodes/0/params", "{not json", 400, /not a JSON object/, true],
    ["POST", "/api/graphs/0/connect", { from: 1, to: 0, input: "size" }, 400, /cannot wire a rgb output to the scalar input/],
    ["POST", "/api/graphs/0/connect", { from: 1, to: 0, input: "nothing" }, 400, /no input 'nothing'/],
    ["POST", "/api/graphs/0/connect", { from: 0, output: 3, to: 1, input: "RGB-2" }, 400, /no output 3/],
    ["POST", "/api/graphs/0/connect", { from: 7, to: 1, input: "RGB-2" }, 404, /no node 7/],
    ["POST", "/api/graphs/0/disconnect", { to: 1, input: "RGB-2" }, 400, /has no wire/],
    ["POST", "/api/graphs/0/nodes/1/move", { x: 1 }, 400, /'y'/],
    ["DELETE", "/api/graphs/0/nodes/12", undefined, 404, /no node 12/],
    ["GET", "/api/nothing", undefined, 404, /no such address/],
  ]);

  // A wire that would close a loop: mix feeds a second Blend, which may not feed mix.
  await ok("POST", "/api/graphs/0/nodes", { type: "Blend" });
  await ok("POST", "/api/graphs/0/connect", { from: 1, to: 3, input: "RGB-1" });
  await refused([["POST", "/api/graphs/0/connect", { from: 3, to: 1, input: "RGB-2" }, 400, /loop/]]);

  // Rewiring an input replaces the old wire at both ends; unwiring removes it.
  g = await ok("POST", "/api/graphs/0/connect", { from: 0, to: 3, input: "RGB-1" });
  assert.equal(g.nodes[3].inputs[0].source, 0);
  g = await ok("POST", "/api/graphs/0/disconnect", { to: 3, input: "RGB-1" });
  assert.equal(g.nodes[3].inputs[0].source, null);

  g = await ok("POST", "/api/graphs/0/nodes/0/duplicate");
  assert.equal(g.created, 4);
  assert.deepEqual([g.nodes[4].type, g.nodes[4].params.size, g.nodes[4].x], ["Turbulence", 40.5, 50]);
  g = await ok("DELETE", "/api/graphs/0/nodes/4");
  assert.equal(g.nodes.length, 4);
  // Deleting a node removes its wires from the nodes it fed.
  g = await ok("DELETE", "/api/graphs/0/nodes/0");
  assert.equal(g.nodes[0].inputs[0].source, null);
  await ok("POST", "/api/undo");
});

test("previews and thumbnails", async () => {
  const preview = await ok("GET", "/api/graphs/0/nodes/1/preview.png");
  assert.deepEqual(pngSize(preview), [256, 256]);
  const thumb = await ok("GET", "/api/graphs/0/nodes/0/thumbnail.png");
  assert.deepEqual(pngSize(thumb), [64, 64]);
  // The preview is the node's render at the preview size, as the command renders it.
  const out = join(folder, "check.png");
  await ok("POST", "/api/save", {});
  execFileSync(quorin, ["render", project, "--node", "1", "--size", "256x256", "--preview", "-o", out]);
  assert.ok(readFileSync(out).equals(preview));
  await refused([["GET", "/api/graphs/0/nodes/30/preview.png", undefined, 404, /no node 30/]]);
});

test("undo and redo, up to the project's limit", async () => {
  const before = await ok("GET", "/api/graphs/0");
  await ok("POST", "/api/graphs/0/nodes/0/params", { seed: 100 });
  await ok("POST", "/api/undo");
  assert.deepEqual(await ok("GET", "/api/graphs/0"), before);
  await ok("POST", "/api/redo");
  assert.equal((await ok("GET", "/api/graphs/0")).nodes[0].params.seed, 100);

  for (let i = 0; i < 12; i++) await ok("POST", "/api/graphs/0/nodes/0/params", { seed: i });
  const p = await ok("GET", "/api/project");
  assert.deepEqual([p.undo_steps, p.redo_steps], [10, 0]);
  for (let i = 0; i < 10; i++) await ok("POST", "/api/undo");
  assert.equal((await ok("GET", "/api/graphs/0")).nodes[0].params.seed, 1);
  await refused([["POST", "/api/undo", {}, 409, /nothing to undo/]]);
  for (let i = 0; i < 10; i++) await ok("POST", "/api/redo");
  await refused([["POST", "/api/redo", {}, 409, /nothing to redo/]]);
  assert.equal((await ok("GET", "/api/graphs/0")).nodes[0].params.seed, 11);
});

test("graphs, time and assets", async () => {
  const p = await ok("POST", "/api/graphs", { name: "second" });
  assert.deepEqual([p.graphs, p.active_graph], [["main", "second"], 1]);
  // Undo brings back the graph list with its names.
  assert.deepEqual((await ok("POST", "/api/undo")).graphs, ["main"]);
  assert.equal((await ok("POST", "/api/time", { time: 0.25 })).time, 0.25);

  const png = await ok("GET", "/api/graphs/0/nodes/0/preview.png");
  const withAsset = await ok("POST", "/api/assets?name=clouds.png", png, true);
  assert.deepEqual(withAsset.assets, [{ name: "clouds.png", embedded: true, width: 256, height: 256 }]);
  await refused([
    ["POST", "/api/graphs", {}, 400, /'name'/],
    ["POST", "/api/time", { time: 1.5 }, 400, /from 0 to 1/],
    ["POST", "/api/assets?name=junk.png", "not an image", 400, /not an image the engine can read/, true],
    ["POST", "/api/assets?name=../x.png", png, 400, /plain name/, true],
    ["POST", "/api/assets", png, 400, /plain name/, true],
    ["POST", "/api/assets?name=big.png", Buffer.alloc(300000), 413, /larger than 200000 bytes/, true],
  ]);
  assert.deepEqual((await ok("POST", "/api/undo")).assets, []);
  assert.equal((await ok("POST", "/api/redo")).assets.length, 1);
});

test("save stays inside the project folder", async () => {
  await refused([
    ["POST", "/api/save", { path: "../outside.xml" }, 403, /outside the project folder/],
    ["POST", "/api/save", { path: "/tmp/outside.xml" }, 403, /outside the project folder/],
    ["POST", "/api/save", { path: "sub/../../outside.xml" }, 403, /outside the project folder/],
    ["POST", "/api/save", { path: "notes.txt" }, 400, /ends in .xml/],
    ["POST", "/api/save", { path: "missing/p.xml" }, 400, /no folder/],
  ]);
  assert.ok(!existsSync(join(folder, "..", "outside.xml")));
  const saved = await ok("POST", "/api/save", { path: "copy.xml" });
  assert.deepEqual([saved.saved, saved.path, saved.modified], ["copy.xml", "copy.xml", false]);
  const info = JSON.parse(execFileSync(quorin, ["info", join(folder, "copy.xml"), "--json"]).toString());
  assert.deepEqual(info.graphs[0].nodes.map((n) => n.type), ["Turbulence", "Blend", "ScalarExpr", "Blend"]);
  assert.equal(info.assets.length, 1);
});
