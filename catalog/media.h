#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "catalog/connection_handle.h"
#include "catalog/media_date.h"
#include "catalog/rendition_description.h"
#include "dbl/record.h"

namespace vael {

// One row of media_table: a file known to the catalog, at a path relative to its volume. A
// master has rendition description 0; any other makes the media a rendition of the master
// that rendition_to_master_table names. A value: copies share only the handle.
//
// Paths are stored with "/" only and a leading "/", beside lower-cased indexes of the folder
// (with its final "/") and of the name. Among the media of one volume the indexes are
// unique, except on a 'no drive' volume, where no file exists to collide with.
//
// Every writer requires an open vael::transaction and marks the media changed on the media
// tracker, so that the commit stamps it with a new change id.
class media {
 public:
  // The media tracker's cache for media, and its size.
  static constexpr char class_name[] = "media";
  static constexpr std::size_t cache_capacity = 5000;

  media(connection_handle handle, dbl::record row);

  // The media with this id, through the media cache. Throws std::logic_error when there is
  // no such row.
  static media get_media(const connection_handle& handle, int id);
  // A new master at `path` on the volume, with an unknown date, and its two sort rows.
  // Throws std::logic_error for an unknown volume, "A master must have a real filepath." on a
  // 'no drive' volume, and as set_filepath() for a path that is empty or taken.
  static media create_master(const connection_handle& handle, int volume_id,
                             const std::string& path, const std::string& mime_type);
  // A new rendition of `master` with the master's date, linked to it, and its sort rows. On
  // a 'no drive' volume any path, even an empty or a taken one, is accepted. Throws
  // std::logic_error "Cannot create a rendition of a rendition." when `master` is none, and
  // as create_master() otherwise.
  static media create_rendition(const connection_handle& handle, const media& master,
                                const rendition_description_t& description, int volume_id,
                                const std::string& path, const std::string& mime_type);
  // A new row with the fields of media `id`, path included, and its sort rows. Nothing
  // checks the path: the caller is to move the copy before the path is needed again.
  static media duplicate_media(const connection_handle& handle, int id);

  int get_id() const;
  int get_change_id() const;
  int get_volume_id() const;
  std::string get_mime_type() const;
  void set_mime_type(const std::string& mime_type);

  // The stored path relative to the volume; or, when not `relative` and the volume has a
  // known path other than "/", that path followed by the stored one.
  std::string get_filepath(bool relative) const;
  // get_filepath(relative) before its last "/", without it.
  std::string get_folder(bool relative) const;
  // The stored path after its last "/".
  std::string get_filename() const;
  // Moves the media to `path` (any "\" read as "/") on the volume. Its own current path, in
  // any case, is no conflict. Throws std::logic_error "Cannot set a filepath with an empty
  // name." for a path ending in "/", "The path specified already exists in the database."
  // when another media of the volume has that path in any case, and "A master must have a
  // real filepath." for a master on a 'no drive' volume; the first two not on such a volume.
  void set_filepath(int volume_id, const std::string& path);

  // A media with no stored dates gives a special date with precision 0.
  media_date_t get_date() const;
  // Writes the search range of `date` (both NULL for a special date) and brings the sort rows
  // up to date; when this media heads a stack the whole stack sorts with it. Throws
  // std::logic_error "An invalid date precision was encountered." for a precision outside
  // 0..4.
  void set_date(const media_date_t& date);
  // The dates of the media's sort rows.
  media_date_t get_media_stack_sort_date() const;
  media_date_t get_version_stack_sort_date() const;

  bool is_master() const;
  // Throws std::logic_error "Cannot get the master id of a master." on a master, and
  // std::runtime_error when the rendition has no link to a master.
  int get_master_id() const;
  std::vector<int> get_rendition_ids() const;
  rendition_description_t get_rendition_description() const;

  // Names for remove()'s arguments.
  static constexpr bool detach_relations = true;
  static constexpr bool refuse_if_related = false;
  static constexpr bool detach_ordered_tags = true;
  static constexpr bool skip_ordered_tags = false;
  // Deletes the media. With `update_relations`, it first leaves its stacks and, with
  // `update_tags` too, the ordered tags, which close the gap; the remaining rows that refer
  // to it go with it. Without `update_relations`, fails with the database layer's references
  // error while rows refer to it. Throws std::logic_error "Renditions must be deleted prior to
  // deleting media" for a master with renditions, and "An unexpected database tag state was
  // encountered." when an ordered tag does not hold the media where its row says.
  void remove(bool update_relations, bool update_tags);

  const connection_handle& handle() const { return handle_; }
  const dbl::record& row() const { return row_; }

 private:
  void set_filepath_fields(dbl::record& row, int volume_id, const std::string& path,
                           bool keep_self) const;
  void save(dbl::record& row);
  void insert_sort_rows() const;

  connection_handle handle_;
  dbl::record row_;
};

// The date a row with search_date_begin and search_date_end stands for.
media_date_t date_of_row(const dbl::record& row);

// The media of the volume whose path is `path` when both are lower-cased, as a new media at
// `path` would be refused for: the same file seen again, or one whose name differs only in
// case. A backslash counts as "/", and a leading "/" is implied.
std::vector<int> find_media_at_path(const connection_handle& handle, int volume_id,
                                    const std::string& path);

}  // namespace vael
