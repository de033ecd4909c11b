// (Placeholder: no decoder yet.)
#include "codecs/decode.h"

namespace quorin_engine {

imgbuf4f* decode_image(const uint8_t*, uint32_t) { return nullptr; }

}  // namespace quorin_engine
