#include <boost/algorithm/string/split.hpp>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "catalog_util/search/search_implementer.h"
#include "catalog_util/search/search_runner.h"
#include "tools/vantor/catalog_access.h"
#include "tools/vantor/commands.h"
#include "tools/vantor/output.h"

namespace vantor_cli {
namespace {

struct search_args {
  std::string catalog;
  std::string text;
  std::string in;
  std::string normalize;
  bool sql = false;
  bool json = false;
};

std::vector<int> parse_ids(const std::string& text) {
  std::vector<std::string> parts;
  boost::algorithm::split(parts, text, [](char c) { return c == ','; });
  std::vector<int> ids;
  for (const std::string& part : parts) {
    const long long id = parse_integer(part, "each id of --in");
    if (id <= 0 || id > 0x7fffffff) throw usage_error("ids of --in are from 1 to 2147483647");
    ids.push_back(static_cast<int>(id));
  }
  return ids;
}

std::string parameter_text(const dbl::entry_data& value) {
  switch (value.kind()) {
    case dbl::entry_kind::null:
      return "(null)";
    case dbl::entry_kind::string:
    case dbl::entry_kind::fixed_text:
      return value.as_string();
    case dbl::entry_kind::timestamp: {
      const auto& t = value.as_ptime();
      return t.is_special() ? boost::posix_time::to_simple_string(t)
                            : boost::posix_time::to_iso_extended_string(t);
    }
    default:
      return std::to_string(value.as_int64());
  }
}

vael_util::search_criteria read_search(const std::string& text) {
  try {
    return vael_util::read_stored_search(text);
  } catch (const std::runtime_error& e) {
    throw std::runtime_error("cannot read the search text: " + std::string(e.what()));
  }
}

int print_statement(const vael_util::query_t& query, bool json) {
  std::vector<std::pair<std::string, std::string>> parameters;
  for (std::size_t i = 0; i < query.positional().size(); ++i) {
    parameters.emplace_back("?" + std::to_string(i + 1), parameter_text(query.positional()[i]));
  }
  for (const auto& [name, value] : query.named()) {
    parameters.emplace_back(name, parameter_text(value));
  }
  if (json) {
    QJsonArray bound;
    for (const auto& [name, value] : parameters) {
      bound.append(QJsonObject{{"name", json_text(name)}, {"value", json_text(value)}});
    }
    print_json(QJsonObject{{"sql", query.has_sql() ? json_text(query.sql()) : QJsonValue()},
                           {"parameters", bound}});
    return 0;
  }
  if (!query.has_sql()) {
    std::cerr << "vantor: the search narrows nothing; it has no statement\n";
    return 0;
  }
  std::cout << query.sql() << (query.sql().back() == '\n' ? "" : "\n");
  for (const auto& [name, value] : parameters) print_row({name, value});
  return 0;
}

int search_run(const search_args& args) {
  vael_util::register_search_implementers(1);
  if (!args.normalize.empty()) {
    const std::string text = vael_util::write_stored_search(read_search(args.normalize));
    if (args.json) {
      print_json(QJsonObject{{"text", json_text(text)}});
    } else {
      std::cout << text << "\n";
    }
    return 0;
  }
  if (args.catalog.empty() || args.text.empty()) {
    throw usage_error("CATALOG and TEXT are required unless --normalize is given");
  }
  const vael_util::search_criteria search = read_search(args.text);
  const auto c = open_catalog(args.catalog);
  std::optional<std::vector<int>> candidates;
  if (!args.in.empty()) candidates = parse_ids(args.in);
  if (args.sql) {
    // Over every media, which is the id table find_media() gives the statement.
    return print_statement(search.build_query(c->handle(), vael_util::every_media_table),
                           args.json);
  }
  const std::vector<int> ids = vael_util::find_media(c->handle(), search, candidates);
  if (args.json) {
    print_json(QJsonObject{{"ids", json_ids(ids)}});
  } else {
    for (const int id : ids) std::cout << id << "\n";
  }
  return 0;
}

}  // namespace

void add_search_command(CLI::App& app) {
  auto args = std::make_shared<search_args>();
  CLI::App* search = add_command(
      app, "search",
      "Runs a stored search over a catalog and prints the ids of the matching media.\n"
      "TEXT is a stored search text, such as '(4)(5)beach' for file names holding 'beach'. "
      "The ids come one per line, ascending.",
      [args] { return search_run(*args); });
  search->add_option("CATALOG", args->catalog, "The catalog file.");
  search->add_option("TEXT", args->text, "The stored search text.");
  CLI::Option* in = search->add_option(
      "--in", args->in, "Only these media are candidates, as ids joined by commas (3,5,9).");
  search
      ->add_flag("--sql", args->sql,
                 "Prints the statement over every media and its bound values instead of "
                 "running it.")
      ->excludes(in);
  search
      ->add_option("--normalize", args->normalize,
                   "Reads the stored search text and prints it as written again; needs no "
                   "catalog.")
      ->option_text("TEXT");
  add_json_flag(search, args->json);
}

}  // namespace vantor_cli
