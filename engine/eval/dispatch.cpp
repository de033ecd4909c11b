// The one dispatch table from type id to render routine. Each family exposes its routines through
// its own header; this table is the only place that knows them all.
#include "eval/dispatch.h"

// -- family headers --
#include "eval/driver.h"

// -- end of family headers --

namespace quorin_engine {
namespace {

struct dispatch_entry {
  uint32_t type_id;
  render_routine routine;
};

const dispatch_entry dispatch_table[] = {
    // -- driver: RGB, PassThru, Output, Group --
    {0, render_RGB},
    {28, render_Input},
    {1000, render_passthru},
    {1040, render_passthru},
    {10000, render_group},

    // -- noise generators --

    // -- gradient generators --

    // -- pattern generators --

    // -- fractal generators --

    // -- cellular generators --

    // -- asset, mask, text and vector generators --

    // -- transforms --

    // -- distortion --

    // -- blend --

    // -- dynamic range --

    // -- channel and colour --

    // -- blur --

    // -- selective blur --

    // -- convolution and morphology --

    // -- height maps --

    {0xffffffffu, nullptr},
};

}  // namespace

render_routine find_render_routine(uint32_t type_id) {
  for (const dispatch_entry& e : dispatch_table)
    if (e.type_id == type_id) return e.routine;
  return nullptr;
}

}  // namespace quorin_engine
