#include <algorithm>
#include <boost/algorithm/string/split.hpp>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <climits>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "catalog_util/search/search_implementer.h"
#include "catalog_util/search/search_runner.h"
#include "catalog_util/search/smart_album_rules.h"
#include "tools/vantor/catalog_access.h"
#include "tools/vantor/commands.h"
#include "tools/vantor/output.h"

namespace vantor_cli {
namespace {

// What running a search takes besides the search: where, over which media, how to print.
struct run_args {
  std::string catalog;
  std::string in;
  std::string now;
  std::string f_numbers, exposure_times, isos, file_types;
  bool sql = false;
  bool json = false;
};

struct search_args {
  run_args run;
  std::string text;
  std::string normalize;
};

struct smart_album_args {
  run_args run;
  std::string rules;
  bool stored = false;
};

template <typename T>
std::vector<T> parse_list(const std::string& text, char separator, const std::string& what) {
  std::vector<T> out;
  if (text.empty()) return out;
  std::vector<std::string> parts;
  boost::algorithm::split(parts, text, [separator](char c) { return c == separator; });
  for (const std::string& part : parts) {
    if constexpr (std::is_same_v<T, std::string>) {
      out.push_back(part);
    } else if constexpr (std::is_same_v<T, int>) {
      const long long n = parse_integer(part, what);
      if (n < INT_MIN || n > INT_MAX) throw usage_error(what + " must fit in 32 bits");
      out.push_back(static_cast<int>(n));
    } else {
      out.push_back(parse_number(part, what));
    }
  }
  return out;
}

std::vector<int> parse_ids(const std::string& text) {
  std::vector<int> ids = parse_list<int>(text, ',', "each id of --in");
  if (std::any_of(ids.begin(), ids.end(), [](int id) { return id <= 0; })) {
    throw usage_error("ids of --in are from 1 to 2147483647");
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

// Runs `search` over the catalog as the options say, the lookup tables filled from them.
int run(vael_util::search_criteria search, const run_args& args) {
  if (!args.now.empty()) {
    const boost::posix_time::ptime now = parse_time(args.now, "--now");
    vael_util::set_search_clock([now] { return now; });
  }
  if (!args.f_numbers.empty() || !args.exposure_times.empty() || !args.isos.empty() ||
      !args.file_types.empty()) {
    vael_util::set_lookup_tables(
        search, {parse_list<double>(args.f_numbers, ',', "each f-number"),
                 parse_list<double>(args.exposure_times, ',', "each exposure time"),
                 parse_list<int>(args.isos, ',', "each ISO"),
                 parse_list<std::string>(args.file_types, ';', "")});
  }
  const auto c = open_catalog(args.catalog);
  if (args.sql) {
    // Over every media, which is the id table find_media() gives the statement.
    return print_statement(search.build_query(c->handle(), vael_util::every_media_table),
                           args.json);
  }
  std::optional<std::vector<int>> candidates;
  if (!args.in.empty()) candidates = parse_ids(args.in);
  const std::vector<int> ids = vael_util::find_media(c->handle(), search, candidates);
  if (args.json) {
    print_json(QJsonObject{{"ids", json_ids(ids)}});
  } else {
    for (const int id : ids) std::cout << id << "\n";
  }
  return 0;
}

int print_stored(const std::string& text, bool json) {
  if (json) {
    print_json(QJsonObject{{"text", json_text(text)}});
  } else {
    std::cout << text << "\n";
  }
  return 0;
}

int search_run(const search_args& args) {
  vael_util::register_search_implementers(1);
  if (!args.normalize.empty()) {
    return print_stored(vael_util::write_stored_search(read_search(args.normalize)), args.run.json);
  }
  if (args.run.catalog.empty() || args.text.empty()) {
    throw usage_error("CATALOG and TEXT are required unless --normalize is given");
  }
  return run(read_search(args.text), args.run);
}

int smart_album_run(const smart_album_args& args) {
  vael_util::register_search_implementers(1);
  const vael_util::search_criteria album(vael_util::smart_album_from_json(read_text(args.rules)),
                                         vael_util::advanced_metadata_search_type);
  if (args.stored) return print_stored(vael_util::write_stored_search(album), args.run.json);
  return run(album, args.run);
}

// The options of a command that runs a search.
void add_run_options(CLI::App* command, run_args& args) {
  CLI::Option* in = command->add_option(
      "--in", args.in, "Only these media are candidates, as ids joined by commas (3,5,9).");
  command
      ->add_flag("--sql", args.sql,
                 "Prints the statement over every media and its bound values instead of "
                 "running it.")
      ->excludes(in);
  command->add_option("--now", args.now,
                      "The local time that relative dates count from, like 2014-01-31T10:30:00.");
  command->add_option("--f-numbers", args.f_numbers,
                      "The f-number lookup table of a smart album, like 2.8,4,5.6.");
  command->add_option("--exposure-times", args.exposure_times,
                      "The exposure time lookup table, in seconds, like 0.004,0.008.");
  command->add_option("--isos", args.isos, "The ISO lookup table, like 100,200,400.");
  command->add_option("--file-types", args.file_types,
                      "The file extension sets, each extensions joined by commas and the sets by "
                      "semicolons, like 'jpg,jpeg;png'.");
  add_json_flag(command, args.json);
}

}  // namespace

void add_search_command(CLI::App& app) {
  auto args = std::make_shared<search_args>();
  CLI::App* search = add_command(
      app, "search",
      "Runs a stored search over a catalog and prints the ids of the matching media.\n"
      "TEXT is a stored search text, such as '(4)(5)beach' for file names holding 'beach' "
      "(docs/stored-searches.md). The ids come one per line, ascending.",
      [args] { return search_run(*args); });
  search->add_option("CATALOG", args->run.catalog, "The catalog file.");
  search->add_option("TEXT", args->text, "The stored search text.");
  search
      ->add_option("--normalize", args->normalize,
                   "Reads the stored search text and prints it as written again; needs no "
                   "catalog.")
      ->option_text("TEXT");
  add_run_options(search, args->run);

  auto album = std::make_shared<smart_album_args>();
  CLI::App* smart = add_command(
      app, "smart-album",
      "Runs a smart album written as JSON rules over a catalog, or prints its stored text.\n"
      "RULES is a JSON file ('-' for standard input) such as {\"match\": \"all\", \"rules\": "
      "[{\"field\": \"rating\", \"op\": \"at least\", \"value\": 3}]}; "
      "docs/smart-albums.md names every field and operator.",
      [album] { return smart_album_run(*album); });
  smart->add_option("CATALOG", album->run.catalog, "The catalog file.")->required();
  smart->add_option("RULES", album->rules, "The JSON rules.")->required();
  smart->add_flag("--stored", album->stored,
                  "Prints the stored text of the smart album instead of running it.");
  add_run_options(smart, album->run);
}

}  // namespace vantor_cli
