#include "preferences/sync_preview.h"

#include <sys/stat.h>

#include <QFile>
#include <algorithm>
#include <boost/lexical_cast.hpp>
#include <map>
#include <stdexcept>
#include <unordered_map>

#include "catalog/catalog_database.h"
#include "catalog/catalog_lookup.h"
#include "catalog/connection.h"
#include "catalog/custom_tag_namespace.h"
#include "catalog/metadata_view.h"
#include "catalog/tag.h"
#include "catalog/volume_manager.h"
#include "catalog_util/metadata_vocabulary.h"
#include "catalog_util/well_known_tags.h"
#include "dbl/transaction.h"
#include "platform/sync_util.h"
#include "preferences/ksv_bridge.h"
#include "preferences/media_eligibility.h"
#include "preferences/pref_files.h"
#include "preferences/sync_catalog.h"
#include "preferences/sync_screen_xml.h"

namespace vantor_prefs {
namespace {

namespace id = vael_util::metadata_identifier;
namespace type = vael_util::type_name;

std::optional<std::int64_t> number_of(const std::string& text) {
  try {
    return boost::lexical_cast<std::int64_t>(text);
  } catch (const boost::bad_lexical_cast&) {
    return std::nullopt;
  }
}

// Works out each media once, however many albums hold it, and keeps the totals over distinct
// media.
class media_judge {
 public:
  media_judge(const vael::connection_handle& handle, const SyncPrefs& prefs, sync_preview_t& out)
      : handle_(handle), volumes_(vael::get_volume_manager(handle)), prefs_(prefs), out_(out) {}

  // Takes the listing's texts over.
  const preview_media_t& judge(vael::media_listing_t& m) {
    const auto [at, is_new] = seen_.try_emplace(m.id);
    preview_media_t& p = at->second;
    if (!is_new) return p;
    p.media_id = m.id;
    p.mime_type = std::move(m.mime_type);
    const std::optional<std::string>& volume = volume_path(m.volume_id);
    // Joined as a media joins its own path: a volume at "/" adds nothing.
    p.path =
        volume && !volume->empty() && *volume != "/" ? *volume + m.filepath : std::move(m.filepath);
    // stat() itself, not std::filesystem: at a hundred thousand files the parse of each path
    // into a std::filesystem::path shows.
    struct stat info {};
    if (!volume || ::stat(p.path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
      p.refused = volume ? refusal_reason::missing_file : refusal_reason::volume_offline;
      p.bytes = recorded_size(m.id);
    } else {
      p.bytes = static_cast<std::int64_t>(info.st_size);
      p.refused = eligibility(p);
    }
    if (p.refused) {
      out_.refused[static_cast<std::size_t>(*p.refused)].add(p.bytes);
    } else {
      out_.going.add(p.bytes);
    }
    return p;
  }

  bool seen(int media_id) const { return seen_.count(media_id) != 0; }

 private:
  // The volume's path while it is online, else none. A media on a volume the catalog lacks
  // is as good as offline.
  const std::optional<std::string>& volume_path(int volume_id) {
    const auto [at, is_new] = volume_paths_.try_emplace(volume_id);
    if (is_new) {
      try {
        if (volumes_.is_volume_online(volume_id)) at->second = volumes_.get_volume_path(volume_id);
      } catch (const std::logic_error&) {
      }
    }
    return at->second;
  }

  // Read on the first file that cannot be reached: a catalog whose files are all there never
  // pays for it.
  std::int64_t recorded_size(int media_id) {
    if (!recorded_) {
      recorded_.emplace();
      const vael::metadata_view_t view(handle_);
      if (view.has_description(id::file_size)) {
        *recorded_ = view.get_first_value_of_each_media(view.get_description(id::file_size));
      }
    }
    const auto found = recorded_->find(media_id);
    return found == recorded_->end() || found->second.is_null() ? 0 : found->second.as_int64();
  }

  // Refused by kind when the rules refuse even an empty file of its type; unknown types are
  // creations to those rules, so a refusal of one that is no creation is told apart.
  std::optional<refusal_reason> eligibility(const preview_media_t& p) const {
    if (VTL::IsValidMediaForSync(prefs_, p.bytes, p.mime_type)) return std::nullopt;
    if (VTL::IsValidMediaForSync(prefs_, 0, p.mime_type)) return refusal_reason::too_large;
    if (SyncMediaCategory(p.mime_type) == "creation" && p.mime_type != "application/omb") {
      return refusal_reason::unknown_type;
    }
    return refusal_reason::kind_off;
  }

  const vael::connection_handle& handle_;
  vael::volume_manager volumes_;
  const SyncPrefs& prefs_;
  sync_preview_t& out_;
  std::unordered_map<int, preview_media_t> seen_;
  std::unordered_map<int, std::optional<std::string>> volume_paths_;
  std::optional<std::map<int, dbl::entry_data>> recorded_;
};

void add_album(album_preview_t album, std::vector<vael::media_listing_t> media, media_judge& judge,
               std::size_t largest, sync_preview_t& out) {
  for (vael::media_listing_t& m : media) {
    const preview_media_t& p = judge.judge(m);
    if (!p.refused) {
      album.going.add(p.bytes);
      continue;
    }
    album.refused[static_cast<std::size_t>(*p.refused)].add(p.bytes);
    album.largest_refused.push_back(p);
  }
  auto& refused = album.largest_refused;
  const auto larger = [](const preview_media_t& a, const preview_media_t& b) {
    return a.bytes != b.bytes ? a.bytes > b.bytes : a.media_id < b.media_id;
  };
  const std::size_t kept = std::min(largest, refused.size());
  std::partial_sort(refused.begin(), refused.begin() + static_cast<std::ptrdiff_t>(kept),
                    refused.end(), larger);
  refused.resize(kept);
  out.albums.push_back(std::move(album));
}

// The albums under `tags`, depth first in the catalog's order, with their marks.
void collect_albums(const std::vector<vael::tag>& tags, const std::optional<TagSyncMarks>& marks,
                    bool every_album, std::vector<album_preview_t>& out) {
  for (const vael::tag& tag : tags) {
    const std::string type_name = tag.get_type_name();
    if (type_name == type::user_qr_code || type_name == type::collection_intel_viiv) continue;
    if (type_name == type::collection) {
      const int mark = marks ? marks->mark(tag.get_id()) : 0;
      if (every_album || mark == 1 || mark == 3) {
        album_preview_t album;
        album.album_id = tag.get_id();
        album.name = tag.get_name();
        album.mark = mark;
        out.push_back(std::move(album));
      }
    }
    collect_albums(tag.get_children(), marks, every_album, out);
  }
}

}  // namespace

const char* refusal_reason_name(refusal_reason reason) {
  switch (reason) {
    case refusal_reason::volume_offline:
      return "volume_offline";
    case refusal_reason::missing_file:
      return "missing_file";
    case refusal_reason::unknown_type:
      return "unknown_type";
    case refusal_reason::kind_off:
      return "kind_off";
    case refusal_reason::too_large:
      return "too_large";
  }
  return "unknown";
}

std::optional<std::int64_t> sync_preview_t::quota_left() const {
  if (!quota || !storage_used) return std::nullopt;
  return *quota - *storage_used;
}

std::optional<bool> sync_preview_t::fits() const {
  const std::optional<std::int64_t> left = quota_left();
  if (!left) return std::nullopt;
  return going.bytes <= *left;
}

sync_preview_t PreviewSync(const vael::connection_handle& handle, const SyncPrefs& prefs,
                           const storage_texts_t& storage, std::size_t largest) {
  sync_preview_t out;
  out.sync_on = prefs.syncon;
  out.whole_catalog = prefs.syncEntireCatalog;
  out.quota = number_of(storage.quota);
  out.storage_used = number_of(storage.used);

  // One read transaction: SQLite takes its shared lock once, not at each album's statement.
  dbl::transaction read(vael::database_of(handle));
  read.begin(dbl::merge_policy, true, false);
  std::optional<TagSyncMarks> marks;
  // A catalog that never saved a selection has no sync status description, so no marks.
  if (vael::metadata_view_t(handle).has_description(id::tag_sync_status)) {
    marks.emplace(handle, false);
  }
  std::vector<album_preview_t> albums;
  collect_albums(
      vael::get_custom_tag_namespace(handle, vael_util::ns_name::collection).get_children(), marks,
      out.whole_catalog, albums);

  media_judge judge(handle, prefs, out);
  for (album_preview_t& album : albums) {
    const int album_id = album.album_id;
    add_album(std::move(album), vael::list_media_of_tag(handle, album_id), judge, largest, out);
  }
  if (out.whole_catalog) {
    std::vector<vael::media_listing_t> loose = vael::list_all_media(handle);
    loose.erase(std::remove_if(loose.begin(), loose.end(),
                               [&](const vael::media_listing_t& m) { return judge.seen(m.id); }),
                loose.end());
    add_album(album_preview_t{}, std::move(loose), judge, largest, out);
  }
  read.end();
  return out;
}

sync_preview_t PreviewSyncOfCatalog(const std::string& folder, std::size_t largest) {
  if (!sync_util::get_is_user_signed_in()) {
    throw std::runtime_error("no user is signed in: the preview needs the user's preferences");
  }
  const std::string ticket = sync_util::get_ticket_vector();
  if (ticket.empty()) throw std::runtime_error("the signed-in user has no ticket");

  // A user who never saved preferences syncs by the default ones.
  std::string text = SyncDefaultsXml();
  QFile file(QString::fromStdString(UserPrefFilePath(folder, sync_util::get_ksvuser_id())));
  if (file.exists()) {
    if (!file.open(QIODevice::ReadOnly)) {
      throw std::runtime_error("cannot read " + file.fileName().toStdString() + ": " +
                               file.errorString().toStdString());
    }
    text = file.readAll().toStdString();
  }
  SyncPrefs prefs{};
  VTL::GetSyncPrefsFromString(prefs, text);

  storage_texts_t storage;
  try {
    const ksv_ref<KSV::Library> library = GetAuthenticatedKsvLibrary(ticket);
    std::tie(storage.quota, storage.used) = GetKsvStorage(*library);
  } catch (VTL::error_code code) {
    throw std::runtime_error(code == VTL::invalid_credentials
                                 ? "the membership client refused the user's ticket"
                                 : "the membership client cannot be loaded");
  }

  const std::string path = CatalogFilePath(folder);
  std::unique_ptr<vael::connection> catalog;
  try {
    catalog = std::make_unique<vael::connection>(path);
  } catch (const std::exception& e) {
    throw std::runtime_error("cannot open the catalog " + path + ": " + e.what());
  }
  return PreviewSync(catalog->handle(), prefs, storage, largest);
}

}  // namespace vantor_prefs
