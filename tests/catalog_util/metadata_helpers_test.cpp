#include "catalog_util/metadata_helpers.h"

#include <gtest/gtest.h>

#include <boost/lexical_cast.hpp>
#include <string>
#include <vector>

#include "catalog/metadata_view.h"
#include "catalog/tag_base.h"
#include "catalog_util/metadata_vocabulary.h"
#include "tests/catalog/tag_test_support.h"

namespace {

namespace md = vael_util::metadata_identifier;
using vael::metadata_association_type;
using vael::metadata_data_type;

class MetadataHelpers : public vael_test::tag_catalog {
 protected:
  vael::metadata_view_t view() const { return vael::metadata_view_t(h()); }
  std::vector<std::string> values(const std::vector<vael::metadata_item_t>& items) const {
    std::vector<std::string> out;
    for (const auto& item : items) out.push_back(item.value.as_string());
    return out;
  }
};

TEST_F(MetadataHelpers, DefaultListMakesEachDescriptionOnceWithItsRule) {
  write([&] { vael_util::create_default_metadata_descriptions(h()); });
  const std::vector<vael::metadata_item_t> guid =
      vael_util::get_catalog_metadata(h(), md::catalog_guid);
  ASSERT_EQ(guid.size(), 1u);
  EXPECT_EQ(guid[0].value.as_string().size(), 36u);
  write([&] { vael_util::create_default_metadata_descriptions(h()); });
  EXPECT_EQ(values(vael_util::get_catalog_metadata(h(), md::catalog_guid)), values(guid));
  EXPECT_EQ(count("SELECT COUNT(*) FROM metadata_description_table"),
            static_cast<int>(vael_util::default_metadata_descriptions().size()) - 1);
  EXPECT_FALSE(view().has_description(md::tag_color));

  // One row of each data type, association and multiplicity.
  constexpr auto text = metadata_data_type::string_type, number = metadata_data_type::integer_type;
  constexpr auto none = metadata_association_type::unassociated_association_type;
  const std::tuple<const char*, metadata_data_type, metadata_association_type, bool> expected[] = {
      {md::day_note, text, none, true},
      {md::face_detector_version, number, metadata_association_type::media_association_type, false},
      {md::is_tag_hidden, number, metadata_association_type::tag_association_type, false},
      {md::tag_icon, metadata_data_type::blob_type, none, false},
      {md::tag_date, metadata_data_type::date_time_type, none, false},
      {md::gps_latitude, metadata_data_type::decimal_type, none, false},
  };
  for (const auto& [identifier, type, association, multiple] : expected) {
    const vael::metadata_description_t d = view().get_description(identifier);
    EXPECT_EQ(d.get_data_type(), type) << identifier;
    EXPECT_EQ(d.get_association_type(), association) << identifier;
    EXPECT_EQ(d.can_have_multiple_items(), multiple) << identifier;
  }
  // Comparison is exact: one colon less is another, unlisted identifier.
  EXPECT_EQ(vael_util::metadata_rule_of("omb:FaceDectectorVersion").association_type,
            metadata_association_type::unassociated_association_type);
}

TEST_F(MetadataHelpers, MediaFormAddsToMultiValuedTagAndCatalogFormsOverwrite) {
  const int m = new_media("/1.jpg"), t = new_root_tag("t");
  write([&] {
    for (const char* v : {"f1", "f2"}) vael_util::create_media(h(), md::face_data, 0, m, v);
    for (int v : {3, 4}) vael_util::create_media(h(), md::rating, 1, m, v);
    for (const char* v : {"n1", "n2"}) vael_util::create_tag_metadata(h(), md::face_data, 0, t, v);
    for (const char* v : {"c1", "c2"}) vael_util::create_catalog_metadata(h(), "test:c", 0, v);
  });
  EXPECT_EQ(values(vael_util::get_media_metadata(h(), md::face_data, m)),
            (std::vector<std::string>{"f1", "f2"}));
  const auto rating = vael_util::get_media_metadata(h(), md::rating, m);
  ASSERT_EQ(rating.size(), 1u);
  EXPECT_EQ(rating[0].value.as_int(), 4);
  EXPECT_EQ(values(vael_util::get_tag_metadata(h(), md::face_data, t)),
            std::vector<std::string>{"n2"});
  EXPECT_EQ(values(vael_util::get_catalog_metadata(h(), "test:c")), std::vector<std::string>{"c2"});
  // The type of an existing description wins over the one asked for.
  write([&] { vael_util::create_media(h(), md::rating, 0, m, 5); });
  EXPECT_EQ(vael_util::get_media_metadata(h(), md::rating, m)[0].value.as_int(), 5);

  EXPECT_EQ(vael_util::person_id_of_tag(h(), t), "");
  write([&] {
    vael_util::create_tag_metadata(h(), md::person_id, 0, t, "p-1");
    vael_util::set_tag_sync_status(t, true, h());
    vael_util::clear_tag_hidden(t, h());
  });
  EXPECT_EQ(vael_util::person_id_of_tag(h(), t), "p-1");
  EXPECT_EQ(vael_util::get_tag_metadata(h(), md::tag_sync_status, t)[0].value.as_int(), 1);
  EXPECT_EQ(vael_util::get_tag_metadata(h(), md::is_tag_hidden, t)[0].value.as_int(), 0);
}

TEST_F(MetadataHelpers, DayNotesAreFoundByDateOrYearPrefix) {
  EXPECT_TRUE(vael_util::find_day_note(h(), "2021").empty());
  write([&] {
    vael_util::set_day_note(h(), "2021-05-01", "first");
    vael_util::set_day_note(h(), "2021-05-01", "second");
    vael_util::set_day_note(h(), "2021-06-01", "june");
    vael_util::set_day_note(h(), "0987-01-02", "old");
  });
  EXPECT_EQ(values(vael_util::find_day_note(h(), "2021-05-01")),
            std::vector<std::string>{"2021-05-01-second"});
  EXPECT_EQ(vael_util::find_day_notes_of_year(h(), 2021).size(), 2u);
  EXPECT_EQ(values(vael_util::find_day_notes_of_year(h(), 987)),
            std::vector<std::string>{"0987-01-02-old"});
  EXPECT_TRUE(vael_util::find_day_notes_of_year(h(), 98).empty());
}

TEST_F(MetadataHelpers, RectanglesAndFaceRecordsAsText) {
  EXPECT_EQ(vael_util::format_rect(1, 2.5, -3, 0), "1,2.5,-3,0");
  EXPECT_EQ(vael_util::format_face_record(-1, 2, 3, 4, 5, 0.5, 6, "name", 1.25, 7, 8.5, 9),
            "-1#2,3,4,5#0.5#6#name#1.25#7#8.5#9");
  const std::pair<const char*, std::vector<double>> cases[] = {{"1,2,3", {0, 0, 0, 0}},
                                                               {"1,2,3,4,5", {1, 2, 3, 4}},
                                                               {"0.5,-1,1e2,4", {0.5, -1, 100, 4}},
                                                               {"", {0, 0, 0, 0}}};
  for (const auto& [text, expected] : cases) {
    double a = 9, b = 9, c = 9, d = 9;
    vael_util::parse_rect(text, a, b, c, d);
    EXPECT_EQ((std::vector<double>{a, b, c, d}), expected) << text;
  }
  double a = 9, b = 9, c = 9, d = 9;
  EXPECT_THROW(vael_util::parse_rect("1,x,3,4", a, b, c, d), boost::bad_lexical_cast);
  EXPECT_EQ(a, 9);
}

TEST_F(MetadataHelpers, RemovingMediaLinksTouchesOnlyTheListedMedia) {
  const int m1 = new_media("/1.jpg"), m2 = new_media("/2.jpg"), m3 = new_media("/3.jpg");
  vael::metadata_item_t asset;
  write([&] {
    for (int m : {m1, m2, m3}) vael_util::create_media(h(), md::face_data, 0, m, "face");
    asset = vael_util::create_media(h(), md::asset_id, 0, m1, "a1");
  });
  const std::string links = "SELECT COUNT(*) FROM media_to_metadata_table";
  write([&] {
    vael_util::remove_string_metadata_of_media({m1, m2}, "test:none", h());
    vael_util::remove_string_metadata_of_media({m1, m2}, "it's", h());
  });
  EXPECT_EQ(count(links), 4);
  write([&] { vael_util::remove_face_data_of_media({m1, m2}, h()); });
  EXPECT_EQ(count(links), 2);
  EXPECT_EQ(vael_util::get_media_metadata(h(), md::face_data, m3).size(), 1u);
  EXPECT_EQ(count("SELECT COUNT(*) FROM metadata_string_table"), 4);

  write([&] { vael_util::remove_metadata_link(m1, asset.id, h()); });
  EXPECT_EQ(count(links), 1);
  EXPECT_EQ(count("SELECT COUNT(*) FROM metadata_string_table"), 3);
}

TEST_F(MetadataHelpers, RemovingOnlineMetadataKeepsDescriptionsAndClearsSyncMarks) {
  const int m = new_media("/1.jpg"), album = new_root_tag("album"), other = new_root_tag("other");
  write([&] {
    vael_util::create_media(h(), md::asset_id, 0, m, "asset");
    vael_util::create_media(h(), md::is_asset_duplicate, 1, m, 1);
    vael_util::create_media(h(), md::rating, 1, m, 5);
    vael_util::create_tag_metadata(h(), md::online_album_id, 0, album, "remote");
    vael_util::create_tag_metadata(h(), md::is_friend_album_group, 1, album, 1);
    vael_util::create_tag_metadata(h(), md::tag_notes, 0, album, "kept");
    vael_util::set_tag_sync_status(album, true, h());
    vael_util::set_tag_sync_status(other, true, h());
  });
  write([&] { vael_util::remove_online_metadata(h()); });
  const std::tuple<const char*, int, bool, std::size_t> cases[] = {
      {md::asset_id, m, false, 0},
      {md::is_asset_duplicate, m, false, 1},
      {md::rating, m, false, 1},
      {md::online_album_id, album, true, 0},
      {md::is_friend_album_group, album, true, 0},
      {md::tag_notes, album, true, 1},
  };
  for (const auto& [identifier, owner, on_tag, left] : cases) {
    EXPECT_TRUE(view().has_description(identifier)) << identifier;
    const auto items = on_tag ? vael_util::get_tag_metadata(h(), identifier, owner)
                              : vael_util::get_media_metadata(h(), identifier, owner);
    EXPECT_EQ(items.size(), left) << identifier;
  }
  for (int t : {album, other}) {
    EXPECT_EQ(vael_util::get_tag_metadata(h(), md::tag_sync_status, t)[0].value.as_int(), 0);
  }
}

}  // namespace
