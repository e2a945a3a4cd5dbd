#include "tools/vantor/catalog_access.h"

#include <filesystem>
#include <stdexcept>

#include "catalog/internal_connection.h"
#include "catalog/transaction.h"
#include "dbl/query.h"
#include "tools/vantor/command.h"

namespace vantor_cli {

std::unique_ptr<vael::connection> open_catalog(const std::string& path) {
  std::error_code error;
  if (std::filesystem::is_regular_file(path, error) &&
      std::filesystem::file_size(path, error) == 0) {
    throw std::runtime_error(path + " is not a catalog: the file is empty");
  }
  return std::make_unique<vael::connection>(path);
}

void write(vael::connection& c, const std::string& subject, const std::function<void()>& step) {
  vael::transaction t(c.handle());
  t.begin(vael::without_undo, vael::lock_now);
  try {
    step();
  } catch (const usage_error&) {
    throw;
  } catch (const std::exception& e) {
    throw std::runtime_error(subject + ": " + e.what());
  }
  t.commit();
}

int parse_id(const std::string& text, const char* what) {
  const long long id = parse_integer(text, what);
  if (id <= 0 || id > 0x7fffffff) throw usage_error(std::string(what) + " must be positive");
  return static_cast<int>(id);
}

bool row_exists(vael::connection& c, const char* table, int id) {
  dbl::query q(c.get().database(),
               std::string("SELECT COUNT(*) FROM ") + table + " WHERE id = :id");
  q.bind(":id", dbl::entry_data(id)).add_column("ignored", typeid(int));
  return q.first_row()[0].as_int() != 0;
}

void require_media(vael::connection& c, int id) {
  if (!row_exists(c, "media_table", id)) {
    throw std::runtime_error("there is no media " + std::to_string(id));
  }
}

int parse_media_id(vael::connection& c, const std::string& text) {
  const int id = parse_id(text, "media id");
  require_media(c, id);
  return id;
}

std::string describe(const vael::tag& t) {
  return "tag " + std::to_string(t.get_id()) + " '" + t.get_name() + "'";
}

}  // namespace vantor_cli
