"""The object model: projects, graphs, nodes, parameters, the catalogue, errors and lifetimes."""
import gc
import os
import xml.etree.ElementTree as ET

import numpy as np
import pytest

import quorin

SPECS = os.path.join(os.path.dirname(__file__), "..", "..", "engine", "catalogue", "resources", "nodetypespecs.xml")


def test_catalogue_matches_the_node_type_document():
    root = ET.parse(SPECS).getroot()
    for element in root.iter():
        element.tag = element.tag.rpartition("}")[2]
    listed = {t.name: t for t in quorin.node_types()}
    parse = {"uint": int, "float": float, "enum": str, "bool": lambda s: s == "true"}
    for spec in root.iter("nodetype-spec"):
        name = spec.get("name")
        t = listed.pop(name)
        assert t.is_generator == (spec.get("is-gen") == "true"), name
        for kind in ("inputs", "outputs"):
            want = [(p.get("name"), p.get("type")) for p in spec.findall(f"{kind}/*")]
            want = [(n, k if k in ("scalar", "greystream", "rgbstream", "scalar_color_rgb") else "string")
                    for n, k in want]
            assert [(p.name, p.type) for p in getattr(t, kind)] == want, (name, kind)
        params = [(g.get("name"), p) for g in spec.iter("param-group") for p in g.findall("param")]
        assert [(p.group, p.name, p.type) for p in t.params] == \
            [(g, p.get("name"), p.get("type")) for g, p in params], name
        for got, (_, p) in zip(t.params, params):
            bounds = p.find("value-bounds-float")
            if bounds is None:
                bounds = p.find("value-bounds-uint")
            if bounds is not None and bounds.get("min-val") is not None:
                assert got.min == pytest.approx(float(bounds.get("min-val"))), (name, got.name)
            assert got.enum_values == [e.get("name") for e in p.iter("enum-value")]
            if p.get("default") and got.type in parse:
                assert got.default == pytest.approx(parse[got.type](p.get("default"))), (name, got.name)
    assert not listed, "types the document does not hold"
    with pytest.raises(KeyError, match="'Turbulance'.*'Turbulence'"):
        quorin.node_type("Turbulance")


def test_project_file_round_trip_keeps_graphs_nodes_connections_and_values(project, tmp_path):
    project.settings.width, project.settings.height = 320, 200
    project.settings["author"] = "test"
    g = project.graphs.add("veins", activate=True)
    project.graphs.add("empty")
    size = g.add("Constant", name="size")
    size.params["value"] = 40.0
    noise = g.add("Turbulence", name="noise")
    noise.params.update(seed=11, noise="simplex", lacunarity=2.5)
    noise.connect("size", size)
    grad = g.add("Gradient", name="grad")
    grad.params["mincolor-horz"] = (0.25, 0.5, 0.75)
    grad.params["maxcolor-horz"] = (1, 0, 0, 0.5)
    path = tmp_path / "veins.xml"
    project.write(path)

    with quorin.Project.read(path) as back:
        assert [x.name for x in back.graphs] == ["veins", "empty"]
        assert (back.settings.width, back.settings.height, back.settings["author"]) == (320, 200, "test")
        bg = back.graphs["veins"]
        assert [(n.name, n.type) for n in bg.nodes] == [("size", "Constant"), ("noise", "Turbulence"),
                                                        ("grad", "Gradient")]
        for node in g.nodes:
            assert dict(bg.nodes[node.name].params) == dict(node.params)
        assert bg.nodes["noise"].inputs["size"] == bg.nodes["size"]
        assert bg.nodes["grad"].params["maxcolor-horz"] == (1.0, 0.0, 0.0, 0.5)
        np.testing.assert_array_equal(bg.nodes["noise"].render(48, 32), noise.render(48, 32))

    (tmp_path / "junk.xml").write_text("this is no project")
    with pytest.raises(quorin.ProjectError, match="junk.xml"):
        quorin.Project.read(tmp_path / "junk.xml")
    with pytest.raises(FileNotFoundError):
        quorin.Project.read(tmp_path / "missing.xml")
    with pytest.raises(quorin.ProjectError, match="nowhere"):
        project.write(tmp_path / "nowhere" / "p.xml")


def test_every_kind_of_parameter_reads_back_as_set(project):
    g = project.graphs.add("g")
    noise = g.add("Turbulence")
    grad = g.add("Gradient")
    clamp = g.add("MapValue")
    text = g.add("StringConstant")
    cases = [
        (noise, "seed", 2147483647, 2147483647),          # uint, as large as the engine reads
        (noise, "size", 12, 12.0),                        # float from an int
        (noise, "persistence", np.float32(0.25), 0.25),   # float from NumPy
        (noise, "noise", "simplex", "simplex"),           # enum by name
        (noise, "noise", 0, "classic"),                   # enum by index
        (clamp, "low-clamp", True, True),                 # bool
        (clamp, "high-clamp", np.bool_(False), False),
        (grad, "mincolor-horz", (0.5, 0.25, 1.0), (0.5, 0.25, 1.0, 1.0)),  # colour, alpha 1
        (grad, "mincolor-horz", [0, 0, 0, 0.5], (0.0, 0.0, 0.0, 0.5)),
        (text, "string", "héllo wörld ✓", "héllo wörld ✓"),  # text beyond ASCII
    ]
    for node, name, value, expected in cases:
        node.params[name] = value
        assert node.params[name] == expected, (node.type, name)

    bad = [
        (noise, "seed", -1, ValueError, "0 to 2147483647"),
        (noise, "seed", 2 ** 31, ValueError, "0 to 2147483647"),
        (noise, "seed", 1.5, TypeError, "uint"),
        (noise, "size", "8", TypeError, "float"),
        (noise, "noise", "perlin", ValueError, "'perlin'.*'classic', 'simplex'"),
        (noise, "noise", 2, ValueError, "0 to 1"),
        (clamp, "low-clamp", 1, TypeError, "bool"),
        (grad, "mincolor-horz", (1, 2), ValueError, "3 or 4"),
        (noise, "sed", 1, KeyError, "'sed'.*'seed'"),
    ]
    for node, name, value, error, message in bad:
        with pytest.raises(error, match=message):
            node.params[name] = value
    assert noise.params["seed"] == 2147483647 and noise.params["noise"] == "classic"
    with pytest.raises(KeyError, match="'seeds'.*'lofreq'"):
        noise.params["seeds"]
    with pytest.raises(TypeError):
        del noise.params["seed"]


def test_engine_exceptions_arrive_as_python_exceptions(project):
    g = project.graphs.add("g")
    expr = g.add("ScalarExpr")
    expr.params["expression"] = "_1 * 2 + 1"
    expr.params["_1"] = 3.0
    assert expr.value() == 7.0
    for formula in ("1+", "(1", "-"):
        with pytest.raises(quorin.ExpressionError, match=r"cannot parse the expression '\(?1?[+-]?'"):
            expr.params["expression"] = formula
        assert expr.value() == 7.0  # the old formula stays in use

    right = g.add("StrRight")
    right.params["string"] = "abc"
    right.params["count"] = 2
    assert right.value() == "bc"
    right.params["count"] = 5  # past the start of the text: the engine's out_of_range
    with pytest.raises(IndexError):
        right.string_value()


def test_value_nodes_yield_floats_colours_and_strings(project):
    g = project.graphs.add("g")
    half = g.add("SimpleConstant")
    half.params["which"] = "1/4"  # the engine gives 1/2 for it, too
    op = g.add("ScalarOperation")
    op.params["operation"] = "Logarithm"
    op.params.update(value1=8.0, value2=2.0)
    blend = g.add("ColorBlend")
    blend.params.update(color1=(1, 0, 0), color2=(0, 0, 1))
    blend.connect("factor", half)
    cat = g.add("StrCat")
    cat.params.update(string1="ab", string2="cd")
    assert half.value() == 0.5
    assert op.value() == pytest.approx(3.0)
    assert blend.value() == (0.5, 0.0, 0.5)
    assert cat.value() == "abcd"
    with pytest.raises(TypeError, match="image"):
        g.add("Turbulence").value()


def test_connections_keep_both_ends_and_refuse_circles(project):
    g = project.graphs.add("g")
    a, b, c = (g.add("Constant", name=n) for n in "abc")
    op = g.add("ScalarOperation", name="op")
    op.connect("value1", a)
    op.connect("value2", a)
    op.connect("value1", b)  # replaces a on value1 only
    assert op.inputs == {"value1": b, "value2": a}
    op.connect("value2", None)
    assert op.inputs["value2"] is None
    with pytest.raises(KeyError, match="'valu1'.*'value1', 'value2'"):
        op.connect("valu1", c)
    clamp = g.add("ScalarClamp", name="clamp")
    clamp.connect("value", op)
    with pytest.raises(ValueError, match="circle"):
        op.connect("value2", clamp)
    with pytest.raises(ValueError, match="circle"):
        op.connect("value2", op)
    other = project.graphs.add("other").add("Constant")
    with pytest.raises(ValueError, match="different graphs"):
        op.connect("value2", other)


def test_objects_whose_owner_went_raise_instead_of_crashing(tmp_path):
    p = quorin.Project()
    g = p.graphs.add("g")
    noise = g.add("Turbulence", name="noise")
    src = g.add("Constant", name="c")
    noise.connect("size", src)
    # A consumer beyond the sixteenth of one output is disconnected, too.
    consumers = [g.add("Turbulence") for _ in range(20)]
    for n in consumers:
        n.connect("size", src)
    g.remove(src)
    assert src not in g.nodes and all(n.inputs["size"] is None for n in consumers + [noise])
    with pytest.raises(quorin.DeletedError, match="removed from its graph"):
        src.params["value"] = 1.0
    assert "deleted" in repr(src)
    noise.render(8, 8)

    removed = p.graphs.add("doomed")
    doomed_node = removed.add("Constant")
    p.graphs.remove("doomed")
    for call in (lambda: removed.name, lambda: doomed_node.value(), lambda: removed.nodes[0]):
        with pytest.raises(quorin.DeletedError):
            call()

    params, nodes = noise.params, g.nodes
    del p, g
    gc.collect()
    assert noise.name == "noise"  # what refers to the project keeps it
    noise.graph.project.close()
    for call in (lambda: noise.name, lambda: noise.render(4, 4), lambda: params["seed"], lambda: len(nodes),
                 lambda: noise.graph):
        with pytest.raises(quorin.DeletedError, match="closed"):
            call()
    with quorin.Project() as q:
        n = q.graphs.add("g").add("Constant")
    with pytest.raises(quorin.DeletedError):
        n.value()


def test_lists_index_and_name_lookups(project):
    g = project.graphs.add("one")
    project.graphs.add("two")
    assert project.graphs[-1].name == "two" and "one" in project.graphs and "three" not in project.graphs
    with pytest.raises(KeyError, match="'three'.*'one', 'two'"):
        project.graphs["three"]
    with pytest.raises(IndexError):
        project.graphs[2]
    n = g.add("Gradient", name="grad")
    assert g.nodes["grad"] == n == g.nodes[0] and hash(n) == hash(g.nodes[0]) and n in g.nodes
    with pytest.raises(KeyError, match="unknown node type 'gradient'; did you mean 'Gradient'"):
        g.add("gradient")
    with pytest.raises(KeyError, match="'grd'.*'grad'"):
        g.nodes["grd"]
    project.graphs.active = project.graphs["two"]
    assert project.graphs.active.name == "two"
    project.graphs.remove("two")
    assert project.graphs.active is None


def test_stubs_cover_the_extension():
    import ast
    import quorin._quorin as ext

    stub = ast.parse(open(os.path.join(os.path.dirname(quorin.__file__), "_quorin.pyi")).read())
    declared = {node.name: node for node in stub.body if isinstance(node, (ast.ClassDef, ast.FunctionDef))}
    for name in dir(ext):
        if name.startswith("__"):
            continue
        assert name in declared, name
        if isinstance(declared[name], ast.ClassDef):
            members = {n.name for n in declared[name].body if isinstance(n, ast.FunctionDef)}
            members |= {n.target.id for n in declared[name].body if isinstance(n, ast.AnnAssign)}
            for attr in vars(getattr(ext, name)):
                if not attr.startswith("__") or attr in ("__len__", "__getitem__", "__iter__", "__next__"):
                    assert attr in members, f"{name}.{attr}"


def test_assets_embed_image_files_and_travel_with_the_project(project, tmp_path):
    from conftest import to_bytes

    image = project.graphs.add("g").add("Gradient").render(12, 7)
    quorin.save_png(image, tmp_path / "grad.png", alpha=True)
    asset = project.assets.load(tmp_path / "grad.png")
    assert (asset.name, asset.embedded, len(project.assets)) == ("grad", True, 1)
    np.testing.assert_array_equal(asset.image, to_bytes(image, 4) / np.float32(255.0))
    project.write(tmp_path / "with-asset.xml")
    with quorin.Project.read(tmp_path / "with-asset.xml") as back:
        np.testing.assert_array_equal(back.assets["grad"].image, asset.image)
    (tmp_path / "not-an-image.png").write_bytes(b"plain text")
    with pytest.raises(ValueError, match="not-an-image"):
        project.assets.load(tmp_path / "not-an-image.png", "broken")
    project.assets.remove(asset)
    assert len(project.assets) == 0
    with pytest.raises(quorin.DeletedError):
        asset.image
