// The one dispatch table from type id to render routine. Each family exposes its routines through
// its own header; this table is the only place that knows them all.
#include "eval/dispatch.h"

// -- family headers --
#include "eval/driver.h"
#include "nodes/generators/gradients.h"
#include "nodes/generators/noise.h"
#include "nodes/generators/patterns.h"
#include "nodes/operators/distortion.h"
#include "nodes/operators/transforms.h"

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
    {1, render_SinePlasma},
    {14, render_Turbulence},
    {15, render_FractalSum},
    {16, render_Marble},
    {27, render_WoodRings},
    {33, render_Noise},
    {34, render_BitGlitch},

    // -- gradient generators --
    {2, render_Gradient},
    {3, render_CircGradient},
    {23, render_RadialSine},

    // -- pattern generators --
    {4, render_Checkerboard},
    {5, render_Grid},
    {6, render_Stairs},
    {7, render_Bricks},
    {8, render_Hexagons},
    {9, render_Octogons},
    {10, render_Stripes},
    {13, render_Squares},
    {20, render_Squares},  // Dots draws the same squares

    // -- fractal generators --

    // -- cellular generators --

    // -- asset, mask, text and vector generators --

    // -- transforms --
    {1017, render_Flip},
    {1018, render_Translate},
    {1019, render_Rotate},
    {1020, render_Scale},
    {1021, render_AffineTransform},
    {1035, render_Reflect},
    {1078, render_MatrixDistort},

    // -- distortion --
    {1007, render_Whirl},
    {1008, render_MapDistort},
    {1024, render_Pixelize},
    {1039, render_Distort},
    {1042, render_ImageSample},
    {1076, render_ShiftDistort},

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
