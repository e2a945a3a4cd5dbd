#include "tools/vantor/cli.h"

#include <unistd.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <boost/lexical_cast.hpp>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>

namespace vantor_cli {
namespace {

int status = 0;
bool progress_flag = false;
bool quiet_flag = false;

// The first line of `description` is the summary that lists show; the rest goes below the
// command's own help.
CLI::App* add_described(CLI::App& parent, const std::string& name, const std::string& description) {
  const std::size_t end = description.find('\n');
  CLI::App* command = parent.add_subcommand(name, description.substr(0, end));
  if (end != std::string::npos) command->footer(description.substr(end + 1));
  return command;
}

}  // namespace

CLI::App* add_command(CLI::App& parent, const std::string& name, const std::string& description,
                      std::function<int()> body) {
  CLI::App* command = add_described(parent, name, description);
  command->callback([body = std::move(body)] { status = body(); });
  return command;
}

CLI::App* add_family(CLI::App& parent, const std::string& name, const std::string& description) {
  CLI::App* family = add_described(parent, name, description);
  family->require_subcommand(1);
  return family;
}

void add_json_flag(CLI::App* command, bool& json) {
  command->add_flag("--json", json, "Prints one JSON document instead of text.");
}

int command_status() {
  return status;
}

bool progress_wanted() {
  return !quiet_flag && (progress_flag || ::isatty(STDERR_FILENO) == 1);
}

void add_global_options(CLI::App& app) {
  app.add_flag("--progress", progress_flag,
               "Draws progress on standard error even off a terminal.");
  app.add_flag("--quiet", quiet_flag, "Draws no progress.");
}

long long parse_integer(const std::string& text, const std::string& what) {
  try {
    return boost::lexical_cast<long long>(text);
  } catch (const boost::bad_lexical_cast&) {
    throw usage_error(what + " must be a whole number, not '" + text + "'");
  }
}

double parse_number(const std::string& text, const std::string& what) {
  try {
    return boost::lexical_cast<double>(text);
  } catch (const boost::bad_lexical_cast&) {
    throw usage_error(what + " must be a number, not '" + text + "'");
  }
}

bool parse_bool(const std::string& text, const std::string& what) {
  if (text == "true") return true;
  if (text == "false") return false;
  throw usage_error(what + " must be true or false, not '" + text + "'");
}

boost::posix_time::ptime parse_time(const std::string& text, const std::string& what) {
  std::string spaced = text;
  if (spaced.size() > 10 && spaced[10] == 'T') spaced[10] = ' ';
  try {
    const boost::posix_time::ptime t = boost::posix_time::time_from_string(spaced);
    if (!t.is_special()) return t;
  } catch (const std::exception&) {
  }
  throw usage_error(what + " '" + text + "' is no date and time like 2014-01-15T10:30:00");
}

std::string read_text(const std::string& path) {
  std::ostringstream text;
  if (path.empty() || path == "-") {
    text << std::cin.rdbuf();
    return text.str();
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot open " + path);
  text << in.rdbuf();
  return text.str();
}

}  // namespace vantor_cli
