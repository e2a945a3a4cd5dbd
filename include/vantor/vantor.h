// Vantor: the user's side of cloud sync for a photo and video organizer.
//
// This is the library's whole public face. The host calls one export at a time, from one
// thread, with UTF-8 strings. Nothing here pulls in a header of the library's own or of its
// dependencies.
//
// Exceptions. Running out of memory is no failure of the catalog or of a file, and no status
// code says it: GetSyncPrefsFromString, SetSyncPrefs, getVersionSetTop and
// GetManualConflictResolutionXML let std::bad_alloc out, with every file and catalog as it was
// and no connection left open. No other exception leaves them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#if defined(__GNUC__)
#define VANTOR_API __attribute__((visibility("default")))
#else
#define VANTOR_API
#endif

// The preference record. Hosts compile against this field order: it never changes.
struct SyncPrefs {
  bool syncon;
  bool newalbumssyncauto;
  bool askbeforedelete;
  bool resolveconflictsauto;
  bool restrictfilesizeSelected;
  bool syncallselection;
  bool syncOnSystemIdle;
  bool syncEntireCatalog;
  bool syncPhotos;
  bool syncVideo;
  bool syncAudio;
  bool syncPDFs;
  bool syncCreations;
  double restrictfilesize;  // mebibytes; in force only when restrictfilesizeSelected
  std::string servertime;
  std::string downloadlocationpath;
  int version;
  std::string defaultLibraryNxId;
  int defaultLibraryVaelId;
  std::string curCatalogGUID;
  int deleteMediaPref;  // carried for the host, never interpreted here
};

// The catalog state a sync component holds; opaque to hosts, which only pass it back.
namespace vael {
class internal_connection;
}

namespace VTL {

// The result of every export that reports a status. Hosts switch on these numbers.
enum error_code {
  success = 0,
  no_valid_user = 1,
  unknown_error = 2,
  invalid_argument = 3,
  not_logged_in = 4,
  invalid_credentials = 5,
  catalog_error = 6,
  change_catalog_required = 7,
};

// Parses preference text into `prefs`. Fields the text does not set keep the parser's
// defaults. Always returns true, even for text that is not XML. Throws only std::bad_alloc.
VANTOR_API bool GetSyncPrefsFromString(SyncPrefs& prefs, const std::string& xml);

// The text form of `prefs`: one line, no declaration, strings with &, <, >, " and ' escaped
// as entities so that GetSyncPrefsFromString reads them back.
VANTOR_API std::string GetXMLForSyncPrefs(const SyncPrefs& prefs);

// Builds the two trees of the preference screen and appends them: to `localXml` the albums of
// the catalog in `folder`, with their sync marks, and to `onlineXml` the user's online albums
// and storage quota. `folder` becomes the catalog folder of later calls, and the online
// albums' sharing details are kept for SaveSyncPrefs. `unused` is ignored. With
// `markAllForSync`, an album never marked either way shows as marked.
// Returns success; change_catalog_required when another catalog is the sync catalog, with
// nothing appended; not_logged_in, no_valid_user or invalid_credentials for the user;
// catalog_error when the catalog cannot be opened; unknown_error otherwise. The online text
// stays appended when the catalog fails afterwards, so read the result first.
VANTOR_API error_code GetXMLForSyncPrefs(std::string folder, std::string& localXml,
                                         std::string& onlineXml, std::string unused,
                                         bool markAllForSync);

// Reading is the host's business: leaves `prefs` as it is and returns false.
VANTOR_API bool GetSyncPrefs(SyncPrefs& prefs, std::string folder, std::string userId);

// Remembers `catalogFolder`, checks that it is the sync catalog and that a user is signed in.
// `prefs` is not changed. Returns success, not_logged_in, no_valid_user, unknown_error or
// change_catalog_required.
VANTOR_API error_code GetInitialLauchSyncPrefs(std::string catalogFolder, SyncPrefs& prefs);

// Writes `prefs` to <folder>/syncdb/<userId>.pref (the signed-in user's id when `userId` is
// empty). `folder` must exist. A new file is readable by its owner only; a rewrite keeps the
// file's permission bits and writes through a symlink. Returns true when the file was
// written, false on any failure but std::bad_alloc, which is thrown.
VANTOR_API bool SetSyncPrefs(SyncPrefs prefs, std::string folder, std::string userId);

// Makes the catalog folder last given to the library the sync catalog. True on success.
VANTOR_API bool ChangeCatalog();

// Publishes whether creations of the open catalog are synced, for the image editor.
VANTOR_API void UpdateOmbSyncCreationSetting();

// Whether the user's preferences let a file of `fileSize` bytes and `mimeType` go online.
VANTOR_API bool IsValidMediaForSync(const SyncPrefs& prefs, long long fileSize,
                                    const std::string& mimeType);

// Asks the membership client for the server's clock and appends its text to `time`, which is
// otherwise left as it is. Needs no signed-in user. False when the client cannot be loaded or
// the call fails.
VANTOR_API bool GetCurrentServerTimeFromKSV(std::string& time);

// The top (newest member) of the version stack holding `mediaId` in the catalog `connection`
// points to, or `mediaId` itself when it is in none, when `connection` is empty, or when the
// catalog fails. Throws only std::bad_alloc.
VANTOR_API int getVersionSetTop(std::shared_ptr<vael::internal_connection*> connection,
                                int mediaId);

// Replaces `out` with what the host's conflict dialog shows: for each id of `conflicts` (changed
// on both sides) a <ConflictN> element, for each of `deletes` a <DeleteN> element, in the
// given order. Each names the id asked about and the top of its version stack, and describes
// the top from the sync catalog: file name, date, time, size and pixels. A conflict also gets
// the text of <conflictFolder><N>/online.xml pasted in unread (nothing when the file is
// missing). An item without a date is described by the rest, with empty date and time values.
// An item the catalog does not know gets no local facts; a deletion then gets no element at
// all. `conflictFolder` must end in a separator; `reserved` is not used. Returns success, or
// catalog_error when the sync catalog cannot be opened, `out` then holding only
// "<ManualConflictResolution><Conflicts>", or when the catalog fails later, `out` then
// unfinished. Throws only std::bad_alloc.
VANTOR_API error_code GetManualConflictResolutionXML(std::vector<int> conflicts,
                                                     std::vector<int> deletes, std::string& out,
                                                     std::string conflictFolder,
                                                     std::string& reserved);

// Saves the preference text `prefsXml` as <sync catalog>/syncdb/<userId>.pref, then brings the
// sync catalog in line with the album selection `tagSelectionXml` of the preference screen:
// makes local albums (and their missing parents) for marked online albums, and writes each
// album's sync mark and, for a shared album, what the last GetXMLForSyncPrefs learnt of it.
// An empty text changes nothing and forgets what that call learnt. Returns success,
// catalog_error when the sync catalog cannot be opened, or unknown_error when the file cannot
// be written. An exception of the catalog while it applies the selection comes out as it is;
// the albums done before it stay done.
VANTOR_API error_code SaveSyncPrefs(std::string tagSelectionXml, std::string prefsXml,
                                    std::string userId);

}  // namespace VTL
