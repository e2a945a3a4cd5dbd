#include "catalog/tag_base.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <stdexcept>
#include <utility>

#include "catalog/internal_connection.h"
#include "catalog/schema/schema_names.h"
#include "catalog/stack_membership.h"
#include "dbl/query.h"
#include "diagnostics/timer.h"

namespace vael {
namespace {

namespace col = schema::column;
namespace tbl = schema::table;

const char child_ids_sql[] =
    "SELECT id FROM tag_table\n WHERE parent_id = :parent_id\n ORDER BY sibling_index";
const char child_rows_sql[] =
    "SELECT * FROM tag_table\n WHERE parent_id = :parent_id\n ORDER BY sibling_index";
const char any_child_sql[] = "SELECT id FROM tag_table WHERE parent_id = :parent_id LIMIT 1";
const char descendant_sql[] = "SELECT id FROM tag_table WHERE parent_id = :parent_id";
const char descendant_container_sql[] =
    "SELECT id FROM tag_table WHERE parent_id = :parent_id AND can_have_children=1";
const char roots_sql[] = "SELECT id FROM tag_table WHERE parent_id = 0 ORDER BY sibling_index";
const char max_sibling_sql[] =
    "select max(sibling_index) from tag_table where parent_id = :parent_id";
const char media_ids_sql[] = "SELECT media_id FROM tag_to_media_table WHERE tag_id = :tag_id";
const char ordered_rows_sql[] =
    "SELECT * FROM tag_to_media_table WHERE tag_id = :tag_id ORDER BY media_index ASC";
const char media_rows_sql[] =
    "SELECT * FROM tag_to_media_table WHERE tag_id = :tag_id AND media_id = :media_id";
const char is_tagged_sql[] =
    "SELECT media_id FROM tag_to_media_table\nWHERE media_id = :media_id AND tag_id = :tag_id "
    "LIMIT 1";

std::vector<int> ids_of(dbl::database& db, const char* sql, const char* name, int value) {
  dbl::query q(db, sql, true);
  q.bind(name, dbl::entry_data(value));
  return q.select_ints();
}

dbl::record fresh_row(dbl::database& db, int id) {
  return dbl::record(db, db.get_table(tbl::tag_table), id);
}

std::shared_ptr<object_cache> tag_cache(internal_connection& c) {
  std::shared_ptr<object_cache> cache = c.tag_tracker().get_cache(tag_base::class_name);
  cache->set_capacity(tag_base::cache_capacity);
  return cache;
}

std::vector<dbl::record> rows_of(dbl::database& db, dbl::query& q) {
  q.set_columns(db.get_table(tbl::tag_to_media_table));
  std::vector<dbl::record> rows;
  for (const dbl::entry_data_vector& values : q) {
    rows.emplace_back(db, db.get_table(tbl::tag_to_media_table), values, true);
  }
  return rows;
}

void write_media_row(dbl::database& db, int tag_id, int media_id, int media_index) {
  dbl::record row(db, db.get_table(tbl::tag_to_media_table));
  row.set(col::media_id, dbl::auto_id{media_id});
  row.set(col::tag_id, dbl::auto_id{tag_id});
  row.set(col::media_index, media_index);
  row.save();
}

void require_no_hierarchy_change(internal_connection& c, const char* message) {
  if (c.hierarchy_namespace != nullptr) throw std::logic_error(message);
}

}  // namespace

tag_base::tag_base(connection_handle handle, dbl::record row)
    : handle_(std::move(handle)), row_(std::move(row)) {}

int tag_base::get_id() const {
  return row_.id();
}

int tag_base::get_change_id() const {
  return row_.get(col::change_id).as_int();
}

std::string tag_base::get_name() const {
  const dbl::entry_data& name = row_.get(col::name);
  return name.is_null() ? std::string() : name.as_string();
}

void tag_base::set_name(const std::string& name) {
  row_.set(col::name, name);
  save();
}

std::string tag_base::get_type_name() const {
  const dbl::entry_data& type = row_.get(col::type_name);
  return type.is_null() ? std::string() : type.as_string();
}

bool tag_base::is_namespace() const {
  return get_type_name() == custom_tag_namespace_type_name;
}

bool tag_base::media_is_ordered() const {
  return row_.get(col::media_is_ordered).as_bool();
}

bool tag_base::can_tag_media() const {
  return row_.get(col::can_tag_media).as_bool();
}

bool tag_base::can_have_children() const {
  return row_.get(col::can_have_children).as_bool();
}

bool tag_base::applies_to_all_in_media_stack() const {
  return row_.get(col::applies_to_all_in_media_stack).as_bool();
}

bool tag_base::applies_to_all_in_version_stack() const {
  return row_.get(col::applies_to_all_in_version_stack).as_bool();
}

void tag_base::set_can_have_children(bool value) {
  if (!value && has_children()) {
    throw std::logic_error("If a tag has child tags, you cannot set it to not have children");
  }
  row_.set(col::can_have_children, value);
  save();
}

int tag_base::get_parent_id() const {
  return row_.get(col::parent_id).as_int();
}

tag_base tag_base::get_parent() const {
  if (!has_parent()) {
    throw std::logic_error("Attempted to get the parent tag for a top level tag.");
  }
  return load_tag_base(handle_, get_parent_id());
}

int tag_base::get_namespace_id() const {
  if (!has_parent()) return 0;
  std::set<int> seen{get_id()};
  int id = get_parent_id();
  for (;;) {
    const tag_base parent = load_tag_base(handle_, id);
    if (!parent.has_parent()) return id;
    if (!seen.insert(id).second) throw database_state_invalid_error();
    id = parent.get_parent_id();
  }
}

std::vector<tag_base> tag_base::get_children() const {
  if (!can_have_children()) return {};
  internal_connection& c = get_connection(handle_);
  dbl::database& db = c.database();
  // A walk of a forest meets whole families uncached: one statement reads the family and
  // refreshes the cache, where loading each child by id would cost a statement apiece.
  dbl::query q(db, child_rows_sql, true);
  q.bind(":parent_id", dbl::entry_data(get_id()));
  const dbl::table_description& table = db.get_table(tbl::tag_table);
  q.set_columns(table);
  std::shared_ptr<object_cache> cache = tag_cache(c);
  std::vector<tag_base> children;
  for (const dbl::entry_data_vector& values : q) {
    children.emplace_back(handle_, dbl::record(db, table, values, true));
    cache->put(children.back().get_id(), children.back());
  }
  return children;
}

bool tag_base::has_children() const {
  dbl::database& db = get_connection(handle_).database();
  return !ids_of(db, any_child_sql, ":parent_id", get_id()).empty();
}

std::vector<int> tag_base::get_all_descendant_ids() const {
  lil::timer timer("vael::tag_Base::get_all_descendant_ids");
  std::vector<int> out;
  std::vector<tag_base> frontier = get_children();
  while (!frontier.empty()) {
    std::vector<tag_base> next;
    for (const tag_base& t : frontier) {
      out.push_back(t.get_id());
      std::vector<tag_base> children = t.get_children();
      std::move(children.begin(), children.end(), std::back_inserter(next));
    }
    frontier = std::move(next);
  }
  return out;
}

namespace {

std::vector<int> level_by_level(dbl::database& db, const char* sql, int root) {
  std::vector<int> out;
  std::vector<int> frontier{root};
  while (!frontier.empty()) {
    std::vector<int> next;
    for (int id : frontier) {
      std::vector<int> found = ids_of(db, sql, ":parent_id", id);
      out.insert(out.end(), found.begin(), found.end());
      next.insert(next.end(), found.begin(), found.end());
    }
    frontier = std::move(next);
  }
  return out;
}

}  // namespace

std::vector<int> tag_base::get_descendant_ids() const {
  return level_by_level(get_connection(handle_).database(), descendant_sql, get_id());
}

std::vector<int> tag_base::get_descendant_container_ids() const {
  return level_by_level(get_connection(handle_).database(), descendant_container_sql, get_id());
}

tag_base tag_base::create_child(const std::string& name, const tag_type_t& type) const {
  return create_tag_base(handle_, get_id(), name, type);
}

void tag_base::remove_tag(bool cascade_children, bool force) {
  internal_connection& c = get_connection(handle_);
  require_no_hierarchy_change(c, "Cannot remove tags while in a tag hierarchy change.");
  for (int media_id : get_media_ids()) c.media_tracker().mark_changed(media_id);
  c.tag_tracker().mark_changed(get_id());
  if (cascade_children) {
    for (tag_base& child : get_children()) child.remove_tag(with_children, force);
  }
  if (has_children()) {
    throw std::logic_error(
        "Cannot delete a tag with children.  All child tags should be either moved or removed "
        "before deleting a tag.");
  }
  const int parent_id = get_parent_id();
  row_.remove(!force);
  if (parent_id != 0) {
    const tag_base parent = load_tag_base(handle_, parent_id);
    parent.renumber_children(parent.get_children());
    return;
  }
  std::vector<tag_base> roots;
  for (int id : get_root_tag_ids(handle_)) roots.push_back(load_tag_base(handle_, id));
  renumber_top_level(handle_, roots);
}

namespace {

// Writes parent and sibling index of each tag of `children` from a freshly read row, so that
// a stale copy held by the caller cannot undo a move made earlier in the same change.
void attach(internal_connection& c, int parent_id, const std::vector<tag_base>& children) {
  dbl::database& db = c.database();
  std::vector<dbl::record> rows;
  int index = 0;
  for (const tag_base& child : children) {
    dbl::record row = fresh_row(db, child.get_id());
    row.set(col::parent_id, parent_id);
    row.set(col::sibling_index, index++);
    rows.push_back(std::move(row));
  }
  for (dbl::record& row : rows) {
    row.save();
    c.tag_tracker().mark_changed(row.id());
  }
}

}  // namespace

void tag_base::renumber_children(const std::vector<tag_base>& children) const {
  if (!can_have_children()) throw std::logic_error("This tag cannot have children.");
  internal_connection& c = get_connection(handle_);
  dbl::database& db = c.database();
  std::set<int> ancestors{get_id()};
  for (int id = get_parent_id(); id != 0; id = fresh_row(db, id).get(col::parent_id).as_int()) {
    if (!ancestors.insert(id).second) throw database_state_invalid_error();
  }
  for (const tag_base& child : children) {
    if (ancestors.count(child.get_id()) != 0) {
      throw std::logic_error("A tag cannot become a child of itself or of its descendants.");
    }
  }
  for (int id : ids_of(db, child_ids_sql, ":parent_id", get_id())) {
    dbl::record row = fresh_row(db, id);
    row.set(col::parent_id, 0);
    row.set(col::sibling_index, 0);
    row.save();
    c.tag_tracker().mark_changed(id);
  }
  attach(c, get_id(), children);
}

std::vector<int> tag_base::get_media_ids() const {
  return ids_of(get_connection(handle_).database(), media_ids_sql, ":tag_id", get_id());
}

std::vector<int> tag_base::get_ordered_media_ids() const {
  if (!media_is_ordered()) {
    throw std::logic_error("Cannot get ordered media from an unordered tag.");
  }
  dbl::database& db = get_connection(handle_).database();
  dbl::query q(db, ordered_rows_sql, true);
  q.bind(":tag_id", dbl::entry_data(get_id()));
  std::vector<int> ids;
  for (const dbl::record& row : rows_of(db, q)) ids.push_back(row.get(col::media_id).as_int());
  return ids;
}

void tag_base::set_media_order(const std::vector<int>& media_ids) {
  if (!media_is_ordered()) throw std::logic_error("Attempted to order media in an unordered tag.");
  if (!can_tag_media()) throw std::logic_error("Cannot tag media with this tag.");
  internal_connection& c = get_connection(handle_);
  dbl::database& db = c.database();
  dbl::query q(db, ordered_rows_sql, true);
  q.bind(":tag_id", dbl::entry_data(get_id()));
  std::vector<int> old_ids;
  for (dbl::record& row : rows_of(db, q)) {
    old_ids.push_back(row.get(col::media_id).as_int());
    row.remove(dbl::record::refuse_if_referenced);
  }
  // Media that only move within the tag keep their change id.
  std::vector<int> before = old_ids;
  std::vector<int> after = media_ids;
  std::sort(before.begin(), before.end());
  std::sort(after.begin(), after.end());
  std::vector<int> joined_or_left;
  std::set_symmetric_difference(before.begin(), before.end(), after.begin(), after.end(),
                                std::back_inserter(joined_or_left));
  for (int id : joined_or_left) c.media_tracker().mark_changed(id);
  c.tag_tracker().mark_changed(get_id());
  int index = 0;
  for (int id : media_ids) write_media_row(db, get_id(), id, index++);
}

std::vector<int> tag_base::expand_media(int media_id) const {
  if (applies_to_all_in_media_stack()) {
    std::vector<int> stack = media_stack_members(handle_, media_id);
    if (!stack.empty()) return stack;
  }
  if (applies_to_all_in_version_stack()) {
    std::vector<int> stack = version_stack_members(handle_, media_id);
    if (!stack.empty()) return stack;
  }
  return {media_id};
}

void tag_base::tag_media(int media_id) {
  if (media_is_ordered()) {
    throw std::logic_error("Attempted to tag media without ordering it on an ordered tag.");
  }
  if (!can_tag_media()) throw std::logic_error("Cannot tag media with this tag.");
  internal_connection& c = get_connection(handle_);
  for (int id : expand_media(media_id)) {
    if (is_media_tagged(id)) continue;
    write_media_row(c.database(), get_id(), id, 0);
    c.media_tracker().mark_changed(id);
    c.tag_tracker().mark_changed(get_id());
  }
}

void tag_base::untag_media(int media_id) {
  if (media_is_ordered()) {
    throw std::logic_error(
        "Attempted to untag media on an ordered tag.  Use set_media_order instead.");
  }
  internal_connection& c = get_connection(handle_);
  dbl::database& db = c.database();
  for (int id : expand_media(media_id)) {
    dbl::query q(db, media_rows_sql, true);
    q.bind(":tag_id", dbl::entry_data(get_id())).bind(":media_id", dbl::entry_data(id));
    std::vector<dbl::record> rows = rows_of(db, q);
    for (dbl::record& row : rows) row.remove(dbl::record::refuse_if_referenced);
    // Only a removed row is a change; untagging an untagged media stamps nothing.
    if (rows.empty()) continue;
    c.media_tracker().mark_changed(id);
    c.tag_tracker().mark_changed(get_id());
  }
}

bool tag_base::is_media_tagged(int media_id) const {
  dbl::query q(get_connection(handle_).database(), is_tagged_sql, true);
  q.bind(":media_id", dbl::entry_data(media_id)).bind(":tag_id", dbl::entry_data(get_id()));
  q.add_column(col::media_id, typeid(int));
  return q.begin() != q.end();
}

void tag_base::save() {
  internal_connection& c = get_connection(handle_);
  if (row_.get(col::sibling_index).is_null()) {
    dbl::query q(c.database(), max_sibling_sql, true);
    q.bind(":parent_id", row_.get(col::parent_id));
    q.add_column("ignored", typeid(int));
    const dbl::entry_data top = q.first_row()[0];
    row_.set(col::sibling_index, top.is_null() ? 1 : top.as_int() + 1);
  }
  if (row_.get(col::change_id).is_null()) row_.set(col::change_id, 0);
  row_.save(false);
  c.tag_tracker().mark_changed(get_id());
}

tag_base load_tag_base(const connection_handle& handle, int id) {
  internal_connection& c = get_connection(handle);
  return tag_cache(c)->get_or_load<tag_base>(
      id, [&] { return tag_base(handle, fresh_row(c.database(), id)); });
}

bool is_tag_cached(const connection_handle& handle, int id) {
  return tag_cache(get_connection(handle))->contains(id);
}

tag_base create_tag_base(const connection_handle& handle, int parent_id, const std::string& name,
                         const tag_type_t& type) {
  internal_connection& c = get_connection(handle);
  require_no_hierarchy_change(c, "Cannot create tags while in a tag hierarchy change.");
  dbl::database& db = c.database();
  dbl::record row(db, db.get_table(tbl::tag_table));
  row.set(col::parent_id, parent_id);
  row.set(col::type_name, type.type_name);
  row.set(col::can_have_children, type.can_have_children);
  if (type.can_tag_media) {
    row.set(col::change_id, 0);
    row.set(col::media_is_ordered, type.media_is_ordered);
    row.set(col::can_tag_media, true);
    row.set(col::applies_to_all_in_media_stack, type.applies_to_all_in_media_stack);
    row.set(col::applies_to_all_in_version_stack, type.applies_to_all_in_version_stack);
  } else {
    // Without media the ordering and stack flags mean nothing, so they are never stored.
    row.set(col::media_is_ordered, false);
    row.set(col::can_tag_media, false);
    row.set(col::applies_to_all_in_media_stack, false);
    row.set(col::applies_to_all_in_version_stack, false);
  }
  // The name goes in with the row: saving first and renaming after would write the row twice
  // to the same end.
  row.set(col::name, name);
  tag_base tag(handle, std::move(row));
  tag.save();
  return tag;
}

std::vector<int> get_root_tag_ids(const connection_handle& handle) {
  return dbl::query(get_connection(handle).database(), roots_sql, true).select_ints();
}

void renumber_top_level(const connection_handle& handle, const std::vector<tag_base>& roots) {
  attach(get_connection(handle), 0, roots);
}

}  // namespace vael
