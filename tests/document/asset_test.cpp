#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>

#include "core/imgbuf.h"
#include "document/asset.h"
#include "quorin/asset.h"
#include "quorin/imgbuf4f.h"

using namespace quorin_engine;

namespace {

// A 13 by 7 PNG followed by zero bytes up to `total` bytes: the decoder stops at the end chunk.
std::vector<uint8_t> padded_png(std::size_t total) {
  std::ifstream in(QUORIN_SOURCE_DIR "/tests/codecs/fixtures/png_rgba8.png", std::ios::binary);
  std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  bytes.resize(total, 0);
  return bytes;
}

std::u16string write_file(const std::string& name, const std::vector<uint8_t>& bytes) {
  std::string path = std::string(QUORIN_BINARY_DIR) + "/" + name;
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  return std::u16string(path.begin(), path.end());
}

TEST(Asset, NewAssetAndDeepCopy) {
  asset* a = asset_create();
  EXPECT_TRUE(asset_linkage(a) == 0u && asset_link_filepath(a) == 1u);
  imgbuf4f* img = imgbuf4f_create(3, 2);
  img->pixels[23] = 0.5f;
  asset_set_imgbuf(a, img);
  asset_set_imgbuf(a, img);  // the same image again stays owned
  a->data = new uint8_t[5]{1, 2, 3, 4, 5};
  a->data_size = 5;
  a->data_write_pos = 3;
  asset* c = asset_deep_copy(a);
  asset_delete(a);
  // The copy owns its own storage, which survives the source.
  ASSERT_TRUE(c->image && c->image->width == 3 && c->data_size == 5 && c->data_write_pos == 3);
  EXPECT_TRUE(c->image->pixels[23] == 0.5f && c->data[4] == 5);
  asset_delete(c);
}

TEST(Assets, CollectionIndexAndDirty) {
  assets* c = assets_create();
  asset *a0 = asset_create(), *a1 = asset_create();
  assets_add(c, a0, 0);  // activate 0: the index stays
  EXPECT_TRUE(assets_active_asset_idx(c) == -1 && assets_dirty(c) == 1u);
  assets_add(c, a1, 1);  // activate 1: the new last index
  EXPECT_EQ(assets_active_asset(c), a1);
  assets_add(c, asset_create(), 0);
  assets_add(c, nullptr, 1);
  EXPECT_EQ(assets_count(c), 3u);
  EXPECT_TRUE(assets_activate_asset(c, 1) == 0u && assets_activate_asset(c, 2) == 1u);

  // A copy has copies of the items, the same active index, and is dirty from its appends.
  assets* copy = assets_deep_copy(c);
  EXPECT_TRUE(assets_at(copy, 0) != a0 && assets_active_asset_idx(copy) == 2 && assets_dirty(copy));
  assets_delete(copy);

  // Deleting any index, not only the active one, ends the selection.
  assets_delete_at(c, 0);
  EXPECT_TRUE(assets_active_asset_idx(c) == -1 && assets_at(c, 0) == a1);
  assets_reset_dirty(c);
  assets_delete_at(c, 5);
  EXPECT_EQ(assets_dirty(c), 0u);
  assets_clear(c);
  assets_reset_dirty(c);
  assets_delete_all(c);  // the second name, also on an empty collection
  EXPECT_EQ(assets_dirty(c), 1u);
  assets_delete(c);
}

TEST(Assets, LoadEmbedded) {
  assets* c = assets_create();
  EXPECT_EQ(assets_load_embedded(c, u"/nonexistent/dir/file.png", 1, u"x"), 0u);
  std::u16string junk = write_file("asset_junk.bin", std::vector<uint8_t>(100, 0x55));
  EXPECT_EQ(assets_load_embedded(c, junk.c_str(), 1, u"x"), 0u);
  EXPECT_TRUE(assets_count(c) == 0u && assets_dirty(c) == 0u);  // an undecodable file changes nothing

  // 8192 bytes are whole blocks of the read; 5000 leave a rest.
  for (uint32_t i = 0; i < 2; ++i) {
    const std::vector<uint8_t> file = padded_png(i ? 5000 : 8192);
    ASSERT_EQ(file.size(), i ? 5000u : 8192u);
    std::u16string path = write_file("asset_" + std::to_string(file.size()) + ".png", file);
    ASSERT_EQ(assets_load_embedded(c, path.c_str(), i, u"name"), 1u);
    EXPECT_EQ(assets_active_asset_idx(c), i ? 1 : -1);
    asset* a = assets_at(c, i);
    EXPECT_TRUE(a->linkage == 1 && a->filepath.empty() && a->name == u"name");  // the path is not recorded
    ASSERT_EQ(a->data_size, file.size());
    EXPECT_EQ(std::memcmp(a->data, file.data(), file.size()), 0);
    EXPECT_TRUE(a->image && a->image->width == 13 && a->image->height == 7);
  }
  assets_delete(c);
}

}  // namespace
