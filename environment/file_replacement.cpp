#include "environment/file_replacement.h"

#include <unistd.h>

#include <cassert>
#include <cerrno>
#include <cstdio>
#include <utility>

namespace vantor_env {
namespace {

constexpr int kMaxNameAttempts = 100;

}  // namespace

file_replacement::file_replacement(std::string path) : path_(std::move(path)) {
  // "x" makes the open exclusive, so a temporary left by a crashed writer is never reused.
  const std::string stem = path_ + "." + std::to_string(::getpid()) + ".";
  for (int attempt = 0; attempt < kMaxNameAttempts && file_ == nullptr; ++attempt) {
    temporary_ = stem + std::to_string(attempt) + ".tmp";
    file_ = std::fopen(temporary_.c_str(), "wbx");
    if (file_ == nullptr && errno != EEXIST) break;
  }
}

file_replacement::~file_replacement() {
  if (file_ != nullptr) discard();
}

int file_replacement::descriptor() const {
  assert(file_ != nullptr);
  return ::fileno(file_);
}

void file_replacement::write(std::string_view bytes) {
  assert(file_ != nullptr);
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size()) failed_ = true;
}

int file_replacement::finish_writing() {
  assert(file_ != nullptr);
  if (failed_ || std::fflush(file_) != 0 || ::fsync(::fileno(file_)) != 0) {
    const int error = failed_ ? EIO : errno;
    discard();
    return error;
  }
  const bool closed = std::fclose(file_) == 0;
  const int error = errno;
  file_ = nullptr;
  if (!closed) {
    std::remove(temporary_.c_str());
    return error;
  }
  return 0;
}

bool file_replacement::commit() {
  if (finish_writing() != 0) return false;
  if (std::rename(temporary_.c_str(), path_.c_str()) != 0) {
    std::remove(temporary_.c_str());
    return false;
  }
  return true;
}

int file_replacement::commit_without_replacing() {
  if (const int error = finish_writing()) return error;
  int error = 0;
  if (::link(temporary_.c_str(), path_.c_str()) != 0) {
    error = errno;
    // A file system without hard links: an existence test right before the rename must do.
    if (error != EEXIST && ::access(path_.c_str(), F_OK) != 0) {
      error = std::rename(temporary_.c_str(), path_.c_str()) == 0 ? 0 : errno;
    } else if (error != EEXIST) {
      error = EEXIST;
    }
  }
  std::remove(temporary_.c_str());
  return error;
}

void file_replacement::discard() {
  std::fclose(file_);
  file_ = nullptr;
  std::remove(temporary_.c_str());
}

}  // namespace vantor_env
