// (Placeholder: creation and deletion only; the rest of the family follows.)
#include "core/imgbuf.h"

#include <cstdlib>
#include <new>

using namespace quorin_engine;

QUORIN_EXTERN_C QUORIN_API imgbuf4f* imgbuf4f_create(uint32_t width, uint32_t height) {
  auto* buf = new imgbuf4f{imgbuf4f_head_guard, width, height, nullptr, imgbuf4f_tail_guard};
  std::size_t bytes = std::size_t(imgbuf4f_stride_bytes(width)) * height;
  buf->pixels = static_cast<float*>(std::aligned_alloc(16, bytes ? bytes : 16));
  if (!buf->pixels) {
    delete buf;
    throw std::bad_alloc();
  }
  return buf;
}

QUORIN_EXTERN_C QUORIN_API void imgbuf4f_delete(imgbuf4f* buf) {
  if (!buf) return;
  std::free(buf->pixels);
  delete buf;
}
