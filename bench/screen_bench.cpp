// The preference screen export, whole, as the host calls it: screen/local_10k walks 10,000
// albums of collection_ns in a five-level tree (four levels of groups, then albums), each with
// a sync status, every tenth linked to an online album in the agent's store, with an online
// list of no albums; screen/online_10k writes 10,000 online albums of the reference client
// over an empty collection_ns. Goal: under 200 ms each.

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "catalog/connection.h"
#include "catalog/custom_tag_namespace.h"
#include "catalog/tag.h"
#include "catalog/transaction.h"
#include "catalog_util/catalog_defaults.h"
#include "catalog_util/metadata_helpers.h"
#include "catalog_util/metadata_vocabulary.h"
#include "catalog_util/well_known_tags.h"
#include "environment/catalog_paths.h"
#include "platform/sync_util.h"
#include "vantor/vantor.h"

namespace {

namespace md = vael_util::metadata_identifier;

constexpr int kAlbums = 10000;
// Groups per level; the albums share out evenly under the last level's groups.
constexpr int kGroupLevels[] = {5, 25, 125, 625};

void write_file(const std::string& path, const std::string& content) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

// One user's world: a home, a settings root naming the sync catalog and a signed-in user, the
// reference client's state, and the sync catalog itself.
class screen_world {
 public:
  explicit screen_world(const std::string& root)
      : root_(root), folder_(root + "/catalog"), state_(root + "/ksv.json") {
    write_file(root + "/registry/HKEY_CURRENT_USER/software/norvane/Strand.ini",
               "[General]\nOMB10SyncCatalogPath=" + folder_ +
                   "\nUserName=ann\nEncryptedTicketVector=t-1\nUserId=u-1\n");
    enter();
    std::filesystem::create_directories(folder_);
    const std::string path = folder_ + "/" + vantor_env::GetCatalogFileName();
    std::ofstream(path).close();
    catalog_ = std::make_unique<vael::connection>(path);
    write([&] {
      vael_util::initialize_catalog_defaults(
          h(), {"", "Family", "Friends", "Colleagues", "", "", "Nature", "Travel", "Hobbies",
                "Misc", "QR Code", "", "", "Smart Albums"});
    });
  }

  // Points the library's environment at this world.
  void enter() const {
    ::setenv("HOME", (root_ + "/home").c_str(), 1);
    ::setenv("XDG_DATA_HOME", (root_ + "/home/.local/share").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (root_ + "/home/.config").c_str(), 1);
    ::setenv("VANTOR_SETTINGS_ROOT", (root_ + "/registry").c_str(), 1);
    ::setenv("VANTOR_KSV_LOCAL_STATE", state_.c_str(), 1);
    ::setenv("VANTOR_KSV_LIBRARY", VANTOR_BENCH_KSV_LOCAL, 1);
  }

  void fill_local_albums() {
    std::vector<vael::tag> level;
    std::vector<int> linked;
    write([&] {
      const auto ns = vael::get_custom_tag_namespace(h(), vael_util::ns_name::collection);
      for (int i = 0; i < kGroupLevels[0]; ++i) {
        level.push_back(ns.create_tag("group " + std::to_string(i), vael_util::album_group_type()));
      }
      for (size_t depth = 1; depth < std::size(kGroupLevels); ++depth) {
        std::vector<vael::tag> next;
        for (int i = 0; i < kGroupLevels[depth]; ++i) {
          next.push_back(level[static_cast<size_t>(i) % level.size()].create_child(
              "group " + std::to_string(depth) + "." + std::to_string(i),
              vael_util::album_group_type()));
        }
        level = std::move(next);
      }
      const int albums = kAlbums - (5 + 25 + 125 + 625);
      for (int i = 0; i < albums; ++i) {
        const vael::tag album = level[static_cast<size_t>(i) % level.size()].create_child(
            "album & " + std::to_string(i), vael_util::album_type());
        const int id = album.get_id();
        vael_util::create_tag_metadata(h(), md::tag_sync_status, 1, id, std::int64_t{i % 3});
        if (i % 7 == 0) vael_util::create_tag_metadata(h(), md::acl_public, 0, id, "r");
        if (i % 10 == 0) linked.push_back(id);
      }
    });
    for (int id : linked) {
      sync_util::create_or_replace_sync_tag_info(id, "online-" + std::to_string(id), 1, "", "");
    }
  }

  void write_online_albums(int count) const {
    std::string json = R"({"ticket": "t-1", "quota": 2147483648, "storage_used": 1048576,)";
    json += R"( "albums": [)";
    for (int i = 0; i < count; ++i) {
      const std::string n = std::to_string(i);
      if (i != 0) json += ",";
      json += R"({"title": "Online album )" + n + R"(", "parents": "Trips/)" +
              std::to_string(i / 100) + R"(", "online_id": "o-)" + n + R"(", "type": ")" +
              (i % 20 == 0 ? "album group" : "album") + R"(", "access": ")" +
              (i % 5 == 0 ? "r" : "") + R"(", "privacy": "public", "template_id": "tm-)" + n +
              R"(", "permissions": "rw"})";
    }
    write_file(state_, json + "]}");
  }

  // The host's organizer has the catalog closed while the screen is shown.
  void close_catalog() { catalog_.reset(); }

  const std::string& folder() const { return folder_; }

 private:
  const vael::connection_handle& h() const { return catalog_->handle(); }
  template <class Step>
  void write(Step step) const {
    vael::transaction t(h());
    t.begin(vael::without_undo, vael::lock_now);
    step();
    t.commit();
  }

  std::string root_;
  std::string folder_;
  std::string state_;
  std::unique_ptr<vael::connection> catalog_;
};

vantor_bench::scratch_folder& scratch() {
  static vantor_bench::scratch_folder folder("vantor-screen-bench");
  return folder;
}

const screen_world& local_world() {
  static const screen_world& world = []() -> const screen_world& {
    static screen_world w(scratch().file("local"));
    w.fill_local_albums();
    w.write_online_albums(0);
    w.close_catalog();
    return w;
  }();
  return world;
}

const screen_world& online_world() {
  static const screen_world& world = []() -> const screen_world& {
    static screen_world w(scratch().file("online"));
    w.write_online_albums(kAlbums);
    w.close_catalog();
    return w;
  }();
  return world;
}

void run_screen(benchmark::State& state, const screen_world& world) {
  world.enter();
  std::size_t bytes = 0;
  for (auto _ : state) {
    std::string local;
    std::string online;
    if (VTL::GetXMLForSyncPrefs(world.folder(), local, online, {}, false) != VTL::success) {
      state.SkipWithError("the screen export failed");
      break;
    }
    bytes = local.size() + online.size();
    benchmark::DoNotOptimize(local.data());
    benchmark::DoNotOptimize(online.data());
  }
  state.counters["xml_bytes"] = static_cast<double>(bytes);
}

void BM_screen_local_10k(benchmark::State& state) {
  run_screen(state, local_world());
}
void BM_screen_online_10k(benchmark::State& state) {
  run_screen(state, online_world());
}

BENCHMARK(BM_screen_local_10k)->Name("screen/local_10k")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_screen_online_10k)->Name("screen/online_10k")->Unit(benchmark::kMillisecond);

}  // namespace
