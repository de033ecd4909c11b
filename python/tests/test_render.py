"""Renders through Python against the quorin command's images of the same project."""
import numpy as np
import pytest

import quorin
from conftest import read_png, to_bytes


def build_scene(project):
    """Two graphs built in Python: value nodes driving a noise, and a gradient."""
    g = project.graphs.add("scene")
    size = g.add("ScalarOperation", name="size")
    size.params.update(operation="Multiply", value1=6.0, value2=4.0)
    noise = g.add("Turbulence", name="noise")
    noise.params.update(seed=5, hifreq=4, persistence=0.6, mapping="abs")
    noise.connect("size", size)
    grad = project.graphs.add("dusk").add("Gradient", name="grad")
    grad.params.update({"mincolor-horz": (0.1, 0.2, 0.9), "maxcolor-horz": (1.0, 0.5, 0.0, 0.5)})
    return noise, grad


def test_python_renders_match_the_command(project, tmp_path, quorin_command):
    noise, grad = build_scene(project)
    path = tmp_path / "scene.xml"
    project.write(path)
    for graph, node in (("scene", noise), ("dusk", grad)):
        image = node.render(67, 45)
        assert image.shape == (45, 67, 4) and image.dtype == np.float32
        out = tmp_path / f"{graph}.png"
        quorin_command("render", path, "-o", out, "--graph", graph, "--node", node.name, "--size", "67x45")
        np.testing.assert_array_equal(read_png(out), to_bytes(image))
        mine = tmp_path / f"{graph}-python.png"
        quorin.save_png(image, mine)
        assert mine.read_bytes() == out.read_bytes()
    # An override on the command line and in Python give the same image.
    out = tmp_path / "seed.png"
    quorin_command("render", path, "-o", out, "--graph", "scene", "--node", "noise", "--size", "40x30",
                   "--set", "noise.seed=9")
    noise.params["seed"] = 9
    np.testing.assert_array_equal(read_png(out), to_bytes(noise.render(40, 30)))


def test_divided_renders_give_the_same_pixels(project):
    noise, grad = build_scene(project)
    one = noise.render(67, 45)
    try:
        for n in (2, 0, 5):
            quorin.set_render_threads(n)
            np.testing.assert_array_equal(noise.render(67, 45), one)
    finally:
        quorin.set_render_threads(1)


def test_render_hands_over_the_engines_image_without_a_copy(project):
    noise, grad = build_scene(project)
    a, b = noise.render(32, 16), noise.render(32, 16)
    assert a.base is not None and not a.flags["OWNDATA"] and a.flags["C_CONTIGUOUS"] and a.flags["WRITEABLE"]
    assert a.ctypes.data != b.ctypes.data and a.ctypes.data % 16 == 0
    np.testing.assert_array_equal(a, b)
    a[...] = 0  # the array is the caller's own
    np.testing.assert_array_equal(noise.render(32, 16), b)
    grey = b[..., 0]
    np.testing.assert_array_equal(grey, b[..., 2])
    assert (b[..., 3] == 1.0).all()
    del project
    view = b[2:4]
    del a, b, noise
    assert view.sum() > 0  # still readable after its project and the first array went

    for size in ((0, 4), (4, 40000)):
        with pytest.raises(ValueError, match="1 to 32768"):
            grad.render(*size)
    with pytest.raises(ValueError, match="0 to 1"):
        grad.render(4, 4, time=1.5)


def test_time_and_frames_reach_time_curves_and_time_nodes(project):
    g = project.graphs.add("g")
    clock = g.add("Time")
    blend = g.add("ColorBlend")
    blend.params.update(color1=(0, 0, 0), color2=(1, 1, 1))
    blend.connect("factor", clock)
    rgb = g.add("RGB")
    rgb.connect("color", blend)
    assert rgb.render(2, 2, time=0.25)[0, 0, 0] == pytest.approx(0.25)
    assert project.time == pytest.approx(0.25)
    assert clock.value(time=0.75) == pytest.approx(0.75)
    frames = rgb.render_frames(3, 2, 10, 14)
    assert len(frames) == 5
    got = [(f, float(image[1, 2, 0])) for f, image in frames]
    assert got == [(f, pytest.approx((f - 10) / 4)) for f in range(10, 15)]
    assert [f for f, _ in rgb.render_frames(3, 2, 7, 7)] == [7]
    with pytest.raises(ValueError):
        rgb.render_frames(3, 2, 5, 4)


def test_renders_from_several_threads_match_renders_one_at_a_time(project):
    from concurrent.futures import ThreadPoolExecutor

    noise, grad = build_scene(project)
    other = quorin.Project()
    marble = other.graphs.add("m").add("Marble")
    work = [(n, 24 + i) for i in range(6) for n in (noise, grad, marble)]
    alone = [n.render(size, 20) for n, size in work]
    with ThreadPoolExecutor(4) as pool:
        together = list(pool.map(lambda job: job[0].render(job[1], 20), work))
        reads = list(pool.map(lambda _: dict(noise.params), range(8)))
    for a, b in zip(alone, together):
        np.testing.assert_array_equal(a, b)
    assert all(r == reads[0] for r in reads)
    other.close()
