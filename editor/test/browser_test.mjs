// The editor in headless Chromium: build a small graph from the palette, wire it, move a slider,
// save, and check that the saved file renders to the preview's pixels. Screenshots of each step
// land in the artefact folder, with the measured slider-to-preview time on the heaviest example.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { copyFileSync, mkdirSync, readdirSync, readFileSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import puppeteer from "puppeteer-core";
import { startServer, tempFolder } from "./server.mjs";

const [quorin, chromium, examples, artefacts] = process.argv.slice(2);
mkdirSync(artefacts, { recursive: true });

const browser = await puppeteer.launch({
  executablePath: chromium,
  headless: true,
  userDataDir: tempFolder("quorin-chromium-"),
  args: ["--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
         "--disable-component-update", "--disable-sync"],
});

async function openEditor(project) {
  const server = await startServer(quorin, project);
  const page = await browser.newPage();
  await page.setViewport({ width: 1400, height: 850 });
  const pageErrors = [];
  page.on("pageerror", (e) => pageErrors.push(e.message));
  await page.goto(server.url);
  await page.waitForFunction(() => window.quorinEditor && window.quorinEditor.ready);
  return { server, page, pageErrors };
}

let step = 0;
const shot = (page, name) => page.screenshot({ path: join(artefacts, `${String(++step).padStart(2, "0")}-${name}.png`) });

async function addFromPalette(page, type) {
  const count = await page.evaluate(() => quorinEditor.graph.nodes.length);
  await page.$eval("#search", (e) => (e.value = ""));
  await page.type("#search", type);
  await page.click(`.palette-item[data-type="${type}"]`);
  await page.waitForFunction((c) => quorinEditor.graph.nodes.length === c + 1, {}, count);
}

async function drag(page, [x0, y0], [x1, y1]) {
  await page.mouse.move(x0, y0);
  await page.mouse.down();
  await page.mouse.move((x0 + x1) / 2, (y0 + y1) / 2, { steps: 5 });
  await page.mouse.move(x1, y1, { steps: 5 });
  await page.mouse.up();
}

async function select(page, index) {
  const pos = await page.evaluate((i) => quorinEditor.view.titlePosition(i), index);
  await page.mouse.click(...pos);
  await page.waitForFunction((i) => quorinEditor.selected === i, {}, index);
  await waitForFreshPreview(page);
}

// Waits until the preview shown was asked for after the last edit the server answered.
async function waitForFreshPreview(page) {
  await page.waitForFunction(
    () => quorinEditor.previewOfEdit === quorinEditor.editsApplied && quorinEditor.lastPreviewBytes !== null,
    { timeout: 30000 },
  );
}

// Moves a slider of the selected node and gives the milliseconds until the new preview showed.
async function moveSlider(page, param, value) {
  const edits = await page.evaluate(
    (p, v) => {
      const s = document.querySelector(`input[type=range][data-param="${p}"]`);
      s.value = v;
      s.dispatchEvent(new Event("input", { bubbles: true }));
      return quorinEditor.editsApplied;
    },
    param,
    value,
  );
  await page.waitForFunction((e) => quorinEditor.editsApplied > e, { timeout: 30000 }, edits);
  await waitForFreshPreview(page);
  return page.evaluate(() => quorinEditor.lastPreviewAt - quorinEditor.lastChangeAt);
}

const previewBytes = (page) => page.evaluate(() => Array.from(quorinEditor.lastPreviewBytes));

// ---- a new project built from the palette --------------------------------------------------------
{
  const folder = tempFolder();
  const project = join(folder, "new-project.xml");
  const { server, page, pageErrors } = await openEditor(project);
  await shot(page, "new-project");

  await addFromPalette(page, "Turbulence");
  await addFromPalette(page, "Blend");
  await shot(page, "two-nodes");

  const from = await page.evaluate(() => quorinEditor.view.portPosition(0, false, 0));
  const to = await page.evaluate(() => quorinEditor.view.portPosition(1, true, 0));
  await drag(page, from, to);
  await page.waitForFunction(() => quorinEditor.graph.nodes[1].inputs[0].source === 0);
  await shot(page, "wired");

  await select(page, 0);
  const before = await previewBytes(page);
  await moveSlider(page, "size", 40);
  const after = await previewBytes(page);
  assert.ok(Math.abs((await page.evaluate(() => quorinEditor.graph.nodes[0].params.size)) - 40) < 1e-4);
  assert.notDeepEqual(after, before, "the preview changed with the slider");
  await shot(page, "slider-moved");

  await select(page, 1);
  const blendPreview = Buffer.from(await previewBytes(page));
  await page.click("#save");
  await page.waitForFunction(() => document.getElementById("status").textContent.startsWith("saved"));
  await shot(page, "saved");

  const settings = await page.evaluate(() => quorinEditor.project.settings);
  const w = Math.floor((settings.width * settings.preview_permille) / 1000);
  const h = Math.floor((settings.height * settings.preview_permille) / 1000);
  const rendered = join(folder, "rendered.png");
  execFileSync(quorin, ["render", project, "--node", "1", "--size", `${w}x${h}`, "--preview", "-o", rendered]);
  assert.ok(readFileSync(rendered).equals(blendPreview), "quorin render of the saved file gives the preview's pixels");
  assert.deepEqual(pageErrors, []);
  await page.close();
  await server.stop();
}

// ---- slider to preview on the heaviest example at 512 x 512 ------------------------------------
{
  const folder = tempFolder();
  let heaviest = null;
  for (const file of readdirSync(examples).filter((f) => f.endsWith(".xml"))) {
    const info = JSON.parse(execFileSync(quorin, ["info", join(examples, file), "--json"]).toString());
    for (const g of info.graphs) {
      const out = execFileSync(quorin, ["render", join(examples, file), "--graph", String(g.index), "--size", "512x512",
                                        "--json", "-o", join(folder, "probe.png")]).toString();
      const ms = JSON.parse(out).milliseconds;
      if (!heaviest || ms > heaviest.ms) heaviest = { file, graph: g.index, name: g.name, ms };
    }
  }
  // The copy previews at 512 x 512: render size 512, preview at full size.
  const project = join(folder, heaviest.file);
  copyFileSync(join(examples, heaviest.file), project);
  let xml = readFileSync(project, "utf8")
    .replace(/(name="render-size-[xy]" value=")\d+/g, "$1512")
    .replace(/(name="preview-percent" value=")\d+/g, "$11000");
  writeFileSync(project, xml);

  const { server, page, pageErrors } = await openEditor(project);
  await page.evaluate((g) => document.querySelectorAll("#tabs button")[g].click(), heaviest.graph);
  await page.waitForFunction((g) => quorinEditor.graphIndex === g && quorinEditor.graph.index === g, {}, heaviest.graph);
  // The node to watch: the one with the most nodes upstream that has a slider.
  const target = await page.evaluate(() => {
    const nodes = quorinEditor.graph.nodes;
    const upstream = (i, seen = new Set()) => {
      for (const p of nodes[i].inputs) if (p.source !== null && !seen.has(p.source)) seen.add(p.source), upstream(p.source, seen);
      return seen.size;
    };
    let best = null;
    for (const n of nodes) {
      const slider = quorinEditor.types.get(n.type).params.find((p) => p.type === "float" && p.min !== undefined && p.max !== undefined);
      if (slider && (!best || upstream(n.index) > best.up)) best = { index: n.index, param: slider, up: upstream(n.index) };
    }
    return best && { index: best.index, name: best.param.name, min: best.param.min, max: best.param.max };
  });
  assert.ok(target, "the heaviest example has a node with a slider");
  await page.evaluate((i) => quorinEditor.view.select(i), target.index);
  await page.waitForFunction((i) => quorinEditor.selected === i, {}, target.index);
  await waitForFreshPreview(page);
  const times = [];
  for (const f of [0.3, 0.6, 0.45]) times.push(await moveSlider(page, target.name, target.min + f * (target.max - target.min)));
  await shot(page, "heaviest-example");
  const report = {
    example: heaviest.file, graph: heaviest.name, node: target.index, slider: target.name,
    render_512_ms: heaviest.ms, slider_to_preview_ms: times.map((t) => Math.round(t)),
  };
  writeFileSync(join(artefacts, "slider-to-preview.json"), JSON.stringify(report, null, 1));
  console.log("slider to preview, 512x512:", JSON.stringify(report));
  assert.deepEqual(pageErrors, []);
  await page.close();
  await server.stop();
}

await browser.close();
console.log("editor browser test passed");
