#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <initializer_list>
#include <streambuf>
#include <string>
#include <vector>

namespace vantor_cli {

// A field of a text table with tab, line feed, carriage return and backslash written as \t \n
// \r \\, so that no value can break a row.
std::string escape_field(const std::string& text);
// Prints one row of a text table: escaped fields joined by tabs.
void print_row(std::initializer_list<std::string> fields);

// Prints `document` indented, as the one output of a --json command.
void print_json(const QJsonObject& document);
void print_json(const QJsonArray& document);
QJsonValue json_text(const std::string& text);
QJsonArray json_ids(const std::vector<int>& ids);

// Standard output written straight to its descriptor, remembering the first error, since a
// stream only says that it failed and a full disk must be told from a reader gone away.
class checked_output : public std::streambuf {
 public:
  checked_output();
  ~checked_output() override;
  checked_output(const checked_output&) = delete;
  checked_output& operator=(const checked_output&) = delete;

  // Flushes and gives the error number of the first failed write, 0 when none failed.
  int finish();

 protected:
  int overflow(int c) override;
  int sync() override;

 private:
  bool flush_buffer();

  char buffer_[1 << 15];
  int error_ = 0;
  std::streambuf* previous_;
};

}  // namespace vantor_cli
