#include "tools/vantor/folder_import.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>

#include "catalog/connection.h"
#include "catalog/media.h"
#include "catalog/volume_manager.h"
#include "dbl/query.h"
#include "tests/catalog/catalog_test_support.h"
#include "tests/support/jpeg_fixture.h"
#include "tests/support/sandbox.h"

namespace {

namespace fs = std::filesystem;

// A catalog in <sandbox>/catalog with pictures beside it, and a folder elsewhere.
class FolderImport : public ::testing::Test {
 protected:
  FolderImport() {
    // The probe needs the system's MIME database.
    ::setenv("XDG_DATA_DIRS", "/usr/local/share:/usr/share", 1);
    fs::create_directories(box_.path("catalog/pics/trip"));
    fs::create_directories(box_.path("elsewhere"));
    path_ = vael_test::new_catalog(box_, "catalog/c.vdb");
    c_ = std::make_unique<vael::connection>(path_);
  }

  int count(const std::string& sql) { return vael_test::scalar(c_->get().database(), sql); }
  int media_at(const std::string& path) {
    return count("SELECT id FROM media_table WHERE full_filepath = '" + path + "'");
  }
  int int_value(const std::string& identifier, int media_id) {
    return count(
        "SELECT v.value FROM metadata_integer_table v JOIN media_to_metadata_table l ON "
        "l.metadata_id = v.id JOIN metadata_description_table d ON d.id = v.description_id "
        "WHERE d.identifier = '" +
        identifier + "' AND l.media_id = " + std::to_string(media_id));
  }

  vantor_test::sandbox box_;
  std::string path_;
  std::unique_ptr<vael::connection> c_;
};

TEST_F(FolderImport, ImportsMediaWithTheirMetadataAndKnowsTheirVolumes) {
  const std::string pics = box_.path("catalog/pics");
  vantor_test::WriteJpeg(pics + "/trip/a.jpg", [](Exiv2::ExifData& exif, Exiv2::XmpData& xmp) {
    exif["Exif.Photo.DateTimeOriginal"] = "2014:01:15 10:30:00";
    xmp["Xmp.xmp.Rating"] = "4";
  });
  vantor_test::WriteJpeg(pics + "/b.jpg");
  vantor_test::WriteJpeg(pics + "/B.JPG");  // differs from b.jpg only in case
  box_.write_file("catalog/pics/notes.txt", "not a photo");
  box_.write_file("catalog/pics/broken.jpg", "\xff\xd8 cut short");
  vantor_test::WriteJpeg(box_.path("elsewhere/c.jpg"));

  const vantor_cli::import_summary first = vantor_cli::import_folder(c_->handle(), pics);
  EXPECT_EQ(first.imported, 3);  // B.JPG, broken.jpg, trip/a.jpg: byte order puts B first
  EXPECT_EQ(first.skipped, 1);
  ASSERT_EQ(first.warnings.size(), 2u);
  EXPECT_NE(first.warnings[0].find("b.jpg: passed over, since its name differs only in case"),
            std::string::npos)
      << first.warnings[0];
  EXPECT_NE(first.warnings[1].find("broken.jpg"), std::string::npos) << first.warnings[1];

  // Beside the catalog: the database relative volume, paths below the catalog's folder.
  const int a = media_at("/pics/trip/a.jpg");
  ASSERT_NE(a, 0);
  const vael::media ma = vael::media::get_media(c_->handle(), a);
  EXPECT_EQ(vael::get_volume_manager(c_->handle()).get_volume(ma.get_volume_id()).type,
            vael::volume_type::database_relative_drive);
  EXPECT_EQ(ma.get_date().date, boost::posix_time::time_from_string("2014-01-15 10:30:00"));
  EXPECT_EQ(ma.get_date().precision, vael::exact_precision);
  EXPECT_EQ(int_value("xmp:Rating", a), 4);
  EXPECT_EQ(int_value("tiff:ImageWidth", a), vantor_test::kTinyJpegWidth);
  EXPECT_EQ(int_value("tiff:ImageHeight", a), vantor_test::kTinyJpegHeight);
  EXPECT_EQ(int_value("omb:FileSize", a), static_cast<int>(fs::file_size(pics + "/trip/a.jpg")));
  const int broken = media_at("/pics/broken.jpg");
  EXPECT_EQ(int_value("omb:FileSize", broken), 12);
  EXPECT_EQ(count("SELECT COUNT(*) FROM media_to_metadata_table WHERE media_id = " +
                  std::to_string(broken)),
            2)
      << "only the file's size and date";

  // Elsewhere: the volume of the file system, reused by a second import.
  EXPECT_EQ(vantor_cli::import_folder(c_->handle(), box_.path("elsewhere")).imported, 1);
  const int volumes = count("SELECT COUNT(*) FROM volume_table");
  EXPECT_EQ(vantor_cli::import_folder(c_->handle(), box_.path("elsewhere")).already_present, 1);
  EXPECT_EQ(count("SELECT COUNT(*) FROM volume_table"), volumes);
  const int c = count("SELECT MAX(id) FROM media_table");
  EXPECT_EQ(vael::media::get_media(c_->handle(), c).get_filepath(false),
            fs::canonical(box_.path("elsewhere/c.jpg")).string());
}

// Crafted mount tables over folders of the sandbox: one disk shown by two subvolumes and a
// bind mount, and a network share, each holding the same relative path; then one subvolume
// mounted at another place.
TEST_F(FolderImport, EachMountOfAFileSystemIsAVolumeFoundAgainByItsUuid) {
  const std::string root = fs::canonical(box_.root()).string();
  box_.write_file("dev/sdz1", "");
  fs::create_directories(root + "/by-uuid");
  fs::create_symlink("../dev/sdz1", root + "/by-uuid/1111-AAAA");
  const auto options_for = [&](const std::string& table) {
    box_.write_file("mountinfo", table);
    vantor_cli::import_options o;
    o.mount_table = root + "/mountinfo";
    o.system_folders = {root + "/by-uuid", root + "/sys", root + "/by-label"};
    return o;
  };
  for (const char* folder : {"home", "photos", "bound", "share"}) {
    fs::create_directories(root + "/" + folder);
    vantor_test::WriteJpeg(root + "/" + folder + "/a.jpg");
  }
  const auto disk = [&](const std::string& subvolume, const std::string& folder) {
    return "1 0 0:40 " + subvolume + " " + root + "/" + folder + " rw - btrfs " + root +
           "/dev/sdz1 rw\n";
  };
  const vantor_cli::import_options first = options_for(
      disk("/@home", "home") + disk("/@photos", "photos") + disk("/@home/pics", "bound") +
      "2 0 0:41 / " + root + "/share rw - nfs4 nas:/export rw\n");
  for (const char* folder : {"home", "photos", "bound", "share"}) {
    EXPECT_EQ(vantor_cli::import_folder(c_->handle(), root + "/" + folder, first).imported, 1)
        << folder;
  }
  const auto volumes = [&] {
    std::string all;
    dbl::query q(c_->get().database(),
                 "SELECT serial || ' ' || type || ' ' || drive_path_if_builtin || ' ' || "
                 "(SELECT COUNT(*) FROM media_table WHERE volume_id = v.id) FROM volume_table v "
                 "WHERE type != 'database_relative_drive' ORDER BY id");
    q.add_column("ignored", typeid(std::string));
    for (const auto& row : q) all += row[0].as_string() + "\n";
    return all;
  };
  const std::string home = "1111-AAAA:/@home builtin_drive " + root + "/home 1\n";
  const std::string bound = "1111-AAAA:/@home/pics builtin_drive " + root + "/bound 1\n";
  const std::string share = "net:nas:/export network_drive  1\n";
  EXPECT_EQ(volumes(),
            home + "1111-AAAA:/@photos builtin_drive " + root + "/photos 1\n" + bound + share);

  // The subvolume comes back elsewhere: its volume moves there and gains nothing.
  fs::rename(root + "/photos", root + "/moved");
  const vantor_cli::import_summary again = vantor_cli::import_folder(
      c_->handle(), root + "/moved", options_for(disk("/@photos", "moved")));
  EXPECT_EQ(again.imported, 0);
  EXPECT_EQ(again.already_present, 1);
  EXPECT_EQ(volumes(),
            home + "1111-AAAA:/@photos builtin_drive " + root + "/moved 1\n" + bound + share);
  const int moved = count(
      "SELECT m.id FROM media_table m JOIN volume_table v ON v.id = m.volume_id WHERE v.serial = "
      "'1111-AAAA:/@photos'");
  EXPECT_EQ(vael::media::get_media(c_->handle(), moved).get_filepath(false), root + "/moved/a.jpg");
}

}  // namespace
