// A stored search text comes from a catalog file that anyone may have written: any bytes must
// be read without a crash, a hang or an allocation the text does not pay for, and a search
// that reads must write a text that reads back to an equal search and the same text. A search
// that reads then runs against one small catalog kept for the process, in a savepoint rolled
// back after it: compiling may refuse it with a logic or runtime error, but what compiles must
// run, and among candidates must find just the candidates it finds among all media.
#include <algorithm>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "catalog/connection.h"
#include "catalog/media.h"
#include "catalog/media_date.h"
#include "catalog/media_stack.h"
#include "catalog/transaction.h"
#include "catalog/version_stack.h"
#include "catalog/volume_manager.h"
#include "catalog_util/catalog_defaults.h"
#include "catalog_util/metadata_helpers.h"
#include "catalog_util/metadata_vocabulary.h"
#include "catalog_util/search/search_implementer.h"
#include "catalog_util/search/search_runner.h"
#include "catalog_util/well_known_tags.h"
#include "dbl/exceptions.h"
#include "fuzz/fuzz_folder.h"

namespace {

namespace pt = boost::posix_time;
namespace md = vael_util::metadata_identifier;

// Five media on a disk and one on a volume that is not mounted, with dates, tags, a title
// and a rating, two of them in a stack and two in a version stack.
class search_world {
 public:
  search_world() : folder_("vantor-fuzz-search") {
    const std::string file = folder_.path() + "/catalog.omb14db";
    std::ofstream(file).close();
    connection_ = std::make_unique<vael::connection>(file);
    const vael::connection_handle& h = connection_->handle();
    vael::transaction t(h);
    t.begin(vael::without_undo, vael::lock_now);
    vael_util::initialize_catalog_defaults(
        h, {"", "Family", "Friends", "Colleagues", "", "", "Nature", "Travel", "Hobbies", "Misc",
            "QR Code", "", "", "Smart Albums"});
    vael::volume_manager volumes = vael::get_volume_manager(h);
    const int disk =
        volumes.add_volume({"disk-1", "disk", vael::volume_type::builtin_drive, folder_.path(), 0})
            .id;
    const int gone =
        volumes.add_volume({"usb-1", "usb", vael::volume_type::removable_drive, "", 0}).id;
    const vael::tag_type_t kind{vael_util::type_name::user_misc};
    vael::tag trips = vael::get_custom_tag_namespace(h, vael_util::ns_name::user)
                          .create_tag("Trips", {vael_util::type_name::user_event});
    vael::tag rome = trips.create_child("Rome", kind);
    vael::tag ann = vael::get_custom_tag_namespace(h, vael_util::ns_name::person)
                        .create_tag("Ann", {vael_util::type_name::user_person});

    struct row {
      const char* path;
      const char* mime;
      int year;
      bool on_disk;
    };
    const row rows[] = {{"/Trips/a_b.jpg", "image/jpeg", 2014, true},
                        {"/Trips/beach.JPG", "image/jpeg", 2014, true},
                        {"/a%b.png", "image/png", 2015, true},
                        {"/x/clip.mov", "video/quicktime", 2016, true},
                        {"/x/song.mp3", "audio/mpeg", 1400, true},
                        {"/usb/IMG_1.jpg", "image/jpeg", 2014, false}};
    std::vector<int> ids;
    for (const row& r : rows) {
      vael::media m = vael::media::create_master(h, r.on_disk ? disk : gone, r.path, r.mime);
      const pt::ptime day(boost::gregorian::date(static_cast<unsigned short>(r.year), 1, 15));
      if (r.year != 1400) m.set_date(vael::from_search_range(day, day + pt::hours(1)));
      ids.push_back(m.get_id());
      vael_util::create_media(h, md::title, 0, m.get_id(), std::string("wed ") + r.path);
      vael_util::create_media(h, md::rating, 1, m.get_id(), r.year % 5);
    }
    rome.tag_media(ids[0]);
    rome.tag_media(ids[1]);
    ann.tag_media(ids[1]);
    ann.tag_media(ids[3]);
    vael::media_stack::create(h, {ids[0], ids[1]});
    vael::version_stack::create_version(h, ids[2], ids[3]);
    t.commit();
    candidates_ = {ids[1], ids[2], ids[5], ids[5] + 100};
  }
  search_world(const search_world&) = delete;
  search_world& operator=(const search_world&) = delete;

  const vael::connection_handle& handle() const { return connection_->handle(); }
  // Some media and an id that names none.
  const std::vector<int>& candidates() const { return candidates_; }

 private:
  fuzz_folder folder_;
  std::unique_ptr<vael::connection> connection_;
  std::vector<int> candidates_;
};

void run(const search_world& world, const vael_util::search_criteria& search) {
  const vael::connection_handle& h = world.handle();
  const vael::savepoint kept(h);
  std::vector<int> all;
  try {
    all = vael_util::find_media(h, search);
  } catch (const dbl::internal_database_error&) {
    std::abort();  // SQLite refused the statement the search compiled to.
  } catch (const std::logic_error&) {
    return;  // A tag, description or table entry the search names is missing.
  } catch (const std::runtime_error&) {
    return;  // An operand of the wrong kind.
  }
  const std::vector<int> among = vael_util::find_media(h, search, world.candidates());
  std::vector<int> chosen = world.candidates();
  std::sort(chosen.begin(), chosen.end());
  std::vector<int> expected;
  std::set_intersection(all.begin(), all.end(), chosen.begin(), chosen.end(),
                        std::back_inserter(expected));
  if (among != expected) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool registered = (vael_util::register_search_implementers(1), true);
  (void)registered;
  static const search_world world;
  vael_util::search_criteria search;
  try {
    search = vael_util::read_stored_search(std::string(reinterpret_cast<const char*>(data), size));
  } catch (const std::runtime_error&) {
    return 0;
  }
  const std::string text = vael_util::write_stored_search(search);
  const vael_util::search_criteria back = vael_util::read_stored_search(text);
  if (!back.equals(search) || vael_util::write_stored_search(back) != text) std::abort();
  run(world, search);
  return 0;
}
