#include "environment/catalog_paths.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <QByteArray>
#include <QCryptographicHash>
#include <algorithm>
#include <cstdint>
#include <fstream>

#include "environment/file_helpers.h"
#include "environment/known_folders.h"
#include "environment/reg_key.h"
#include "environment/registry_table.h"

namespace vantor_env {
namespace {

std::string Md5Hex(const QByteArray& bytes) {
  return QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toHex().toStdString();
}

QByteArray Bytes(const std::string& s) {
  return QByteArray(s.data(), static_cast<qsizetype>(s.size()));
}

// <agent data>/<kind><md5 of the catalog path>/halcynUserID/, created when missing.
std::string AgentCatalogFolder(const char* kind) {
  std::string folder = GetAppDataFolder(false, kAgentProduct, kAgentVersion);
  if (folder.empty()) return {};
  folder += kind + Md5Hex(Bytes(GetCurrentCatalogFolder())) + "/" + kHalcynUserId + "/";
  if (!FolderExists(folder)) CreateFolderTree(folder);
  return folder;
}

// The birth time of `path` in the 100 ns ticks since 1601 that other platforms keep, as
// little-endian bytes; all zero when the file system does not know it.
QByteArray BirthTimeBytes(const std::string& path) {
  std::uint64_t ticks = 0;
  struct statx info {};
  if (::statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME, &info) == 0 &&
      (info.stx_mask & STATX_BTIME) != 0) {
    constexpr std::uint64_t kSecondsFrom1601To1970 = 11644473600ull;
    ticks =
        (static_cast<std::uint64_t>(info.stx_btime.tv_sec) + kSecondsFrom1601To1970) * 10000000ull +
        info.stx_btime.tv_nsec / 100u;
  }
  QByteArray bytes(8, '\0');
  for (int i = 0; i < 8; ++i) bytes[i] = static_cast<char>((ticks >> (8 * i)) & 0xFFu);
  return bytes;
}

}  // namespace

std::string GetCatalogFileName() {
  return std::string("catalog.") + "omb14db";
}

std::string GetCurrentCatalogFolder() {
  const omb_util::reg_key_t key(reg::kOrganizerKey, omb_util::kKeyRead, false);
  return key.read_string(reg::kCurrentCatalogPath);
}

std::string GetSyncDbFileName() {
  return std::string("catalog_") + kHalcynUserId + ".syncdb";
}

std::string GetSyncUserName() {
  return kHalcynUserId;
}

std::string GetFormerAgentName(int version) {
  static const char* const kNames[] = {
      "tessarinsyncagent-1.0-en_us",   "tessarinsyncagent-2.0-en_us",
      "tessarinsyncagent-3.0-en_us",   "tessarinsyncagent-4.0-en_us",
      "tessarinhalcynagent-1.0-en_us", "tessarinhalcynagent-13.0-en_us",
      "tessarinhalcynagent-14.0-en_us"};
  if (version < 7 || version > 13) return {};
  return kNames[version - 7];
}

std::string GetAppDataFolder(bool common, const std::string& product, const std::string& version) {
  std::string folder = common ? GetMachineDataFolder() : std::string();
  if (folder.empty()) folder = GetUserDataFolder();
  if (folder.empty()) return {};
  if (folder.back() != '/') folder += '/';
  folder += "Norvane/" + product + "/";
  if (!version.empty()) folder += version + "/";
  return folder;
}

std::string GetConflictFolder(int id) {
  std::string folder = AgentCatalogFolder(kConflictsFolderName);
  if (!folder.empty() && id != 0) folder += std::to_string(id) + "/";
  return folder;
}

std::string GetDeletesFolder() {
  return AgentCatalogFolder(kDeletesFolderName);
}

void RemoveConflictFiles(int id) {
  const std::string folder = GetConflictFolder(id);
  if (folder.empty() || !FolderExists(folder)) return;
  for (const char* name : {kConflictOnlineImage, kConflictInfo, kConflictOnlineXml}) {
    DeleteFile(folder + name);
  }
}

bool ReadConflictInfo(int id, std::string& first, std::string& second) {
  first.clear();
  second.clear();
  const std::string folder = GetConflictFolder(id);
  if (folder.empty()) return false;
  const std::string path = folder + kConflictInfo;
  if (!FileExists(path)) return false;
  std::ifstream in(path);
  in >> first >> second;
  return true;
}

std::string GetCatalogUid() {
  std::string catalog = GetCurrentCatalogFolder();
  if (catalog.empty() || !FolderExists(catalog)) return {};
  std::replace(catalog.begin(), catalog.end(), '\\', '/');
  const std::string syncdb = catalog + (catalog.back() == '/' ? "" : "/") + kSyncDbFolderName;
  if (!FolderExists(syncdb)) CreateFolder(syncdb);
  const std::string path = syncdb + kCatalogUidFileName;
  if (FileExists(path)) {
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    return line;
  }
  const std::string uid = Md5Hex(Bytes(catalog) + BirthTimeBytes(catalog));
  WriteFileAtomically(path, uid);
  return uid;
}

}  // namespace vantor_env
