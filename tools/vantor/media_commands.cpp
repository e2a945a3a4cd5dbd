#include <boost/date_time/posix_time/posix_time.hpp>
#include <exiv2/exiv2.hpp>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "catalog/catalog_lookup.h"
#include "catalog/connection.h"
#include "catalog/media.h"
#include "catalog/metadata_description.h"
#include "catalog/metadata_view.h"
#include "catalog/tag.h"
#include "catalog/tag_queries.h"
#include "catalog/volume_manager.h"
#include "catalog_util/metadata_helpers.h"
#include "catalog_util/metadata_vocabulary.h"
#include "tools/vantor/catalog_access.h"
#include "tools/vantor/commands.h"
#include "tools/vantor/folder_import.h"
#include "tools/vantor/output.h"
#include "tools/vantor/progress_display.h"
#include "tools/vantor/tiny_jpeg.h"

namespace vantor_cli {
namespace {

namespace pt = boost::posix_time;
using vael::metadata_data_type;

const char* const type_names[] = {"string", "integer", "decimal", "date_time", "blob"};

std::string value_text(const dbl::entry_data& value, metadata_data_type type) {
  if (value.is_null()) return "(null)";
  switch (type) {
    case metadata_data_type::string_type:
      return value.as_string();
    case metadata_data_type::integer_type:
      return std::to_string(value.as_int64());
    case metadata_data_type::decimal_type: {
      std::ostringstream out;
      out << std::setprecision(15) << value.as_double();
      return out.str();
    }
    case metadata_data_type::date_time_type:
      return pt::to_iso_extended_string(value.as_ptime());
    case metadata_data_type::blob_type:
      return "(" + std::to_string(value.as_blob().size()) + " bytes)";
  }
  return "(unknown type)";
}

dbl::entry_data parse_value(const std::string& text, metadata_data_type type) {
  switch (type) {
    case metadata_data_type::string_type:
      return dbl::entry_data(text);
    case metadata_data_type::integer_type:
      return dbl::entry_data(static_cast<std::int64_t>(parse_integer(text, "value")));
    case metadata_data_type::decimal_type:
      return dbl::entry_data(parse_number(text, "value"));
    case metadata_data_type::date_time_type:
      return dbl::entry_data(parse_time(text, "value"));
    case metadata_data_type::blob_type:
      break;
  }
  throw usage_error("blob values cannot be set from the command line");
}

metadata_data_type parse_type(const std::string& text) {
  for (int i = 0; i < 5; ++i) {
    if (text == type_names[i]) return static_cast<metadata_data_type>(i);
  }
  throw usage_error("unknown metadata type '" + text +
                    "'; one of string, integer, decimal, date_time, blob");
}

// The type a new description of `identifier` gets: the one the catalog's vocabulary gives
// it, else what the user asked for, else string.
metadata_data_type type_for_new(const std::string& identifier, const std::string& asked) {
  if (!asked.empty()) return parse_type(asked);
  for (const auto& known : vael_util::default_metadata_descriptions()) {
    if (known.identifier == identifier) return static_cast<metadata_data_type>(known.data_type);
  }
  return metadata_data_type::string_type;
}

std::string date_text(const vael::media_date_t& date) {
  static const char* const precisions[] = {"exact", "day", "month", "year", "unknown"};
  const std::string when =
      date.date.is_special() ? "(none)" : pt::to_iso_extended_string(date.date);
  const bool known = date.precision >= 0 && date.precision <= 4;
  return when + " (" + (known ? precisions[date.precision] : "?") + ")";
}

struct import_args {
  std::string catalog;
  std::string folder;
  std::size_t batch = 250;
  bool json = false;
};

int import_run(const import_args& args) {
  import_options options;
  options.batch_size = args.batch;
  const auto c = open_catalog(args.catalog);
  progress_display progress("importing");
  options.progress = [&](long long done, long long total) { progress.update(done, total); };
  const import_summary s = import_folder(c->handle(), args.folder, options);
  progress.finish();
  for (const std::string& w : s.warnings) std::cerr << "warning: " << w << "\n";
  if (args.json) {
    QJsonArray warnings;
    for (const std::string& w : s.warnings) warnings.append(json_text(w));
    print_json(QJsonObject{{"imported", s.imported},
                           {"already_present", s.already_present},
                           {"skipped", s.skipped},
                           {"warnings", warnings},
                           {"seconds", s.seconds}});
    return 0;
  }
  std::cout << "imported: " << s.imported << "\nalready present: " << s.already_present
            << "\nskipped (not media): " << s.skipped << "\nwarnings: " << s.warnings.size()
            << "\ntime: " << std::fixed << std::setprecision(2) << s.seconds << " s\n";
  if (s.imported == 0 && s.already_present > 0) {
    std::cout << "nothing new: every media file is in the catalog already\n";
  }
  return 0;
}

struct media_args {
  std::string catalog;
  int media = 0;
  std::string identifier;
  std::string value;
  std::string type;
  bool json = false;
};

int media_list(const media_args& args) {
  const auto c = open_catalog(args.catalog);
  QJsonArray all;
  for (const vael::media_listing_t& m : vael::list_all_media(c->handle())) {
    if (args.json) {
      all.append(QJsonObject{{"id", m.id},
                             {"volume", m.volume_id},
                             {"mime_type", json_text(m.mime_type)},
                             {"path", json_text(m.filepath)}});
    } else {
      print_row({std::to_string(m.id), std::to_string(m.volume_id), m.mime_type, m.filepath});
    }
  }
  if (args.json) print_json(all);
  return 0;
}

int media_show(const media_args& args) {
  const auto c = open_catalog(args.catalog);
  const int id = args.media;
  vael::require_media(c->handle(), id);
  const vael::media m = vael::media::get_media(c->handle(), id);
  const std::vector<int> tag_ids = vael::get_all_tags_on_media(c->handle(), id);
  const std::vector<vael::metadata_item_t> items =
      vael::metadata_view_t(c->handle()).get_all_on_media(id);
  if (args.json) {
    QJsonArray tags;
    for (int tag_id : tag_ids) {
      const vael::tag t = vael::get_tag(c->handle(), tag_id);
      tags.append(QJsonObject{{"id", tag_id},
                              {"name", json_text(t.get_name())},
                              {"type", json_text(t.get_type_name())}});
    }
    QJsonArray metadata;
    for (const vael::metadata_item_t& item : items) {
      metadata.append(QJsonObject{
          {"identifier", json_text(item.description.get_identifier())},
          {"value", json_text(value_text(item.value, item.description.get_data_type()))}});
    }
    print_json(QJsonObject{{"id", id},
                           {"master", m.is_master()},
                           {"path", json_text(m.get_filepath(false))},
                           {"volume", m.get_volume_id()},
                           {"volume_path", json_text(m.get_filepath(true))},
                           {"mime_type", json_text(m.get_mime_type())},
                           {"date", json_text(date_text(m.get_date()))},
                           {"change_id", m.get_change_id()},
                           {"tags", tags},
                           {"metadata", metadata}});
    return 0;
  }
  std::cout << "media " << id << (m.is_master() ? " (master)" : " (rendition)") << "\n"
            << "path: " << escape_field(m.get_filepath(false)) << "\n"
            << "volume: " << m.get_volume_id() << ", path there "
            << escape_field(m.get_filepath(true)) << "\n"
            << "mime type: " << m.get_mime_type() << "\n"
            << "date: " << date_text(m.get_date()) << "\n"
            << "change id: " << m.get_change_id() << "\n";
  for (int tag_id : tag_ids) {
    const vael::tag t = vael::get_tag(c->handle(), tag_id);
    std::cout << "tag: " << tag_id << " '" << escape_field(t.get_name()) << "' ("
              << t.get_type_name() << ")\n";
  }
  for (const vael::metadata_item_t& item : items) {
    std::cout << "metadata: " << item.description.get_identifier() << " = "
              << escape_field(value_text(item.value, item.description.get_data_type())) << "\n";
  }
  return 0;
}

int meta_get(const media_args& args) {
  const auto c = open_catalog(args.catalog);
  vael::require_media(c->handle(), args.media);
  if (!vael::metadata_view_t(c->handle()).has_description(args.identifier)) {
    throw std::runtime_error("the catalog has no metadata '" + args.identifier + "'");
  }
  QJsonArray values;
  for (const vael::metadata_item_t& item :
       vael_util::get_media_metadata(c->handle(), args.identifier, args.media)) {
    const std::string text = value_text(item.value, item.description.get_data_type());
    if (args.json) {
      values.append(json_text(text));
    } else {
      print_row({text});
    }
  }
  if (args.json) print_json(values);
  return 0;
}

int meta_set(const media_args& args) {
  const auto c = open_catalog(args.catalog);
  vael::require_media(c->handle(), args.media);
  const vael::metadata_view_t view(c->handle());
  const metadata_data_type type = view.has_description(args.identifier)
                                      ? view.get_description(args.identifier).get_data_type()
                                      : type_for_new(args.identifier, args.type);
  const dbl::entry_data value = parse_value(args.value, type);
  write(*c, "media " + std::to_string(args.media) + ", metadata '" + args.identifier + "'", [&] {
    vael_util::create_media(c->handle(), args.identifier, static_cast<int>(type), args.media,
                            value);
  });
  return 0;
}

// Small photos with a capture date and a rating, in a folder per event, for demos and for
// trying an import without a camera at hand.
int sample_photos(const std::string& root, long long count) {
  static const char* const events[] = {"2019 Summer in Rome", "2020 Winter", "2021 Garden"};
  const pt::ptime first = pt::time_from_string("2019-07-01 09:00:00");
  for (long long i = 0; i < count; ++i) {
    const std::filesystem::path folder = std::filesystem::path(root) / events[i % 3];
    std::filesystem::create_directories(folder);
    const std::string file = (folder / ("IMG_" + std::to_string(1000 + i) + ".jpg")).string();
    std::ofstream(file, std::ios::binary) << TinyJpeg() << std::flush;
    auto image = Exiv2::ImageFactory::open(file);
    image->readMetadata();
    const pt::ptime taken = first + pt::hours(24 * (i % 3) * 200 + 3 * i);
    std::string stamp = pt::to_iso_extended_string(taken);
    for (char& c : stamp) c = c == '-' ? ':' : c == 'T' ? ' ' : c;
    image->exifData()["Exif.Photo.DateTimeOriginal"] = stamp;
    image->xmpData()["Xmp.xmp.Rating"] = std::to_string(i % 6);
    image->writeMetadata();
  }
  std::cout << "wrote " << count << " photos under " << root << "\n";
  return 0;
}

}  // namespace

void add_media_commands(CLI::App& app) {
  auto imported = std::make_shared<import_args>();
  CLI::App* import = add_command(
      app, "import",
      "Brings the photos, videos and sounds under FOLDER into the catalog.\n"
      "Files already in the catalog are left alone, so importing a folder again adds only what\n"
      "is new. Each batch of N files is written in one transaction.",
      [imported] { return import_run(*imported); });
  import->add_option("CATALOG", imported->catalog, "Catalog file.")->required();
  import->add_option("FOLDER", imported->folder, "Folder to import.")->required();
  import->add_option("--batch", imported->batch, "Files per transaction.")
      ->capture_default_str()
      ->check(CLI::Range(1, 1000000));
  add_json_flag(import, imported->json);

  auto samples = std::make_shared<std::pair<std::string, long long>>("", 12);
  CLI::App* sample = add_command(
      app, "sample-photos", "Writes N small photos with capture dates and ratings, for demos.",
      [samples] { return sample_photos(samples->first, samples->second); });
  sample->add_option("FOLDER", samples->first, "Folder to write into.")->required();
  sample->add_option("--count", samples->second, "How many photos.")
      ->capture_default_str()
      ->check(CLI::Range(1, 1000000));

  const auto declare = [](CLI::App* command, media_args& args) {
    command->add_option("CATALOG", args.catalog, "Catalog file.")->required();
    command->add_option("MEDIA", args.media, "Media id.")->required();
  };
  CLI::App* media = add_family(app, "media", "Lists the catalog's media or shows one.");
  auto listed = std::make_shared<media_args>();
  CLI::App* list = add_command(*media, "list", "Lists every media: id, volume, MIME type, path.",
                               [listed] { return media_list(*listed); });
  list->add_option("CATALOG", listed->catalog, "Catalog file.")->required();
  add_json_flag(list, listed->json);
  auto shown = std::make_shared<media_args>();
  CLI::App* show =
      add_command(*media, "show", "Shows a media: path, volume, dates, tags, metadata.",
                  [shown] { return media_show(*shown); });
  declare(show, *shown);
  add_json_flag(show, shown->json);

  CLI::App* meta = add_family(app, "meta", "Reads or writes a metadata value of a media.");
  auto got = std::make_shared<media_args>();
  CLI::App* get = add_command(*meta, "get", "Prints each value of the metadata on the media.",
                              [got] { return meta_get(*got); });
  declare(get, *got);
  get->add_option("IDENTIFIER", got->identifier, "Metadata identifier.")->required();
  add_json_flag(get, got->json);
  auto set_to = std::make_shared<media_args>();
  CLI::App* set = add_command(
      *meta, "set",
      "Sets the value; a single-valued metadata is overwritten.\n"
      "A new identifier gets the type the catalog's vocabulary gives it, else TYPE (string,\n"
      "integer, decimal, date_time), else string. Dates read as 2014-01-15T10:30:00.",
      [set_to] { return meta_set(*set_to); });
  declare(set, *set_to);
  set->add_option("IDENTIFIER", set_to->identifier, "Metadata identifier.")->required();
  set->add_option("VALUE", set_to->value, "New value.")->required();
  set->add_option("--type", set_to->type, "Type of a new identifier.")
      ->check(CLI::IsMember({"string", "integer", "decimal", "date_time"}));
}

}  // namespace vantor_cli
