#include "platform/sync_util.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <unordered_map>

#include "environment/catalog_paths.h"
#include "environment/debug_log.h"
#include "environment/reg_settings.h"
#include "environment/registry_table.h"
#include "environment/registry_values.h"
#include "platform/album_store.h"

namespace sync_util {

std::string get_sync_catalog(int version) {
  return vantor_env::GetSyncCatalog(version);
}

int set_sync_catalog(const std::string& path) {
  return vantor_env::SetSyncCatalog(path) ? 0 : 1;
}

bool get_is_user_signed_in() {
  return !sync_reg_util::RegSettingsCU(vantor_env::reg::kSyncKey)
              .get_string(vantor_env::reg::kUserName)
              .empty();
}

std::string get_ticket_vector() {
  return sync_reg_util::RegSettingsCU(vantor_env::reg::kSyncKey)
      .get_string(vantor_env::reg::kEncryptedTicketVector);
}

std::string get_ksvuser_id() {
  return sync_reg_util::RegSettingsCU(vantor_env::reg::kSyncKey)
      .get_string(vantor_env::reg::kUserId);
}

std::string get_sync_data_folder_path(const std::string& product) {
  return vantor_env::GetAppDataFolder(false, product, "");
}

namespace {

// Which file a path named when it was opened: a file replaced under the same path is another.
struct file_identity {
  std::string path;
  dev_t device = 0;
  ino_t inode = 0;

  bool same(const std::string& other, const struct stat& info) const {
    return path == other && device == info.st_dev && inode == info.st_ino;
  }
  void set(const std::string& other, const struct stat& info) {
    path = other;
    device = info.st_dev;
    inode = info.st_ino;
  }
};

// What the album functions need of the store.
enum class store_use { read, write, create };

// The store the album functions last opened, kept open for the process: a save touches the
// store several times per album, and each opening reads its schema and checks it in a write
// transaction of its own. It stands while the path names the same file (device and inode),
// and a store opened only for reading is opened again for a write.
class kept_store {
 public:
  // The store at `path`; nullptr when there is no file and `use` does not create one. Throws
  // std::runtime_error.
  album_store* get(const std::string& path, store_use use) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
      if (use != store_use::create) {
        clear();
        return nullptr;
      }
    } else if (store_ && file_.same(path, info) && (writable_ || use == store_use::read)) {
      return store_.get();
    }
    clear();
    // Opening for a write also makes the table, so both go through the creating open.
    auto store = std::make_unique<album_store>(path, use != store_use::read);
    if (::stat(path.c_str(), &info) != 0) throw std::runtime_error("album store: lost " + path);
    store_ = std::move(store);
    file_.set(path, info);
    writable_ = use != store_use::read;
    return store_.get();
  }

  void clear() { store_.reset(); }

 private:
  std::unique_ptr<album_store> store_;
  file_identity file_;
  bool writable_ = false;
};

std::mutex kept_store_mutex;
kept_store kept;

// Runs `use` on the store at the store's path, under the lock; a failure is logged and closes
// the store, so that the next call starts from the file again.
template <typename Action>
int with_store(store_use use, Action action) {
  const std::lock_guard<std::mutex> lock(kept_store_mutex);
  try {
    album_store* store = kept.get(album_store_path(), use);
    if (store != nullptr) action(*store);
    return kAlbumOk;
  } catch (const std::exception& e) {
    kept.clear();
    vantor_env::DebugLog(e.what());
    return kAlbumStoreError;
  }
}

}  // namespace

int set_album_dirty_if_exists(const int& tagId, bool dirty) {
  // No store yet means no album to mark, and is no reason to make one.
  return with_store(store_use::write, [&](album_store& store) { store.set_dirty(tagId, dirty); });
}

int create_or_replace_sync_tag_info(int tagId, const std::string& onlineId, unsigned changeId,
                                    const std::string& first, const std::string& second) {
  return with_store(store_use::create, [&](album_store& store) {
    store.put({tagId, onlineId, changeId, first, second, false});
  });
}

int get_unfinished_sync_tag_ids(const std::string& onlineId, std::vector<int>& tagIds) {
  return with_store(store_use::read, [&](album_store& store) {
    for (const album_record& r : store.all())
      if (r.online_id == onlineId && r.change_id == 0) tagIds.push_back(r.tag_id);
  });
}

namespace {

// What get_sync_tag_nixie_id last read of the store, for the preference screen's one lookup
// per album: a lock and a look for a hot journal cost SQLite far more than the lookup itself.
// The copy stands while the path names the same file (device and inode; the open descriptor
// keeps the inode from being reused) and the file's change counter, which SQLite moves at
// every commit in the rollback journal mode that the store keeps, is the one read before the
// copy was made. A counter read while a commit is under way only costs a second reading.
class store_snapshot {
 public:
  // The online id of `tag_id`, reading the store again when it changed. Throws
  // std::runtime_error.
  std::optional<std::string> find(const std::string& path, const struct stat& info, int tag_id) {
    if (!file_ || !identity_.same(path, info)) {
      clear();
      file_.reset(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
      if (!file_) throw std::runtime_error("album store: cannot open " + path);
      identity_.set(path, info);
    }
    const std::uint32_t counter = change_counter();
    if (!loaded_ || counter != counter_) {
      online_ids_.clear();
      loaded_ = false;
      for (album_record& record : album_store(path, false).all()) {
        online_ids_.emplace(record.tag_id, std::move(record.online_id));
      }
      counter_ = counter;
      loaded_ = true;
    }
    const auto found = online_ids_.find(tag_id);
    if (found == online_ids_.end()) return std::nullopt;
    return found->second;
  }

  void clear() {
    file_.reset();
    loaded_ = false;
    online_ids_.clear();
  }

 private:
  // Owns one descriptor.
  struct file {
    int fd = -1;
    explicit operator bool() const { return fd >= 0; }
    void reset(int new_fd = -1) {
      if (fd >= 0) ::close(fd);
      fd = new_fd;
    }
    ~file() { reset(); }
  };

  // Bytes 24 to 27 of the database header, big-endian; 0 for a file too short to have one.
  std::uint32_t change_counter() const {
    unsigned char bytes[4] = {};
    if (::pread(file_.fd, bytes, sizeof bytes, 24) != static_cast<ssize_t>(sizeof bytes)) return 0;
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
           std::uint32_t{bytes[2]} << 8 | std::uint32_t{bytes[3]};
  }

  file file_;
  file_identity identity_;
  bool loaded_ = false;
  std::uint32_t counter_ = 0;
  std::unordered_map<int, std::string> online_ids_;
};

std::mutex snapshot_mutex;
store_snapshot last_read_store;

}  // namespace

int get_sync_tag_nixie_id(int tagId, std::string& onlineId) {
  const std::lock_guard<std::mutex> lock(snapshot_mutex);
  try {
    const std::string path = album_store_path();
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
      last_read_store.clear();
      return kAlbumNotFound;
    }
    std::optional<std::string> found = last_read_store.find(path, info, tagId);
    if (!found) return kAlbumNotFound;
    onlineId = std::move(*found);
    return kAlbumOk;
  } catch (const std::exception& e) {
    last_read_store.clear();
    vantor_env::DebugLog(e.what());
    return kAlbumStoreError;
  }
}

}  // namespace sync_util
