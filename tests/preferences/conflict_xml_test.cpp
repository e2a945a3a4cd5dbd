#include "preferences/conflict_xml.h"

#include <boost/date_time/posix_time/posix_time.hpp>
#include <cstdint>

#include "catalog/connection.h"
#include "catalog/media.h"
#include "catalog/version_stack.h"
#include "catalog/volume_manager.h"
#include "catalog_util/metadata_helpers.h"
#include "catalog_util/metadata_vocabulary.h"
#include "preferences/library_state.h"
#include "tests/preferences/prefs_test_env.h"

namespace vantor_test {
namespace {

namespace id = vael_util::metadata_identifier;
namespace pt = boost::posix_time;

constexpr int kInteger = 1;
constexpr int kDateTime = 3;

// A sync catalog with four media:
//   a "a.jpg", versioned into b, so that b tops their stack;
//   b "b.JPG", with both dates (the organizer's, with a fraction of a second, wins), a size
//     and a height but no width;
//   c "c.omb", with a file date, both sizes and both pixel dimensions;
//   d "noext", with a size but no date.
class ConflictXml : public sync_catalog_test {
 protected:
  ConflictXml() {
    make_catalog(false);
    write([&](const vael::connection_handle& h) {
      const int volume =
          vael::get_volume_manager(h)
              .add_volume({"S1", "one", vael::volume_type::builtin_drive, folder_, 0})
              .id;
      auto add = [&](const char* path) {
        return vael::media::create_master(h, volume, path, "image/jpeg").get_id();
      };
      a_ = add("/pics/a.jpg");
      b_ = add("/pics/b.JPG");
      c_ = add("/pics/c.omb");
      d_ = add("/pics/noext");
      auto set = [&](int media, const char* identifier, int type, const dbl::entry_data& value) {
        vael_util::create_media(h, identifier, type, media, value);
      };
      auto time = [](const char* text) { return dbl::entry_data(pt::time_from_string(text)); };
      set(a_, id::file_date, kDateTime, time("2001-01-01 01:01:01"));
      set(a_, id::image_width, kInteger, std::int64_t{640});
      set(a_, id::image_height, kInteger, std::int64_t{480});
      set(b_, id::file_date, kDateTime, time("2001-02-02 02:02:02"));
      set(b_, id::last_organizer_modified_time, kDateTime, time("2020-12-31 23:59:58.75"));
      set(b_, id::file_size, kInteger, std::int64_t{10});
      set(b_, id::image_height, kInteger, std::int64_t{768});
      set(c_, id::file_date, kDateTime, time("2014-03-05 07:08:09"));
      set(c_, id::file_size, kInteger, std::int64_t{1});
      set(c_, id::file_size_original, kInteger, std::int64_t{777});
      set(c_, id::image_width, kInteger, std::int64_t{1024});
      set(c_, id::image_height, kInteger, std::int64_t{768});
      set(d_, id::file_size, kInteger, std::int64_t{5});
      vael::version_stack::create_version(h, b_, a_);
    });
  }

  std::string conflict_folder() const { return env_.box().path("conflicts") + "/"; }

  int a_ = 0, b_ = 0, c_ = 0, d_ = 0;
};

// <NameN>...</NameN>, led by the id asked about and the top of its stack.
std::string element(const std::string& name, int asked, int top, const std::string& body) {
  const std::string tag = name + std::to_string(asked);
  return "<" + tag + "><vaelid value = \"" + std::to_string(asked) + "\" tosvalue = \"" +
         std::to_string(top) + "\"/>" + body + "</" + tag + ">";
}

TEST_F(ConflictXml, DescribesTheTopOfEachItemWithItsOnlineFacts) {
  env_.box().write_file("conflicts/" + std::to_string(a_) + "/online.xml", "<online n=\"1\"/>\n");
  const std::string b_local =
      "<localdata><locallabel value = \"b.JPG\"/><localdate value = \"31/12/2020\"/>"
      "<localtime value = \"23:59:58\"/><localfilesize value = \"10\"/>"
      "<localpixel value = \"\"/></localdata>";
  const std::string c_local =
      "<localdata><locallabel value = \"c.omb\"/><localdate value = \"5/3/2014\"/>"
      "<localtime value = \"7:8:9\"/><localfilesize value = \"777\"/>"
      "<localpixel value = \"1024x768\"/></localdata>";

  // 999 is unknown and d has no date: neither gets a deletion element.
  std::string out = "left over", reserved = "r";
  ASSERT_EQ(VTL::GetManualConflictResolutionXML({a_, c_, d_}, {b_, 999, d_}, out, conflict_folder(),
                                                reserved),
            VTL::success);
  EXPECT_EQ(out, "<ManualConflictResolution><Conflicts>" +
                     element("Conflict", a_, b_, b_local + "<online n=\"1\"/>\n") +
                     element("Conflict", c_, c_, c_local) + element("Conflict", d_, d_, "") +
                     "</Conflicts><Deletions>" + element("Delete", b_, b_, b_local) +
                     "</Deletions></ManualConflictResolution>");
  EXPECT_EQ(vantor_prefs::gCatalogConnection, nullptr);

  ASSERT_EQ(VTL::GetManualConflictResolutionXML({}, {}, out, conflict_folder(), reserved),
            VTL::success);
  EXPECT_EQ(out,
            "<ManualConflictResolution><Conflicts></Conflicts><Deletions></Deletions>"
            "</ManualConflictResolution>");
}

TEST_F(ConflictXml, VersionSetTopFallsBackToTheIdAsked) {
  vael::connection c(catalog_);
  const auto state = std::make_shared<vael::internal_connection*>(&c.get());
  EXPECT_EQ(VTL::getVersionSetTop(state, a_), b_);
  EXPECT_EQ(VTL::getVersionSetTop(nullptr, a_), a_);
  EXPECT_EQ(VTL::getVersionSetTop(std::make_shared<vael::internal_connection*>(nullptr), a_), a_)
      << "a catalog error is swallowed";
}

TEST_F(ConflictXml, AMissingCatalogGivesCatalogErrorAndOnlyTheOpening) {
  env_.write_strand(env_.box().path("elsewhere"), "ann", "t-1");
  std::string out = "left over", reserved;
  EXPECT_EQ(VTL::GetManualConflictResolutionXML({a_}, {b_}, out, conflict_folder(), reserved),
            VTL::catalog_error);
  EXPECT_EQ(out, "<ManualConflictResolution><Conflicts>");
}

}  // namespace
}  // namespace vantor_test
