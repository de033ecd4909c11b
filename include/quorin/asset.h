/* Quorin engine: the asset family of the exported C interface. */
#ifndef QUORIN_ASSET_H
#define QUORIN_ASSET_H

#include "quorin/api.h"

QUORIN_BEGIN_DECLS

/* One asset: an image, linked by path (linkage 0) or embedded with its file's bytes (linkage 1). */
QUORIN_API qr_asset* asset_create(void);
QUORIN_API void asset_delete(qr_asset* a);
QUORIN_API qr_asset* asset_deep_copy(const qr_asset* a);
QUORIN_API void asset_name(const qr_asset* a, qr_char* buf, int32_t cap);
QUORIN_API void asset_set_name(qr_asset* a, const qr_char* name);
QUORIN_API void asset_filepath(const qr_asset* a, qr_char* buf, int32_t cap);
QUORIN_API void asset_set_filepath(qr_asset* a, const qr_char* path);
/* The asset keeps ownership of its image; the setter frees the old one and takes the new. */
QUORIN_API qr_imgbuf4f* asset_imgbuf(qr_asset* a);
QUORIN_API void asset_set_imgbuf(qr_asset* a, qr_imgbuf4f* image);
QUORIN_API uint32_t asset_linkage(const qr_asset* a);
QUORIN_API void asset_set_linkage(qr_asset* a, uint32_t linkage);
/* 0 relative, 1 absolute: a label only, no path is converted or resolved. */
QUORIN_API uint32_t asset_link_filepath(const qr_asset* a);
QUORIN_API void asset_set_link_filepath(qr_asset* a, uint32_t link_filepath);

/* A collection of assets with an active index (-1 for none) and a dirty flag. */
QUORIN_API qr_assets* assets_create(void);
QUORIN_API void assets_delete(qr_assets* c);
QUORIN_API qr_assets* assets_deep_copy(const qr_assets* c);
QUORIN_API uint32_t assets_empty(const qr_assets* c);
QUORIN_API uint32_t assets_count(const qr_assets* c);
QUORIN_API qr_asset* assets_at(qr_assets* c, uint32_t index);
/* Takes ownership; a non-zero `activate` makes the new last index active. */
QUORIN_API void assets_add(qr_assets* c, qr_asset* a, uint32_t activate);
QUORIN_API void assets_delete_at(qr_assets* c, uint32_t index);
QUORIN_API void assets_delete_active(qr_assets* c);
QUORIN_API void assets_clear(qr_assets* c);
QUORIN_API void assets_delete_all(qr_assets* c);
QUORIN_API int32_t assets_active_asset_idx(const qr_assets* c);
QUORIN_API qr_asset* assets_active_asset(qr_assets* c);
QUORIN_API uint32_t assets_activate_asset(qr_assets* c, int32_t index);
QUORIN_API uint32_t assets_dirty(const qr_assets* c);
QUORIN_API void assets_reset_dirty(qr_assets* c);
/* Reads an image file whole, keeps its bytes and decodes them; false if the file cannot be read
   or decoded, and the collection is then unchanged. */
QUORIN_API uint32_t assets_load_embedded(qr_assets* c, const qr_char* path, uint32_t activate,
                                         const qr_char* name);

QUORIN_END_DECLS

#endif
