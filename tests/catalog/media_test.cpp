#include "catalog/media.h"

#include "catalog/rendition_description.h"
#include "catalog/search_index.h"
#include "catalog/volume_manager.h"
#include "dbl/exceptions.h"
#include "tests/catalog/tag_test_support.h"

namespace {

using vael_test::message_of;

namespace pt = boost::posix_time;
using vael::media;

class Media : public vael_test::tag_catalog {
 protected:
  Media() {
    write([&] {
      vael::volume_manager vm = vael::get_volume_manager(h());
      disk_ = vm.add_volume({"S1", "one", vael::volume_type::builtin_drive, "/pics", 0}).id;
      other_ = vm.add_volume({"S2", "two", vael::volume_type::builtin_drive, "/more", 0}).id;
      nowhere_ = vm.add_volume({"S3", "none", vael::volume_type::no_drive, "", 0}).id;
    });
  }

  media master(const std::string& path, int volume = 0) {
    media m(h(), dbl::record(db(), db().get_table("media_table")));
    write([&] { m = media::create_master(h(), volume == 0 ? disk_ : volume, path, "image/jpeg"); });
    return m;
  }
  std::string cell(const std::string& column, int media_id,
                   const std::string& table = "media_table") const {
    const char* key = table == "media_table" ? "id" : "media_id";
    return vael_test::text(db(), "SELECT " + column + " FROM " + table + " WHERE " + key + " = " +
                                     std::to_string(media_id));
  }
  int media_count() const { return count("SELECT COUNT(*) FROM media_table"); }
  std::string remove(media& m) {
    return message_of(
        [&] { write([&] { m.remove(media::detach_relations, media::detach_ordered_tags); }); });
  }

  int disk_ = 0;
  int other_ = 0;
  int nowhere_ = 0;
};

TEST_F(Media, PathsKeepLowerCasedIndexesThatCollideAcrossCaseOnOneVolume) {
  EXPECT_EQ(vael::to_search_index("ÄBC.JPG"), "äbc.jpg");
  EXPECT_EQ(vael::to_search_index("@AZ[`az{ 09_.JPG"), "@az[`az{ 09_.jpg") << "ASCII neighbours";
  EXPECT_EQ(vael::to_folder_search_index("Ä\\B"), "ä/b/");
  EXPECT_EQ(vael::to_folder_search_index("/a/"), "/a/");
  EXPECT_EQ(vael::to_folder_search_index(""), "/");

  const media trip = master("Photos\\Trip\\IMG.JPG");
  EXPECT_EQ(cell("full_filepath", trip.get_id()), "/Photos/Trip/IMG.JPG");
  EXPECT_EQ(cell("filepath_search_index", trip.get_id()), "/photos/trip/");
  EXPECT_EQ(cell("filename_search_index", trip.get_id()), "img.jpg");
  EXPECT_EQ(trip.get_filepath(false), "/pics/Photos/Trip/IMG.JPG");
  EXPECT_EQ(trip.get_folder(true), "/Photos/Trip");
  EXPECT_EQ(trip.get_folder(false), "/pics/Photos/Trip");
  EXPECT_EQ(trip.get_filename(), "IMG.JPG");

  media umlaut = master("Ä/ÄBC.JPG");
  const int before = media_count();
  EXPECT_EQ(message_of([&] { master("ä/äbc.jpg"); }),
            "The path specified already exists in the database.");
  EXPECT_EQ(message_of([&] { master("/Photos/"); }), "Cannot set a filepath with an empty name.");
  EXPECT_EQ(message_of([&] { write([&] { umlaut.set_filepath(disk_, "photos/trip/img.jpg"); }); }),
            "The path specified already exists in the database.");
  EXPECT_EQ(media_count(), before);
  EXPECT_EQ(umlaut.get_filepath(true), "/Ä/ÄBC.JPG") << "a refused move keeps the old path";

  EXPECT_NO_THROW(master("ä/äbc.jpg", other_));
  write([&] { umlaut.set_filepath(disk_, "ä/äbc.JPG"); });
  EXPECT_EQ(media::get_media(h(), umlaut.get_id()).get_filepath(true), "/ä/äbc.JPG");
}

TEST_F(Media, NoDriveVolumeTakesRenditionsWithAnyPathButNoMasterAndCopiesSkipThePathCheck) {
  EXPECT_EQ(message_of([&] { master("a.jpg", nowhere_); }), "A master must have a real filepath.");
  media m = master("a.jpg");
  media copy = m;
  write([&] { copy = media::duplicate_media(h(), m.get_id()); });
  EXPECT_NE(copy.get_id(), m.get_id());
  EXPECT_EQ(copy.get_filepath(true), "/a.jpg");
  EXPECT_EQ(copy.get_mime_type(), "image/jpeg");
  EXPECT_EQ(copy.get_date().precision, 4);
  EXPECT_EQ(cell("search_date_end", copy.get_id(), "version_stack_sort_table"),
            "9999-12-31T23:59:59.999999");
  EXPECT_EQ(message_of([&] { write([&] { m.set_filepath(nowhere_, "a.jpg"); }); }),
            "A master must have a real filepath.");
  EXPECT_EQ(message_of([&] { write([&] { media::create_master(h(), 999, "b.jpg", "x"); }); }),
            message_of([&] { vael::get_volume_manager(h()).get_volume(999); }));

  std::vector<int> ids;
  write([&] {
    const vael::rendition_description_t preview =
        vael::create_rendition_description(h(), "preview");
    for (const char* path : {"", "", "/same/", "/same/"}) {
      ids.push_back(media::create_rendition(h(), m, preview, nowhere_, path, "x").get_id());
    }
  });
  EXPECT_EQ(cell("full_filepath", ids[0]), "/");
  EXPECT_EQ(cell("filename_search_index", ids[3]), "");
  EXPECT_EQ(media::get_media(h(), m.get_id()).get_rendition_ids().size(), 4u);
}

TEST_F(Media, DatesBecomeSearchRangesAndReadBackTheirPrecision) {
  const struct {
    const char* date;
    int precision;
    const char* begin;
    const char* end;
  } cases[] = {
      {"2014-01-15 10:30:00", 0, "2014-01-15T10:30:00", "2014-01-15T10:30:00"},
      {"2014-01-31 10:30:00", 1, "2014-01-31T00:00:00", "2014-02-01T00:00:00"},
      {"2014-01-15 10:30:00", 2, "2014-01-01T00:00:00", "2014-02-01T00:00:00"},
      {"2014-12-15 10:30:00", 2, "2014-12-01T00:00:00", "2015-01-01T00:00:00"},
      {"2014-01-15 10:30:00", 3, "2014-01-01T00:00:00", "2015-01-01T00:00:00"},
      {"2014-01-15 10:30:00", 4, "1400-01-01T00:00:00", "9999-12-31T23:59:59.999999"},
  };
  media m = master("d.jpg");
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.date) + " precision " + std::to_string(c.precision));
    write([&] { m.set_date({pt::time_from_string(c.date), c.precision}); });
    for (const char* table :
         {"media_table", "media_stack_sort_table", "version_stack_sort_table"}) {
      EXPECT_EQ(cell("search_date_begin", m.get_id(), table), c.begin) << table;
      EXPECT_EQ(cell("search_date_end", m.get_id(), table), c.end) << table;
    }
    const vael::media_date_t back = media::get_media(h(), m.get_id()).get_date();
    EXPECT_EQ(back.precision, c.precision);
    EXPECT_EQ(pt::to_iso_extended_string(back.date), c.begin);
    EXPECT_EQ(m.get_media_stack_sort_date().precision, c.precision);
    EXPECT_EQ(m.get_version_stack_sort_date().precision, c.precision);
  }
  const std::string kept = cell("search_date_begin", m.get_id());
  EXPECT_THROW(write([&] {
                 m.set_date({pt::time_from_string("2014-01-15 00:00:00"), 5});
               }),
               std::logic_error);
  EXPECT_EQ(cell("search_date_begin", m.get_id()), kept);

  // A sort row lost by another writer is made again on the next date change.
  vael_test::run(
      db(), "DELETE FROM media_stack_sort_table WHERE media_id = " + std::to_string(m.get_id()));
  EXPECT_EQ(m.get_media_stack_sort_date().precision, 4) << "the media's own date without a row";
  write([&] { m.set_date({pt::time_from_string("2020-06-01 00:00:00"), 1}); });
  EXPECT_EQ(cell("search_date_begin", m.get_id(), "media_stack_sort_table"), "2020-06-01T00:00:00");
}

TEST_F(Media, RenditionsLinkToTheirMasterAndItsDateAtCreation) {
  media m = master("m.jpg");
  write([&] { m.set_date({pt::time_from_string("2014-03-03 00:00:00"), 1}); });
  vael::rendition_description_t preview;
  write([&] { preview = vael::create_rendition_description(h(), "preview"); });
  EXPECT_EQ(message_of([&] { write([&] { vael::create_rendition_description(h(), "preview"); }); }),
            "Could not create the metadata description, because 'preview' is already a metadata "
            "description.");
  EXPECT_FALSE(vael::has_rendition_description(h(), "thumbnail"));
  EXPECT_EQ(vael::get_rendition_description(h(), 0).get_identifier(), "vael_master_rendition");

  // Read once, the description answers from the cache even after the row changes.
  EXPECT_EQ(vael::get_rendition_description(h(), "preview").get_id(), preview.get_id());
  vael_test::run(db(), "UPDATE rendition_description_table SET identifier = 'renamed' WHERE id = " +
                           std::to_string(preview.get_id()));
  EXPECT_EQ(vael::get_rendition_description(h(), "preview").get_id(), preview.get_id());
  EXPECT_TRUE(vael::has_rendition_description(h(), "preview"));

  media r = m;
  write([&] { r = media::create_rendition(h(), m, preview, disk_, "prev/m.jpg", "image/png"); });
  write([&] { m.set_date({pt::time_from_string("2020-01-01 00:00:00"), 3}); });
  EXPECT_TRUE(m.is_master() && !r.is_master());
  EXPECT_EQ(r.get_master_id(), m.get_id());
  EXPECT_EQ(m.get_rendition_ids(), std::vector<int>{r.get_id()});
  EXPECT_EQ(r.get_rendition_description().get_id(), preview.get_id());
  EXPECT_EQ(cell("search_date_begin", r.get_id()), "2014-03-03T00:00:00");
  EXPECT_EQ(message_of([&] { m.get_master_id(); }), "Cannot get the master id of a master.");
  EXPECT_EQ(message_of([&] {
              write([&] { media::create_rendition(h(), r, preview, disk_, "x.jpg", "x"); });
            }),
            "Cannot create a rendition of a rendition.");

  const int before = media_count();
  EXPECT_EQ(remove(m), "Renditions must be deleted prior to deleting media");
  EXPECT_EQ(media_count(), before);
  EXPECT_EQ(remove(r), "(no error)");
  EXPECT_EQ(remove(m), "(no error)");
  EXPECT_EQ(media_count(), before - 2);
  EXPECT_EQ(count("SELECT COUNT(*) FROM rendition_to_master_table"), 0);
  EXPECT_EQ(count("SELECT COUNT(*) FROM media_stack_sort_table"), 0);
}

TEST_F(Media, RemovalClosesOrderedTagsAndDropsOtherRelations) {
  const media a = master("a.jpg"), c = master("c.jpg");
  media b = master("b.jpg");
  vael::tag album, person;
  write([&] {
    album = vael::create_custom_tag_namespace(h(), "collection_ns")
                .create_tag("Trip", vael_util::album_type());
    person = vael::create_custom_tag_namespace(h(), "person_ns")
                 .create_tag("Anna", vael_util::user_person_type());
    album.set_media_order({a.get_id(), b.get_id(), c.get_id()});
    person.tag_media(b.get_id());
  });

  EXPECT_THROW(
      write([&] { b.remove(vael::media::refuse_if_related, vael::media::skip_ordered_tags); }),
      dbl::record_has_foreign_references_error);
  vael_test::run(db(), "UPDATE tag_to_media_table SET media_index = 7 WHERE media_id = " +
                           std::to_string(b.get_id()) +
                           " AND tag_id = " + std::to_string(album.get_id()));
  EXPECT_EQ(remove(b), "An unexpected database tag state was encountered.");
  EXPECT_EQ(media_count(), 3);
  vael_test::run(db(), "UPDATE tag_to_media_table SET media_index = 1 WHERE media_index = 7");
  EXPECT_EQ(remove(b), "(no error)");
  EXPECT_EQ(album.get_ordered_media_ids(), (std::vector<int>{a.get_id(), c.get_id()}));
  EXPECT_EQ(count("SELECT MAX(media_index) FROM tag_to_media_table WHERE tag_id = " +
                  std::to_string(album.get_id())),
            1);
  EXPECT_TRUE(person.get_media_ids().empty());
  EXPECT_EQ(count("SELECT COUNT(*) FROM version_stack_sort_table"), 2);
  EXPECT_THROW(media::get_media(h(), b.get_id()), std::logic_error);
}

TEST_F(Media, EachWriteStampsOnlyTheMediaItChanged) {
  media a = master("a.jpg");
  const int b = master("b.jpg").get_id();
  const int before = vael_test::media_change_id(db(), b);
  for (const std::function<void()>& step : std::vector<std::function<void()>>{
           [&] { a.set_mime_type("image/png"); }, [&] { a.set_filepath(other_, "moved.jpg"); },
           [&] {
             a.set_date({pt::time_from_string("2001-02-03 00:00:00"), 0});
           }}) {
    write(step);
    EXPECT_EQ(vael_test::media_change_id(db(), a.get_id()),
              c_.get().change_tracker().current_change_id());
  }
  EXPECT_EQ(vael_test::media_change_id(db(), b), before);
  EXPECT_EQ(media::get_media(h(), a.get_id()).get_mime_type(), "image/png");
  EXPECT_EQ(a.get_volume_id(), other_);
}

}  // namespace
