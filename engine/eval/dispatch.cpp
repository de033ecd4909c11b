// The one dispatch table from type id to render routine. Each family exposes its routines through
// its own header; this table is the only place that knows them all.
#include "eval/dispatch.h"

// -- family headers --
#include "eval/driver.h"
#include "nodes/generators/assets.h"
#include "nodes/generators/cellular.h"
#include "nodes/generators/fractals.h"
#include "nodes/generators/gradients.h"
#include "nodes/operators/blend.h"
#include "nodes/operators/channel.h"
#include "nodes/operators/dynamic_range.h"
#include "nodes/generators/noise.h"
#include "nodes/generators/patterns.h"
#include "nodes/operators/blur.h"
#include "nodes/operators/convolution.h"
#include "nodes/operators/heightmap.h"
#include "nodes/operators/selective_blur.h"

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
    {11, render_FractalMandelbrot},
    {12, render_FractalJulia},
    {25, render_FractalLyapunov},

    // -- cellular generators --
    {18, render_Voronoi},
    {19, render_Worley},

    // -- asset, mask, text and vector generators --
    {24, render_Mask},
    {29, render_LoadAsset},
    {32, render_Text},
    {35, render_VectorGraphics},

    // -- transforms --

    // -- distortion --

    // -- blend --
    {1001, render_AlphaBlend},
    {1067, render_GreyAlphaBlend},
    {1002, render_ImageOperation},
    {1069, render_GreyOperation},
    {1023, render_Blend},
    {1068, render_GreyBlend},
    {1082, render_ApplyAlpha},
    {1081, render_ApplyAlphaGrey},

    // -- dynamic range --
    {1003, render_ImageConstOperation},
    {1061, render_GreyConstOperation},
    {1009, render_Saturate},
    {1014, render_BiasChannel},
    {1015, render_GammaChannel},
    {1016, render_GainChannel},
    {1062, render_BiasGrey},
    {1063, render_GammaGrey},
    {1064, render_GainGrey},
    {1054, render_ChannelCurves},
    {1065, render_GreyCurve},
    {1055, render_ChannelCorrection},
    {1066, render_GreyCorrection},
    {1056, render_ThresholdMask},
    {1022, render_ColorKey},
    {1077, render_Brightness},
    {1057, render_GreyTrigFunc},
    {1072, render_ChannelTrigFunc},

    // -- channel and colour --
    {1004, render_Invert},
    {1079, render_GreyInvert},
    {1025, render_Luminance},
    {1071, render_Luminance},  // Luminance2Grey computes the same
    {1058, render_ChannelDemux},
    {1059, render_ChannelMux},
    {1080, render_GreyMux},
    {1031, render_Switch},
    {1037, render_ColorMap},
    {1087, render_ImageMapValue},
    {1036, render_ColorReduce},
    {1083, render_GreyReduce},
    {1084, render_HSVDemux},
    {1085, render_HSVMux},

    // -- blur --
    {1005, render_Blur},
    {1006, render_MotionBlur},
    {1070, render_VarBlur},
    {1091, render_IrregularBlur},

    // -- selective blur --
    {1073, render_SelectiveBlur},
    {1074, render_SelectiveVarBlur},

    // -- convolution and morphology --
    {1010, render_EdgeDetect},
    {1011, render_Emboss},
    {1012, render_Dilation},
    {1013, render_Erosion},
    {1043, render_Sharpen},
    {1075, render_Highpass},
    {1090, render_RegionGrowGrey},

    // -- height maps --
    {1060, render_Lighting},
    {1086, render_NormalMap},
    {1088, render_NormalMapCopper},
    {1089, render_AOMapCopper},

    {0xffffffffu, nullptr},
};

}  // namespace

render_routine find_render_routine(uint32_t type_id) {
  for (const dispatch_entry& e : dispatch_table)
    if (e.type_id == type_id) return e.routine;
  return nullptr;
}

}  // namespace quorin_engine
