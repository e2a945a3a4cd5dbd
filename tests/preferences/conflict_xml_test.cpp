#include "preferences/conflict_xml.h"

#include <gtest/gtest.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <cstdint>
#include <string>

#include "catalog/connection.h"
#include "catalog/media.h"
#include "catalog/transaction.h"
#include "catalog/version_stack.h"
#include "catalog/volume_manager.h"
#include "catalog_util/metadata_helpers.h"
#include "catalog_util/metadata_vocabulary.h"
#include "preferences/library_state.h"
#include "tests/preferences/prefs_test_env.h"
#include "vantor/vantor.h"

namespace vantor_test {
namespace {

namespace id = vael_util::metadata_identifier;
namespace pt = boost::posix_time;

constexpr int kInteger = 1;
constexpr int kDateTime = 3;
constexpr char kEmptyDocument[] =
    "<ManualConflictResolution><Conflicts></Conflicts><Deletions></Deletions>"
    "</ManualConflictResolution>";

// A sync catalog with four media:
//   a "a.jpg", versioned into b, so that b tops their stack;
//   b "b.JPG", with both dates (the organizer's, with a fraction of a second, wins), a size
//     and a height but no width;
//   c "c.omb", with a file date, both sizes and both pixel dimensions;
//   d "noext", with a size but no date.
class ConflictXml : public ::testing::Test {
 protected:
  ConflictXml() {
    const std::string folder = env_.box().path("cat");
    env_.box().write_file("cat/catalog.omb14db", "");
    env_.write_strand(folder, "ann", "t");
    vael::connection c(folder + "/catalog.omb14db");
    const vael::connection_handle& h = c.handle();
    vael::transaction t(h);
    t.begin(true, 1);
    const int volume = vael::get_volume_manager(h)
                           .add_volume({"S1", "one", vael::volume_type::builtin_drive, folder, 0})
                           .id;
    auto add = [&](const char* path) {
      return vael::media::create_master(h, volume, path, "image/jpeg").get_id();
    };
    auto set = [&](int media, const char* identifier, int type, const dbl::entry_data& value) {
      vael_util::create_media(h, identifier, type, media, value);
    };
    a_ = add("/pics/a.jpg");
    b_ = add("/pics/b.JPG");
    c_ = add("/pics/c.omb");
    d_ = add("/pics/noext");
    set(a_, id::file_date, kDateTime, pt::time_from_string("2001-01-01 01:01:01"));
    set(a_, id::image_width, kInteger, std::int64_t{640});
    set(a_, id::image_height, kInteger, std::int64_t{480});
    set(b_, id::file_date, kDateTime, pt::time_from_string("2001-02-02 02:02:02"));
    set(b_, id::last_organizer_modified_time, kDateTime,
        pt::time_from_string("2020-12-31 23:59:58.75"));
    set(b_, id::file_size, kInteger, std::int64_t{10});
    set(b_, id::image_height, kInteger, std::int64_t{768});
    set(c_, id::file_date, kDateTime, pt::time_from_string("2014-03-05 07:08:09"));
    set(c_, id::file_size, kInteger, std::int64_t{1});
    set(c_, id::file_size_original, kInteger, std::int64_t{777});
    set(c_, id::image_width, kInteger, std::int64_t{1024});
    set(c_, id::image_height, kInteger, std::int64_t{768});
    set(d_, id::file_size, kInteger, std::int64_t{5});
    vael::version_stack::create_version(h, b_, a_);
    t.commit();
  }

  std::string conflict_folder() const { return env_.box().path("conflicts") + "/"; }

  prefs_env env_;
  int a_ = 0, b_ = 0, c_ = 0, d_ = 0;
};

TEST_F(ConflictXml, DescribesTheTopOfEachItemWithItsOnlineFacts) {
  env_.box().write_file("conflicts/" + std::to_string(a_) + "/online.xml", "<online n=\"1\"/>\n");
  const std::string a = std::to_string(a_), b = std::to_string(b_), c = std::to_string(c_),
                    d = std::to_string(d_);
  const std::string b_local =
      "<localdata><locallabel value = \"b.JPG\"/><localdate value = \"31/12/2020\"/>"
      "<localtime value = \"23:59:58\"/><localfilesize value = \"10\"/>"
      "<localpixel value = \"\"/></localdata>";
  const std::string expected =
      "<ManualConflictResolution><Conflicts>"
      "<Conflict" +
      a + "><vaelid value = \"" + a + "\" tosvalue = \"" + b + "\"/>" + b_local +
      "<online n=\"1\"/>\n</Conflict" + a +
      ">"
      "<Conflict" +
      c + "><vaelid value = \"" + c + "\" tosvalue = \"" + c +
      "\"/>"
      "<localdata><locallabel value = \"c.omb\"/><localdate value = \"5/3/2014\"/>"
      "<localtime value = \"7:8:9\"/><localfilesize value = \"777\"/>"
      "<localpixel value = \"1024x768\"/></localdata></Conflict" +
      c +
      ">"
      "<Conflict" +
      d + "><vaelid value = \"" + d + "\" tosvalue = \"" + d + "\"/></Conflict" + d +
      ">"
      "</Conflicts><Deletions>"
      "<Delete" +
      b + "><vaelid value = \"" + b + "\" tosvalue = \"" + b + "\"/>" + b_local + "</Delete" + b +
      ">"
      "</Deletions></ManualConflictResolution>";

  std::string out = "left over", reserved = "r";
  ASSERT_EQ(VTL::GetManualConflictResolutionXML({a_, c_, d_}, {b_, 999, d_}, out, conflict_folder(),
                                                reserved),
            VTL::success);
  EXPECT_EQ(out, expected);
  EXPECT_EQ(vantor_prefs::gCatalogConnection, nullptr);

  ASSERT_EQ(VTL::GetManualConflictResolutionXML({}, {}, out, conflict_folder(), reserved),
            VTL::success);
  EXPECT_EQ(out, kEmptyDocument);
}

TEST_F(ConflictXml, VersionSetTopFallsBackToTheIdAsked) {
  vael::connection c(env_.box().path("cat/catalog.omb14db"));
  const auto state = std::make_shared<vael::internal_connection*>(&c.get());
  EXPECT_EQ(VTL::getVersionSetTop(state, a_), b_);
  EXPECT_EQ(VTL::getVersionSetTop(state, b_), b_);
  EXPECT_EQ(VTL::getVersionSetTop(state, c_), c_);
  EXPECT_EQ(VTL::getVersionSetTop(nullptr, a_), a_);
  EXPECT_EQ(VTL::getVersionSetTop(std::make_shared<vael::internal_connection*>(nullptr), a_), a_)
      << "a catalog error is swallowed";
}

TEST_F(ConflictXml, AMissingCatalogGivesCatalogErrorAndOnlyTheOpening) {
  env_.write_strand(env_.box().path("elsewhere"), "ann", "t");
  std::string out = "left over", reserved;
  EXPECT_EQ(VTL::GetManualConflictResolutionXML({a_}, {b_}, out, conflict_folder(), reserved),
            VTL::catalog_error);
  EXPECT_EQ(out, "<ManualConflictResolution><Conflicts>");
  EXPECT_EQ(vantor_prefs::gCatalogConnection, nullptr);
}

}  // namespace
}  // namespace vantor_test
