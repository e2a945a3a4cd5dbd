#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>

#include "catalog/change_tracker.h"
#include "catalog/object_cache.h"
#include "catalog/object_tracker.h"
#include "dbl/database.h"

namespace vael {

class custom_tag_namespace;
class volume_manager;

// Everything that lives as long as a catalog file is open. Owned by vael::connection and
// reached by every catalog object through its connection_handle.
// REQUIRES: one thread at a time, except for the trackers and caches, which lock themselves.
class internal_connection {
 public:
  static constexpr std::size_t description_cache_capacity = 50;

  // Opens the SQLite file at `path` (which must exist), sets the cache and temporary store
  // pragmas, brings the schema up (upgrading older catalogs) and reads the change counter.
  // Throws database_version_error for a catalog of an unusable version, and what the
  // database layer throws for a file that is no catalog.
  explicit internal_connection(const std::string& path);
  ~internal_connection();
  internal_connection(const internal_connection&) = delete;
  internal_connection& operator=(const internal_connection&) = delete;

  // Drops every object and description cache, and the changed ids; called when another
  // connection has committed, since any of them may now be stale.
  void clear_caches();
  // Drops the description, rendition description and volume caches: there are few of each,
  // so a rollback that may have cached one it made drops them all.
  void clear_small_caches();

  dbl::database& database() { return database_; }
  const std::string& path() const { return path_; }
  object_tracker& media_tracker() { return media_tracker_; }
  object_tracker& tag_tracker() { return tag_tracker_; }
  bounded_cache<int>& metadata_by_id() { return metadata_by_id_; }
  bounded_cache<std::string>& metadata_by_identifier() { return metadata_by_identifier_; }
  bounded_cache<int>& rendition_by_id() { return rendition_by_id_; }
  bounded_cache<std::string>& rendition_by_identifier() { return rendition_by_identifier_; }
  // Volume rows by id: every new media checks its volume, and volumes seldom change.
  bounded_cache<int>& volume_by_id() { return volume_by_id_; }
  vael::change_tracker& change_tracker() { return change_tracker_; }
  int max_change_history() const { return max_change_history_; }
  // Tests only: lets pruning be seen without writing ten thousand commits.
  void set_max_change_history(int history) { max_change_history_ = history; }

  // Where each volume is reachable now, by volume id; filled by get_volume_manager().
  std::map<int, std::string>& volume_paths() { return volume_paths_; }
  // The volume manager once made, else null.
  std::shared_ptr<vael::volume_manager>& volume_manager_slot() { return volume_manager_; }

  // State of a tag hierarchy change; empty outside one.
  std::shared_ptr<custom_tag_namespace> hierarchy_namespace;
  std::shared_ptr<custom_tag_namespace> hierarchy_second_namespace;
  std::size_t hierarchy_tag_count = 0;

  // The id of `stack_ns` found last; a hint, trusted only while the tag cache holds the tag.
  int stack_namespace_hint = 0;

 private:
  std::shared_ptr<vael::volume_manager> volume_manager_;
  std::map<int, std::string> volume_paths_;
  object_tracker media_tracker_;
  object_tracker tag_tracker_;
  bounded_cache<int> metadata_by_id_;
  bounded_cache<std::string> metadata_by_identifier_;
  bounded_cache<int> rendition_by_id_;
  bounded_cache<std::string> rendition_by_identifier_;
  bounded_cache<int> volume_by_id_;
  vael::change_tracker change_tracker_;
  std::string path_;
  int max_change_history_ = 10000;
  dbl::database database_;
};

}  // namespace vael
