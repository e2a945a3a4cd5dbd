#include "tools/vantor/catalog_access.h"

#include <filesystem>
#include <stdexcept>

#include "catalog/catalog_lookup.h"
#include "catalog/transaction.h"
#include "tools/vantor/cli.h"

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
    if (subject.empty()) throw;
    throw std::runtime_error(subject + ": " + e.what());
  }
  t.commit();
}

void require_media(vael::connection& c, const std::vector<int>& ids) {
  for (int id : ids) vael::require_media(c.handle(), id);
}

vael::tag find_tag(vael::connection& c, int id) {
  if (!vael::tag_exists(c.handle(), id)) {
    throw std::runtime_error("there is no tag " + std::to_string(id));
  }
  try {
    return vael::get_tag_in_namespace(c.handle(), id);
  } catch (const std::logic_error&) {
    throw std::runtime_error("tag " + std::to_string(id) +
                             " is a namespace; use 'vantor namespace'");
  }
}

}  // namespace vantor_cli
