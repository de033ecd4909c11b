#include "persistence/base64.h"

namespace quorin_engine {
namespace {

const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int sextet(char16_t c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

bool trimmed(char16_t c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

}  // namespace

std::string base64_encode_run(const uint8_t* data, std::size_t size) {
  std::string out;
  out.reserve((size + 2) / 3 * 4);
  for (std::size_t i = 0; i < size; i += 3) {
    uint32_t v = uint32_t(data[i]) << 16;
    if (i + 1 < size) v |= uint32_t(data[i + 1]) << 8;
    if (i + 2 < size) v |= data[i + 2];
    out.push_back(alphabet[(v >> 18) & 63]);
    out.push_back(alphabet[(v >> 12) & 63]);
    out.push_back(i + 1 < size ? alphabet[(v >> 6) & 63] : '=');
    out.push_back(i + 2 < size ? alphabet[v & 63] : '=');
  }
  return out;
}

void base64_stream_decoder::feed(const char16_t* run, std::size_t length, uint8_t* target, uint64_t capacity,
                                 uint64_t& write_pos) {
  // The XML parser may hand several lines in one run; line ends inside it are not data.
  for (std::size_t i = 0; i < length; ++i)
    if (run[i] != '\r' && run[i] != '\n') text.push_back(run[i]);
  decode_groups(target, capacity, write_pos);
}

void base64_stream_decoder::finish(uint8_t* target, uint64_t capacity, uint64_t& write_pos) {
  decode_groups(target, capacity, write_pos);
  text.clear();
}

void base64_stream_decoder::decode_groups(uint8_t* target, uint64_t capacity, uint64_t& write_pos) {
  std::size_t begin = 0, end = text.size();
  while (begin < end && trimmed(text[begin])) ++begin;
  while (end > begin && trimmed(text[end - 1])) --end;
  std::size_t pos = begin;
  for (; pos + 4 <= end; pos += 4) {
    // "=" or a character outside the alphabet ends the group with the bytes it has so far.
    uint32_t v = 0;
    int count = 0;
    for (; count < 4; ++count) {
      int s = sextet(text[pos + count]);
      if (s < 0) break;
      v |= uint32_t(s) << (18 - 6 * count);
    }
    int bytes = count >= 2 ? count - 1 : 0;
    for (int b = 0; b < bytes; ++b) {
      if (target && write_pos < capacity) target[write_pos] = static_cast<uint8_t>(v >> (16 - 8 * b));
      ++write_pos;
    }
  }
  text = text.substr(pos, end - pos);
}

}  // namespace quorin_engine
