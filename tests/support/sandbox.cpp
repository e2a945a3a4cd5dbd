#include "tests/support/sandbox.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace vantor_test {
namespace {

const char kUnset[] = "\x01unset";

const char* const kVariables[] = {
    "HOME",           "VANTOR_SETTINGS_ROOT", "XDG_CONFIG_HOME", "XDG_DATA_HOME",
    "XDG_CACHE_HOME", "XDG_RUNTIME_DIR",      "XDG_CONFIG_DIRS", "XDG_DATA_DIRS"};

}  // namespace

sandbox::sandbox() {
  std::string pattern = (std::filesystem::temp_directory_path() / "vantor-test-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  root_ = pattern;
  for (const char* name : kVariables) {
    const char* old = std::getenv(name);
    saved_.emplace_back(name, old ? old : kUnset);
  }
  auto make = [this](const std::string& sub) {
    std::filesystem::create_directories(path(sub));
    return path(sub);
  };
  ::setenv("HOME", make("home").c_str(), 1);
  ::setenv("VANTOR_SETTINGS_ROOT", make("registry").c_str(), 1);
  ::setenv("XDG_CONFIG_HOME", make("home/.config").c_str(), 1);
  ::setenv("XDG_DATA_HOME", make("home/.local/share").c_str(), 1);
  ::setenv("XDG_CACHE_HOME", make("home/.cache").c_str(), 1);
  ::setenv("XDG_RUNTIME_DIR", make("run").c_str(), 1);
  ::setenv("XDG_CONFIG_DIRS", make("etc/xdg").c_str(), 1);
  ::setenv("XDG_DATA_DIRS", make("usr/share").c_str(), 1);
}

sandbox::~sandbox() {
  for (const auto& [name, value] : saved_) {
    if (value == kUnset) {
      ::unsetenv(name.c_str());
    } else {
      ::setenv(name.c_str(), value.c_str(), 1);
    }
  }
  std::error_code ignored;
  std::filesystem::remove_all(root_, ignored);
}

std::string sandbox::path(const std::string& relative) const {
  return root_ + "/" + relative;
}

void sandbox::write_file(const std::string& relative, const std::string& content) const {
  std::filesystem::path target = path(relative);
  std::filesystem::create_directories(target.parent_path());
  std::ofstream out(target, std::ios::binary | std::ios::trunc);
  out << content;
  if (!out) throw std::runtime_error("cannot write " + target.string());
}

std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot open " + path);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

std::string capture_stderr(const std::function<void()>& fn) {
  std::fflush(stderr);
  std::FILE* sink = std::tmpfile();
  if (sink == nullptr) throw std::runtime_error("tmpfile failed");
  const int saved = ::dup(STDERR_FILENO);
  ::dup2(::fileno(sink), STDERR_FILENO);
  try {
    fn();
  } catch (...) {
    std::fflush(stderr);
    ::dup2(saved, STDERR_FILENO);
    ::close(saved);
    std::fclose(sink);
    throw;
  }
  std::fflush(stderr);
  ::dup2(saved, STDERR_FILENO);
  ::close(saved);
  std::string text;
  std::rewind(sink);
  char buffer[4096];
  size_t n;
  while ((n = std::fread(buffer, 1, sizeof buffer, sink)) > 0) text.append(buffer, n);
  std::fclose(sink);
  return text;
}

}  // namespace vantor_test
