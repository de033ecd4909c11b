#include "core/debug_output.h"

#include <atomic>
#include "core/text.h"
#include "quorin/engine.h"

namespace quorin_engine {
namespace {

struct sink_t {
  void (*fn)(const char16_t*, void*);
  void* user;
};
std::atomic<sink_t*> current_sink{nullptr};
sink_t sink_slots[2];
std::atomic<int> next_slot{0};

}  // namespace

void debug_output(const std::u16string& text) {
  sink_t* s = current_sink.load();
  if (s && s->fn) s->fn(text.c_str(), s->user);
}

void debug_output_a(const char* text) { debug_output(from_utf8(text ? text : "")); }

}  // namespace quorin_engine

using namespace quorin_engine;

QUORIN_EXTERN_C QUORIN_API void engine_set_debug_output(void (*sink)(const char16_t* text, void* user),
                                                        void* user) {
  if (!sink) {
    current_sink.store(nullptr);
    return;
  }
  // Two slots alternate so that a message being delivered never sees its sink rewritten.
  int slot = next_slot.fetch_xor(1);
  sink_slots[slot] = {sink, user};
  current_sink.store(&sink_slots[slot]);
}
