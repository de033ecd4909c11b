// Base64 as project files carry it: standard alphabet, "=" padding, 57-byte runs per line.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>

namespace quorin_engine {

// Encodes up to 57 bytes into `out` (76 characters for a full run), with padding.
std::string base64_encode_run(const uint8_t* data, std::size_t size);

// A streaming decoder: text arrives in runs; every whole group of four characters is decoded into
// the target at its write position, the rest waits for the next run.
struct base64_stream_decoder {
  std::u16string text;

  // Appends a run, then decodes what whole groups there are. Bytes beyond `capacity` are dropped.
  void feed(const char16_t* run, std::size_t length, uint8_t* target, uint64_t capacity, uint64_t& write_pos);
  // Decodes what is left and empties the text.
  void finish(uint8_t* target, uint64_t capacity, uint64_t& write_pos);

 private:
  void decode_groups(uint8_t* target, uint64_t capacity, uint64_t& write_pos);
};

}  // namespace quorin_engine
