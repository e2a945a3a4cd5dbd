// What a sync would send: the library's preview, as rows or JSON.
#include <QJsonArray>
#include <QJsonObject>
#include <memory>
#include <optional>
#include <string>

#include "preferences/sync_preview.h"
#include "tools/vantor/commands.h"
#include "tools/vantor/output.h"

namespace vantor_cli {
namespace {

using vantor_prefs::preview_count_t;
using vantor_prefs::refusal_reason;
using vantor_prefs::refusal_reason_name;

constexpr char kNoAlbum[] = "(in no album)";

const char* reason_name(std::size_t r) {
  return refusal_reason_name(static_cast<refusal_reason>(r));
}

QJsonObject json_count(const preview_count_t& c) {
  return {{"files", static_cast<qint64>(c.files)}, {"bytes", static_cast<qint64>(c.bytes)}};
}

template <class Counts>
QJsonObject json_refused(const Counts& refused) {
  QJsonObject out;
  for (std::size_t r = 0; r < refused.size(); ++r) out[reason_name(r)] = json_count(refused[r]);
  return out;
}

template <class T>
QJsonValue json_optional(const std::optional<T>& value) {
  if (!value) return QJsonValue::Null;
  if constexpr (std::is_same_v<T, bool>) {
    return *value;
  } else {
    return static_cast<qint64>(*value);
  }
}

void print_json_preview(const vantor_prefs::sync_preview_t& p) {
  QJsonArray albums;
  for (const vantor_prefs::album_preview_t& a : p.albums) {
    QJsonArray largest;
    for (const vantor_prefs::preview_media_t& m : a.largest_refused) {
      largest.append(QJsonObject{{"media", m.media_id},
                                 {"path", json_text(m.path)},
                                 {"mime_type", json_text(m.mime_type)},
                                 {"bytes", static_cast<qint64>(m.bytes)},
                                 {"reason", refusal_reason_name(*m.refused)}});
    }
    albums.append(QJsonObject{{"id", a.album_id == 0 ? QJsonValue() : QJsonValue(a.album_id)},
                              {"name", a.album_id == 0 ? QJsonValue() : json_text(a.name)},
                              {"mark", a.mark},
                              {"going", json_count(a.going)},
                              {"refused", json_refused(a.refused)},
                              {"largest_refused", largest}});
  }
  print_json(QJsonObject{{"sync_on", p.sync_on},
                         {"whole_catalog", p.whole_catalog},
                         {"albums", albums},
                         {"going", json_count(p.going)},
                         {"refused", json_refused(p.refused)},
                         {"quota", json_optional(p.quota)},
                         {"storage_used", json_optional(p.storage_used)},
                         {"quota_left", json_optional(p.quota_left())},
                         {"fits", json_optional(p.fits())}});
}

std::string text_of(const std::optional<std::int64_t>& value) {
  return value ? std::to_string(*value) : "unknown";
}

// Rows led by the album's id and name ("total" and nothing for the whole): what goes, each
// reason that refused something, then the largest refused files.
template <class Counts>
void print_counts(const std::string& id, const std::string& name, const preview_count_t& going,
                  const Counts& refused) {
  print_row({id, name, "going", std::to_string(going.files), std::to_string(going.bytes)});
  for (std::size_t r = 0; r < refused.size(); ++r) {
    if (refused[r].files == 0) continue;
    print_row({id, name, reason_name(r), std::to_string(refused[r].files),
               std::to_string(refused[r].bytes)});
  }
}

void print_text_preview(const vantor_prefs::sync_preview_t& p) {
  print_row(
      {"sync", p.sync_on ? "on" : "off", p.whole_catalog ? "whole_catalog" : "marked_albums"});
  for (const vantor_prefs::album_preview_t& a : p.albums) {
    const std::string id = a.album_id == 0 ? "-" : std::to_string(a.album_id);
    const std::string name = a.album_id == 0 ? kNoAlbum : a.name;
    print_counts(id, name, a.going, a.refused);
    for (const vantor_prefs::preview_media_t& m : a.largest_refused) {
      print_row(
          {id, name, "largest", refusal_reason_name(*m.refused), std::to_string(m.bytes), m.path});
    }
  }
  print_counts("total", "", p.going, p.refused);
  const std::optional<bool> fits = p.fits();
  print_row({"quota", text_of(p.quota), "used", text_of(p.storage_used), "left",
             text_of(p.quota_left()),
             !fits   ? "unknown"
             : *fits ? "fits"
                     : "too_small"});
}

struct preview_args {
  std::string folder;
  bool json = false;
  std::size_t largest = 5;
};

}  // namespace

void add_preview_command(CLI::App& app) {
  auto args = std::make_shared<preview_args>();
  CLI::App* command = add_command(
      app, "sync-preview",
      "Shows what a sync of the catalog would send, before it runs: for each marked album\n"
      "(every album, and the media in none, when the preferences sync the whole catalog) the\n"
      "files and bytes that go online, the files refused by reason (volume_offline,\n"
      "missing_file, unknown_type, kind_off, too_large) and the largest of them, then the\n"
      "total against the quota left. Reads the signed-in user's preferences in\n"
      "CATALOG_FOLDER/syncdb and the membership client's storage figures; saves nothing.\n"
      "Sizes are those of the files on disk; a file that cannot be reached has the size\n"
      "recorded when it was imported.",
      [args] {
        const auto preview = vantor_prefs::PreviewSyncOfCatalog(args->folder, args->largest);
        args->json ? print_json_preview(preview) : print_text_preview(preview);
        return 0;
      });
  command->add_option("CATALOG_FOLDER", args->folder, "The catalog's folder.")->required();
  command->add_option("--largest", args->largest, "Refused files listed per album.")
      ->capture_default_str();
  add_json_flag(command, args->json);
}

}  // namespace vantor_cli
