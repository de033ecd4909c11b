// The TGA loader alone, whatever the stages before it would say of the bytes.
#include <string>

#include "codecs/stages.h"
#include "quorin/imgbuf4f.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > UINT32_MAX) return 0;
  std::string message;
  imgbuf4f_delete(quorin_engine::tga_load(data, static_cast<uint32_t>(size), message));
  return 0;
}
