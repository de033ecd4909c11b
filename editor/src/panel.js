// The parameter panel of the selected node, built from the catalogue's record of its type.

function el(tag, attrs = {}, ...children) {
  const e = document.createElement(tag);
  for (const [k, v] of Object.entries(attrs)) {
    if (k === "class") e.className = v;
    else if (k in e) e[k] = v;
    else e.setAttribute(k, v);
  }
  for (const c of children) e.append(c);
  return e;
}

const toHex = (rgb) =>
  "#" + rgb.slice(0, 3).map((c) => Math.round(Math.min(1, Math.max(0, c)) * 255).toString(16).padStart(2, "0")).join("");
const fromHex = (hex, alpha) => [1, 3, 5].map((i) => parseInt(hex.slice(i, i + 2), 16) / 255).concat([alpha]);

// A slider with a number box; `integer` rounds, bounds come from the catalogue.
function numberControl(spec, value, integer, commit) {
  const hasRange = spec.min !== undefined && spec.max !== undefined;
  // Float sliders move in round steps of about a thousandth of their range.
  const step = integer ? 1 : hasRange ? 10 ** Math.floor(Math.log10((spec.max - spec.min) / 1000)) : "any";
  const shown = Number(value ?? spec.default ?? 0);
  const box = el("input", { type: "number", step, value: integer ? shown : Number(shown.toPrecision(6)) });
  if (spec.min !== undefined) box.min = spec.min;
  if (spec.max !== undefined) box.max = spec.max;
  const parse = (v) => (integer ? Math.round(Number(v)) : Number(v));
  if (!hasRange) {
    box.className = "wide";
    box.addEventListener("change", () => commit(parse(box.value)));
    return [box];
  }
  const slider = el("input", { type: "range", min: spec.min, max: spec.max, step, value: box.value });
  slider.dataset.param = spec.name;
  slider.addEventListener("input", () => {
    box.value = slider.value;
    commit(parse(slider.value));
  });
  box.addEventListener("change", () => {
    slider.value = box.value;
    commit(parse(box.value));
  });
  return [slider, box];
}

function control(spec, value, commit) {
  switch (spec.type) {
    case "float":
      return numberControl(spec, value, false, commit);
    case "uint":
      return numberControl(spec, value, true, commit);
    case "enum": {
      const s = el("select", { class: "wide" }, ...spec.values.map((v) => el("option", { value: v, textContent: v })));
      s.value = value ?? spec.default;
      s.addEventListener("change", () => commit(s.value));
      return [s];
    }
    case "bool": {
      const c = el("input", { type: "checkbox", checked: !!value, class: "wide" });
      c.addEventListener("change", () => commit(c.checked));
      return [c];
    }
    case "colour": {
      const rgba = value || [0, 0, 0, 1];
      const c = el("input", { type: "color", value: toHex(rgba), class: "wide" });
      c.addEventListener("input", () => commit(fromHex(c.value, rgba[3])));
      return [c];
    }
    case "string": {
      const t = el("input", { type: "text", value: value ?? "", class: "wide" });
      t.addEventListener("change", () => commit(t.value));
      return [t];
    }
    default:
      return [el("span", { class: "wide", textContent: value ?? `(${spec.type}, not editable here)` })];
  }
}

// Fills `container` for `node` (the server's node description) of catalogue type `type`.
// `commit(name, value)` sends a change; the panel is rebuilt only when the selection changes.
export function buildPanel(container, node, type, commit) {
  container.replaceChildren();
  if (!node) {
    container.append(el("p", { textContent: "Select a node to see its parameters." }));
    return;
  }
  container.append(el("h3", { textContent: `${node.name || node.type} (${node.type})` }));
  if (type.description) container.append(el("p", { textContent: type.description, class: "description" }));
  let group = null;
  for (const spec of type.params) {
    if (spec.group !== group) {
      group = spec.group;
      if (group) container.append(el("h4", { textContent: group }));
    }
    const row = el("div", { class: "param", title: spec.description || "" });
    row.append(el("label", { textContent: spec.name }), ...control(spec, node.params[spec.name], (v) => commit(spec.name, v)));
    container.append(row);
  }
}
