#include "preferences/file_replacement.h"

#include <unistd.h>

#include <cassert>
#include <cerrno>
#include <cstdio>
#include <utility>

namespace vantor_prefs {
namespace {

constexpr int kMaxNameAttempts = 100;

}  // namespace

file_replacement::file_replacement(std::string path) : path_(std::move(path)) {
  // "x" makes the open exclusive, so a temporary left by a crashed writer is never reused; the
  // file gets the mode that a plain fopen of the target would give it.
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

void file_replacement::write(std::string_view bytes) {
  assert(file_ != nullptr);
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size()) failed_ = true;
}

bool file_replacement::commit() {
  assert(file_ != nullptr);
  if (failed_ || std::fflush(file_) != 0 || ::fsync(::fileno(file_)) != 0) {
    discard();
    return false;
  }
  const bool closed = std::fclose(file_) == 0;
  file_ = nullptr;
  if (!closed || std::rename(temporary_.c_str(), path_.c_str()) != 0) {
    std::remove(temporary_.c_str());
    return false;
  }
  return true;
}

void file_replacement::discard() {
  std::fclose(file_);
  file_ = nullptr;
  std::remove(temporary_.c_str());
}

}  // namespace vantor_prefs
