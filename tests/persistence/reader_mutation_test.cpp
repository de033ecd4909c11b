// The reader on thousands of damaged copies of a real project file: it may refuse a file or drop
// parts of it, but it never crashes, and what it builds hangs together.
#include "sample_project.h"

#include <chrono>
#include <cstdlib>
#include <iostream>

using namespace persistence_test;

namespace {

// A fixed-seed generator, so that every run reads the same files.
struct splitmix64 {
  uint64_t state;
  uint64_t next() {
    uint64_t z = (state += 0x9e3779b97f4a7c15ull);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
    return z ^ (z >> 31);
  }
  std::size_t below(std::size_t n) { return n ? static_cast<std::size_t>(next() % n) : 0; }
};

std::string mutate(const std::string& seed, splitmix64& rng) {
  std::string doc = seed;
  const int steps = 1 + static_cast<int>(rng.below(3));
  for (int s = 0; s < steps && !doc.empty(); ++s) {
    switch (rng.below(6)) {
      case 0:  // flip bits in a few bytes
        for (std::size_t k = 0, n = 1 + rng.below(8); k < n; ++k)
          doc[rng.below(doc.size())] ^= static_cast<char>(1 + rng.below(255));
        break;
      case 1:  // cut the file short
        doc.resize(rng.below(doc.size()));
        break;
      case 2: {  // repeat a span
        std::size_t from = rng.below(doc.size()), len = 1 + rng.below(400);
        std::string span = doc.substr(from, len);
        doc.insert(rng.below(doc.size() + 1), span);
        break;
      }
      case 3: {  // remove a span
        std::size_t from = rng.below(doc.size());
        doc.erase(from, 1 + rng.below(400));
        break;
      }
      case 4: {  // put a character that matters to numbers or markup somewhere
        static const char chars[] = "-9\"<>/=A0,&";
        doc[rng.below(doc.size())] = chars[rng.below(sizeof chars - 1)];
        break;
      }
      default: {  // swap two spans of equal length
        std::size_t len = 1 + rng.below(200);
        if (doc.size() <= 2 * len) break;
        std::size_t a = rng.below(doc.size() - len), b = rng.below(doc.size() - len);
        std::string first = doc.substr(a, len);
        doc.replace(a, len, doc.substr(b, len));
        doc.replace(b, len, first);
        break;
      }
    }
  }
  return doc;
}

// Connections only ever join nodes of one graph, in both directions.
void expect_consistent(const project& p) {
  for (const graph* g : p.graphs) {
    ASSERT_NE(g, nullptr);
    for (const shadetree_node_t* n : g->nodes) {
      ASSERT_NE(n, nullptr);
      for (const auto& [input, feeder] : n->input_connections) {
        ASSERT_NE(index_in(*g, feeder), UINT32_MAX);
        const auto& out = feeder->output_connections[0];
        EXPECT_NE(std::find(out.begin(), out.end(), n), out.end());
      }
      for (const auto& list : n->output_connections)
        for (const shadetree_node_t* consumer : list) EXPECT_NE(index_in(*g, consumer), UINT32_MAX);
      for (const auto& [name, c] : n->time_curves) {
        const param_spec_t* ps = find_param(n->spec(), name);
        EXPECT_TRUE(ps && ps->curveable);
      }
    }
  }
  for (const asset* a : p.assets.items) {
    ASSERT_NE(a, nullptr);
    EXPECT_TRUE(a->linkage == 0 || a->linkage == 1);
    if (a->data_size > 0) {
      EXPECT_NE(a->data, nullptr);
    }
  }
}

class ReaderMutations : public EngineTest {};

}  // namespace

// QUORIN_MUTATIONS sets the number of files (for long runs under a sanitizer); the default keeps
// the test to a few seconds.
TEST_F(ReaderMutations, DamagedFilesNeverCrashTheReader) {
  sample_project sample;
  std::string seed_path = scratch("mutation_seed.xml");
  ASSERT_TRUE(write_project(sample.p, seed_path));
  const std::string seed = read_file(seed_path);

  uint64_t count = 1000;
  if (const char* env = std::getenv("QUORIN_MUTATIONS")) count = std::strtoull(env, nullptr, 10);

  splitmix64 rng{0x5eedf11e};
  const std::string path = scratch("mutated.xml");
  const wstring wpath = wide(path);
  uint64_t accepted = 0;
  auto begin = std::chrono::steady_clock::now();
  for (uint64_t i = 0; i < count; ++i) {
    write_file(path, mutate(seed, rng));
    project p;
    if (project_read_from_file_xml(&p, wpath.c_str())) ++accepted;
    expect_consistent(p);
    if (HasFailure()) {
      write_file((fs::current_path() / "failing_mutation.xml").string(), read_file(path));
      FAIL() << "mutation " << i << ", kept as failing_mutation.xml";
    }
  }
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  std::cout << count << " damaged files read in " << seconds << " s, " << accepted << " accepted\n";
  EXPECT_GT(accepted, 0u);  // some damage leaves a well-formed document
  EXPECT_LT(accepted, count);
}
