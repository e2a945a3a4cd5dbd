#include "catalog_util/creation_file.h"

#include <QFile>
#include <QSaveFile>
#include <QString>
#include <QtEndian>
#include <cstdint>
#include <limits>
#include <stdexcept>

namespace vael_util {
namespace {

QString file_name(const std::string& path) {
  return QFile::decodeName(QByteArray(path.data(), static_cast<qsizetype>(path.size())));
}

template <typename T>
void append_big_endian(std::string& out, T value) {
  char bytes[sizeof(T)];
  qToBigEndian(value, bytes);
  out.append(bytes, sizeof(T));
}

void append_length(std::string& out, std::size_t length, const char* field) {
  if (length > std::numeric_limits<std::uint32_t>::max()) {
    throw std::length_error(std::string("the creation file's ") + field +
                            " is too long for its 32-bit length");
  }
  append_big_endian(out, static_cast<std::uint32_t>(length));
}

// Hands out the fields of a creation file front to back, refusing any that the bytes left
// cannot hold, so no length or count from the file is trusted before it is checked.
class field_reader {
 public:
  explicit field_reader(std::string_view bytes) : rest_(bytes) {}

  template <typename T>
  T number(const char* field) {
    return qFromBigEndian<T>(take(sizeof(T), field).data());
  }

  std::string_view take(std::uint64_t size, const char* field) {
    if (size > rest_.size()) {
      throw std::runtime_error(std::string("truncated creation file: the ") + field + " needs " +
                               std::to_string(size) + " bytes and " + std::to_string(rest_.size()) +
                               " are left");
    }
    const std::string_view taken = rest_.substr(0, static_cast<std::size_t>(size));
    rest_.remove_prefix(taken.size());
    return taken;
  }

  std::size_t left() const { return rest_.size(); }

 private:
  std::string_view rest_;
};

constexpr std::size_t id_size = sizeof(std::uint64_t);

}  // namespace

bool write_creation_file(const std::string& path, const std::string& title,
                         const std::vector<int>& ids, const std::string& blob) {
  const QString text = QString::fromUtf8(title.data(), static_cast<qsizetype>(title.size()));
  const auto units = static_cast<std::size_t>(text.size());
  std::string bytes;
  bytes.reserve(3 * 4 + 2 * units + id_size * ids.size() + blob.size());
  append_length(bytes, 2 * units, "title");
  bytes.resize(bytes.size() + 2 * units);
  qToBigEndian<char16_t>(text.utf16(), static_cast<qsizetype>(units),
                         bytes.data() + bytes.size() - 2 * units);
  append_length(bytes, ids.size(), "media count");
  for (const int id : ids) append_big_endian(bytes, static_cast<std::int64_t>(id));
  append_length(bytes, blob.size(), "blob");
  bytes += blob;

  QSaveFile file(file_name(path));
  if (!file.open(QIODevice::WriteOnly)) return false;
  file.write(bytes.data(), static_cast<qint64>(bytes.size()));
  return file.commit();
}

void read_creation_file(const std::string& path, std::string& title, std::vector<int>& ids,
                        std::string& blob) {
  QFile file(file_name(path));
  if (!file.open(QIODevice::ReadOnly)) return;
  const QByteArray bytes = file.readAll();
  if (file.error() != QFileDevice::NoError) {
    throw std::runtime_error("cannot read the creation file " + path + ": " +
                             file.errorString().toStdString());
  }
  try {
    parse_creation_file(std::string_view(bytes.data(), static_cast<std::size_t>(bytes.size())),
                        title, ids, blob);
  } catch (const std::runtime_error& e) {
    throw std::runtime_error(path + ": " + e.what());
  }
}

void parse_creation_file(std::string_view bytes, std::string& title, std::vector<int>& ids,
                         std::string& blob) {
  field_reader in(bytes);
  const auto title_size = in.number<std::uint32_t>("title length");
  if (title_size % 2 != 0) {
    throw std::runtime_error("malformed creation file: the title length " +
                             std::to_string(title_size) + " is odd");
  }
  const std::string_view title_bytes = in.take(title_size, "title");
  QString text(static_cast<qsizetype>(title_size / 2), Qt::Uninitialized);
  qFromBigEndian<char16_t>(title_bytes.data(), text.size(), text.data());

  const auto count = in.number<std::uint32_t>("media count");
  if (count > in.left() / id_size) {
    throw std::runtime_error("truncated creation file: the media count " + std::to_string(count) +
                             " needs more than the " + std::to_string(in.left()) + " bytes left");
  }
  std::vector<int> read_ids;
  read_ids.reserve(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    const auto value = in.number<std::uint64_t>("media id");
    read_ids.push_back(static_cast<int>(static_cast<std::uint32_t>(value)));
  }
  const std::string_view blob_bytes = in.take(in.number<std::uint32_t>("blob length"), "blob");

  title = text.toStdString();
  ids = std::move(read_ids);
  blob.assign(blob_bytes);
}

}  // namespace vael_util
