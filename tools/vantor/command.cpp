#include "tools/vantor/command.h"

#include <boost/lexical_cast.hpp>
#include <fstream>
#include <iostream>
#include <sstream>

namespace vantor_cli {

std::string parsed_args::option(const std::string& name, const std::string& fallback) const {
  auto found = options.find(name);
  return found == options.end() ? fallback : found->second;
}

std::string parsed_args::required(const std::string& name) const {
  auto found = options.find(name);
  if (found == options.end()) throw usage_error("missing " + name);
  return found->second;
}

parsed_args parse_args(const std::vector<std::string>& words, const std::set<std::string>& valued,
                       const std::set<std::string>& flags) {
  parsed_args result;
  bool options_done = false;
  for (size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (options_done || word.size() < 2 || word.compare(0, 2, "--") != 0) {
      result.positionals.push_back(word);
      continue;
    }
    if (word == "--") {
      options_done = true;
      continue;
    }
    const size_t equals = word.find('=');
    const std::string name = word.substr(0, equals);
    if (valued.count(name) != 0) {
      if (equals != std::string::npos) {
        result.options[name] = word.substr(equals + 1);
      } else if (i + 1 < words.size()) {
        result.options[name] = words[++i];
      } else {
        throw usage_error(name + " needs a value");
      }
    } else if (flags.count(name) != 0 && equals == std::string::npos) {
      result.flags.insert(name);
    } else {
      throw usage_error("unknown option " + word);
    }
  }
  return result;
}

void expect_positionals(const parsed_args& args, size_t min, size_t max) {
  if (args.positionals.size() < min) throw usage_error("too few arguments");
  if (args.positionals.size() > max) {
    throw usage_error("unexpected argument " + args.positionals[max]);
  }
}

namespace {

void print_help(const command& node, const std::string& path) {
  std::cout << "usage: " << path;
  if (!node.children.empty()) {
    std::cout << " COMMAND ...";
  } else if (!node.synopsis.empty()) {
    std::cout << ' ' << node.synopsis;
  }
  std::cout << "\n\n" << node.summary << "\n";
  if (!node.details.empty()) std::cout << "\n" << node.details << "\n";
  if (!node.children.empty()) {
    std::cout << "\ncommands:\n";
    size_t width = 0;
    for (const command& child : node.children) width = std::max(width, child.name.size());
    for (const command& child : node.children) {
      std::cout << "  " << child.name << std::string(width - child.name.size() + 2, ' ')
                << child.summary << "\n";
    }
    std::cout << "\nRun '" << path << " COMMAND --help' for more.\n";
  }
}

bool asks_for_help(const std::vector<std::string>& words) {
  for (const std::string& word : words) {
    if (word == "--") return false;
    if (word == "--help" || word == "-h") return true;
  }
  return false;
}

}  // namespace

int dispatch(const command& node, const std::vector<std::string>& words, const std::string& path) {
  if (node.children.empty()) {
    if (asks_for_help(words)) {
      print_help(node, path);
      return 0;
    }
    return node.run(words);
  }
  if (words.empty()) {
    if (node.run) return node.run(words);
    print_help(node, path);
    return 2;
  }
  if (words.front() == "--help" || words.front() == "-h" || words.front() == "help") {
    print_help(node, path);
    return 0;
  }
  for (const command& child : node.children) {
    if (child.name == words.front()) {
      return dispatch(child, std::vector<std::string>(words.begin() + 1, words.end()),
                      path + " " + child.name);
    }
  }
  throw usage_error("unknown command '" + words.front() + "' for " + path);
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
