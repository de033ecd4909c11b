// Assets and the asset collection, and embedding an image file.
#include <gtest/gtest.h>
#include <dlfcn.h>
#include <zlib.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>
#include "codecs/decode.h"
#include "core/imgbuf.h"
#include "document/asset.h"
#include "quorin/asset.h"

using namespace quorin_engine;

namespace {

void put_u32(std::vector<uint8_t>& out, uint32_t v) {
  for (int s = 24; s >= 0; s -= 8) out.push_back(static_cast<uint8_t>(v >> s));
}

void put_chunk(std::vector<uint8_t>& out, const char* type, const std::vector<uint8_t>& data) {
  put_u32(out, static_cast<uint32_t>(data.size()));
  std::size_t start = out.size();
  out.insert(out.end(), type, type + 4);
  out.insert(out.end(), data.begin(), data.end());
  put_u32(out, static_cast<uint32_t>(crc32(0, out.data() + start, static_cast<uInt>(out.size() - start))));
}

// A valid 8-bit RGBA PNG of w by h pixels, padded with a text chunk to exactly `total` bytes.
std::vector<uint8_t> make_png(uint32_t w, uint32_t h, std::size_t total) {
  std::vector<uint8_t> raw;
  for (uint32_t y = 0; y < h; ++y) {
    raw.push_back(0);  // filter: none
    for (uint32_t x = 0; x < w; ++x) {
      raw.push_back(static_cast<uint8_t>(x * 40));
      raw.push_back(static_cast<uint8_t>(y * 40));
      raw.push_back(200);
      raw.push_back(255);
    }
  }
  uLongf zlen = compressBound(raw.size());
  std::vector<uint8_t> z(zlen);
  compress(z.data(), &zlen, raw.data(), raw.size());
  z.resize(zlen);

  std::vector<uint8_t> ihdr;
  put_u32(ihdr, w);
  put_u32(ihdr, h);
  ihdr.insert(ihdr.end(), {8, 6, 0, 0, 0});

  std::vector<uint8_t> png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
  put_chunk(png, "IHDR", ihdr);
  put_chunk(png, "IDAT", z);
  std::size_t pad = total - png.size() - 12 - 12;  // the text chunk's and IEND's framing
  std::vector<uint8_t> text = {'C', 'o', 'm', 'm', 'e', 'n', 't', 0};
  while (text.size() < pad) text.push_back(static_cast<uint8_t>('a' + text.size() % 26));
  put_chunk(png, "tEXt", text);
  put_chunk(png, "IEND", {});
  return png;
}

std::u16string write_file(const std::string& name, const std::vector<uint8_t>& bytes) {
  std::string path = std::string(QUORIN_BINARY_DIR) + "/" + name;
  std::FILE* f = std::fopen(path.c_str(), "wb");
  std::fwrite(bytes.data(), 1, bytes.size(), f);
  std::fclose(f);
  return std::u16string(path.begin(), path.end());
}

std::u16string text_of(void (*get)(const asset*, char16_t*, int32_t), const asset* a) {
  char16_t buf[128];
  get(a, buf, 128);
  return buf;
}

TEST(Asset, NewAssetAndAccessors) {
  asset* a = asset_create();
  EXPECT_EQ(asset_linkage(a), 0u);
  EXPECT_EQ(asset_link_filepath(a), 1u);
  EXPECT_EQ(asset_imgbuf(a), nullptr);
  asset_set_filepath(a, u"textures/stone.png");
  EXPECT_EQ(text_of(asset_filepath, a), u"textures/stone.png");
  asset_set_linkage(a, 7);  // stored unchecked
  EXPECT_EQ(asset_linkage(a), 7u);

  imgbuf4f* img = imgbuf4f_create(2, 2);
  asset_set_imgbuf(a, img);
  asset_set_imgbuf(a, img);  // the same image again stays owned
  EXPECT_EQ(asset_imgbuf(a), img);
  asset_set_imgbuf(a, imgbuf4f_create(1, 1));  // frees the old one
  EXPECT_EQ(asset_imgbuf(a)->width, 1u);
  asset_delete(a);
  asset_delete(nullptr);
}

TEST(Asset, DeepCopyOwnsNewStorage) {
  asset* a = asset_create();
  imgbuf4f* img = imgbuf4f_create(3, 2);
  for (int i = 0; i < 3 * 2 * 4; ++i) img->pixels[i] = 0.125f * i;
  asset_set_imgbuf(a, img);
  asset_set_name(a, u"n");
  asset_set_filepath(a, u"p");
  asset_set_linkage(a, 1);
  asset_set_link_filepath(a, 0);
  a->data = new uint8_t[5]{1, 2, 3, 4, 5};
  a->data_size = 5;
  a->data_write_pos = 3;

  asset* c = asset_deep_copy(a);
  ASSERT_NE(c->image, nullptr);
  EXPECT_NE(c->image, a->image);
  EXPECT_NE(c->image->pixels, a->image->pixels);
  EXPECT_EQ(c->image->width, 3u);
  EXPECT_EQ(c->image->height, 2u);
  EXPECT_EQ(std::memcmp(c->image->pixels, img->pixels, sizeof(float) * 24), 0);
  EXPECT_NE(c->data, a->data);
  EXPECT_EQ(c->data_size, 5u);
  EXPECT_EQ(std::memcmp(c->data, a->data, 5), 0);
  EXPECT_EQ(c->data_write_pos, 3u);
  EXPECT_EQ(c->name, u"n");
  EXPECT_EQ(c->link_filepath, 0u);
  asset_delete(a);
  EXPECT_EQ(c->image->pixels[23], 0.125f * 23);  // survives the source
  asset_delete(c);

  asset* empty = asset_create();
  asset* empty_copy = asset_deep_copy(empty);
  EXPECT_EQ(empty_copy->image, nullptr);
  EXPECT_EQ(empty_copy->data, nullptr);
  asset_delete(empty);
  asset_delete(empty_copy);
}

TEST(Assets, CollectionIndexAndDirty) {
  assets* c = assets_create();
  EXPECT_EQ(assets_empty(c), 1u);
  EXPECT_EQ(assets_active_asset_idx(c), -1);
  EXPECT_EQ(assets_dirty(c), 0u);
  EXPECT_EQ(assets_active_asset(c), nullptr);

  asset* a0 = asset_create();
  asset* a1 = asset_create();
  asset* a2 = asset_create();
  assets_add(c, a0, 0);
  EXPECT_EQ(assets_active_asset_idx(c), -1);
  EXPECT_EQ(assets_dirty(c), 1u);
  assets_add(c, a1, 1);
  EXPECT_EQ(assets_active_asset_idx(c), 1);
  EXPECT_EQ(assets_active_asset(c), a1);
  assets_add(c, a2, 0);
  EXPECT_EQ(assets_active_asset_idx(c), 1);
  assets_add(c, nullptr, 1);
  EXPECT_EQ(assets_count(c), 3u);
  EXPECT_EQ(assets_at(c, 2), a2);
  EXPECT_EQ(assets_at(c, 3), nullptr);

  EXPECT_EQ(assets_activate_asset(c, 1), 0u);
  EXPECT_EQ(assets_activate_asset(c, 2), 1u);
  EXPECT_EQ(assets_active_asset(c), a2);

  // A copy has copies of the items, the same active index, and is dirty.
  assets_reset_dirty(c);
  assets* copy = assets_deep_copy(c);
  EXPECT_EQ(assets_count(copy), 3u);
  EXPECT_NE(assets_at(copy, 0), a0);
  EXPECT_EQ(assets_active_asset_idx(copy), 2);
  EXPECT_EQ(assets_dirty(copy), 1u);
  EXPECT_EQ(assets_dirty(c), 0u);
  assets_delete(copy);

  // Deleting any index, not only the active one, ends the selection.
  assets_delete_at(c, 0);
  EXPECT_EQ(assets_active_asset_idx(c), -1);
  EXPECT_EQ(assets_dirty(c), 1u);
  EXPECT_EQ(assets_at(c, 0), a1);
  assets_reset_dirty(c);
  assets_delete_at(c, 5);
  EXPECT_EQ(assets_count(c), 2u);
  EXPECT_EQ(assets_dirty(c), 0u);

  assets_delete_active(c);  // none active
  EXPECT_EQ(assets_count(c), 2u);
  assets_activate_asset(c, 1);
  assets_delete_active(c);
  EXPECT_EQ(assets_count(c), 1u);
  EXPECT_EQ(assets_at(c, 0), a1);

  assets_activate_asset(c, 0);
  assets_clear(c);
  EXPECT_EQ(assets_empty(c), 1u);
  EXPECT_EQ(assets_active_asset_idx(c), -1);
  assets_reset_dirty(c);
  assets_delete_all(c);  // the second name, also on an empty collection
  EXPECT_EQ(assets_dirty(c), 1u);
  assets_delete(c);
  assets_delete(nullptr);
}

TEST(Assets, FileIsReadWholeInBlocks) {
  // 8192 is a multiple of the block size; 5000 leaves a rest; 3 is less than one block.
  for (std::size_t size : {std::size_t(8192), std::size_t(5000), std::size_t(3), std::size_t(0)}) {
    std::vector<uint8_t> bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i * 7 + i / 256);
    std::u16string path = write_file("asset_blocks_" + std::to_string(size) + ".bin", bytes);
    asset a;
    ASSERT_TRUE(read_file_data(a, path)) << size;
    EXPECT_EQ(a.data_size, size);
    EXPECT_EQ(a.data_write_pos, size);
    if (size) {
      EXPECT_EQ(std::memcmp(a.data, bytes.data(), size), 0) << size;
    }
  }
  asset a;
  EXPECT_FALSE(read_file_data(a, u""));
  EXPECT_FALSE(read_file_data(a, u"/nonexistent/dir/file.png"));
  EXPECT_EQ(a.data, nullptr);
}

TEST(Assets, LoadEmbedded) {
  assets* c = assets_create();
  EXPECT_EQ(assets_load_embedded(c, u"", 1, u"x"), 0u);
  EXPECT_EQ(assets_load_embedded(c, u"/nonexistent/dir/file.png", 1, u"x"), 0u);
  // An undecodable file leaves the collection unchanged.
  std::u16string junk = write_file("asset_junk.bin", std::vector<uint8_t>(100, 0x55));
  EXPECT_EQ(assets_load_embedded(c, junk.c_str(), 1, u"x"), 0u);
  EXPECT_EQ(assets_count(c), 0u);
  EXPECT_EQ(assets_dirty(c), 0u);

  std::vector<uint8_t> png8192 = make_png(5, 4, 8192);
  std::vector<uint8_t> png5000 = make_png(3, 7, 5000);
  ASSERT_EQ(png8192.size(), 8192u);
  ASSERT_EQ(png5000.size(), 5000u);
  imgbuf4f* probe = decode_image(png8192.data(), 8192);
  if (!probe) GTEST_SKIP() << "no PNG decoder in this build";
  imgbuf4f_delete(probe);

  std::u16string p1 = write_file("asset_8192.png", png8192);
  std::u16string p2 = write_file("asset_5000.png", png5000);
  ASSERT_EQ(assets_load_embedded(c, p1.c_str(), 0, u"big"), 1u);
  EXPECT_EQ(assets_active_asset_idx(c), -1);
  EXPECT_EQ(assets_dirty(c), 1u);
  ASSERT_EQ(assets_load_embedded(c, p2.c_str(), 1, u"small"), 1u);
  EXPECT_EQ(assets_active_asset_idx(c), 1);

  const std::vector<uint8_t>* files[] = {&png8192, &png5000};
  const uint32_t sizes[][2] = {{5, 4}, {3, 7}};
  for (uint32_t i = 0; i < 2; ++i) {
    asset* a = assets_at(c, i);
    EXPECT_EQ(a->linkage, 1u);
    EXPECT_EQ(a->filepath, u"");  // the path is not recorded
    ASSERT_EQ(a->data_size, files[i]->size());
    EXPECT_EQ(std::memcmp(a->data, files[i]->data(), files[i]->size()), 0);
    ASSERT_NE(a->image, nullptr);
    EXPECT_EQ(a->image->width, sizes[i][0]);
    EXPECT_EQ(a->image->height, sizes[i][1]);
  }
  EXPECT_EQ(assets_at(c, 0)->name, u"big");
  EXPECT_EQ(assets_at(c, 1)->name, u"small");
  assets_delete(c);
}

}  // namespace

// Both families reach the host: every name is exported by the shared library, assets_delete_all as
// a function of its own beside assets_clear.
TEST(Assets, SharedLibraryExportsTheFamilies) {
  const std::string lib = std::string(QUORIN_BINARY_DIR) + "/bin/libquorin_engine.so";
  void* handle = dlopen(lib.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle) GTEST_SKIP() << lib << " is not built";
  for (const char* name :
       {"asset_create", "asset_delete", "asset_deep_copy", "asset_name", "asset_set_name", "asset_filepath",
        "asset_set_filepath", "asset_imgbuf", "asset_set_imgbuf", "asset_linkage", "asset_set_linkage",
        "asset_link_filepath", "asset_set_link_filepath", "assets_create", "assets_delete", "assets_deep_copy",
        "assets_empty", "assets_count", "assets_at", "assets_add", "assets_delete_at", "assets_delete_active",
        "assets_clear", "assets_delete_all", "assets_active_asset_idx", "assets_active_asset",
        "assets_activate_asset", "assets_dirty", "assets_reset_dirty", "assets_load_embedded",
        "project_create", "project_deep_copy", "project_setting", "project_unattach_graph",
        "project_active_graph_nodes", "project_animedit_normalized_time"})
    EXPECT_NE(dlsym(handle, name), nullptr) << name;
  EXPECT_NE(dlsym(handle, "assets_delete_all"), dlsym(handle, "assets_clear"));
  dlclose(handle);
}
