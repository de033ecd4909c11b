// Assets and the asset collection.
#include "document/asset.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include "codecs/decode.h"
#include "core/imgbuf.h"
#include "quorin/asset.h"

namespace quorin_engine {

asset::~asset() {
  imgbuf4f_delete(image);
  delete[] data;
}

assets::~assets() {
  for (asset* a : items) delete a;
}

void assets::add(asset* a, bool activate) {
  if (!a) return;
  items.push_back(a);
  if (activate) active_asset_idx = static_cast<int32_t>(items.size() - 1);
  dirty = 1;
}

void assets::delete_at(uint32_t index) {
  if (index >= items.size()) return;
  delete items[index];
  items.erase(items.begin() + index);
  active_asset_idx = -1;
  dirty = 1;
}

void assets::clear() {
  for (asset* a : items) delete a;
  items.clear();
  active_asset_idx = -1;
  dirty = 1;
}

asset* deep_copy(const asset& src) {
  auto* a = new asset;
  if (src.image) {
    a->image = imgbuf4f_create(src.image->width, src.image->height);
    std::size_t bytes = std::size_t(imgbuf4f_stride_bytes(src.image->width)) * src.image->height;
    if (bytes) std::memcpy(a->image->pixels, src.image->pixels, bytes);
  }
  a->linkage = src.linkage;
  a->filepath = src.filepath;
  a->link_filepath = src.link_filepath;
  a->name = src.name;
  if (src.data) {
    a->data = new uint8_t[src.data_size];
    a->data_size = src.data_size;
    if (src.data_size) std::memcpy(a->data, src.data, src.data_size);
  }
  a->data_write_pos = src.data_write_pos;
  return a;
}

bool read_file_data(asset& a, const wstring& path) {
  if (path.empty()) return false;
  std::FILE* f = std::fopen(to_utf8(path).c_str(), "rb");
  if (!f) return false;
  struct stat st {};
  uint64_t file_size = fstat(fileno(f), &st) == 0 ? static_cast<uint64_t>(st.st_size) : 0;
  // Only the low 32 bits of the size count: a file of 4 GiB or more is read cut short.
  uint32_t size = static_cast<uint32_t>(file_size);

  uint8_t* data = new uint8_t[size];
  uint64_t pos = 0;
  uint8_t block[4096];
  for (uint32_t i = 0; i < size / 4096; ++i) {
    std::size_t got = std::fread(block, 1, sizeof block, f);
    std::memset(block + got, 0, sizeof block - got);  // a short read leaves zeros, not garbage
    std::memcpy(data + pos, block, sizeof block);
    pos += sizeof block;
  }
  uint32_t rest = size % 4096;
  if (rest) {
    std::size_t got = std::fread(block, 1, rest, f);
    std::memset(block + got, 0, rest - got);
    std::memcpy(data + pos, block, rest);
    pos += rest;
  }
  std::fclose(f);

  delete[] a.data;
  a.data = data;
  a.data_size = size;
  a.data_write_pos = pos;
  return true;
}

}  // namespace quorin_engine

using namespace quorin_engine;

// ---- asset ---------------------------------------------------------------------------------------

QUORIN_EXTERN_C QUORIN_API asset* asset_create(void) { return new asset; }

QUORIN_EXTERN_C QUORIN_API void asset_delete(asset* a) { delete a; }

QUORIN_EXTERN_C QUORIN_API asset* asset_deep_copy(const asset* a) { return deep_copy(*a); }

QUORIN_EXTERN_C QUORIN_API void asset_name(const asset* a, char16_t* buf, int32_t cap) {
  copy_out(a->name, buf, cap);
}

QUORIN_EXTERN_C QUORIN_API void asset_set_name(asset* a, const char16_t* name) {
  a->name = from_caller(name);
}

QUORIN_EXTERN_C QUORIN_API void asset_filepath(const asset* a, char16_t* buf, int32_t cap) {
  copy_out(a->filepath, buf, cap);
}

QUORIN_EXTERN_C QUORIN_API void asset_set_filepath(asset* a, const char16_t* path) {
  a->filepath = from_caller(path);
}

QUORIN_EXTERN_C QUORIN_API imgbuf4f* asset_imgbuf(asset* a) { return a->image; }

QUORIN_EXTERN_C QUORIN_API void asset_set_imgbuf(asset* a, imgbuf4f* image) {
  if (image == a->image) return;  // setting the image it already owns must not free it
  imgbuf4f_delete(a->image);
  a->image = image;
}

QUORIN_EXTERN_C QUORIN_API uint32_t asset_linkage(const asset* a) { return a->linkage; }

QUORIN_EXTERN_C QUORIN_API void asset_set_linkage(asset* a, uint32_t linkage) { a->linkage = linkage; }

QUORIN_EXTERN_C QUORIN_API uint32_t asset_link_filepath(const asset* a) { return a->link_filepath; }

QUORIN_EXTERN_C QUORIN_API void asset_set_link_filepath(asset* a, uint32_t link_filepath) {
  a->link_filepath = link_filepath;
}

// ---- assets --------------------------------------------------------------------------------------

QUORIN_EXTERN_C QUORIN_API assets* assets_create(void) { return new assets; }

QUORIN_EXTERN_C QUORIN_API void assets_delete(assets* c) { delete c; }

QUORIN_EXTERN_C QUORIN_API assets* assets_deep_copy(const assets* c) {
  auto* copy = new assets;
  for (const asset* a : c->items) copy->add(deep_copy(*a), false);
  copy->active_asset_idx = c->active_asset_idx;
  return copy;
}

QUORIN_EXTERN_C QUORIN_API uint32_t assets_empty(const assets* c) { return c->items.empty() ? 1 : 0; }

QUORIN_EXTERN_C QUORIN_API uint32_t assets_count(const assets* c) {
  return static_cast<uint32_t>(c->items.size());
}

QUORIN_EXTERN_C QUORIN_API asset* assets_at(assets* c, uint32_t index) {
  return index < c->items.size() ? c->items[index] : nullptr;
}

QUORIN_EXTERN_C QUORIN_API void assets_add(assets* c, asset* a, uint32_t activate) {
  c->add(a, activate != 0);
}

QUORIN_EXTERN_C QUORIN_API void assets_delete_at(assets* c, uint32_t index) { c->delete_at(index); }

QUORIN_EXTERN_C QUORIN_API void assets_delete_active(assets* c) {
  if (c->active_asset_idx >= 0) c->delete_at(static_cast<uint32_t>(c->active_asset_idx));
}

QUORIN_EXTERN_C QUORIN_API void assets_clear(assets* c) { c->clear(); }

// The same operation under its second name.
QUORIN_EXTERN_C QUORIN_API void assets_delete_all(assets* c) { c->clear(); }

QUORIN_EXTERN_C QUORIN_API int32_t assets_active_asset_idx(const assets* c) { return c->active_asset_idx; }

QUORIN_EXTERN_C QUORIN_API asset* assets_active_asset(assets* c) {
  int32_t i = c->active_asset_idx;
  if (i < 0 || static_cast<std::size_t>(i) >= c->items.size()) return nullptr;
  return c->items[static_cast<std::size_t>(i)];
}

QUORIN_EXTERN_C QUORIN_API uint32_t assets_activate_asset(assets* c, int32_t index) {
  if (index == c->active_asset_idx) return 0;
  c->active_asset_idx = index;
  return 1;
}

QUORIN_EXTERN_C QUORIN_API uint32_t assets_dirty(const assets* c) { return c->dirty ? 1 : 0; }

QUORIN_EXTERN_C QUORIN_API void assets_reset_dirty(assets* c) { c->dirty = 0; }

QUORIN_EXTERN_C QUORIN_API uint32_t assets_load_embedded(assets* c, const char16_t* path, uint32_t activate,
                                                         const char16_t* name) {
  auto* a = new asset;
  a->linkage = 1;
  if (!read_file_data(*a, from_caller(path))) {
    delete a;
    return 0;
  }
  a->image = decode_image(a->data, static_cast<uint32_t>(a->data_size));
  if (!a->image) {
    delete a;
    return 0;
  }
  a->name = from_caller(name);
  c->add(a, activate != 0);
  return 1;
}
