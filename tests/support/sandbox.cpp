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

// Each variable the sandbox takes over, and its folder under the root.
// clang-format off
const std::pair<const char*, const char*> kVariables[] = {
    {"HOME", "home"},                       {"VANTOR_SETTINGS_ROOT", "registry"},
    {"XDG_CONFIG_HOME", "home/.config"},    {"XDG_DATA_HOME", "home/.local/share"},
    {"XDG_CACHE_HOME", "home/.cache"},      {"XDG_RUNTIME_DIR", "run"},
    {"XDG_CONFIG_DIRS", "etc/xdg"},         {"XDG_DATA_DIRS", "usr/share"}};
// clang-format on

}  // namespace

sandbox::sandbox() {
  root_ = (std::filesystem::temp_directory_path() / "vantor-test-XXXXXX").string();
  if (::mkdtemp(root_.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  for (const auto& [name, folder] : kVariables) {
    saved_.emplace_back(name, std::getenv(name) ? std::getenv(name) : kUnset);
    std::filesystem::create_directories(path(folder));
    ::setenv(name, path(folder).c_str(), 1);
  }
  for (const char* name : {"VANTOR_KSV_LIBRARY", "VANTOR_KSV_LOCAL_STATE"})
    saved_.emplace_back(name, std::getenv(name) ? std::getenv(name) : kUnset);
  ::unsetenv("VANTOR_KSV_LIBRARY");
  ::setenv("VANTOR_KSV_LOCAL_STATE", path("ksv.json").c_str(), 1);
}

sandbox::~sandbox() {
  for (const auto& [name, value] : saved_)
    value == kUnset ? ::unsetenv(name.c_str()) : ::setenv(name.c_str(), value.c_str(), 1);
  std::error_code ignored;
  std::filesystem::remove_all(root_, ignored);
}

void sandbox::write_file(const std::string& relative, const std::string& content) const {
  const std::filesystem::path target = path(relative);
  std::filesystem::create_directories(target.parent_path());
  if (!(std::ofstream(target, std::ios::binary) << content << std::flush))
    throw std::runtime_error("cannot write " + target.string());
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
  // Puts standard error back and gives what was written.
  const auto restore = [&] {
    std::fflush(stderr);
    ::dup2(saved, STDERR_FILENO);
    ::close(saved);
    std::string text(static_cast<size_t>(std::ftell(sink)), '\0');
    std::rewind(sink);
    text.resize(std::fread(&text[0], 1, text.size(), sink));
    std::fclose(sink);
    return text;
  };
  try {
    fn();
  } catch (...) {
    restore();
    throw;
  }
  return restore();
}

}  // namespace vantor_test
