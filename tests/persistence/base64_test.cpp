#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "persistence/base64.h"

using quorin_engine::base64_encode_run;
using quorin_engine::base64_stream_decoder;

namespace {

std::string encode(const std::string& bytes) {
  return base64_encode_run(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

// Feeds the runs one after the other into a buffer of `capacity` bytes and finishes.
std::vector<uint8_t> decode_runs(const std::vector<std::u16string>& runs, uint64_t capacity, uint64_t& written) {
  std::vector<uint8_t> out(capacity, 0xee);
  base64_stream_decoder d;
  written = 0;
  for (const std::u16string& r : runs) d.feed(r.data(), r.size(), out.data(), capacity, written);
  d.finish(out.data(), capacity, written);
  EXPECT_TRUE(d.text.empty());
  return out;
}

std::vector<uint8_t> bytes_of(const std::string& s) { return std::vector<uint8_t>(s.begin(), s.end()); }

}  // namespace

TEST(Base64, EncodesRunsWithPadding) {
  EXPECT_EQ(encode(""), "");
  EXPECT_EQ(encode("M"), "TQ==");
  EXPECT_EQ(encode("Ma"), "TWE=");
  EXPECT_EQ(encode("Man"), "TWFu");
  EXPECT_EQ(encode(std::string("\xfb\xff\xbf", 3)), "+/+/");  // the two last letters of the alphabet

  std::string run(57, '\0');
  for (int i = 0; i < 57; ++i) run[i] = static_cast<char>(i * 7);
  std::string line = encode(run);
  EXPECT_EQ(line.size(), 76u);
  EXPECT_EQ(line.find('='), std::string::npos);
}

TEST(Base64, DecodesGroupsAcrossRunsAndLineEnds) {
  uint64_t n = 0;
  // A group split over three runs, with the line ends a file carries between lines.
  std::vector<uint8_t> out = decode_runs({u"\r\nTW", u"Fu\r\nTW", u"E=\r\n"}, 5, n);
  EXPECT_EQ(n, 5u);
  EXPECT_EQ(out, bytes_of("ManMa"));

  // Several lines in one run, surrounded by blanks and tabs that are trimmed at the ends.
  out = decode_runs({u" \t\r\nTWFu\r\nTWFu\nTQ==\r\n\t "}, 7, n);
  EXPECT_EQ(n, 7u);
  EXPECT_EQ(out, bytes_of("ManManM"));

  // A whole file line of 76 characters decodes back to its 57 bytes.
  std::string run(57, '\0');
  for (int i = 0; i < 57; ++i) run[i] = static_cast<char>(255 - i);
  std::string line = encode(run);
  out = decode_runs({u"\r\n" + std::u16string(line.begin(), line.end()) + u"\r\n"}, 57, n);
  EXPECT_EQ(n, 57u);
  EXPECT_EQ(out, bytes_of(run));
}

TEST(Base64, PaddingAndForeignCharactersEndTheirGroup) {
  uint64_t n = 0;
  // "=" ends a group's output; the next group starts afresh.
  std::vector<uint8_t> out = decode_runs({u"TQ==TWE="}, 3, n);
  EXPECT_EQ(n, 3u);
  EXPECT_EQ(out, bytes_of("MMa"));

  // A character outside the alphabet ends the group with the bytes it has so far: "TW*u" has two
  // sextets before the star, one byte; the blank inside a run is no exception.
  out = decode_runs({u"TW*uTWFu"}, 4, n);
  EXPECT_EQ(n, 4u);
  EXPECT_EQ(out, bytes_of("MMan"));
  out = decode_runs({u"T WFTWFu"}, 3, n);
  EXPECT_EQ(n, 3u);  // "T WF" has one sextet, no byte
  EXPECT_EQ(out, bytes_of("Man"));

  // A tail of fewer than four characters at the end gives nothing.
  out = decode_runs({u"TWFuTW"}, 4, n);
  EXPECT_EQ(n, 3u);
  EXPECT_EQ(out[3], 0xee);
}

TEST(Base64, BytesBeyondTheTargetAreDropped) {
  uint64_t n = 0;
  std::vector<uint8_t> out = decode_runs({u"TWFuTWFu"}, 4, n);
  EXPECT_EQ(out, bytes_of("ManM"));
  EXPECT_EQ(n, 6u);  // the position runs on; nothing is written past the end

  base64_stream_decoder d;
  uint64_t pos = 0;
  d.feed(u"TWFu", 4, nullptr, 0, pos);  // no target at all
  d.finish(nullptr, 0, pos);
  EXPECT_EQ(pos, 3u);
}
