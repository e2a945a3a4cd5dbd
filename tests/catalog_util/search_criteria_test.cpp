#include "catalog_util/search/search_criteria.h"

#include <gtest/gtest.h>

#include <string>

#include "catalog_util/search/all_photos_search.h"
#include "catalog_util/search/criteria_serialization.h"
#include "catalog_util/search/search_implementer.h"
#include "dbl/query.h"
#include "dbl/temporary_table.h"
#include "tests/catalog/tag_test_support.h"

namespace {

using vael_util::query_t;
using vael_util::search_criteria;

// A search class of the tests' own: media whose path matches a LIKE pattern.
struct path_search {
  std::string pattern;
};

constexpr std::int32_t path_search_type = 90;
int equals_calls = 0;

bool search_equals(const path_search& a, const path_search& b) {
  ++equals_calls;
  return a.pattern == b.pattern;
}
std::string search_serialize(const path_search& s) {
  return vael_util::serialize_number(static_cast<std::int64_t>(s.pattern.size())) + s.pattern;
}
std::uint64_t search_deserialize(const std::string& text, std::uint64_t pos, path_search& s) {
  std::uint64_t end = pos;
  const auto size = static_cast<std::size_t>(vael_util::read_number(text, pos, &end));
  s.pattern = text.substr(static_cast<std::size_t>(end), size);
  return end + size;
}
query_t search_build_query(const vael::connection_handle& handle, const path_search& s,
                           const std::string& table) {
  query_t q(handle);
  q.sql() = "SELECT id_table.id FROM " + table +
            " AS id_table INNER JOIN media_table ON media_table.id = id_table.id WHERE "
            "media_table.full_filepath LIKE :pattern ORDER BY id_table.id";
  q.bind(":pattern", dbl::entry_data(s.pattern));
  return q;
}

class SearchFramework : public vael_test::tag_catalog {
 protected:
  static void SetUpTestSuite() {
    vael_util::register_search_implementers(7);
    vael_util::register_search_implementers(8);
    vael_util::add_search_implementer(
        path_search_type, vael_util::make_search_implementer<path_search>(path_search_type));
  }
};

TEST_F(SearchFramework, RegistersOnceAndRefusesUnknownTypes) {
  EXPECT_EQ(vael_util::registered_search_version(), 7);
  const char* const unknown[] = {"(15)", "(0)", "(19)"};
  for (const char* text : unknown) {
    search_criteria read(path_search{"x"}, path_search_type);
    EXPECT_EQ(vael_test::message_of<std::runtime_error>([&] { read.deserialize(text, 0); }),
              "No search_criteria implementer is defined for the search type passed in.")
        << text;
    EXPECT_EQ(read.type(), 1) << text;
    EXPECT_NO_THROW(read.get<vael_util::all_photos_search>()) << text;
  }
  search_criteria broken;
  EXPECT_THROW(broken.deserialize("15)", 0), std::runtime_error);
  EXPECT_THROW(broken.deserialize("(1", 0), std::runtime_error);
}

TEST_F(SearchFramework, RoundTripsComparesAndCopiesByValue) {
  const search_criteria a(path_search{"/p(1,2)%"}, path_search_type);
  std::string text = "prefix";
  a.serialize(text);
  EXPECT_EQ(text, "prefix(90)(8)/p(1,2)%");
  search_criteria back;
  EXPECT_EQ(back.deserialize(text + "(1)", 6), text.size());
  EXPECT_EQ(back.type(), path_search_type);
  EXPECT_TRUE(back.equals(a));

  search_criteria copy = back;
  back = search_criteria(path_search{"other"}, path_search_type);
  EXPECT_EQ(copy.get<path_search>().pattern, "/p(1,2)%");
  EXPECT_FALSE(copy.equals(back));

  equals_calls = 0;
  EXPECT_FALSE(a.equals(search_criteria()));
  EXPECT_EQ(equals_calls, 0);
  EXPECT_TRUE(search_criteria().equals(search_criteria()));
  std::string all;
  search_criteria().serialize(all);
  EXPECT_EQ(all, "(1)");
  EXPECT_THROW(search_criteria(1, path_search_type).equals(a), boost::bad_any_cast);
}

TEST_F(SearchFramework, QueriesNarrowTheIdTableAndShareTextUntilWritten) {
  std::vector<int> media;
  for (const char* file : {"/a/1.jpg", "/b/2.jpg", "/a/3.jpg"}) media.push_back(new_media(file));
  dbl::temporary_id_set candidates(db());
  candidates.add({media[1], media[2]});

  const query_t all = search_criteria().build_query(h(), candidates.table_name());
  EXPECT_FALSE(all.has_sql());
  EXPECT_FALSE(search_criteria(path_search{"%"}, path_search_type)
                   .build_any_query(h(), candidates.table_name())
                   .has_sql());

  const query_t in_a = search_criteria(path_search{"/a/%"}, path_search_type)
                           .build_query(h(), candidates.table_name());
  EXPECT_EQ(in_a.select_ids(), std::vector<int>{media[2]});

  query_t in_b = in_a;
  in_b.bind(":pattern", dbl::entry_data("/b/%"));
  in_b.bind(":pattern", dbl::entry_data("/%"));
  in_b.sql() += " DESC";
  EXPECT_EQ(in_b.select_ids(), (std::vector<int>{media[2], media[1]}));
  EXPECT_EQ(in_a.select_ids(), std::vector<int>{media[2]});
  const query_t shared = in_a;
  EXPECT_EQ(&in_a.sql(), &shared.sql());

  query_t positional("SELECT id FROM media_table WHERE id IN (?, ?) ORDER BY id", h());
  positional.set_positional({dbl::entry_data(media[0]), dbl::entry_data(media[2])});
  EXPECT_EQ(positional.select_ids(), (std::vector<int>{media[0], media[2]}));
  EXPECT_THROW(query_t().select_ids(), std::logic_error);
}

}  // namespace
