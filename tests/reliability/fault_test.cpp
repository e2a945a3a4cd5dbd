// Every catalog operation is run with its N-th write, sync, truncate, lock or allocation
// failing, for N = 1, 2, ... until it succeeds. A failure must reach the caller as an error
// with words, leave its connection able to write again, and leave the catalog intact and as
// it was (or, for an operation of several transactions, at a whole step); running it again
// must then give what a run without faults gives.
#include <sqlite3.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "catalog/catalog_database.h"
#include "catalog/connection.h"
#include "catalog/custom_tag_namespace.h"
#include "catalog/media.h"
#include "catalog/schema/schema_creation.h"
#include "catalog/schema/schema_v7.h"
#include "catalog/tag_edits.h"
#include "catalog/transaction.h"
#include "catalog/volume_manager.h"
#include "catalog_util/albums.h"
#include "catalog_util/catalog_files.h"
#include "catalog_util/well_known_tags.h"
#include "dbl/query.h"
#include "dbl/sqlite/sqlite_database.h"
#include "tests/preferences/prefs_test_env.h"
#include "tests/reliability/fault_injection.h"
#include "tests/support/jpeg_fixture.h"
#include "tools/vantor/folder_import.h"
#include "vantor/vantor.h"

namespace {

namespace fs = std::filesystem;
using vantor_test::fault_plan;
using vantor_test::fault_site;

const bool kInstalled = (vantor_test::install_fault_injection(), true);

// Runs `sql` and gives its rows as text, or "error: ..." (SQLite alone, no fault armed).
std::string rows(sqlite3* db, const std::string& sql) {
  std::string out;
  char* error = nullptr;
  sqlite3_exec(
      db, sql.c_str(),
      [](void* text, int n, char** values, char**) {
        for (int i = 0; i < n; ++i)
          *static_cast<std::string*>(text) += std::string(values[i] ? values[i] : "NULL") + "|";
        *static_cast<std::string*>(text) += "\n";
        return 0;
      },
      &out, &error);
  if (error != nullptr) out = std::string("error: ") + error;
  sqlite3_free(error);
  return out;
}

// The integrity check, then every table but the commit times, row by row. The content leaves
// out what differs between runs of equal outcome: change ids, which a commit of nothing also
// takes, and the planner's statistics, which any later open makes again. Opening rolls a hot
// journal back, as the next user of the file would.
std::string dump(const std::string& file, bool content = false) {
  if (!fs::exists(file)) return "(no file)";
  sqlite3* db = nullptr;
  sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
  std::string out = rows(db, "PRAGMA integrity_check");
  const std::string tables =
      rows(db, std::string("SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT IN "
                           "('db_change_timestamp_table'") +
                   (content ? ", 'change_table', 'sqlite_stat1'" : "") + ") ORDER BY name");
  for (std::size_t at = 0, end; (end = tables.find("|\n", at)) != std::string::npos; at = end + 2) {
    const std::string name = tables.substr(at, end - at);
    std::string columns = "*";
    if (content) {
      columns = rows(db,
                     "SELECT group_concat(iif(name = 'change_id', 'NULL', name)) FROM "
                     "pragma_table_info('" +
                         name + "')");
      columns.resize(columns.size() - 2);
    }
    out += name + ":\n" + rows(db, "SELECT " + columns + " FROM " + name + " ORDER BY 1");
  }
  sqlite3_close(db);
  return out;
}

std::vector<std::string> files_in(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& e : fs::directory_iterator(folder))
    if (e.is_regular_file() && e.path().extension() != ".omb14db-journal")
      names.push_back(e.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

struct operation {
  const char* name;
  std::function<void(const std::string& catalog)> prepare;
  // Keeps its connection in `kept`, so that the test can check what a failure left on it.
  std::function<void(const std::string& catalog, std::unique_ptr<vael::connection>& kept)> run;
  bool one_transaction = true;
  // What two runs of equal outcome share, where rows may take other ids; the content dump
  // when empty.
  std::string summary = "";
};

class Faults : public ::testing::Test {
 protected:
  fs::path folder() const { return env_.box().path("cat"); }
  std::string catalog() const { return folder() / "catalog.omb14db"; }

  // A copy of the operation's starting files, made once, so that every run starts alike.
  void fresh(const operation& op) {
    vantor_test::disarm();
    const std::string start = env_.box().path(std::string("start ") + op.name);
    if (!fs::exists(start)) {
      fs::create_directories(start);
      op.prepare(start + "/catalog.omb14db");
    }
    fs::remove_all(folder());
    fs::copy(start, folder(), fs::copy_options::recursive);
    // File dates are media facts, so the copies keep them.
    for (const auto& e : fs::recursive_directory_iterator(start))
      fs::last_write_time(folder() / fs::relative(e.path(), start), e.last_write_time());
  }

  // What a run left: the content dump, or the integrity check and the operation's summary.
  std::string outcome(const operation& op) {
    if (op.summary.empty()) return dump(catalog(), true);
    sqlite3* db = nullptr;
    sqlite3_open_v2(catalog().c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
    std::string out = rows(db, "PRAGMA integrity_check") + rows(db, op.summary);
    sqlite3_close(db);
    return out;
  }

  // Faults each site until the operation gets through; gives how many faults fired.
  int exhaust(const operation& op, const std::string& clean) {
    const std::vector<fault_plan> plans = {{fault_site::write, 1, SQLITE_IOERR_WRITE},
                                           {fault_site::write, 1, SQLITE_FULL, true},
                                           {fault_site::sync, 1, SQLITE_IOERR_FSYNC},
                                           {fault_site::truncate, 1, SQLITE_IOERR_TRUNCATE},
                                           {fault_site::lock, 1, SQLITE_IOERR_LOCK},
                                           {fault_site::allocation, 1, SQLITE_NOMEM}};
    int fired = 0;
    for (fault_plan plan : plans) {
      for (;; plan.at += plan.site == fault_site::allocation ? 1 + plan.at / 16 : 1) {
        fresh(op);
        const std::string before = dump(catalog());
        const std::vector<std::string> names = files_in(folder());
        std::unique_ptr<vael::connection> kept;
        std::string error;
        vantor_test::arm(plan);
        try {
          op.run(catalog(), kept);
        } catch (const std::exception& e) {
          error = e.what() + std::string(" ");
        }
        if (!vantor_test::disarm()) {
          EXPECT_EQ(error, "") << op.name << ": " << describe(plan);
          break;
        }
        ++fired;
        const std::string where = std::string(op.name) + ", " + describe(plan) + ": " + error;
        if (error.empty()) {  // absorbed: the result must be whole
          EXPECT_EQ(outcome(op), clean) << where;
          continue;
        }
        EXPECT_GT(error.size(), 8u) << where;
        if (kept != nullptr) {
          vael::transaction again(kept->handle());
          EXPECT_NO_THROW(again.begin(vael::without_undo, vael::lock_now)) << where;
        }
        kept.reset();
        const std::string after = dump(catalog());
        EXPECT_EQ(after.rfind("ok|\n", 0), 0u) << where << after.substr(0, 200);
        if (op.one_transaction) {
          EXPECT_EQ(after, before) << where;
        }
        EXPECT_EQ(files_in(folder()), names) << where;
        op.run(catalog(), kept);
        kept.reset();
        EXPECT_EQ(outcome(op), clean) << where << ", run again";
        if (HasFailure()) return fired;
      }
    }
    return fired;
  }

  void check(const operation& op) {
    fresh(op);
    std::unique_ptr<vael::connection> kept;
    op.run(catalog(), kept);
    kept.reset();
    const std::string clean = outcome(op);
    const int fired = exhaust(op, clean);
    std::printf("%s: %d faults injected\n", op.name, fired);
    EXPECT_GT(fired, 10) << op.name;
  }

  vantor_test::prefs_env env_;
};

void make_catalog(const std::string& file) {
  vael_util::create_catalog_file(
      file, {"", "Family", "Friends", "Colleagues", "", "", "Nature", "Travel", "Hobbies", "Misc",
             "QR Code", "", "", "Smart Albums"});
}

// A catalog with three media in an album group "Trips" holding the album "Rome".
void make_filled_catalog(const std::string& file) {
  make_catalog(file);
  vael::connection c(file);
  vael::transaction t(c.handle());
  t.begin(vael::without_undo, vael::lock_now);
  const int volume =
      vael::get_volume_manager(c.handle()).get_volume_id_of_type("database_relative_drive");
  std::vector<int> media;
  for (const char* name : {"/a.jpg", "/b.jpg", "/c.jpg"})
    media.push_back(vael::media::create_master(c.handle(), volume, name, "image/jpeg").get_id());
  const int trips = vael_util::create_album_group(c.handle(), "Trips").get_id();
  vael::tag rome = vael_util::create_album(c.handle(), "Rome", trips);
  vael_util::add_to_album(c.handle(), rome, media);
  t.commit();
}

// Opens the catalog into `kept` and runs `step` in one transaction.
void in_transaction(const std::string& file, std::unique_ptr<vael::connection>& kept,
                    const std::function<void(const vael::connection_handle&)>& step) {
  kept = std::make_unique<vael::connection>(file);
  vael::transaction t(kept->handle());
  t.begin(vael::without_undo, vael::lock_now);
  step(kept->handle());
  t.commit();
}

int album_id(const vael::connection_handle& h, const std::string& name) {
  dbl::query q(vael::database_of(h), "SELECT id FROM tag_table WHERE name = '" + name + "'");
  q.add_column("id", typeid(int));
  return q.first_row()[0].as_int();
}

TEST_F(Faults, ImportWritesWholeBatches) {
  ::setenv("XDG_DATA_DIRS", "/usr/local/share:/usr/share", 1);  // the system's MIME database
  check({"import",
         [](const std::string& file) {
           make_catalog(file);
           const fs::path photos = fs::path(file).parent_path() / "photos";
           fs::create_directories(photos);
           for (int i = 0; i < 5; ++i)
             vantor_test::WriteJpeg((photos / ("p" + std::to_string(i) + ".jpg")).string());
         },
         [](const std::string& file, std::unique_ptr<vael::connection>& kept) {
           kept = std::make_unique<vael::connection>(file);
           vantor_cli::import_options options;
           options.batch_size = 2;
           vantor_cli::import_folder(kept->handle(),
                                     (fs::path(file).parent_path() / "photos").string(), options);
         },
         false});
}

TEST_F(Faults, AlbumEditsAndTagMovesAreAllOrNothing) {
  check({"album edit", make_filled_catalog,
         [](const std::string& file, std::unique_ptr<vael::connection>& kept) {
           in_transaction(file, kept, [](const vael::connection_handle& h) {
             vael::tag rome = vael_util::find_album(h, album_id(h, "Rome"));
             vael_util::remove_from_album(h, rome, {vael::media_of_tag(rome).front()});
             vael::tag coast = vael_util::create_album(h, "Coast");
             vael_util::add_to_album(h, coast, vael::media_of_tag(rome));
           });
         }});
  check({"tag move", make_filled_catalog,
         [](const std::string& file, std::unique_ptr<vael::connection>& kept) {
           in_transaction(file, kept, [](const vael::connection_handle& h) {
             vael::move_tag(h, vael::get_tag(h, album_id(h, "Rome")),
                            vael::get_custom_tag_namespace(h, vael_util::ns_name::collection), 0);
           });
         }});
}

TEST_F(Faults, UpgradeAndCopyLeaveWholeFiles) {
  check({"upgrade",
         [](const std::string& file) {
           dbl::sqlite_database db(file);
           vael::schema::create_schema(db, vael::schema::v7::generation());
         },
         [](const std::string& file, std::unique_ptr<vael::connection>&) {
           vael_util::upgrade_catalog_file(file);
         },
         false});
  check({"copy", make_filled_catalog,
         [](const std::string& file, std::unique_ptr<vael::connection>&) {
           vael_util::copy_catalog_file(file, file + ".copy");
         }});
}

TEST_F(Faults, SavingASelectionKeepsEachAlbumWhole) {
  env_.write_strand(folder().string(), "ann", "t-1", "u-1");
  check({"save selection", make_filled_catalog,
         [](const std::string& file, std::unique_ptr<vael::connection>&) {
           int rome = 0;
           {
             vael::connection c(file);
             rome = album_id(c.handle(), "Rome");
           }
           const std::string selection =
               "<tagselection><tag localid=\"" + std::to_string(rome) +
               "\" onlineid=\"\" parents=\"Trips\" label=\"Rome\" state=\"1\" flag=\"false\" "
               "type=\"collection\"/><tag localid=\"\" onlineid=\"o1\" parents=\"\" "
               "label=\"Online\" state=\"1\" flag=\"false\" type=\"collection\"/></tagselection>";
           const VTL::error_code code = VTL::SaveSyncPrefs(selection, "<syncon/>", "u-1");
           if (code != VTL::success)
             throw std::runtime_error("SaveSyncPrefs gave " + std::to_string(code));
         },
         false,
         // Each album with its parent and its integer values (the sync marks).
         "SELECT t.name, p.name, t.type_name, (SELECT group_concat(value) FROM "
         "tag_to_metadata_table m JOIN metadata_integer_table i ON i.id = m.metadata_id WHERE "
         "m.tag_id = t.id) FROM tag_table t LEFT JOIN tag_table p ON p.id = t.parent_id ORDER "
         "BY t.name, p.name"});
}

}  // namespace
