#include "catalog_util/albums.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "catalog/custom_tag_namespace.h"
#include "catalog/tag_edits.h"
#include "catalog_util/well_known_tags.h"
#include "tests/catalog/tag_test_support.h"

namespace {

using ids = std::vector<int>;
using vael_test::message_of;

class Albums : public vael_test::tag_catalog {
 protected:
  Albums() {
    write([&] {
      vael::create_custom_tag_namespace(h(), vael_util::ns_name::collection);
      people_ = vael::create_custom_tag_namespace(h(), "people_ns")
                    .create_tag("Anna", vael_test::person_type())
                    .get_id();
      trips_ = vael_util::create_album_group(h(), "Trips").get_id();
      rome_ = vael_util::create_album(h(), "Rome", trips_).get_id();
    });
    for (const char* name : {"a.jpg", "b.jpg", "c.jpg"}) media_.push_back(new_media(name));
  }
  std::string tag_text(int id) const { return vael_util::describe_tag(vael::get_tag(h(), id)); }

  int people_ = 0, trips_ = 0, rome_ = 0;
  ids media_;
};

TEST_F(Albums, AlbumsHoldEachMediaOnceInTheOrderGiven) {
  vael::tag rome = vael_util::find_album(h(), rome_);
  std::size_t held = 0;
  write([&] { held = vael_util::add_to_album(h(), rome, {media_[2], media_[0]}); });
  EXPECT_EQ(held, 2u);
  write([&] { vael_util::add_to_album(h(), rome, {media_[1]}); });
  write([&] { held = vael_util::remove_from_album(h(), rome, {media_[0]}); });
  EXPECT_EQ(held, 2u);
  EXPECT_EQ(vael::media_of_tag(rome), (ids{media_[2], media_[1]}));
  EXPECT_EQ(vael::get_tag(h(), rome_).get_parent().get_id(), trips_);
  expect_forest_invariants();
}

TEST_F(Albums, RefusalsNameTheTagAndTheRuleAndChangeNothing) {
  vael::tag rome = vael_util::find_album(h(), rome_);
  write([&] { vael_util::add_to_album(h(), rome, {media_[0]}); });
  const std::string m0 = std::to_string(media_[0]), m1 = std::to_string(media_[1]);
  const std::string rome_text = tag_text(rome_);
  const std::string not_album =
      " is not an album: media go into the albums of collection_ns, which keep them in order";
  const struct {
    std::function<void()> step;
    std::string message;
  } refusals[] = {
      {[&] {
         vael_util::add_to_album(h(), rome, {media_[1], media_[0]});
       },
       "media " + m0 + " is in " + rome_text + " already: an album holds a media once"},
      {[&] {
         vael_util::add_to_album(h(), rome, {media_[1], media_[1]});
       },
       "media " + m1 + " is named twice"},
      {[&] { vael_util::remove_from_album(h(), rome, {media_[1]}); },
       "media " + m1 + " is not in " + rome_text},
      {[&] { vael_util::add_to_album(h(), rome, {999999}); }, "there is no media 999999"},
      {[&] { vael_util::find_album(h(), trips_); }, tag_text(trips_) + not_album},
      {[&] { vael_util::find_album(h(), people_); }, tag_text(people_) + not_album},
      {[&] { vael_util::create_album(h(), "Day 1", rome_); },
       rome_text +
           " is not an album group: albums and groups go at the top of collection_ns or under "
           "an album group"},
      {[&] { vael_util::find_album_group(h(), 999999); }, "there is no tag 999999"},
  };
  const int tags = count("SELECT COUNT(*) FROM tag_table");
  for (const auto& refusal : refusals) {
    EXPECT_EQ(message_of([&] { write(refusal.step); }), refusal.message);
    EXPECT_EQ(vael::media_of_tag(rome), ids{media_[0]}) << refusal.message;
    EXPECT_EQ(count("SELECT COUNT(*) FROM tag_table"), tags) << refusal.message;
  }
}

}  // namespace
