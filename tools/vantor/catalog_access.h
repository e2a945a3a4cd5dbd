#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "catalog/connection.h"
#include "catalog/tag.h"

namespace vantor_cli {

// Opens a catalog through the catalog model, as the library does. SQLite would make a catalog
// of an empty file, so one is refused rather than written to.
std::unique_ptr<vael::connection> open_catalog(const std::string& path);

// Runs `step` in one transaction, which a failure rolls back; the failure is reported with
// `subject` in front (unless empty), so that the message names the object as well as the rule.
void write(vael::connection& c, const std::string& subject, const std::function<void()>& step);

// Throws "there is no media N" for the first of `ids` the catalog lacks.
void require_media(vael::connection& c, const std::vector<int>& ids);

// A tag given by id; namespaces are named, not numbered.
vael::tag find_tag(vael::connection& c, int id);

}  // namespace vantor_cli
