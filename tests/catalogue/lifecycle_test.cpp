// init and cleanup: the catalogue from a document, the process-wide tables, and the cases where init
// runs twice or finds no document.
#include "core/lifecycle.h"
#include "core/tables.h"
#include "fixture.h"
#include "quorin/engine.h"

namespace quorin_test {
namespace {

// cleanup leaves dangling pointers behind on purpose; the tests put them back to null.
void forget_tables() {
  box_weights = gaussian_weights = bartlett_weights = nullptr;
  seed_tables_marker = nullptr;
}

std::string small_document() {
  return "\xEF\xBB\xBF" +
         document(R"(<nodetype-spec name="RGB" is-gen="true" resource-id="105" category="Simple"/>
                     <nodetype-spec name="Blur" is-gen="false" resource-id="305" category="Blend"/>)");
}

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.data()); }

TEST_F(CatalogueTest, InitWithoutDocumentBuildsNothingAndCleanupFreesNothing) {
  forget_tables();
  EXPECT_FALSE(init_with_resource(nullptr, 0));
  const std::string doc = small_document();
  EXPECT_FALSE(init_with_resource(bytes(doc), 0));
  EXPECT_TRUE(nodetype_specs().empty());
  EXPECT_EQ(box_weights, nullptr);
  EXPECT_EQ(gaussian_weights, nullptr);
  EXPECT_EQ(bartlett_weights, nullptr);
  EXPECT_EQ(seed_tables_marker, nullptr);
  cleanup();  // must not touch anything
  EXPECT_EQ(box_weights, nullptr);
}

TEST_F(CatalogueTest, InitLoadsTheDocumentAndBuildsEmptyTables) {
  forget_tables();
  float* stale = new float[256];
  seed_value_tables[5000] = stale;  // init clears the slots without freeing them
  const std::string doc = small_document();
  ASSERT_TRUE(init_with_resource(bytes(doc), doc.size()));
  ASSERT_EQ(nodetype_specs().size(), 2u);  // the byte order mark was stepped over
  EXPECT_EQ(operator_categories().size(), 2u);
  for (blur_weight_table* t : {box_weights, gaussian_weights, bartlett_weights}) {
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->head_guard, 0xfeedcafeu);
    EXPECT_EQ(t->tail_guard, 0xcafefeedu);
    for (blur_weights* slot : t->slots) EXPECT_EQ(slot, nullptr);
  }
  EXPECT_NE(box_weights, gaussian_weights);
  EXPECT_NE(seed_tables_marker, nullptr);
  for (float* slot : seed_value_tables) EXPECT_EQ(slot, nullptr);
  delete[] stale;

  seed_value_tables[7] = new float[256];
  cleanup();
  EXPECT_EQ(nodetype_specs().size(), 2u);  // the catalogue stays
  forget_tables();
  seed_value_tables[7] = nullptr;
}

TEST_F(CatalogueTest, SecondInitAppendsASecondCopyAndLookupsFindTheFirst) {
  forget_tables();
  const std::string doc = small_document();
  ASSERT_TRUE(init_with_resource(bytes(doc), doc.size()));
  cleanup();
  forget_tables();
  ASSERT_TRUE(init_with_resource(bytes(doc), doc.size()));
  cleanup();
  forget_tables();

  ASSERT_EQ(nodetype_specs().size(), 4u);
  EXPECT_EQ(generator_categories().size(), 6u);
  EXPECT_EQ(nodetype_specs()[2].type_id, 0u);
  EXPECT_EQ(find_spec(0), &nodetype_specs()[0]);
  EXPECT_EQ(find_spec(1005), &nodetype_specs()[1]);
  EXPECT_EQ(find_spec_by_name(u"Blur"), &nodetype_specs()[1]);
  EXPECT_EQ(nodetype_specs()[3].category, 1u);  // positions in the load's own category lists
}

}  // namespace
}  // namespace quorin_test
