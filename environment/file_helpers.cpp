#include "environment/file_helpers.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "environment/debug_log.h"
#include "environment/file_replacement.h"
#include "environment/known_folders.h"

namespace vantor_env {
namespace {

namespace fs = std::filesystem;

std::atomic<bool> g_move_always_copies{false};

std::string Slashes(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

std::string ParentFolder(const std::string& path) {
  const auto slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

// Closes a descriptor on every way out.
class fd_holder {
 public:
  explicit fd_holder(int fd) : fd_(fd) {}
  ~fd_holder() {
    if (fd_ >= 0) ::close(fd_);
  }
  fd_holder(const fd_holder&) = delete;
  fd_holder& operator=(const fd_holder&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

// Copies the open file `in` into `out`; 0 or an errno value.
int CopyContents(int in, file_replacement& out, long long total,
                 const MoveProgressCallback& callback) {
  std::vector<char> block(1 << 20);
  long long done = 0;
  if (callback && !callback(done, total)) return ECANCELED;
  for (;;) {
    const ssize_t n = ::read(in, block.data(), block.size());
    if (n < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    if (n == 0) break;
    out.write(std::string_view(block.data(), static_cast<size_t>(n)));
    if (!out.good()) return EIO;
    done += n;
    if (callback && !callback(done, total)) return ECANCELED;
  }
  return 0;
}

// Copies `from` to a new file `to`; with `replace` an existing `to` is replaced, otherwise it
// is an EEXIST failure. 0 or an errno value; `to` is either whole or untouched.
int CopyToNewFile(const std::string& from, const std::string& to, bool replace,
                  const MoveProgressCallback& callback) {
  fd_holder in(::open(from.c_str(), O_RDONLY | O_CLOEXEC));
  if (in.get() < 0) return errno;
  struct stat info {};
  if (::fstat(in.get(), &info) != 0) return errno;
  if (!S_ISREG(info.st_mode)) return EISDIR;
  file_replacement out(to);
  if (!out.is_open()) return errno;
  if (const int error = CopyContents(in.get(), out, info.st_size, callback)) return error;
  ::fchmod(out.descriptor(), info.st_mode & 07777);
  if (replace) return out.commit() ? 0 : EIO;
  return out.commit_without_replacing();
}

// The copying move; 0 or an errno value. The source stays until the target is complete.
int CopyThenDelete(const std::string& from, const std::string& to,
                   const MoveProgressCallback& callback) {
  if (const int error = CopyToNewFile(from, to, false, callback)) return error;
  if (::unlink(from.c_str()) != 0) {
    const int error = errno;
    // A source that cannot go would leave two files: undo the target instead.
    ::unlink(to.c_str());
    return error;
  }
  return 0;
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

bool RemoveFolder(const std::string& path) {
  return ::rmdir(Slashes(path).c_str()) == 0;
}

bool CopyFile(const std::string& from, const std::string& to) {
  return CopyToNewFile(Slashes(from), Slashes(to), true, nullptr) == 0;
}

bool WriteFileAtomically(const std::string& path, const std::string& content) {
  file_replacement file(Slashes(path));
  if (!file.is_open()) return false;
  file.write(content);
  return file.commit();
}

void MoveFileWithProgress(const std::string& from, const std::string& to,
                          const MoveProgressCallback& callback) {
  const std::string source = Slashes(from);
  const std::string target = Slashes(to);
  int error = 0;
  if (::access(target.c_str(), F_OK) == 0) {
    error = EEXIST;
  } else if (g_move_always_copies.load() || ::rename(source.c_str(), target.c_str()) != 0) {
    error = g_move_always_copies.load() || errno == EXDEV ? CopyThenDelete(source, target, callback)
                                                          : errno;
  }
  if (error != 0) {
    DebugLog("MoveFileWithProgress failed with " + std::to_string(error) + ".\n");
  }
}

void SetMoveAlwaysCopies(bool always_copy) {
  g_move_always_copies.store(always_copy);
}

std::string GetExecutablePath(bool folderOnly) {
  std::error_code error;
  const std::string path = fs::read_symlink("/proc/self/exe", error).string();
  if (error) return {};
  return folderOnly ? ParentFolder(path) + "/" : path;
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

std::string FormatTimestamp(std::time_t time) {
  std::tm parts{};
  if (::localtime_r(&time, &parts) == nullptr) return {};
  char text[64];
  std::snprintf(text, sizeof text, "%4d%02d%02dT%02d%02d%02d", parts.tm_year + 1900,
                parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
  return text;
}

}  // namespace vantor_env
