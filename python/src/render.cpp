// Rendering nodes into NumPy arrays, value nodes, and PNG output.
#include <cmath>
#include <cstring>
#include <optional>

#include "catalogue.h"
#include "common.h"

namespace quorin_py {

namespace {

struct image_deleter {
  void operator()(qr_imgbuf4f* b) const { imgbuf4f_delete(b); }
};
using image_ptr = std::unique_ptr<qr_imgbuf4f, image_deleter>;

void check_size(int64_t width, int64_t height) {
  if (width < 1 || height < 1 || width > 32768 || height > 32768)
    throw py::value_error("image sizes run from 1 to 32768 pixels, not " + std::to_string(width) + " by " +
                          std::to_string(height));
}

void check_time(std::optional<float> time) {
  if (time && !(*time >= 0.0f && *time <= 1.0f)) throw py::value_error("the time runs from 0 to 1");
}

// Refuses, before the engine sees them, the graphs that it would follow without end or stop the
// process on: a circle of connections, a time curve it cannot evaluate at the project's time.
std::vector<qr_node*> checked_upstream(const node_ref& n) {
  std::vector<qr_node*> nodes = upstream_nodes(n.node);
  float t = project_animedit_normalized_time(n.st->project);
  for (qr_node* node : nodes)
    if (const type_info* spec = type_by_id(node_type(node)))
      for (const param_info& p : spec->params)
        if (node_param_timecurve_enabled(node, p.wname.c_str())) check_time_curve(node, p, t);
  return nodes;
}

struct frame {
  uint32_t index, first, last;
};

// Renders into a new engine image. Checks and set-up run with the GIL; the render itself runs
// without it, and the engine lock goes before the GIL comes back, since a thread that waits for
// the engine may hold the GIL.
image_ptr render_image(const node_ref& n, uint32_t width, uint32_t height, std::optional<float> time, bool preview,
                       std::optional<frame> anim) {
  engine_guard lock = n.use();
  qr_project* p = n.st->project;
  if (anim) {
    float t = anim->last == anim->first ? 0.0f
                                        : static_cast<float>(anim->index - anim->first) /
                                              static_cast<float>(anim->last - anim->first);
    project_animedit_set_normalized_time(p, t);
  } else if (time) {
    project_animedit_set_normalized_time(p, *time);
  }
  // A routine holds a few buffers while its inputs render, so the nodes upstream bound what one
  // render holds at once. The pool gets that many up front and never has to grow.
  const std::size_t upstream = checked_upstream(n).size();
  image_ptr target(imgbuf4f_create(width, height));
  qr_pool4f* pool = pool4f_create(width, height, static_cast<uint32_t>(std::min<std::size_t>(4 * upstream + 8, 1024)));
  qr_renderctx* ctx = renderctx_create();
  renderctx_set_target_buf(ctx, target.get());
  renderctx_set_targetbuf_from_cache(ctx, 0);
  renderctx_set_pool(ctx, pool);
  renderctx_set_for_thumbnail(ctx, 0);
  renderctx_set_for_preview(ctx, preview);
  renderctx_set_preview_supersampling(ctx, preview && project_preview_supersampling(p));
  renderctx_set_is_anim(ctx, anim.has_value());
  renderctx_set_project(ctx, p);
  {
    py::gil_scoped_release nogil;
    if (anim) {
      project_anim_start(p, anim->first, anim->last);
      project_anim_set_curframe(p, anim->index);
    }
    std::exception_ptr failed;
    try {
      node_render(n.node, ctx);
    } catch (...) {
      failed = std::current_exception();
    }
    if (anim) project_anim_end(p);
    renderctx_delete(ctx);
    pool4f_delete(pool);
    lock.unlock();
    if (failed) std::rethrow_exception(failed);
  }
  return target;
}

// The engine's image handed to NumPy as it is: the array owns it and frees it when it goes.
py::array_t<float> as_array(image_ptr image) {
  qr_imgbuf4f* b = image.release();
  py::capsule owner(b, [](void* p) { imgbuf4f_delete(static_cast<qr_imgbuf4f*>(p)); });
  const py::ssize_t w = imgbuf4f_width(b), h = imgbuf4f_height(b);
  return py::array_t<float>({h, w, py::ssize_t{4}},
                            {static_cast<py::ssize_t>(imgbuf4f_stride_in_bytes(b)), py::ssize_t{16}, py::ssize_t{4}},
                            imgbuf4f_buf(b), owner);
}

py::array_t<float> render(const node_ref& n, int64_t width, int64_t height, std::optional<float> time, bool preview,
                          std::optional<frame> anim) {
  check_size(width, height);
  check_time(time);
  return as_array(render_image(n, static_cast<uint32_t>(width), static_cast<uint32_t>(height), time, preview, anim));
}

struct frame_iterator {
  node_ref node;
  int64_t width, height;
  uint32_t first, last, next;
  bool preview;
  bool done;
};

const qr_renderctx* value_context(const node_ref& n, std::optional<float> time) {
  check_time(time);
  if (time) project_animedit_set_normalized_time(n.st->project, *time);
  checked_upstream(n);
  return n.st->value_ctx;
}

py::object scalar_value(const node_ref& n, std::optional<float> time) {
  engine_guard lock = n.use();
  return py::float_(shortest(node_scalar_value(n.node, value_context(n, time))));
}

py::object color_value(const node_ref& n, std::optional<float> time) {
  engine_guard lock = n.use();
  float r = 0, g = 0, b = 0;
  node_color_rgb_value(n.node, value_context(n, time), &r, &g, &b);
  return py::make_tuple(shortest(r), shortest(g), shortest(b));
}

py::object string_value(const node_ref& n, std::optional<float> time) {
  engine_guard lock = n.use();
  const qr_renderctx* ctx = value_context(n, time);
  return py::str(utf8(read_text([&](qr_char* b, int32_t c) { node_string_value(n.node, ctx, b, c); })));
}

void save_png(py::array_t<float, py::array::c_style | py::array::forcecast> image, const py::object& path_obj,
              bool alpha) {
  if (image.ndim() != 3 || image.shape(2) != 4)
    throw py::value_error("save_png takes an array of shape (height, width, 4)");
  check_size(image.shape(1), image.shape(0));
  std::string path = absolute_path(path_obj);
  const uint32_t w = static_cast<uint32_t>(image.shape(1)), h = static_cast<uint32_t>(image.shape(0));
  const std::u16string wpath = utf16(path);
  std::u16string message;
  {
    py::gil_scoped_release nogil;
    image_ptr b(imgbuf4f_create(w, h));
    for (uint32_t y = 0; y < h; ++y) std::memcpy(imgbuf4f_row(b.get(), y), image.data(y, 0, 0), std::size_t{w} * 16);
    message = read_text([&](qr_char* buf, int32_t cap) {
      buf[0] = 0;
      engine_saveimage_png(buf, cap, wpath.c_str(), b.get(), alpha);
    });
  }
  if (!message.empty()) {
    PyErr_SetObject(PyExc_OSError,
                    py::make_tuple(0, "cannot write " + py::str(path_obj).cast<std::string>() + ": " + utf8(message)).ptr());
    throw py::error_already_set();
  }
}

}  // namespace

void bind_render(py::module_& m) {
  auto node = py::reinterpret_borrow<py::class_<node_ref>>(m.attr("Node"));
  node.def(
          "render",
          [](const node_ref& n, int64_t width, int64_t height, std::optional<float> time, bool preview) {
            return render(n, width, height, time, preview, std::nullopt);
          },
          py::arg("width"), py::arg("height"), py::kw_only(), py::arg("time") = py::none(),
          py::arg("preview") = false,
          "Renders the node into a new array of shape (height, width, 4), float32 RGBA, which holds\n"
          "the engine's image itself (no copy). `time` (0 to 1) sets the project's animation time\n"
          "first; `preview` renders as an editor's preview. The GIL is released meanwhile.")
      .def(
          "render_frames",
          [](const node_ref& n, int64_t width, int64_t height, uint32_t first, uint32_t last, bool preview) {
            check_size(width, height);
            if (last < first) throw py::value_error("the last frame comes before the first");
            return frame_iterator{n, width, height, first, last, first, preview, false};
          },
          py::arg("width"), py::arg("height"), py::arg("first"), py::arg("last"), py::kw_only(),
          py::arg("preview") = false,
          "Renders the animation frames first to last, one at a time, as (frame, array) pairs; frame\n"
          "f runs at the time (f - first) / (last - first).")
      .def("scalar_value", &scalar_value, py::kw_only(), py::arg("time") = py::none(),
           "The float a value node yields (0.0 for types that yield none).")
      .def("color_value", &color_value, py::kw_only(), py::arg("time") = py::none(),
           "The (r, g, b) a colour node yields ((0, 0, 0) for types that yield none).")
      .def("string_value", &string_value, py::kw_only(), py::arg("time") = py::none(),
           "The text a string node yields ('' for types that yield none).")
      .def(
          "value",
          [](const node_ref& n, std::optional<float> time) -> py::object {
            uint32_t type;
            {
              engine_guard lock = n.use();
              type = node_output_count(n.node) ? node_output_type(n.node, 0) : 2;
            }
            if (type == 1) return scalar_value(n, time);
            if (type == 4) return color_value(n, time);
            if (type == 0) return string_value(n, time);
            throw py::type_error("the node yields an image; render() it");
          },
          py::kw_only(), py::arg("time") = py::none(),
          "What a value node yields at its first output: a float, an (r, g, b) tuple or a str.");

  py::class_<frame_iterator>(m, "FrameIterator", "The frames of Node.render_frames, rendered one by one.")
      .def("__iter__", [](frame_iterator& it) -> frame_iterator& { return it; })
      .def("__len__", [](const frame_iterator& it) { return it.done ? 0u : it.last - it.next + 1; })
      .def("__next__", [](frame_iterator& it) {
        if (it.done) throw py::stop_iteration();
        uint32_t f = it.next;
        py::array_t<float> image = render(it.node, it.width, it.height, std::nullopt, it.preview, frame{f, it.first, it.last});
        if (f == it.last) it.done = true;
        else ++it.next;
        return py::make_tuple(f, image);
      });

  m.def(
      "set_render_threads",
      [](uint32_t n) {
        engine_guard g = lock_engine();  // never while a render runs
        engine_set_render_threads(n);
      },
      py::arg("n"),
      "Divides each render over n threads (0: one per processor; the default is 1, which starts no\n"
      "thread). The pixels are the same for every n.");

  m.def("save_png", &save_png, py::arg("image"), py::arg("path"), py::kw_only(), py::arg("alpha") = false,
        "Writes an array of shape (height, width, 4) as an 8-bit PNG: RGB, or RGBA with alpha=True,\n"
        "exactly as the quorin command writes its images. OSError if the file cannot be written.");
}

}  // namespace quorin_py
