#pragma once

#include <functional>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace vantor_cli {

// A mistake in how the command was called; main prints it with a pointer to --help.
class usage_error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The words after a command's name, split into options and positionals.
struct parsed_args {
  std::map<std::string, std::string> options;  // "--folder" -> "F"
  std::set<std::string> flags;                 // "--machine"
  std::vector<std::string> positionals;

  bool has(const std::string& flag) const { return flags.count(flag) != 0; }
  // The value of an option, or `fallback` when it was not given.
  std::string option(const std::string& name, const std::string& fallback = {}) const;
  // The value of an option that must be given; usage_error otherwise.
  std::string required(const std::string& name) const;
};

// Splits `words`. Options in `valued` take the next word ("--size 10" or "--size=10"); those in
// `flags` take none. Any other word starting with "--" is a usage_error; "--" ends options.
parsed_args parse_args(const std::vector<std::string>& words, const std::set<std::string>& valued,
                       const std::set<std::string>& flags = {});

// Requires between `min` and `max` positionals.
void expect_positionals(const parsed_args& args, size_t min, size_t max);

// One node of the command tree: a leaf runs, an inner node dispatches to its children. An
// inner node may also run, when no further word is given.
struct command {
  std::string name;
  std::string synopsis;  // e.g. "[--prefs FILE] --size BYTES --mime TYPE"
  std::string summary;   // one line
  std::string details;   // more lines for --help, may be empty
  std::function<int(const std::vector<std::string>&)> run;
  std::vector<command> children;
};

// Runs the command that `words` names below `node`; `path` is how the user reached `node`
// ("vantor prefs"). --help or -h anywhere prints the help of the deepest command named.
int dispatch(const command& node, const std::vector<std::string>& words, const std::string& path);

// Text to integer or float, with a usage_error that names `what`.
long long parse_integer(const std::string& text, const std::string& what);
double parse_number(const std::string& text, const std::string& what);
bool parse_bool(const std::string& text, const std::string& what);

// The bytes of the file at `path`, or of standard input for "" or "-". Throws
// std::runtime_error when the file cannot be opened.
std::string read_text(const std::string& path);

}  // namespace vantor_cli
