#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "catalog/connection_handle.h"
#include "vantor/vantor.h"

// What a sync would send before it runs: for each album the user marked (or every album, and
// the media in none, when the whole catalog is synced), which media go online, which are
// refused and why, and whether the bytes that go fit in what is left of the quota.
namespace vantor_prefs {

// Why a media stays behind, in the order the preview asks: a file that cannot be read is
// refused for that before its kind or size is looked at.
enum class refusal_reason {
  volume_offline,  // its volume has no path now (a disk unplugged, a network folder gone)
  missing_file,    // the volume is there, the file is not
  unknown_type,    // a MIME type sync counts as a creation but is none, while creations are off
  kind_off,        // its kind (photos, videos, audio, PDFs, creations) is turned off
  too_large,       // above the size limit
};
inline constexpr std::size_t kRefusalReasons = 5;

// "volume_offline", "missing_file", "unknown_type", "kind_off", "too_large".
const char* refusal_reason_name(refusal_reason reason);

// One media as the preview sees it. `bytes` is the file's size on disk now, which is what an
// upload reads; a file that cannot be reached has the size recorded at import (omb:FileSize),
// 0 when none was. `path` is absolute where the volume has a path.
struct preview_media_t {
  int media_id = 0;
  std::string path;
  std::string mime_type;
  std::int64_t bytes = 0;
  std::optional<refusal_reason> refused;  // none: it goes online
};

// Files and bytes of one group of media.
struct preview_count_t {
  std::int64_t files = 0;
  std::int64_t bytes = 0;
  void add(std::int64_t size) {
    ++files;
    bytes += size;
  }
  friend bool operator==(const preview_count_t& a, const preview_count_t& b) {
    return a.files == b.files && a.bytes == b.bytes;
  }
};

struct album_preview_t {
  int album_id = 0;  // 0: the media in no album, listed when the whole catalog is synced
  std::string name;
  int mark = 0;  // the album's sync mark, as the preference screen shows it
  preview_count_t going;
  std::array<preview_count_t, kRefusalReasons> refused{};  // by refusal_reason
  // The largest refused media, largest first (ties by id), at most the preview's limit.
  std::vector<preview_media_t> largest_refused;
};

struct sync_preview_t {
  bool sync_on = false;  // the preferences' syncon; the preview is worked out either way
  bool whole_catalog = false;
  std::vector<album_preview_t> albums;  // in the catalog's album order, then album 0
  // Over distinct media: one in two albums goes online once.
  preview_count_t going;
  std::array<preview_count_t, kRefusalReasons> refused{};
  // The membership client's figures in bytes; empty when it gave none or no number.
  std::optional<std::int64_t> quota;
  std::optional<std::int64_t> storage_used;

  // Quota minus storage used, when both are known.
  std::optional<std::int64_t> quota_left() const;
  // Whether the bytes that go fit in quota_left(); empty when that is unknown.
  std::optional<bool> fits() const;
};

// Storage figures as the membership client gives them: texts, which may be empty.
struct storage_texts_t {
  std::string quota;
  std::string used;
};

// The preview of an open catalog under `prefs`, with `largest` refused media kept per album.
// The albums are the collection_ns albums whose mark is 1 or 3 (marked, or marked and
// shared), or every album when prefs.syncEntireCatalog; album groups only hold albums, and
// the QR code and viiv albums, which the screen leaves out, are left out here too. Reads each
// album's media in one pass. Throws what reading the catalog throws.
sync_preview_t PreviewSync(const vael::connection_handle& handle, const SyncPrefs& prefs,
                           const storage_texts_t& storage, std::size_t largest = 5);

// The preview of the catalog in `folder`, for the signed-in user: the preferences of
// <folder>/syncdb/<user id>.pref (the default text when the user has none yet) and the storage
// figures of the membership client. Writes no preference or sync state (opening the catalog may
// upgrade an old one). Throws std::runtime_error naming what is missing: a signed-in user, the
// membership client, the catalog.
sync_preview_t PreviewSyncOfCatalog(const std::string& folder, std::size_t largest = 5);

}  // namespace vantor_prefs
