// What the render command checks before it renders a project from an unknown source: the engine
// renders by plain recursion and allocates what a graph asks for, so a hostile project could
// overflow the stack or exhaust the machine's memory. Each check refuses with a run_error that
// says what was asked and what this command allows.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "quorin/quorin.h"

namespace quorin_cli {

// What a render on this machine can afford: the stack of the calling thread and the memory that
// is free for images.
struct render_limits {
  uint64_t stack_bytes;
  uint64_t memory_bytes;
};

// The current thread's stack limit (8 MB when unlimited) and the memory the system reports
// available (MemAvailable), capped by the address space limit.
render_limits machine_limits();

// Refuses (run_error) a graph whose chain of connections is longer than the stack can recurse
// through, a graph whose connections form a cycle, a formula nested deeper than the parser can
// follow, a Squares or Dots node that asks for more pixel writes than a render may take, and a
// render of `nodes` at width x height whose images need more memory than `limits` offers.
void check_render_limits(qr_project* p, qr_graph* g, const std::vector<qr_node*>& nodes, uint32_t width,
                         uint32_t height, const render_limits& limits = machine_limits());

}  // namespace quorin_cli
