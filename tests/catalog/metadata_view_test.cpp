#include "catalog/metadata_view.h"

#include <algorithm>
#include <map>

#include "catalog/tag_base.h"
#include "tests/catalog/tag_test_support.h"

namespace {

using vael::metadata_association_type;
using vael::metadata_data_type;
using vael::metadata_description_t;
using vael::metadata_item_t;
namespace pt = boost::posix_time;

const auto logic_error_of = vael_test::message_of<std::logic_error>;
constexpr auto media_assoc = metadata_association_type::media_association_type;

class MetadataView : public vael_test::tag_catalog {
 protected:
  vael::metadata_view_t view() const { return vael::metadata_view_t(h()); }
  metadata_description_t describe(const std::string& identifier, metadata_data_type type,
                                  bool multiple = false) {
    metadata_description_t d;
    write([&] { d = view().create_description(identifier, type, media_assoc, multiple); });
    return d;
  }
  metadata_item_t on_media(int media_id, const metadata_description_t& d,
                           const dbl::entry_data& value) {
    metadata_item_t item{value, d, 0};
    write([&] { view().create_media(media_id, item); });
    return item;
  }
};

TEST_F(MetadataView, EveryValueTypeIsWrittenReadBackInTypeOrderAndOverwritten) {
  const pt::ptime noon = pt::time_from_string("2021-05-01 12:00:00.250");
  const struct row {
    metadata_data_type type;
    dbl::entry_data first, second;
  } rows[] = {
      {metadata_data_type::string_type, "caf\xC3\xA9", std::string(3000, 'x')},
      {metadata_data_type::integer_type, 5, std::int64_t{1} << 40},
      {metadata_data_type::decimal_type, 2.5, -0.125},
      {metadata_data_type::date_time_type, noon, noon + pt::hours(30)},
      {metadata_data_type::blob_type, dbl::blob{0, 1, 255}, dbl::blob{}},
  };
  const int m = new_media("/a.jpg"), t = new_root_tag("t");
  // Made from the last type to the first: an owner's items still come in data type order.
  std::vector<metadata_item_t> on_m(5), on_t(5);
  for (std::size_t n = 5; n-- > 0;) {
    const metadata_description_t d = describe("test:" + std::to_string(n), rows[n].type);
    on_m[n] = on_media(m, d, rows[n].first);
    on_t[n] = metadata_item_t{rows[n].first, d, 0};
    write([&] { view().create_tag(t, on_t[n]); });
  }
  const std::vector<metadata_item_t> all = view().get_all_on_media(m);
  ASSERT_EQ(all.size(), 5u);
  for (std::size_t n = 0; n < 5; ++n) {
    SCOPED_TRACE(n);
    const metadata_description_t& d = on_m[n].description;
    EXPECT_EQ(all[n].description.get_identifier(), "test:" + std::to_string(n));
    EXPECT_EQ(all[n].value, rows[n].first);
    write([&] { view().set_value(on_m[n], rows[n].second); });
    EXPECT_EQ(on_m[n].value, rows[n].second);
    ASSERT_EQ(view().get_media(d, m).size(), 1u);
    EXPECT_EQ(view().get_media(d, m)[0].value, rows[n].second);
    EXPECT_EQ(view().get_tag(d, t)[0].value, rows[n].first);
    std::vector<int> ids = view().get_item_ids(d);
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(ids, (std::vector<int>{on_m[n].id, on_t[n].id}));
  }
  EXPECT_TRUE(view().get_all_on_media(new_media("/2.jpg")).empty());
  // A value that does not convert to the column's kind writes nothing.
  metadata_item_t bad{"five", on_m[1].description, 0};
  const int other = new_media("/b.jpg");
  EXPECT_THROW(write([&] { view().create_media(other, bad); }), std::bad_cast);
  EXPECT_EQ(view().get_all_items(bad.description).size(), 2u);
  EXPECT_TRUE(view().get_media(bad.description, other).empty());
}

TEST_F(MetadataView, SingleValuedDescriptionsRefuseASecondValuePerOwner) {
  const metadata_description_t single = describe("test:single", metadata_data_type::string_type);
  const metadata_description_t multi =
      describe("test:multi", metadata_data_type::string_type, true);
  const int m1 = new_media("/1.jpg"), m2 = new_media("/2.jpg"), t = new_root_tag("t");
  on_media(m1, single, "a");
  on_media(m2, single, "b");
  on_media(m1, multi, "a");
  on_media(m1, multi, "b");
  EXPECT_EQ(view().get_media(multi, m1).size(), 2u);
  metadata_item_t item{"x", single, 0};
  write([&] { view().create_tag(t, item); });
  const std::string already = "There is already a metadata item for this description on this ";
  const auto make = [&](const char* identifier, metadata_data_type type,
                        metadata_association_type association) {
    view().create_description(identifier, type, association, false);
  };
  const auto bad_assoc = static_cast<metadata_association_type>(-1);
  const struct {
    std::function<void()> step;
    std::string text;
  } cases[] = {
      {[&] { view().create_media(m1, item); }, already + "media."},
      {[&] { view().create_tag(t, item); }, already + "tag."},
      {[&] { view().create_stack(t, item); }, already + "stack."},
      {[&] { view().create_unassociated(item); }, already + "media."},
      {[&] { make("test:single", metadata_data_type::integer_type, media_assoc); },
       "Could not create the metadata description, because 'test:single' is already a metadata "
       "description."},
      {[&] { make("test:new", static_cast<metadata_data_type>(5), media_assoc); },
       "An unrecognized metadata type was encounted."},
      {[&] { make("test:new", metadata_data_type::string_type, bad_assoc); },
       "An unrecognized metadata association type was encounted."},
      {[] { vael::value_table_of(static_cast<metadata_data_type>(5)); },
       "An unrecognized metadata type was encountered."},
      {[] { vael::value_kind_of(static_cast<metadata_data_type>(5)); },
       "An unknown metadata type was encountered."},
  };
  for (const auto& c : cases) EXPECT_EQ(logic_error_of([&] { write(c.step); }), c.text);
  EXPECT_FALSE(view().has_description("test:new"));
  EXPECT_EQ(count("SELECT COUNT(*) FROM metadata_string_table"), 5);
}

TEST_F(MetadataView, StackMetadataLeavesTheTagUnstampedWhileTagMetadataStampsIt) {
  const metadata_description_t d = describe("test:d", metadata_data_type::integer_type, true);
  const int t = new_root_tag("t"), m = new_media("/1.jpg");
  const int tag_before = column("change_id", t);
  const int media_before = vael_test::media_change_id(db(), m);
  metadata_item_t on_stack{1, d, 0}, on_tag{2, d, 0}, on_media{3, d, 0};
  write([&] { view().create_stack(t, on_stack); });
  EXPECT_EQ(column("change_id", t), tag_before);
  write([&] { view().create_tag(t, on_tag); });
  const int tag_after = column("change_id", t);
  EXPECT_GT(tag_after, tag_before);
  write([&] { view().create_media(m, on_media); });
  const int media_after = vael_test::media_change_id(db(), m);
  EXPECT_GT(media_after, media_before);
  EXPECT_EQ(view().get_media_of_item(on_media.id), std::vector<int>{m});
  EXPECT_TRUE(view().get_tags_of_item(on_media.id).empty());
  EXPECT_EQ(view().get_tags_of_item(on_tag.id), std::vector<int>{t});

  // Writing or removing a value stamps the owners it is linked to.
  write([&] { view().set_value(on_media, 7); });
  EXPECT_GT(vael_test::media_change_id(db(), m), media_after);
  EXPECT_EQ(column("change_id", t), tag_after);
  write([&] { view().remove_item(on_tag); });
  EXPECT_GT(column("change_id", t), tag_after);
  const std::vector<metadata_item_t> left = view().get_tag(d, t);
  ASSERT_EQ(left.size(), 1u);
  EXPECT_EQ(left[0].id, on_stack.id);
  EXPECT_EQ(view().get_all_on_tag(t).size(), 1u);

  // Two tags with one value: the later row wins.
  const int t2 = new_root_tag("t2");
  const metadata_description_t names =
      describe("test:names", metadata_data_type::string_type, true);
  for (const auto& [owner, value] :
       std::vector<std::pair<int, std::string>>{{t, "x"}, {t2, "x"}, {t, "y"}}) {
    metadata_item_t item{value, names, 0};
    write([&, owner = owner] { view().create_stack(owner, item); });
  }
  EXPECT_EQ(view().get_value_to_tag_map(names), (std::map<std::string, int>{{"x", t2}, {"y", t}}));
}

TEST_F(MetadataView, DescriptionsComeFromTheCacheOnceLoaded) {
  const metadata_description_t d = describe("test:d", metadata_data_type::string_type, true);
  EXPECT_EQ(view().get_description("test:d"), d);
  // Edits behind the model's back are not seen: the second read never reaches the file.
  vael_test::run(db(), "UPDATE metadata_description_table SET data_type = 'blob_type'");
  EXPECT_EQ(view().get_description("test:d").get_data_type(), metadata_data_type::string_type);
  EXPECT_EQ(view().get_description(d.get_id()), d);
  vael_test::run(db(), "DELETE FROM metadata_description_table");
  EXPECT_TRUE(view().has_description("test:d"));
  EXPECT_TRUE(view().has_description(d.get_id()));
  EXPECT_FALSE(view().has_description(d.get_id() + 1));

  vael_test::run(db(),
                 "INSERT INTO metadata_description_table (id, identifier, data_type, "
                 "association_type, can_have_multiple_items) VALUES (900, 'bad:type', 'text', "
                 "'media_association_type', 0), (901, 'bad:assoc', 'string_type', 'media', 0)");
  EXPECT_EQ(logic_error_of([&] { view().get_description("bad:type"); }),
            "An unrecognized metadata type string was encountered.");
  EXPECT_EQ(logic_error_of([&] { view().get_description(901); }),
            "An unrecognized metadata association type string was encountered.");
  EXPECT_THROW(view().get_description("test:none"), std::logic_error);

  // A description made in a step that rolls back is forgotten with it.
  {
    vael::transaction t(h());
    t.begin(vael::without_undo, vael::lock_now);
    view().create_description("test:undone", metadata_data_type::string_type, media_assoc, false);
    view().get_description("test:undone");
  }
  EXPECT_FALSE(view().has_description("test:undone"));
}

TEST_F(MetadataView, OwnerQueriesLeaveDescriptionIdOutOfTheIndexChoice) {
  const metadata_description_t d(3, "x", metadata_data_type::decimal_type, media_assoc, false);
  EXPECT_EQ(vael::metadata_view_t::get_items_sql(true, d, "media_to_metadata_table", "media_id"),
            "SELECT metadata_decimal_table.id, metadata_decimal_table.value\n"
            "FROM metadata_decimal_table\n"
            "INNER JOIN media_to_metadata_table ON metadata_decimal_table.id = metadata_id AND "
            "media_id = :assc_id\n"
            "WHERE +metadata_decimal_table.description_id = :md_desc_id");
  EXPECT_EQ(vael::metadata_view_t::get_items_sql(false, d, "tag_to_metadata_table", "tag_id"),
            "SELECT metadata_decimal_table.id\n"
            "FROM metadata_decimal_table\n"
            "INNER JOIN tag_to_metadata_table ON metadata_decimal_table.id = metadata_id AND "
            "tag_id = :assc_id\n"
            "WHERE +metadata_decimal_table.description_id = :md_desc_id");
  // Copies share until one of them is written.
  metadata_description_t copy = d;
  EXPECT_TRUE(copy.shares(d));
  copy.set_can_have_multiple_items(true);
  EXPECT_FALSE(d.can_have_multiple_items());
  EXPECT_TRUE(metadata_description_t().shares(metadata_description_t()));
}

}  // namespace
