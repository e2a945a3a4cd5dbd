#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/sandbox.h"

namespace vantor_test {

// What one run of the CLI gave back.
struct cli_result {
  int status;
  std::string out;
  std::string err;
};

// `word` in single quotes for the shell.
inline std::string quote(const std::string& word) {
  std::string quoted = "'";
  for (char c : word) {
    if (c == '\'') {
      quoted += "'\\''";
    } else {
      quoted += c;
    }
  }
  return quoted + "'";
}

// Runs the CLI as a user does, a real process, with `args` already quoted for the shell and
// `input` on its standard input; its output goes through files in `box`.
inline cli_result run_cli_line(const sandbox& box, const std::string& args,
                               const std::string& input = {}) {
  box.write_file("stdin", input);
  const std::string command = quote(VANTOR_CLI_PATH) + " " + args + " <" +
                              quote(box.path("stdin")) + " >" + quote(box.path("stdout")) + " 2>" +
                              quote(box.path("stderr"));
  const int raw = std::system(command.c_str());
  return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, read_file(box.path("stdout")),
          read_file(box.path("stderr"))};
}

// The same with each of `args` quoted.
inline cli_result run_cli(const sandbox& box, const std::vector<std::string>& args,
                          const std::string& input = {}) {
  std::string line;
  for (const std::string& arg : args) line += " " + quote(arg);
  return run_cli_line(box, line, input);
}

// The id in a line like "added album 12 'Rome'": the word before the name.
inline std::string id_in(const std::string& out) {
  const std::size_t end = out.find(" '");
  const std::size_t start = out.rfind(' ', end - 1) + 1;
  return out.substr(start, end - start);
}

// Runs `line` in a shell, with $VANTOR naming the CLI, for pipes, redirections and terminals;
// what the line leaves on its standard output and error goes through files in `box`.
inline cli_result run_shell(const sandbox& box, const std::string& line) {
  const std::string command = "export VANTOR=" + quote(VANTOR_CLI_PATH) + "; cd " +
                              quote(box.root()) + " && { " + line + "; } >stdout 2>stderr";
  const int raw = std::system(command.c_str());
  return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, read_file(box.path("stdout")),
          read_file(box.path("stderr"))};
}

}  // namespace vantor_test
