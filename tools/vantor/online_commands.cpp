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
#include <set>
#include <utility>

#include "environment/file_replacement.h"
#include "environment/uuid.h"
#include "platform/album_store.h"
#include "tools/vantor/commands.h"
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
  vantor_env::file_replacement file(path);
  if (!file.is_open()) throw std::runtime_error("cannot write " + path);
  file.write(QJsonDocument(state).toJson(QJsonDocument::Indented).toStdString());
  if (!file.commit()) throw std::runtime_error("cannot write " + path);
}

std::string text_of(const QJsonValue& value) {
  if (value.isDouble()) return QString::number(value.toInteger()).toStdString();
  return value.toString().toStdString();
}

int online_show(const std::vector<std::string>& words) {
  expect_positionals(parse_args(words, {}), 0, 0);
  const std::string path = state_path();
  const QJsonObject state = read_state(path, true);
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

int online_add_album(const std::vector<std::string>& words) {
  std::set<std::string> options;
  for (const auto& field : kAlbumFields) options.insert(field.first);
  const parsed_args args = parse_args(words, options);
  expect_positionals(args, 0, 0);
  QJsonObject album;
  album.insert(QStringLiteral("title"), QString::fromStdString(args.required("--title")));
  album.insert(QStringLiteral("online_id"),
               QString::fromStdString(args.option("--online-id", vantor_env::NewUuid())));
  for (const auto& [option, name] : kAlbumFields) {
    if (args.options.count(option) != 0) {
      album.insert(QLatin1String(name), QString::fromStdString(args.options.at(option)));
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

int online_set_quota(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {"--used"});
  expect_positionals(args, 1, 1);
  const std::string path = state_path();
  QJsonObject state = read_state(path, false);
  state.insert(QStringLiteral("quota"), parse_integer(args.positionals[0], "QUOTA"));
  if (args.options.count("--used") != 0) {
    state.insert(QStringLiteral("storage_used"),
                 parse_integer(args.options.at("--used"), "--used"));
  }
  write_state(path, state);
  return 0;
}

int online_set(const std::vector<std::string>& words) {
  const parsed_args args = parse_args(words, {});
  expect_positionals(args, 2, 2);
  const std::string& field = args.positionals[0];
  const std::string& value = args.positionals[1];
  if (field != "ticket" && field != "server_time" && field != "list_tags_status") {
    throw usage_error("FIELD must be ticket, server_time or list_tags_status");
  }
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

int server_time(const std::vector<std::string>& words) {
  expect_positionals(parse_args(words, {}), 0, 0);
  std::string time;
  if (!VTL::GetCurrentServerTimeFromKSV(time)) {
    throw std::runtime_error("the membership client gave no server time");
  }
  std::cout << time << "\n";
  return 0;
}

int sync_albums(const std::vector<std::string>& words) {
  expect_positionals(parse_args(words, {}), 0, 0);
  const std::string path = sync_util::album_store_path();
  if (!std::filesystem::exists(path)) return 0;
  for (const sync_util::album_record& record : sync_util::album_store(path, false).all()) {
    std::cout << record.tag_id << "\t" << record.online_id << "\t" << record.change_id << "\t"
              << (record.dirty ? "dirty" : "clean") << "\t" << record.first << "\t" << record.second
              << "\n";
  }
  return 0;
}

}  // namespace

command online_command() {
  command show{"show", "", "Prints the local membership client's state.", "", online_show, {}};
  command add{"add-album",
              "--title T [--parents P] [--online-id ID] [--type T] [--access A] [--privacy P] "
              "[--template-id ID] [--permissions P]",
              "Adds an online album and prints its online id (a new UUID unless given).",
              "--type 'album group' makes a group; --access r a shared flat album; --privacy "
              "public a public one.",
              online_add_album,
              {}};
  command quota{"set-quota", "QUOTA [--used BYTES]", "Sets the quota and storage used, in bytes.",
                "",          online_set_quota,       {}};
  command set{"set",
              "FIELD VALUE",
              "Sets ticket, server_time or list_tags_status; an empty VALUE removes it.",
              "list_tags_status is a four-letter status that the client's album list gives,\n"
              "such as icrd (invalid credentials) or esex (expired session).",
              online_set,
              {}};
  return {"online",
          "",
          "Edits the state file of the local membership client.",
          "The file is $VANTOR_KSV_LOCAL_STATE, else $XDG_DATA_HOME/norvane/ksv_local.json.",
          nullptr,
          {show, add, quota, set}};
}

command server_time_command() {
  return {"server-time",
          "",
          "Prints the server's clock as the membership client gives it.",
          "The client is $VANTOR_KSV_LIBRARY, else the installed libvantor-ksv.so.",
          server_time,
          {}};
}

command sync_albums_command() {
  return {"sync-albums",
          "",
          "Lists the sync agent's album links: tag id, online id, change id, state, texts.",
          "",
          sync_albums,
          {}};
}

}  // namespace vantor_cli
