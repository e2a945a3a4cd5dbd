#pragma once

#include <functional>
#include <memory>
#include <string>

#include "catalog/connection.h"
#include "catalog/tag.h"

namespace vantor_cli {

// Opens a catalog through the catalog model, as the library does. SQLite would make a catalog
// of an empty file, so one is refused rather than written to.
std::unique_ptr<vael::connection> open_catalog(const std::string& path);

// Runs `step` in one transaction, which a failure rolls back; the failure is reported with
// `subject` in front, so that the message names the object as well as the rule.
void write(vael::connection& c, const std::string& subject, const std::function<void()>& step);

// A row id given on the command line; usage_error unless it is a positive 32-bit number.
int parse_id(const std::string& text, const char* what);

// Whether `table` has a row of that id.
bool row_exists(vael::connection& c, const char* table, int id);
// Throws std::runtime_error "there is no media N" unless the catalog has media `id`.
void require_media(vael::connection& c, int id);
// parse_id() of a media id that must exist.
int parse_media_id(vael::connection& c, const std::string& text);

// "tag ID 'NAME'", the way messages name a tag.
std::string describe(const vael::tag& t);

}  // namespace vantor_cli
