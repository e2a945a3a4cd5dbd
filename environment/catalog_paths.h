#pragma once

#include <string>

// Paths that the sync feature keeps on disk. Folders are given with "/" and, unless noted,
// with a trailing "/".
namespace vantor_env {

inline constexpr char kThumbCacheFileName[] = "thumb.5.cache";
inline constexpr char kFaceThumbCacheFileName[] = "face.thumb.9.cache";
inline constexpr char kCatalogsFolderName[] = "Catalogs/";
inline constexpr char kPreviewsFolderName[] = "previews/";
inline constexpr char kSyncDbFolderName[] = "syncdb/";
inline constexpr char kCatalogUidFileName[] = "catalog_uid.txt";
inline constexpr char kConflictsFolderName[] = "Conflicts/";
inline constexpr char kDeletesFolderName[] = "Deletes/";
inline constexpr char kConflictOnlineImage[] = "online.jpg";
inline constexpr char kConflictInfo[] = "info.txt";
inline constexpr char kConflictOnlineXml[] = "online.xml";
inline constexpr char kAgentProgramFileName[] = "TessarinAgent.exe";
inline constexpr char kOrganizerName[] = "omborganizer-14.0";
inline constexpr char kAgentName[] = "tessarinhalcynagent-14.0-en_us";
// The fixed text that stands for the user in file and folder names.
inline constexpr char kHalcynUserId[] = "halcynUserID";
// The agent's data folder product and version.
inline constexpr char kAgentProduct[] = "Tessarin Halcyn Agent";
inline constexpr char kAgentVersion[] = "14.0";

// "catalog.omb14db": the catalog file inside a catalog folder.
std::string GetCatalogFileName();
// CurrentCatalogPath of the organizer, read through omb_util::reg_key_t; empty if unset.
std::string GetCurrentCatalogFolder();
// "catalog_" + kHalcynUserId + ".syncdb".
std::string GetSyncDbFileName();
// kHalcynUserId, as it is.
std::string GetSyncUserName();
// The agent's name of a former version: 7 to 10, then 11 to 13 for the three agents after
// them; "" for any other.
std::string GetFormerAgentName(int version);

// A data folder, ending in "/": the machine's (GetMachineDataFolder) when `common` and it
// exists, else the user's (GetUserDataFolder), then "Norvane/<product>/" and, when `version` is
// not empty, "<version>/". "" when neither data folder can be named. Nothing is created.
std::string GetAppDataFolder(bool common, const std::string& product, const std::string& version);

// The agent's conflict folder of the current catalog, <agent data>/Conflicts/<md5 of the
// catalog path>/halcynUserID/, created when missing; with a non-zero `id`, "<id>/" is added
// (that level is not created). "" when there is no data folder.
std::string GetConflictFolder(int id);
// The same under "Deletes/", without an id.
std::string GetDeletesFolder();
// Deletes online.jpg, info.txt and online.xml of conflict `id`, ignoring failures.
void RemoveConflictFiles(int id);
// Reads the two whitespace-separated words of info.txt of conflict `id` into `first` and
// `second` (each cleared first, left empty when missing). Returns whether the file exists.
bool ReadConflictInfo(int id, std::string& first, std::string& second);

// The current catalog's identity: the first line of <catalog>/syncdb/catalog_uid.txt, made on
// first use as the MD5 hex text of the catalog path followed by the eight bytes of its birth
// time (100 ns ticks since 1601, little-endian; zero where the file system keeps none).
// "" when there is no current catalog folder.
std::string GetCatalogUid();

}  // namespace vantor_env
