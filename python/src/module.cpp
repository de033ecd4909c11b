// The extension module quorin._quorin: brings the engine up on import and down at exit.
#include "common.h"

PYBIND11_MODULE(_quorin, m) {
  using namespace quorin_py;
  m.doc() = "The Quorin engine's C interface as Python objects (see the quorin package).";
  init();
  py::register_exception<deleted_error>(m, "DeletedError", PyExc_ReferenceError);
  py::register_exception<project_error>(m, "ProjectError", PyExc_OSError);
  py::register_exception<expression_error>(m, "ExpressionError", PyExc_ValueError);
  bind_catalogue(m);
  bind_document(m);
  bind_render(m);
  // After the last Python code has run; a render still running in another thread finishes first.
  py::module_::import("atexit").attr("register")(py::cpp_function([] { shut_engine(); }));
}
