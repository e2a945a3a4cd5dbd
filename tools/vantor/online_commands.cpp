// The local membership client's state file, and the library calls that reach a client.
#include <QByteArray>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QStandardPaths>
#include <QString>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <utility>

#include "environment/file_replacement.h"
#include "environment/uuid.h"
#include "platform/album_store.h"
#include "tools/vantor/commands.h"
#include "tools/vantor/output.h"
#include "vantor/vantor.h"

namespace vantor_cli {
namespace {

// Album fields: the option that sets one and its name in the state file.
const std::pair<const char*, const char*> kAlbumFields[] = {{"--title", "title"},
                                                            {"--parents", "parents"},
                                                            {"--online-id", "online_id"},
                                                            {"--type", "type"},
                                                            {"--access", "access"},
                                                            {"--privacy", "privacy"},
                                                            {"--template-id", "template_id"},
                                                            {"--permissions", "permissions"}};

// The same file that the local client reads.
std::string state_path() {
  if (const char* path = std::getenv("VANTOR_KSV_LOCAL_STATE"); path != nullptr && *path != '\0') {
    return path;
  }
  return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation).toStdString() +
         "/norvane/ksv_local.json";
}

// The state object; an empty one when the file does not exist and `must_exist` is not set.
QJsonObject read_state(const std::string& path, bool must_exist) {
  QFile file(QString::fromStdString(path));
  if (!file.exists()) {
    if (must_exist) throw std::runtime_error("no state file at " + path);
    return {};
  }
  if (!file.open(QIODevice::ReadOnly)) throw std::runtime_error("cannot read " + path);
  QJsonParseError error{};
  const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
  if (error.error != QJsonParseError::NoError || !document.isObject()) {
    throw std::runtime_error(path + " is not a JSON object: " + error.errorString().toStdString());
  }
  return document.object();
}

void write_state(const std::string& path, const QJsonObject& state) {
  std::error_code ignored;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
  // The state holds the ticket.
  vantor_env::file_replacement file(path, vantor_env::new_file_access::owner_only);
  if (!file.is_open()) throw std::runtime_error("cannot write " + path);
  file.write(QJsonDocument(state).toJson(QJsonDocument::Indented).toStdString());
  if (!file.commit()) throw std::runtime_error("cannot write " + path);
}

std::string text_of(const QJsonValue& value) {
  if (value.isDouble()) return QString::number(value.toInteger()).toStdString();
  return value.toString().toStdString();
}

int online_show(bool json) {
  const std::string path = state_path();
  const QJsonObject state = read_state(path, true);
  if (json) {
    print_json(QJsonObject{{"state", json_text(path)}, {"contents", state}});
    return 0;
  }
  std::cout << "state: " << path << "\n";
  for (const char* name : {"ticket", "server_time", "list_tags_status", "quota", "storage_used"}) {
    if (state.contains(QLatin1String(name))) {
      std::cout << name << ": " << text_of(state.value(QLatin1String(name))) << "\n";
    }
  }
  for (const QJsonValue& album : state.value(QLatin1String("albums")).toArray()) {
    std::cout << "album:";
    for (const auto& [option, name] : kAlbumFields) {
      const QJsonValue value = album.toObject().value(QLatin1String(name));
      if (!value.isUndefined()) std::cout << " " << name << "=" << text_of(value);
    }
    std::cout << "\n";
  }
  return 0;
}

// Album fields by option name; the title is required, the online id a new UUID by default.
int online_add_album(const std::map<std::string, std::string>& fields) {
  QJsonObject album;
  album.insert(QStringLiteral("online_id"), QString::fromStdString(vantor_env::NewUuid()));
  for (const auto& [option, name] : kAlbumFields) {
    const auto given = fields.find(option);
    if (given != fields.end()) {
      album.insert(QLatin1String(name), QString::fromStdString(given->second));
    }
  }
  const std::string path = state_path();
  QJsonObject state = read_state(path, false);
  QJsonArray albums = state.value(QLatin1String("albums")).toArray();
  albums.append(album);
  state.insert(QStringLiteral("albums"), albums);
  write_state(path, state);
  std::cout << album.value(QLatin1String("online_id")).toString().toStdString() << "\n";
  return 0;
}

int online_set_quota(long long quota, const CLI::Option* used_given, long long used) {
  const std::string path = state_path();
  QJsonObject state = read_state(path, false);
  state.insert(QStringLiteral("quota"), quota);
  if (used_given->count() != 0) state.insert(QStringLiteral("storage_used"), used);
  write_state(path, state);
  return 0;
}

int online_set(const std::string& field, const std::string& value) {
  if (field == "list_tags_status" && !value.empty() && value.size() != 4) {
    throw usage_error("list_tags_status must be a four-letter code such as esex");
  }
  const std::string path = state_path();
  QJsonObject state = read_state(path, false);
  if (value.empty()) {
    state.remove(QString::fromStdString(field));
  } else {
    state.insert(QString::fromStdString(field), QString::fromStdString(value));
  }
  write_state(path, state);
  return 0;
}

int server_time() {
  std::string time;
  if (!VTL::GetCurrentServerTimeFromKSV(time)) {
    throw std::runtime_error("the membership client gave no server time");
  }
  std::cout << time << "\n";
  return 0;
}

int sync_albums(bool json) {
  const std::string path = sync_util::album_store_path();
  QJsonArray links;
  if (std::filesystem::exists(path)) {
    for (const sync_util::album_record& record : sync_util::album_store(path, false).all()) {
      if (json) {
        links.append(QJsonObject{{"tag_id", record.tag_id},
                                 {"online_id", json_text(record.online_id)},
                                 {"change_id", static_cast<qint64>(record.change_id)},
                                 {"dirty", record.dirty},
                                 {"first", json_text(record.first)},
                                 {"second", json_text(record.second)}});
      } else {
        print_row({std::to_string(record.tag_id), record.online_id,
                   std::to_string(record.change_id), record.dirty ? "dirty" : "clean", record.first,
                   record.second});
      }
    }
  }
  if (json) print_json(links);
  return 0;
}

}  // namespace

void add_online_commands(CLI::App& app) {
  CLI::App* online = add_family(
      app, "online",
      "Edits the state file of the local membership client.\n"
      "The file is $VANTOR_KSV_LOCAL_STATE, else $XDG_DATA_HOME/norvane/ksv_local.json.");
  auto show_json = std::make_shared<bool>(false);
  add_json_flag(add_command(*online, "show", "Prints the local membership client's state.",
                            [show_json] { return online_show(*show_json); }),
                *show_json);

  auto fields = std::make_shared<std::map<std::string, std::string>>();
  CLI::App* add = add_command(
      *online, "add-album",
      "Adds an online album and prints its online id (a new UUID unless given).\n"
      "--type 'album group' makes a group; --access r a shared flat album; --privacy public a "
      "public one.",
      [fields] { return online_add_album(*fields); });
  for (const auto& field : kAlbumFields) {
    const std::string option = field.first;
    CLI::Option* declared = add->add_option_function<std::string>(
        option, [fields, option](const std::string& value) { (*fields)[option] = value; },
        std::string("The album's ") + field.second + ".");
    if (option == "--title") declared->required();
  }

  struct quota_args {
    long long quota = 0;
    long long used = 0;
    CLI::Option* used_given = nullptr;
  };
  auto quota = std::make_shared<quota_args>();
  CLI::App* set_quota = add_command(
      *online, "set-quota", "Sets the quota and storage used, in bytes.",
      [quota] { return online_set_quota(quota->quota, quota->used_given, quota->used); });
  set_quota->add_option("QUOTA", quota->quota, "Quota in bytes.")->required();
  quota->used_given = set_quota->add_option("--used", quota->used, "Storage used in bytes.");

  auto set_args = std::make_shared<std::pair<std::string, std::string>>();
  CLI::App* set =
      add_command(*online, "set",
                  "Sets ticket, server_time or list_tags_status; an empty VALUE removes it.\n"
                  "list_tags_status is a four-letter status that the client's album list gives,\n"
                  "such as icrd (invalid credentials) or esex (expired session).",
                  [set_args] { return online_set(set_args->first, set_args->second); });
  set->add_option("FIELD", set_args->first, "The field.")
      ->required()
      ->check(CLI::IsMember({"ticket", "server_time", "list_tags_status"}));
  set->add_option("VALUE", set_args->second, "The value; empty to remove.")->required();

  add_command(app, "server-time",
              "Prints the server's clock as the membership client gives it.\n"
              "The client is $VANTOR_KSV_LIBRARY, else the installed libvantor-ksv.so.",
              server_time);
  auto albums_json = std::make_shared<bool>(false);
  add_json_flag(add_command(app, "sync-albums",
                            "Lists the sync agent's album links: tag id, online id, change id, "
                            "state, texts.",
                            [albums_json] { return sync_albums(*albums_json); }),
                *albums_json);
}

}  // namespace vantor_cli
