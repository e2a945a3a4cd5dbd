#include "environment/file_helpers.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "environment/file_replacement.h"
#include "environment/known_folders.h"

namespace vantor_env {
namespace {

namespace fs = std::filesystem;

std::string Slashes(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

}  // namespace

bool FileExists(const std::string& path) {
  struct stat info {};
  return ::stat(Slashes(path).c_str(), &info) == 0 && !S_ISDIR(info.st_mode);
}

bool FolderExists(const std::string& path) {
  std::string folder = Slashes(path);
  if (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  struct stat info {};
  return ::stat(folder.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

void CreateFolder(const std::string& path) {
  ::mkdir(Slashes(path).c_str(), 0777);
}

void CreateFolderTree(const std::string& path) {
  const std::string folder = Slashes(path);
  for (size_t end = folder.find('/', 1);; end = folder.find('/', end + 1)) {
    const std::string level = folder.substr(0, end);
    if (!level.empty() && !FolderExists(level)) CreateFolder(level);
    if (end == std::string::npos) break;
  }
}

std::FILE* OpenFile(const std::string& path, const std::string& mode) {
  return std::fopen(Slashes(path).c_str(), mode.c_str());
}

void DeleteFile(const std::string& path) {
  ::unlink(Slashes(path).c_str());
}

bool WriteFileAtomically(const std::string& path, const std::string& content) {
  return ReplaceFileContent(Slashes(path), content);
}

std::string GetTempFolder() {
  std::error_code error;
  std::string folder = fs::temp_directory_path(error).string();
  if (error) folder = "/tmp";
  if (folder.back() != '/') folder += '/';
  return folder;
}

std::string GetDefaultDownloadPath() {
  const std::string pictures = GetPicturesFolder();
  if (pictures.empty()) return {};
  return pictures + "/" + "Norvane";
}

}  // namespace vantor_env
