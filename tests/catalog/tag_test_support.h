#pragma once

#include "catalog/custom_tag_namespace.h"
#include "catalog/tag.h"
#include "catalog/volume_manager.h"
#include "tests/catalog/catalog_test_support.h"

namespace vael_test {

// The kinds of tag the catalog tests build with, described here rather than taken from the
// vocabulary above the catalog: {type name, ordered, tags media, has children}.
inline vael::tag_type_t person_type() {
  return {"user_person", false, true, true};
}
inline vael::tag_type_t misc_leaf_type() {
  return {"user_misc", false, true, false};
}
inline vael::tag_type_t album_type() {
  return {"collection", true, true, false};
}
// An album group whose description asks for an order as well: without can_tag_media the
// catalog must drop the flag.
inline vael::tag_type_t album_group_type() {
  return {"collection_group", true, false, true};
}

// A fresh catalog with one open connection.
class tag_catalog : public ::testing::Test {
 protected:
  tag_catalog() : path_(new_catalog(box_, "c.vdb")), c_(path_) {}

  const vael::connection_handle& h() const { return c_.handle(); }
  dbl::database& db() const { return c_.get().database(); }
  vael::volume_manager volumes() const { return vael::get_volume_manager(h()); }

  // Runs `step` in one committed transaction; an exception rolls it back and passes on.
  void write(const std::function<void()>& step) {
    vael::transaction t(h());
    t.begin(vael::without_undo, vael::lock_now);
    step();
    t.commit();
  }
  // What write(step) throws, as message_of() reads it.
  std::string refusal(const std::function<void()>& step) {
    return message_of([&] { write(step); });
  }
  // Runs `step` in one transaction that records its undo.
  jtb::undo_object with_undo(const std::function<void()>& step) {
    vael::transaction t(h());
    t.begin(vael::with_undo, vael::lock_now);
    step();
    return t.commit_with_undo();
  }
  // A media row, and a root tag that can hold media, each made in a transaction of its own.
  int new_media(const std::string& file) {
    int id = 0;
    write([&] { id = add_media(c_.get(), file); });
    return id;
  }
  int new_root_tag(const std::string& name) {
    int id = 0;
    write([&] { id = vael::create_tag_base(h(), 0, name, misc_leaf_type()).get_id(); });
    return id;
  }
  int count(const std::string& sql) const { return scalar(db(), sql); }
  int column(const std::string& column, int tag_id) const {
    return count("SELECT " + column + " FROM tag_table WHERE id = " + std::to_string(tag_id));
  }
  // An invariant the rows must keep: `sql` counts the rows that break it.
  void expect_none(const char* broken, const std::string& sql) const {
    EXPECT_EQ(count(sql), 0) << broken;
  }
  // Invariants every tag forest must keep, checked on the rows.
  void expect_forest_invariants() const {
    const std::string on_tag =
        "FROM tag_to_media_table t JOIN tag_table ON tag_table.id = t.tag_id ";
    expect_none("siblings share an index",
                "SELECT COUNT(*) FROM (SELECT parent_id FROM tag_table GROUP BY parent_id, "
                "sibling_index HAVING COUNT(*) > 1)");
    expect_none("media on a tag that cannot hold media",
                "SELECT COUNT(*) " + on_tag + "WHERE can_tag_media = 0");
    expect_none("a position in an unordered tag",
                "SELECT COUNT(*) " + on_tag + "WHERE media_is_ordered = 0 AND media_index != 0");
    expect_none("ordered positions do not count 0, 1, 2...",
                "SELECT COUNT(*) " + on_tag +
                    "WHERE media_is_ordered = 1 AND media_index >= "
                    "(SELECT COUNT(*) FROM tag_to_media_table u WHERE u.tag_id = t.tag_id)");
    expect_none("tags outside every namespace",
                "WITH RECURSIVE up(id) AS (SELECT id FROM tag_table WHERE parent_id = 0 AND "
                "type_name = 'custom_tag_namespace' UNION ALL SELECT tag_table.id FROM tag_table "
                "JOIN up ON tag_table.parent_id = up.id) "
                "SELECT (SELECT COUNT(*) FROM tag_table) - COUNT(*) FROM up");
  }

  vantor_test::sandbox box_;
  std::string path_;
  vael::connection c_;
};

}  // namespace vael_test
