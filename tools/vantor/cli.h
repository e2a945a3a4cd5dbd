#pragma once

#include <CLI/CLI.hpp>
#include <boost/date_time/posix_time/ptime.hpp>
#include <functional>
#include <stdexcept>
#include <string>

namespace vantor_cli {

// A value the declarations could not check (an unknown field name, a date in the wrong
// form); main prints it with the usage of the command at hand, as for a parse error.
class usage_error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A command under `parent` that runs `body` when named; its result is the exit status.
CLI::App* add_command(CLI::App& parent, const std::string& name, const std::string& description,
                      std::function<int()> body);
// A family of commands, one of which must be named.
CLI::App* add_family(CLI::App& parent, const std::string& name, const std::string& description);
// --json on a command that lists or shows things.
void add_json_flag(CLI::App* command, bool& json);

// The exit status the command that ran gave.
int command_status();

// Whether progress is drawn: on a terminal or with --progress, never with --quiet.
bool progress_wanted();
// The global options, declared on the top level.
void add_global_options(CLI::App& app);

// Text to a number, with a usage_error that names `what`.
long long parse_integer(const std::string& text, const std::string& what);
double parse_number(const std::string& text, const std::string& what);
bool parse_bool(const std::string& text, const std::string& what);
// A date and time like 2014-01-15T10:30:00 (or with a blank for the T), with a usage_error
// that names `what`.
boost::posix_time::ptime parse_time(const std::string& text, const std::string& what);

// The bytes of the file at `path`, or of standard input for "" or "-". Throws
// std::runtime_error when the file cannot be opened.
std::string read_text(const std::string& path);

}  // namespace vantor_cli
