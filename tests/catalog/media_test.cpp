#include "catalog/media.h"

#include <optional>

#include "catalog/media_stack.h"
#include "catalog/rendition_description.h"
#include "catalog/search_index.h"
#include "catalog/version_stack.h"
#include "dbl/exceptions.h"
#include "tests/catalog/tag_test_support.h"

namespace {

namespace pt = boost::posix_time;
using ids = std::vector<int>;
using vael::media;
using vael::media_stack;
using vael::version_stack;
using vael_test::message_of;

class Media : public vael_test::tag_catalog {
 protected:
  Media() {
    write([&] {
      disk_ = volumes().add_volume({"S1", "one", vael::volume_type::builtin_drive, "/pics", 0}).id;
      other_ = volumes().add_volume({"S2", "two", vael::volume_type::builtin_drive, "/more", 0}).id;
      nowhere_ = volumes().add_volume({"S3", "none", vael::volume_type::no_drive, "", 0}).id;
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
    return refusal([&] { m.remove(media::detach_relations, media::detach_ordered_tags); });
  }

  int disk_ = 0, other_ = 0, nowhere_ = 0;
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
  EXPECT_EQ(refusal([&] { umlaut.set_filepath(disk_, "photos/trip/img.jpg"); }),
            "The path specified already exists in the database.");
  EXPECT_EQ(media_count(), before);
  EXPECT_EQ(umlaut.get_filepath(true), "/Ä/ÄBC.JPG") << "a refused move keeps the old path";

  EXPECT_NO_THROW(master("ä/äbc.jpg", other_));
  write([&] { umlaut.set_filepath(disk_, "ä/äbc.JPG"); });
  EXPECT_EQ(media::get_media(h(), umlaut.get_id()).get_filepath(true), "/ä/äbc.JPG");
}

TEST_F(Media, DatesBecomeSearchRangesAndEachWriteStampsOnlyTheMediaItChanged) {
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

  // Each write stamps only the media it changed.
  media a = master("a.jpg");
  const int b = m.get_id(), before = vael_test::media_change_id(db(), b);
  const vael::media_date_t date{pt::time_from_string("2001-02-03 00:00:00"), 0};
  using step = std::function<void()>;
  for (const step& s :
       {step([&] { a.set_mime_type("image/png"); }),
        step([&] { a.set_filepath(other_, "moved.jpg"); }), step([&] { a.set_date(date); })}) {
    write(s);
    EXPECT_EQ(vael_test::media_change_id(db(), a.get_id()),
              c_.get().change_tracker().current_change_id());
  }
  EXPECT_EQ(vael_test::media_change_id(db(), b), before);
  EXPECT_EQ(media::get_media(h(), a.get_id()).get_mime_type(), "image/png");
  EXPECT_EQ(a.get_volume_id(), other_);
}

TEST_F(Media, RenditionsLinkToTheirMasterAndItsDateAtCreationAndOnlyANoDriveVolumeTakesAnyPath) {
  media m = master("m.jpg");
  write([&] { m.set_date({pt::time_from_string("2014-03-03 00:00:00"), 1}); });
  vael::rendition_description_t preview;
  write([&] { preview = vael::create_rendition_description(h(), "preview"); });
  EXPECT_EQ(refusal([&] { vael::create_rendition_description(h(), "preview"); }),
            "Could not create the metadata description, because 'preview' is already a metadata "
            "description.");
  EXPECT_FALSE(vael::has_rendition_description(h(), "thumbnail"));
  EXPECT_EQ(vael::get_rendition_description(h(), 0).get_identifier(), "vael_master_rendition");
  EXPECT_EQ(vael::get_rendition_description(h(), "preview").get_id(), preview.get_id());

  EXPECT_EQ(message_of([&] { master("a.jpg", nowhere_); }), "A master must have a real filepath.");
  media a = master("a.jpg");
  media copy = a;
  write([&] { copy = media::duplicate_media(h(), a.get_id()); });
  EXPECT_NE(copy.get_id(), a.get_id());
  EXPECT_EQ(copy.get_filepath(true), "/a.jpg");
  EXPECT_EQ(copy.get_mime_type(), "image/jpeg");
  EXPECT_EQ(copy.get_date().precision, 4);
  EXPECT_EQ(cell("search_date_end", copy.get_id(), "version_stack_sort_table"),
            "9999-12-31T23:59:59.999999");
  EXPECT_EQ(refusal([&] { a.set_filepath(nowhere_, "a.jpg"); }),
            "A master must have a real filepath.");
  EXPECT_EQ(refusal([&] { media::create_master(h(), 999, "b.jpg", "x"); }),
            message_of([&] { volumes().get_volume(999); }));

  // A no drive volume takes renditions with any path, and duplicates skip the path check.
  ids made;
  write([&] {
    for (const char* path : {"", "", "/same/", "/same/"}) {
      made.push_back(media::create_rendition(h(), a, preview, nowhere_, path, "x").get_id());
    }
  });
  EXPECT_EQ(cell("full_filepath", made[0]), "/");
  EXPECT_EQ(cell("filename_search_index", made[3]), "");
  EXPECT_EQ(media::get_media(h(), a.get_id()).get_rendition_ids().size(), 4u);

  media r = m;
  write([&] { r = media::create_rendition(h(), m, preview, disk_, "prev/m.jpg", "image/png"); });
  write([&] { m.set_date({pt::time_from_string("2020-01-01 00:00:00"), 3}); });
  EXPECT_TRUE(m.is_master() && !r.is_master());
  EXPECT_EQ(r.get_master_id(), m.get_id());
  EXPECT_EQ(m.get_rendition_ids(), std::vector<int>{r.get_id()});
  EXPECT_EQ(r.get_rendition_description().get_id(), preview.get_id());
  EXPECT_EQ(cell("search_date_begin", r.get_id()), "2014-03-03T00:00:00");
  EXPECT_EQ(message_of([&] { m.get_master_id(); }), "Cannot get the master id of a master.");
  EXPECT_EQ(refusal([&] { media::create_rendition(h(), r, preview, disk_, "x.jpg", "x"); }),
            "Cannot create a rendition of a rendition.");

  const int before = media_count();
  EXPECT_EQ(remove(m), "Renditions must be deleted prior to deleting media");
  EXPECT_EQ(media_count(), before);
  EXPECT_EQ(remove(r), "(no error)");
  EXPECT_EQ(remove(m), "(no error)");
  EXPECT_EQ(media_count(), before - 2);
  const std::string gone =
      " IN (" + std::to_string(m.get_id()) + ", " + std::to_string(r.get_id()) + ")";
  EXPECT_EQ(count("SELECT COUNT(*) FROM rendition_to_master_table WHERE master_id" + gone), 0);
  EXPECT_EQ(count("SELECT COUNT(*) FROM media_stack_sort_table WHERE media_id" + gone), 0);
}

TEST_F(Media, RemovalClosesOrderedTagsAndDropsOtherRelations) {
  const media a = master("a.jpg"), c = master("c.jpg");
  media b = master("b.jpg");
  vael::tag album, person;
  write([&] {
    album = vael::create_custom_tag_namespace(h(), "collection_ns")
                .create_tag("Trip", vael_test::album_type());
    person = vael::create_custom_tag_namespace(h(), "person_ns")
                 .create_tag("Anna", vael_test::person_type());
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

class Stacks : public Media {
 protected:
  // Media 1..n of the fixture, dated a day apart so that every top shows in the sort rows.
  Stacks() {
    for (unsigned short day = 1; day <= 8; ++day) {
      media m = master("m" + std::to_string(day) + ".jpg");
      write([&] { m.set_date({pt::ptime(boost::gregorian::date(2020, 1, day)), 0}); });
      m_.push_back(m.get_id());
    }
  }

  // What every public operation must leave behind, checked on the rows.
  void expect_stack_invariants() const {
    for (const std::string kind : {"media", "version"}) {
      SCOPED_TRACE(kind);
      const std::string members = kind + "_stack_to_media_table ";
      const std::string type = kind == "media" ? "'stack'" : "'version_stack'";
      expect_none("a media in two stacks", "SELECT COUNT(*) FROM (SELECT media_id FROM " + members +
                                               "GROUP BY media_id HAVING COUNT(*) > 1)");
      expect_none("a stack of fewer than 2, or positions not 0..n-1",
                  "SELECT COUNT(*) FROM (SELECT stack_tag_id FROM " + members +
                      "GROUP BY stack_tag_id HAVING COUNT(*) < 2 OR MIN(media_index) != 0 OR "
                      "MAX(media_index) != COUNT(*) - 1 OR COUNT(DISTINCT media_index) != "
                      "COUNT(*))");
      expect_none("a sort row that is not its top's date",
                  "SELECT COUNT(*) FROM media_table md LEFT JOIN " + kind +
                      "_stack_sort_table s ON s.media_id = md.id LEFT JOIN " + members +
                      "m ON m.media_id = md.id LEFT JOIN " + members +
                      "t ON t.stack_tag_id = m.stack_tag_id AND t.media_index = 0 "
                      "JOIN media_table top ON top.id = COALESCE(t.media_id, md.id) "
                      "WHERE s.media_id IS NULL OR s.search_date_begin != top.search_date_begin "
                      "OR s.search_date_end != top.search_date_end");
      expect_none("a stack tag without members or outside stack_ns",
                  "SELECT COUNT(*) FROM tag_table WHERE type_name = " + type +
                      " AND (id NOT IN (SELECT stack_tag_id FROM " + members +
                      ") OR parent_id != (SELECT id FROM tag_table WHERE name = 'stack_ns'))");
      expect_none("members of a tag of another type",
                  "SELECT COUNT(*) FROM " + members +
                      "WHERE stack_tag_id NOT IN (SELECT id FROM tag_table WHERE type_name = " +
                      type + ")");
    }
    expect_none("a version stack split, scattered or out of order in a media stack",
                "SELECT COUNT(*) FROM (SELECT v.stack_tag_id FROM version_stack_to_media_table v "
                "LEFT JOIN media_stack_to_media_table m ON m.media_id = v.media_id GROUP BY "
                "v.stack_tag_id HAVING COUNT(m.media_id) > 0 AND (COUNT(m.media_id) != COUNT(*) "
                "OR COUNT(DISTINCT m.stack_tag_id) != 1 OR COUNT(DISTINCT m.media_index - "
                "v.media_index) != 1))");
  }
  std::string sort_date(int media_id, const char* table = "media_stack_sort_table") const {
    return vael_test::text(db(), std::string("SELECT search_date_begin FROM ") + table +
                                     " WHERE media_id = " + std::to_string(media_id));
  }
  version_stack version(int child, int parent) {
    std::optional<version_stack> s;
    write([&] { s = version_stack::create_version(h(), child, parent); });
    expect_stack_invariants();
    return *s;
  }
  void remove_media(int id) {
    write([&] {
      media::get_media(h(), id).remove(media::detach_relations, media::detach_ordered_tags);
    });
    expect_stack_invariants();
  }
  media_stack pile(const ids& members) {
    std::optional<media_stack> s;
    write([&] { s = media_stack::create(h(), members); });
    expect_stack_invariants();
    return *s;
  }

  ids m_;
};

TEST_F(Stacks, VersionsChainNewestFirstAndCloseGapsWhenOneGoes) {
  const int a = m_[0], b = m_[1], c = m_[2], d = m_[3];
  version(b, a);
  EXPECT_EQ(version_stack::get_for_media(h(), a).get_media_ids(), (ids{b, a}));
  EXPECT_EQ(version_stack::get_parent_id(h(), b), a);
  EXPECT_EQ(version_stack::get_parent_id(h(), a), 0);
  version(c, b);
  const version_stack s = version(d, a);
  EXPECT_EQ(s.get_media_ids(), (ids{d, c, b, a})) << "a third version of A still comes first";
  EXPECT_EQ(version_stack::get_root_version_id(h(), c), a);
  EXPECT_EQ(version_stack::get_root_version_id(h(), d), a);
  EXPECT_EQ(version_stack::get_root_version_id(h(), m_[7]), m_[7]);
  EXPECT_EQ(sort_date(a, "version_stack_sort_table"), "2020-01-04T00:00:00");
  EXPECT_FALSE(version_stack::is_media_in_version_stack(h(), m_[7]));

  EXPECT_EQ(message_of([&] { version(b, m_[7]); }),
            "Cannot create a version for a child that is already in a version.");
  EXPECT_THROW(media_stack(h(), s.get_id()), vael::database_state_invalid_error);

  remove_media(b);
  EXPECT_EQ(version_stack::get_parent_id(h(), c), a) << "B's child now hangs from B's parent";
  EXPECT_EQ(s.get_media_ids(), (ids{d, c, a}));

  version_stack pair = version(m_[5], m_[4]);
  write([&] { pair.remove_media(m_[4]); });
  expect_stack_invariants();
  EXPECT_FALSE(version_stack::is_media_in_version_stack(h(), m_[4]));
  EXPECT_FALSE(version_stack::is_media_in_version_stack(h(), m_[5]));
}

TEST_F(Stacks, VersionOfAStackedParentJoinsItsPileJustBeforeTheFormerLead) {
  const int p = m_[0], q = m_[1], c = m_[2], d = m_[3];
  const media_stack s = pile({q, p});
  version(c, p);
  EXPECT_EQ(s.get_media_ids(), (ids{q, c, p}));
  version(d, c);
  EXPECT_EQ(s.get_media_ids(), (ids{q, d, c, p}));
  EXPECT_EQ(sort_date(d), "2020-01-02T00:00:00") << "q tops the pile";
  EXPECT_EQ(message_of([&] { version(q, m_[5]); }),
            "Can't create a version_stack if the child is in a media_stack.");

  // Removing the one loose member leaves a pile of one version stack, which is no pile.
  remove_media(q);
  EXPECT_FALSE(media_stack::is_media_in_stack(h(), c));
  EXPECT_EQ(version_stack::get_for_media(h(), p).get_media_ids(), (ids{d, c, p}));
}

TEST_F(Stacks, RefusedMembershipsChangeNothing) {
  const int a = m_[0], b = m_[1], x = m_[2], y = m_[3];
  version(b, a);
  media_stack s = pile({x, y});
  const int tags = count("SELECT COUNT(*) FROM tag_table");
  const char* all_in = "If media in a version_stack is stacked, it must all be added to the stack";
  const char* too_few = "A media_stack must be comprised of at least 2 media.";
  const struct {
    const char* message;
    bool create;  // a new stack of `members`, else the members of s
    ids members;
  } refusals[] = {
      {too_few, true, {m_[6]}},
      {"Could not set the stack media, since some of the media was already stacked.",
       true,
       {y, m_[6]}},
      {all_in, false, {x, y, a}},
      {all_in, false, {x, a, b}},
      {too_few, false, {x}},
  };
  for (const auto& r : refusals) {
    EXPECT_EQ(refusal([&] {
                r.create ? void(media_stack::create(h(), r.members)) : s.set_media(r.members);
              }),
              r.message);
    EXPECT_EQ(s.get_media_ids(), (ids{x, y})) << r.message;
    EXPECT_EQ(count("SELECT COUNT(*) FROM tag_table"), tags) << r.message;
    EXPECT_EQ(count("SELECT COUNT(*) FROM media_stack_to_media_table"), 2) << r.message;
    expect_stack_invariants();
  }
  write([&] { s.set_media({x, b, a, y}); });
  expect_stack_invariants();
  EXPECT_EQ(media_stack::get_for_media(h(), a).get_id(), s.get_id());
}

TEST_F(Stacks, ThePileSortsByItsTopMakingMissingRowsAndDissolvingLeavesNothingBehind) {
  const int a = m_[0], b = m_[1], c = m_[2];
  vael_test::run(db(), "DELETE FROM media_stack_sort_table WHERE media_id = " + std::to_string(b));
  media_stack s = pile({a, b, c});
  for (int id : {a, b, c}) EXPECT_EQ(sort_date(id), "2020-01-01T00:00:00");
  // A step that records undo must take every sort row back with it.
  jtb::undo_object step = with_undo([&] { s.set_media({c, a, b}); });
  expect_stack_invariants();
  for (int id : {a, b, c}) EXPECT_EQ(sort_date(id), "2020-01-03T00:00:00");
  step.undo();
  expect_stack_invariants();
  for (int id : {a, b, c}) EXPECT_EQ(sort_date(id), "2020-01-01T00:00:00");
  step.redo();
  const auto redate = [&](int id, const char* date) {
    write([&] { media::get_media(h(), id).set_date({pt::time_from_string(date), 0}); });
    expect_stack_invariants();
  };
  redate(a, "2001-01-01 00:00:00");
  redate(c, "2002-01-01 00:00:00");
  EXPECT_EQ(sort_date(b), "2002-01-01T00:00:00");

  version_stack v = version(m_[4], m_[3]);
  write([&] {
    s.dissolve();
    v.dissolve();
  });
  expect_stack_invariants();
  EXPECT_EQ(count("SELECT COUNT(*) FROM tag_table WHERE parent_id != 0"), 0)
      << "no stack tag is left";
  EXPECT_EQ(sort_date(b), "2020-01-02T00:00:00");
}

TEST_F(Stacks, StackWideTagsTagAndUntagWholeStacks) {
  const int a = m_[0], b = m_[1], c = m_[2], v1 = m_[3], v2 = m_[4];
  pile({a, b, c});
  version(v2, v1);
  vael::tag people, picks, both;
  write([&] {
    vael::custom_tag_namespace ns = vael::create_custom_tag_namespace(h(), "person_ns");
    people = ns.create_tag("Anna", {"user_person", false, true, true, true, false});
    picks = ns.create_tag("Pick", {"user_misc", false, true, false, false, true});
    both = ns.create_tag("Both", {"user_misc", false, true, false, true, true});
    people.tag_media(b);
    picks.tag_media(v1);
    picks.tag_media(a);
  });
  EXPECT_EQ(count("SELECT COUNT(*) FROM tag_to_media_table WHERE tag_id = " +
                  std::to_string(people.get_id())),
            3);
  EXPECT_TRUE(picks.is_media_tagged(v2));
  EXPECT_FALSE(picks.is_media_tagged(b)) << "a version-wide tag leaves the pile alone";
  write([&] { people.untag_media(c); });
  EXPECT_TRUE(people.get_media_ids().empty());

  // Media stack wins when both apply: v1's pile holds the whole version stack.
  write([&] {
    media_stack::get_for_media(h(), a).set_media({a, v2, v1, b, c});
    both.tag_media(v1);
  });
  EXPECT_EQ(both.get_media_ids().size(), 5u);
}

// The stack namespace is remembered between stacks; a namespace that a rolled back
// transaction made in place of the first must not outlive it there.
TEST_F(Stacks, StacksGoUnderTheStackNamespaceThatSurvivesARollback) {
  const int first = count("SELECT id FROM tag_table WHERE name = 'stack_ns'");
  write([&] { media_stack::create(h(), {m_[0], m_[1]}); });
  EXPECT_THROW(write([&] {
                 media_stack::get_for_media(h(), m_[0]).dissolve();
                 vael::remove_custom_tag_namespace(h(), "stack_ns");
                 media_stack::create(h(), {m_[2], m_[3]});
                 EXPECT_NE(count("SELECT id FROM tag_table WHERE name = 'stack_ns'"), first);
                 throw std::runtime_error("roll back");
               }),
               std::runtime_error);
  write([&] { media_stack::create(h(), {m_[4], m_[5]}); });
  EXPECT_EQ(count("SELECT COUNT(*) FROM tag_table WHERE type_name = 'stack' AND parent_id = " +
                  std::to_string(first)),
            2);
  expect_stack_invariants();
}

}  // namespace
