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

std::string BaseName(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
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
  // Closes now and reports the result, which for a written file is part of the write.
  bool close_checked() {
    const int fd = fd_;
    fd_ = -1;
    return ::close(fd) == 0;
  }

 private:
  int fd_;
};

// A temporary file beside `target` that is removed unless release() was called.
class temp_beside {
 public:
  explicit temp_beside(const std::string& target)
      : path_(ParentFolder(target) + "/." + BaseName(target) + ".vantor-XXXXXX") {
    fd_ = ::mkstemp(path_.data());
    if (fd_ < 0) path_.clear();
  }
  ~temp_beside() {
    if (fd_ >= 0) ::close(fd_);
    if (!path_.empty()) ::unlink(path_.c_str());
  }
  temp_beside(const temp_beside&) = delete;
  temp_beside& operator=(const temp_beside&) = delete;

  bool ok() const { return fd_ >= 0; }
  int fd() const { return fd_; }
  const std::string& path() const { return path_; }
  bool close_checked() {
    const int fd = fd_;
    fd_ = -1;
    return ::close(fd) == 0;
  }
  void release() { path_.clear(); }

 private:
  std::string path_;
  int fd_ = -1;
};

// Copies `from` into the open temporary file; 0 or an errno value.
int CopyContents(int in, const temp_beside& out, long long total,
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
    for (ssize_t written = 0; written < n;) {
      const ssize_t w = ::write(out.fd(), block.data() + written, static_cast<size_t>(n - written));
      if (w < 0) {
        if (errno == EINTR) continue;
        return errno;
      }
      written += w;
    }
    done += n;
    if (callback && !callback(done, total)) return ECANCELED;
  }
  return 0;
}

// Puts `temp` in place as `to` without replacing an existing file.
int PlaceWithoutReplacing(const std::string& temp, const std::string& to) {
  if (::link(temp.c_str(), to.c_str()) == 0) return 0;
  if (errno == EEXIST) return EEXIST;
  // Some file systems have no hard links; the existence test before the move must do there.
  if (::access(to.c_str(), F_OK) == 0) return EEXIST;
  return ::rename(temp.c_str(), to.c_str()) == 0 ? 0 : errno;
}

// The copying move; 0 or an errno value. The source stays until the target is complete.
int CopyThenDelete(const std::string& from, const std::string& to,
                   const MoveProgressCallback& callback) {
  fd_holder in(::open(from.c_str(), O_RDONLY | O_CLOEXEC));
  if (in.get() < 0) return errno;
  struct stat info {};
  if (::fstat(in.get(), &info) != 0) return errno;
  if (!S_ISREG(info.st_mode)) return EISDIR;
  temp_beside temp(to);
  if (!temp.ok()) return errno;
  if (const int error = CopyContents(in.get(), temp, info.st_size, callback)) return error;
  ::fchmod(temp.fd(), info.st_mode & 07777);
  if (::fsync(temp.fd()) != 0 || !temp.close_checked()) return errno;
  if (const int error = PlaceWithoutReplacing(temp.path(), to)) return error;
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
  const std::string target = Slashes(to);
  temp_beside temp(target);
  if (!temp.ok() || !temp.close_checked()) return false;
  std::error_code error;
  fs::copy_file(Slashes(from), temp.path(), fs::copy_options::overwrite_existing, error);
  if (error) return false;
  if (::rename(temp.path().c_str(), target.c_str()) != 0) return false;
  temp.release();
  return true;
}

bool WriteFileAtomically(const std::string& path, const std::string& content) {
  const std::string target = Slashes(path);
  temp_beside temp(target);
  if (!temp.ok()) return false;
  for (size_t written = 0; written < content.size();) {
    const ssize_t w = ::write(temp.fd(), content.data() + written, content.size() - written);
    if (w < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    written += static_cast<size_t>(w);
  }
  // mkstemp makes the file 0600; give it what a plain create would.
  const mode_t mask = ::umask(0);
  ::umask(mask);
  ::fchmod(temp.fd(), 0666 & ~mask);
  if (::fsync(temp.fd()) != 0 || !temp.close_checked()) return false;
  if (::rename(temp.path().c_str(), target.c_str()) != 0) return false;
  temp.release();
  return true;
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
