#include "tools/vantor/output.h"

#include <unistd.h>

#include <QJsonDocument>
#include <cerrno>
#include <iostream>

namespace vantor_cli {

std::string escape_field(const std::string& text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '\t':
        escaped += "\\t";
        break;
      case '\n':
        escaped += "\\n";
        break;
      case '\r':
        escaped += "\\r";
        break;
      case '\\':
        escaped += "\\\\";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

void print_row(std::initializer_list<std::string> fields) {
  bool first = true;
  for (const std::string& field : fields) {
    if (!first) std::cout << '\t';
    std::cout << escape_field(field);
    first = false;
  }
  std::cout << '\n';
}

void print_json(const QJsonObject& document) {
  std::cout << QJsonDocument(document).toJson(QJsonDocument::Indented).toStdString();
}

void print_json(const QJsonArray& document) {
  std::cout << QJsonDocument(document).toJson(QJsonDocument::Indented).toStdString();
}

QJsonValue json_text(const std::string& text) {
  return QString::fromStdString(text);
}

QJsonArray json_ids(const std::vector<int>& ids) {
  QJsonArray array;
  for (int id : ids) array.append(id);
  return array;
}

checked_output::checked_output() : previous_(std::cout.rdbuf(this)) {
  setp(buffer_, buffer_ + sizeof buffer_);
}

checked_output::~checked_output() {
  std::cout.rdbuf(previous_);
}

int checked_output::finish() {
  std::cout.flush();
  flush_buffer();
  return error_;
}

int checked_output::overflow(int c) {
  if (!flush_buffer()) return traits_type::eof();
  if (c != traits_type::eof()) {
    *pptr() = static_cast<char>(c);
    pbump(1);
  }
  return traits_type::not_eof(c);
}

int checked_output::sync() {
  return flush_buffer() ? 0 : -1;
}

// After a failure the rest is dropped: nobody reads it, or there is no room for it.
bool checked_output::flush_buffer() {
  const char* next = pbase();
  std::size_t left = static_cast<std::size_t>(pptr() - pbase());
  while (left > 0 && error_ == 0) {
    const ssize_t written = ::write(STDOUT_FILENO, next, left);
    if (written < 0) {
      if (errno != EINTR) error_ = errno;
      continue;
    }
    next += written;
    left -= static_cast<std::size_t>(written);
  }
  setp(buffer_, buffer_ + sizeof buffer_);
  return error_ == 0;
}

}  // namespace vantor_cli
