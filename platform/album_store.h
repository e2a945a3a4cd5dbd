#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

struct sqlite3;

// The sync agent's record of which local albums are linked to which online albums. It lives
// in an SQLite file of its own in the agent's data folder, apart from any catalog.
namespace sync_util {

struct album_record {
  int tag_id = 0;  // the album's local tag id
  std::string online_id;
  unsigned change_id = 0;  // the tag's change id when the link was recorded
  std::string first;
  std::string second;
  bool dirty = false;  // the album has changes that the agent has yet to send
};

// The store's file: "album_sync.db" in the agent's data folder.
std::string album_store_path();

// One open store file. Writes run in BEGIN IMMEDIATE transactions, so that a store busy with
// the agent is met before anything changes; the busy wait is bounded.
class album_store {
 public:
  // Opens the file, creating it and its folder when `create` is set. Throws
  // std::runtime_error with SQLite's message when it cannot be opened or is no store.
  album_store(const std::string& path, bool create);
  album_store(const album_store&) = delete;
  album_store& operator=(const album_store&) = delete;

  // Records the link of `record.tag_id`, replacing an earlier one; an existing dirty flag is
  // kept, a new link starts clean. Throws std::runtime_error.
  void put(const album_record& record);
  // Sets the dirty flag of `tag_id`; false, with nothing changed, when the id has no record.
  // Throws std::runtime_error.
  bool set_dirty(int tag_id, bool dirty);
  // The record of `tag_id`, if any. Throws std::runtime_error.
  std::optional<album_record> find(int tag_id) const;
  // Every record, by tag id. Throws std::runtime_error.
  std::vector<album_record> all() const;

 private:
  struct closer {
    void operator()(sqlite3* db) const;
  };
  // Runs `sql`, which takes no parameters and gives no rows. Throws std::runtime_error.
  void execute(const char* sql);

  std::unique_ptr<sqlite3, closer> db_;
};

}  // namespace sync_util
