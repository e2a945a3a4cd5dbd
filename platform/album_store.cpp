#include "platform/album_store.h"

#include <sqlite3.h>

#include <filesystem>
#include <stdexcept>

#include "environment/catalog_paths.h"
#include "platform/sync_util.h"

namespace sync_util {
namespace {

constexpr char kSchema[] =
    "CREATE TABLE IF NOT EXISTS album_link (\n"
    "  tag_id INTEGER PRIMARY KEY,\n"
    "  online_id TEXT NOT NULL,\n"
    "  change_id INTEGER NOT NULL,\n"
    "  first TEXT NOT NULL,\n"
    "  second TEXT NOT NULL,\n"
    "  dirty INTEGER NOT NULL DEFAULT 0)";

// How long a write waits for the agent to finish its own.
constexpr int kBusyTimeoutMs = 5000;

[[noreturn]] void fail(sqlite3* db, const std::string& what) {
  throw std::runtime_error("album store: " + what + ": " + (db ? sqlite3_errmsg(db) : "no memory"));
}

struct finalizer {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using statement_ptr = std::unique_ptr<sqlite3_stmt, finalizer>;

statement_ptr prepare(sqlite3* db, const char* sql) {
  sqlite3_stmt* raw = nullptr;
  if (sqlite3_prepare_v2(db, sql, -1, &raw, nullptr) != SQLITE_OK) fail(db, "prepare");
  return statement_ptr(raw);
}

void bind_text(sqlite3* db, sqlite3_stmt* statement, int index, const std::string& text) {
  if (sqlite3_bind_text(statement, index, text.data(), static_cast<int>(text.size()),
                        SQLITE_TRANSIENT) != SQLITE_OK) {
    fail(db, "bind");
  }
}

void bind_int(sqlite3* db, sqlite3_stmt* statement, int index, sqlite3_int64 value) {
  if (sqlite3_bind_int64(statement, index, value) != SQLITE_OK) fail(db, "bind");
}

// Steps a statement that gives no rows.
void run(sqlite3* db, sqlite3_stmt* statement) {
  if (sqlite3_step(statement) != SQLITE_DONE) fail(db, "write");
}

std::string column_text(sqlite3_stmt* statement, int column) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
  return text ? std::string(text, static_cast<size_t>(sqlite3_column_bytes(statement, column)))
              : std::string();
}

album_record read_record(sqlite3_stmt* statement) {
  album_record record;
  record.tag_id = sqlite3_column_int(statement, 0);
  record.online_id = column_text(statement, 1);
  record.change_id = static_cast<unsigned>(sqlite3_column_int64(statement, 2));
  record.first = column_text(statement, 3);
  record.second = column_text(statement, 4);
  record.dirty = sqlite3_column_int(statement, 5) != 0;
  return record;
}

// A write transaction that rolls back unless committed.
class write_transaction {
 public:
  explicit write_transaction(sqlite3* db) : db_(db) {
    if (sqlite3_exec(db_, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) != SQLITE_OK) {
      fail(db_, "begin");
    }
  }
  ~write_transaction() {
    if (!committed_) sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
  }
  write_transaction(const write_transaction&) = delete;
  write_transaction& operator=(const write_transaction&) = delete;

  void commit() {
    if (sqlite3_exec(db_, "COMMIT", nullptr, nullptr, nullptr) != SQLITE_OK) fail(db_, "commit");
    committed_ = true;
  }

 private:
  sqlite3* db_;
  bool committed_ = false;
};

constexpr char kSelect[] =
    "SELECT tag_id, online_id, change_id, first, second, dirty FROM album_link";

}  // namespace

void album_store::closer::operator()(sqlite3* db) const {
  sqlite3_close(db);
}

std::string album_store_path() {
  return get_sync_data_folder_path(vantor_env::kAgentProduct) + "album_sync.db";
}

album_store::album_store(const std::string& path, bool create) {
  if (create) {
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
    if (error) throw std::runtime_error("album store: cannot create the folder of " + path);
  }
  sqlite3* raw = nullptr;
  const int flags = create ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE : SQLITE_OPEN_READONLY;
  const int result = sqlite3_open_v2(path.c_str(), &raw, flags, nullptr);
  db_.reset(raw);
  if (result != SQLITE_OK) fail(raw, "cannot open " + path);
  sqlite3_busy_timeout(raw, kBusyTimeoutMs);
  if (create) {
    write_transaction transaction(raw);
    execute(kSchema);
    transaction.commit();
  }
}

void album_store::execute(const char* sql) {
  if (sqlite3_exec(db_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail(db_.get(), sql);
}

void album_store::put(const album_record& record) {
  sqlite3* db = db_.get();
  write_transaction transaction(db);
  statement_ptr statement =
      prepare(db,
              "INSERT INTO album_link (tag_id, online_id, change_id, first, second) "
              "VALUES (?1, ?2, ?3, ?4, ?5) ON CONFLICT (tag_id) DO UPDATE SET "
              "online_id = excluded.online_id, change_id = excluded.change_id, "
              "first = excluded.first, second = excluded.second");
  bind_int(db, statement.get(), 1, record.tag_id);
  bind_text(db, statement.get(), 2, record.online_id);
  bind_int(db, statement.get(), 3, record.change_id);
  bind_text(db, statement.get(), 4, record.first);
  bind_text(db, statement.get(), 5, record.second);
  run(db, statement.get());
  transaction.commit();
}

bool album_store::set_dirty(int tag_id, bool dirty) {
  sqlite3* db = db_.get();
  write_transaction transaction(db);
  statement_ptr statement = prepare(db, "UPDATE album_link SET dirty = ?2 WHERE tag_id = ?1");
  bind_int(db, statement.get(), 1, tag_id);
  bind_int(db, statement.get(), 2, dirty ? 1 : 0);
  run(db, statement.get());
  const bool found = sqlite3_changes(db) != 0;
  transaction.commit();
  return found;
}

std::optional<album_record> album_store::find(int tag_id) const {
  sqlite3* db = db_.get();
  statement_ptr statement = prepare(db, (std::string(kSelect) + " WHERE tag_id = ?1").c_str());
  bind_int(db, statement.get(), 1, tag_id);
  const int step = sqlite3_step(statement.get());
  if (step == SQLITE_ROW) return read_record(statement.get());
  if (step != SQLITE_DONE) fail(db, "read");
  return std::nullopt;
}

std::vector<album_record> album_store::all() const {
  sqlite3* db = db_.get();
  statement_ptr statement = prepare(db, (std::string(kSelect) + " ORDER BY tag_id").c_str());
  std::vector<album_record> records;
  int step;
  while ((step = sqlite3_step(statement.get())) == SQLITE_ROW) {
    records.push_back(read_record(statement.get()));
  }
  if (step != SQLITE_DONE) fail(db, "read");
  return records;
}

}  // namespace sync_util
