#include <boost/date_time/posix_time/posix_time.hpp>
#include <exiv2/exiv2.hpp>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "catalog/connection.h"
#include "catalog/internal_connection.h"
#include "catalog/media.h"
#include "catalog/metadata_description.h"
#include "catalog/metadata_view.h"
#include "catalog/tag.h"
#include "catalog/tag_queries.h"
#include "catalog/volume_manager.h"
#include "catalog_util/metadata_helpers.h"
#include "catalog_util/metadata_vocabulary.h"
#include "dbl/query.h"
#include "tools/vantor/catalog_access.h"
#include "tools/vantor/commands.h"
#include "tools/vantor/folder_import.h"
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
    case metadata_data_type::date_time_type: {
      std::string spaced = text;
      if (spaced.size() > 10 && spaced[10] == 'T') spaced[10] = ' ';
      try {
        const pt::ptime t = pt::time_from_string(spaced);
        if (!t.is_special()) return dbl::entry_data(t);
      } catch (const std::exception&) {
      }
      throw usage_error("value '" + text + "' is no date and time like 2014-01-15T10:30:00");
    }
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
metadata_data_type type_for_new(const std::string& identifier, const parsed_args& args) {
  if (args.options.count("--type") != 0) return parse_type(args.option("--type"));
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

// Small photos with a capture date and a rating, in a folder per event, for demos and for
// trying an import without a camera at hand.
int sample_photos(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {"--count"});
  expect_positionals(args, 1, 1);
  const long long count =
      args.options.count("--count") != 0 ? parse_integer(args.option("--count"), "--count") : 12;
  if (count < 1 || count > 1000000) throw usage_error("--count must be from 1 to 1000000");
  static const char* const events[] = {"2019 Summer in Rome", "2020 Winter", "2021 Garden"};
  const pt::ptime first = pt::time_from_string("2019-07-01 09:00:00");
  for (long long i = 0; i < count; ++i) {
    const std::filesystem::path folder = std::filesystem::path(args.positionals[0]) / events[i % 3];
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
  std::cout << "wrote " << count << " photos under " << args.positionals[0] << "\n";
  return 0;
}

int import_run(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {"--batch"});
  expect_positionals(args, 2, 2);
  import_options options;
  if (args.options.count("--batch") != 0) {
    options.batch_size = static_cast<std::size_t>(parse_id(args.option("--batch"), "--batch"));
  }
  const auto c = open_catalog(args.positionals[0]);
  progress_display progress("importing");
  options.progress = [&](long long done, long long total) { progress.update(done, total); };
  const import_summary s = import_folder(c->handle(), args.positionals[1], options);
  progress.finish();
  for (const std::string& w : s.warnings) std::cerr << "warning: " << w << "\n";
  std::cout << "imported: " << s.imported << "\nalready present: " << s.already_present
            << "\nskipped (not media): " << s.skipped << "\nwarnings: " << s.warnings.size()
            << "\ntime: " << std::fixed << std::setprecision(2) << s.seconds << " s\n";
  if (s.imported == 0 && s.already_present > 0) {
    std::cout << "nothing new: every media file is in the catalog already\n";
  }
  return 0;
}

int media_list(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 1, 1);
  const auto c = open_catalog(args.positionals[0]);
  const std::vector<int> ids =
      dbl::query(c->get().database(), "SELECT id FROM media_table ORDER BY id").select_ints();
  for (int id : ids) {
    const vael::media m = vael::media::get_media(c->handle(), id);
    std::cout << id << "\tvolume " << m.get_volume_id() << "\t" << m.get_mime_type() << "\t"
              << m.get_filepath(true) << "\n";
  }
  return 0;
}

int media_show(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 2, 2);
  const auto c = open_catalog(args.positionals[0]);
  const int id = parse_id(args.positionals[1], "MEDIA");
  require_media(*c, id);
  const vael::media m = vael::media::get_media(c->handle(), id);
  std::cout << "media " << id << (m.is_master() ? " (master)" : " (rendition)") << "\n"
            << "path: " << m.get_filepath(false) << "\n"
            << "volume: " << m.get_volume_id() << ", path there " << m.get_filepath(true) << "\n"
            << "mime type: " << m.get_mime_type() << "\n"
            << "date: " << date_text(m.get_date()) << "\n"
            << "change id: " << m.get_change_id() << "\n";
  for (int tag_id : vael::get_all_tags_on_media(c->handle(), id)) {
    const vael::tag t = vael::get_tag(c->handle(), tag_id);
    std::cout << "tag: " << tag_id << " '" << t.get_name() << "' (" << t.get_type_name() << ")\n";
  }
  for (const vael::metadata_item_t& item :
       vael::metadata_view_t(c->handle()).get_all_on_media(id)) {
    std::cout << "metadata: " << item.description.get_identifier() << " = "
              << value_text(item.value, item.description.get_data_type()) << "\n";
  }
  return 0;
}

int meta_get(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 3, 3);
  const auto c = open_catalog(args.positionals[0]);
  const int id = parse_id(args.positionals[1], "MEDIA");
  const std::string& identifier = args.positionals[2];
  require_media(*c, id);
  if (!vael::metadata_view_t(c->handle()).has_description(identifier)) {
    throw std::runtime_error("the catalog has no metadata '" + identifier + "'");
  }
  for (const vael::metadata_item_t& item :
       vael_util::get_media_metadata(c->handle(), identifier, id)) {
    std::cout << value_text(item.value, item.description.get_data_type()) << "\n";
  }
  return 0;
}

int meta_set(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {"--type"});
  expect_positionals(args, 4, 4);
  const auto c = open_catalog(args.positionals[0]);
  const int id = parse_id(args.positionals[1], "MEDIA");
  const std::string& identifier = args.positionals[2];
  require_media(*c, id);
  const vael::metadata_view_t view(c->handle());
  const metadata_data_type type = view.has_description(identifier)
                                      ? view.get_description(identifier).get_data_type()
                                      : type_for_new(identifier, args);
  const dbl::entry_data value = parse_value(args.positionals[3], type);
  write(*c, "media " + std::to_string(id) + ", metadata '" + identifier + "'", [&] {
    vael_util::create_media(c->handle(), identifier, static_cast<int>(type), id, value);
  });
  return 0;
}

}  // namespace

command import_command() {
  command c;
  c.name = "import";
  c.synopsis = "CATALOG FOLDER [--batch N]";
  c.summary = "Brings the photos, videos and sounds under FOLDER into the catalog.";
  c.details =
      "Files already in the catalog are left alone, so importing a folder again adds only what\n"
      "is new. Each batch of N files (default 250) is written in one transaction.";
  c.run = import_run;
  return c;
}

command sample_photos_command() {
  command c;
  c.name = "sample-photos";
  c.synopsis = "FOLDER [--count N]";
  c.summary = "Writes N small photos (default 12) with capture dates and ratings, for demos.";
  c.run = sample_photos;
  return c;
}

command media_command() {
  command c;
  c.name = "media";
  c.summary = "Lists the catalog's media or shows one.";
  c.children = {
      {"list", "CATALOG", "Lists every media: id, volume, MIME type, path.", "", media_list, {}},
      {"show",
       "CATALOG MEDIA",
       "Shows a media: path, volume, dates, tags, metadata.",
       "",
       media_show,
       {}}};
  return c;
}

command meta_command() {
  command c;
  c.name = "meta";
  c.summary = "Reads or writes a metadata value of a media.";
  c.children = {
      {"get",
       "CATALOG MEDIA IDENTIFIER",
       "Prints each value of the metadata on the media.",
       "",
       meta_get,
       {}},
      {"set",
       "CATALOG MEDIA IDENTIFIER VALUE [--type TYPE]",
       "Sets the value; a single-valued metadata is overwritten.",
       "A new identifier gets the type the catalog's vocabulary gives it, else TYPE (string,\n"
       "integer, decimal, date_time), else string. Dates read as 2014-01-15T10:30:00.",
       meta_set,
       {}}};
  return c;
}

}  // namespace vantor_cli
