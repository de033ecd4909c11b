// Timing of one node's render: the node renders into a W x H target through a pool and a render
// context, as a host would drive it; the rate is reported in megapixels per second.
#pragma once
#include <benchmark/benchmark.h>

#include <cstdint>
#include <initializer_list>
#include <utility>

namespace quorin_engine {
struct shadetree_node_t;
struct project;
}

namespace quorin_bench {

// A new node of the type with the given parameter texts on top of its defaults. The caller
// deletes it with node_delete.
quorin_engine::shadetree_node_t* make_node(
    uint32_t type_id, std::initializer_list<std::pair<const char16_t*, const char16_t*>> params = {});

// Renders `node` (and whatever is connected upstream) for every iteration of `state`. Each
// iteration is a full render: the target is never taken as cached. `project` is the render
// context's project (for nodes that read its assets or time).
void render_node(benchmark::State& state, quorin_engine::shadetree_node_t* node, uint32_t width,
                 uint32_t height, uint32_t pool_buffers = 8, quorin_engine::project* project = nullptr);

// Times `op` alone: the pool keeps its inputs' images in its cache after a first render, so every
// timed iteration renders the operator over inputs that are already there.
void render_operator(benchmark::State& state, quorin_engine::shadetree_node_t* op, uint32_t width,
                     uint32_t height, uint32_t pool_buffers = 16);

// Connects every stream input of `node` to a generator owned by the caller's `sources`: a colour
// gradient for colour streams, turbulence for grey ones.
void feed_inputs(quorin_engine::shadetree_node_t* node, quorin_engine::shadetree_node_t* rgb_source,
                 quorin_engine::shadetree_node_t* grey_source);

// Registers the benchmarks that walk the catalogue (the sweep over every node type with a render
// routine, and the thread speed-ups); called by main once the catalogue is loaded.
void register_catalogue_benchmarks();

}  // namespace quorin_bench
