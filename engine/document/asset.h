// Assets: images that LoadAsset nodes draw from, linked by path or embedded with their bytes.
#pragma once
#include <cstdint>
#include <vector>
#include "core/text.h"

namespace quorin_engine {

struct imgbuf4f;

struct asset {
  uint32_t head_guard = 0xabcdef01;
  imgbuf4f* image = nullptr;  // owned
  uint32_t linkage = 0;       // 0 linked, 1 embedded
  wstring filepath;
  uint32_t link_filepath = 1;  // 0 relative, 1 absolute
  wstring name;
  uint64_t data_size = 0;
  uint8_t* data = nullptr;  // owned: the bytes of the original image file
  uint64_t data_write_pos = 0;
  uint32_t tail_guard = 0xcd01efab;

  asset() = default;
  ~asset();
  asset(const asset&) = delete;
  asset& operator=(const asset&) = delete;
};

struct assets {
  uint32_t head_guard = 0xbdafce10;
  std::vector<asset*> items;  // owned
  int32_t active_asset_idx = -1;
  uint8_t dirty = 0;
  uint32_t tail_guard = 0xaf10cebd;

  assets() = default;
  ~assets();
  assets(const assets&) = delete;
  assets& operator=(const assets&) = delete;

  void add(asset* a, bool activate);  // null ignored; sets dirty
  void delete_at(uint32_t index);      // out of range ignored; active -1, dirty set
  void clear();                        // deletes all; active -1, dirty set
};

// Copy of an asset: image pixels, texts, labels and the file bytes, each in new storage.
asset* deep_copy(const asset& a);

// Reads the file at `path` into `a.data` (`data_size` bytes, the low 32 bits of the file's size),
// in whole blocks of 4096 bytes and then the rest. False if the path is empty or the file cannot be
// opened; `a` is then unchanged.
bool read_file_data(asset& a, const wstring& path);

}  // namespace quorin_engine
