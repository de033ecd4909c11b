/* Quorin engine: the imgbuf4f family of the exported C interface. */
#ifndef QUORIN_IMGBUF4F_H
#define QUORIN_IMGBUF4F_H

#include "quorin/api.h"

QUORIN_BEGIN_DECLS

QUORIN_API qr_imgbuf4f* imgbuf4f_create(uint32_t width, uint32_t height);
QUORIN_API void imgbuf4f_delete(qr_imgbuf4f* buf);
QUORIN_API void imgbuf4f_copy_buffer_content_from(qr_imgbuf4f* dst, const qr_imgbuf4f* src);
QUORIN_API uint32_t imgbuf4f_channels(const qr_imgbuf4f* buf);
QUORIN_API uint32_t imgbuf4f_width(const qr_imgbuf4f* buf);
QUORIN_API uint32_t imgbuf4f_height(const qr_imgbuf4f* buf);
QUORIN_API float* imgbuf4f_buf(qr_imgbuf4f* buf);
QUORIN_API float* imgbuf4f_row(qr_imgbuf4f* buf, uint32_t y);
QUORIN_API uint32_t imgbuf4f_stride_in_bytes(const qr_imgbuf4f* buf);
QUORIN_API uint32_t imgbuf4f_stride_in_elems(const qr_imgbuf4f* buf);
QUORIN_API uint32_t imgbuf4f_buf_size(const qr_imgbuf4f* buf);
QUORIN_API void imgbuf4f_clear(qr_imgbuf4f* buf);
QUORIN_API void imgbuf4f_set_channel(qr_imgbuf4f* buf, uint32_t channel, float value);
QUORIN_API uint32_t imgbuf4f_alignment(void);
QUORIN_API uint32_t imgbuf4f_elem_size(void);
QUORIN_API void engine_convertline_b8g8r8x8(uint8_t* dst, const qr_imgbuf4f* buf, uint32_t y);
QUORIN_API void engine_convertline_b8g8r8x8_withalpha(uint8_t* dst, const qr_imgbuf4f* buf, uint32_t y);

QUORIN_END_DECLS

#endif
