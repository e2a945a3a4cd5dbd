#include "catalog_util/search/smart_album_rules.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <cmath>
#include <stdexcept>

namespace vael_util {
namespace {

namespace pt = boost::posix_time;

// What a rule's JSON gives the compiler, besides its field and operator.
enum class operand {
  text,         // "text" (and "text2")
  numbers,      // "value" (and "value2") as numbers, handed over as text
  table,        // "value" (and "value2") quantities, looked up in or added to a table
  integer,      // "value" as a number
  named_value,  // "value" by name (or a boolean for a yes/no field)
  tag,          // "tag": an id
  date,         // "date", or "count" and "unit" for "within the last"
  extensions,   // "text" as "jpg,png", or "index" into the file types
  location,     // "longitude", "latitude", "distance" and "unit"
};

enum class table_kind { none, exposure_times, f_numbers, isos };

struct field_spec {
  const char* name;
  int number;
  std::vector<const char*> ops;  // by rule_op
  operand kind;
  std::vector<const char*> values = {};  // by value, for named values
  table_kind table = table_kind::none;
};

const std::vector<const char*> name_ops = {"is", "begins with", "ends with", "contains",
                                           "does not contain"};
const std::vector<const char*> contains_ops = {"contains", "does not contain"};
const std::vector<const char*> measure_ops = {"is", "above", "below", "between"};
const std::vector<const char*> date_ops = {"on", "before", "after", "within the last"};
const std::vector<const char*> is_op = {"is"};

const std::vector<field_spec>& fields() {
  static const std::vector<field_spec> all = {
      {"file name", 0, name_ops, operand::text},
      {"project file name", 1, contains_ops, operand::text},
      {"tag", 2, is_op, operand::tag},
      {"tag 3", 3, is_op, operand::tag},
      {"rating", 4, {"is", "is not", "below", "above"}, operand::integer},
      {"camera make", 5, contains_ops, operand::text},
      {"camera model", 6, contains_ops, operand::text},
      {"capture date", 7, date_ops, operand::date},
      {"tag date", 8, date_ops, operand::date},
      {"caption", 9, contains_ops, operand::text},
      {"width", 10, measure_ops, operand::numbers},
      {"height", 11, measure_ops, operand::numbers},
      {"file size", 12, {"above", "below"}, operand::numbers},
      {"pixels", 13, measure_ops, operand::numbers},
      {"author", 14, contains_ops, operand::text},
      {"exposure time", 15, measure_ops, operand::table, {}, table_kind::exposure_times},
      {"exposure program", 16, is_op, operand::numbers},
      {"exposure bias", 17, measure_ops, operand::numbers},
      {"f-number", 18, measure_ops, operand::table, {}, table_kind::f_numbers},
      {"iso", 19, measure_ops, operand::table, {}, table_kind::isos},
      {"focal length", 20, measure_ops, operand::numbers},
      {"flash", 21, is_op, operand::named_value, {"fired", "not fired"}},
      {"orientation", 22, is_op, operand::named_value, {"portrait", "landscape"}},
      {"notes", 23, contains_ops, operand::text},
      {"file extension", 24, is_op, operand::extensions},
      {"media kind",
       25,
       is_op,
       operand::named_value,
       {"audio", "video", "photo", "pdf", "project"}},
      {"in media stack", 26, is_op, operand::named_value, {"yes", "no"}},
      {"in version stack", 27, is_op, operand::named_value, {"yes", "no"}},
      {"project kind", 28, is_op, operand::named_value, {"gallery", "omb", "slide show"}},
      {"tag 29", 29, is_op, operand::tag},
      {"frame rate", 30, measure_ops, operand::numbers},
      {"duration", 31, measure_ops, operand::numbers},
      {"format", 32, is_op, operand::text},
      {"tag 33", 33, is_op, operand::tag},
      {"tag 34", 34, is_op, operand::tag},
      {"tag 35", 35, is_op, operand::tag},
      {"folder name", 36, name_ops, operand::text},
      {"location", 37, {"around", "within"}, operand::location},
      {"resolution", 38, is_op, operand::text},
      {"tag 39", 39, is_op, operand::tag},
  };
  return all;
}

const QStringList known_keys = {"field",    "op",        "label",    "text", "text2", "value",
                                "value2",   "index",     "tag",      "date", "count", "unit",
                                "distance", "longitude", "latitude", "place"};

[[noreturn]] void refuse(std::size_t rule, const std::string& what) {
  throw std::invalid_argument("rule " + std::to_string(rule + 1) + ": " + what);
}

std::string names_of(const std::vector<const char*>& names) {
  std::string out;
  for (const char* name : names) out += std::string(out.empty() ? "" : ", ") + "'" + name + "'";
  return out;
}

// A whole number that fits a rule's 32-bit fields.
std::int32_t whole(const QJsonValue& v, std::size_t rule, const char* key) {
  const double d = v.toDouble();
  if (!v.isDouble() || d != std::floor(d) || std::fabs(d) > 2147483647.0) {
    refuse(rule, std::string("'") + key + "' must be a whole number");
  }
  return static_cast<std::int32_t>(d);
}

double number(const QJsonValue& v, std::size_t rule, const char* key) {
  if (!v.isDouble()) refuse(rule, std::string("'") + key + "' must be a number");
  return v.toDouble();
}

std::string text(const QJsonValue& v, std::size_t rule, const char* key) {
  if (!v.isString()) refuse(rule, std::string("'") + key + "' must be a text");
  return v.toString().toStdString();
}

// A number as the compiler reads it back from a rule's text.
std::string number_text(double d) {
  return QString::number(d, 'g', 17).toStdString();
}

const field_spec& find_field(const QJsonValue& v, std::size_t rule) {
  for (const field_spec& f : fields()) {
    if ((v.isString() && v.toString().toStdString() == f.name) ||
        (v.isDouble() && v.toDouble() == f.number)) {
      return f;
    }
  }
  std::vector<const char*> names;
  for (const field_spec& f : fields()) names.push_back(f.name);
  refuse(rule, "unknown field; one of " + names_of(names));
}

// Index of `v` among `names`, or the number itself. Returns -1 for an unknown name.
int find_name(const QJsonValue& v, const std::vector<const char*>& names) {
  if (v.isDouble()) return static_cast<int>(v.toDouble());
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (v.toString().toStdString() == names[i]) return static_cast<int>(i);
  }
  return -1;
}

pt::ptime date_of(const QJsonValue& v, std::size_t rule) {
  std::string t = text(v, rule, "date");
  if (t.size() == 10) t += "T00:00:00";
  if (t.size() > 10 && t[10] == 'T') t[10] = ' ';
  try {
    const pt::ptime when = pt::time_from_string(t);
    if (!when.is_special()) return when;
  } catch (const std::exception&) {
  }
  refuse(rule, "'date' must read like 2014-01-31 or 2014-01-31T10:30:00");
}

// Puts the quantity into the album's lookup table, once, and gives its index.
template <typename T>
std::int32_t index_in(std::vector<T>& table, T quantity) {
  for (std::size_t i = 0; i < table.size(); ++i) {
    if (table[i] == quantity) return static_cast<std::int32_t>(i);
  }
  table.push_back(quantity);
  return static_cast<std::int32_t>(table.size() - 1);
}

std::int32_t table_operand(advanced_metadata_search& album, const field_spec& f,
                           const QJsonValue& v, std::size_t rule, const char* key) {
  switch (f.table) {
    case table_kind::exposure_times:
      return index_in(album.exposure_time_table, number(v, rule, key));
    case table_kind::f_numbers:
      return index_in(album.f_number_table, number(v, rule, key));
    case table_kind::isos:
      return index_in(album.iso_table, static_cast<int>(whole(v, rule, key)));
    case table_kind::none:
      break;
  }
  return 0;
}

void read_operand(advanced_metadata_search& album, search_rule& r, const field_spec& f,
                  const QJsonObject& o, std::size_t rule) {
  const auto needs = [&](const char* key) {
    if (!o.contains(key)) refuse(rule, std::string("'") + f.name + "' needs '" + key + "'");
    return o.value(key);
  };
  const bool between = r.rule_op == 3;
  switch (f.kind) {
    case operand::text:
      r.text = text(needs("text"), rule, "text");
      break;
    case operand::numbers:
      r.text = number_text(number(needs("value"), rule, "value"));
      if (between) r.text2 = number_text(number(needs("value2"), rule, "value2"));
      break;
    case operand::table:
      r.value = table_operand(album, f, needs("value"), rule, "value");
      if (between) r.value2 = table_operand(album, f, needs("value2"), rule, "value2");
      break;
    case operand::integer:
      r.value = whole(needs("value"), rule, "value");
      break;
    case operand::named_value: {
      QJsonValue v = needs("value");
      if (v.isBool()) v = v.toBool() ? "yes" : "no";
      r.value = find_name(v, f.values);
      if (r.value < 0)
        refuse(rule, "'value' of '" + std::string(f.name) + "' is one of " + names_of(f.values));
      break;
    }
    case operand::tag:
      r.tag_id = whole(needs("tag"), rule, "tag");
      break;
    case operand::date:
      if (r.rule_op == 3) {
        r.count = whole(needs("count"), rule, "count");
        r.unit = find_name(needs("unit"), {"days", "weeks", "months"});
        if (r.unit < 0) refuse(rule, "'unit' is one of 'days', 'weeks', 'months'");
      } else {
        r.date = date_of(needs("date"), rule);
      }
      break;
    case operand::extensions:
      if (o.contains("index")) {
        r.value = whole(o.value("index"), rule, "index");
      } else {
        r.text = text(needs("text"), rule, "text");
      }
      break;
    case operand::location:
      r.longitude = number(needs("longitude"), rule, "longitude");
      r.latitude = number(needs("latitude"), rule, "latitude");
      if (r.rule_op == 1) {
        r.distance = whole(needs("distance"), rule, "distance");
        const int unit = o.contains("unit") ? find_name(o.value("unit"), {"miles", "km"}) : 0;
        if (unit < 0) refuse(rule, "'unit' is one of 'miles', 'km'");
        r.distance_unit = unit;
      }
      if (o.contains("place")) r.place_name = text(o.value("place"), rule, "place");
      break;
  }
}

search_rule read_rule(advanced_metadata_search& album, const QJsonValue& value, std::size_t rule) {
  if (!value.isObject()) refuse(rule, "a rule is an object");
  const QJsonObject o = value.toObject();
  for (const QString& key : o.keys()) {
    if (!known_keys.contains(key)) refuse(rule, "unknown key '" + key.toStdString() + "'");
  }
  const field_spec& f = find_field(o.value("field"), rule);
  search_rule r;
  r.rule_field = f.number;
  if (o.contains("label")) r.label = text(o.value("label"), rule, "label");
  const QJsonValue op = o.contains("op") ? o.value("op") : QJsonValue(f.ops.front());
  // "at least 3" and "at most 3" of a rating are "above 2" and "below 4".
  const std::string op_name = op.toString().toStdString();
  const bool at_least = f.number == 4 && op_name == "at least";
  const bool at_most = f.number == 4 && op_name == "at most";
  r.rule_op = at_least ? 3 : at_most ? 2 : find_name(op, f.ops);
  if (r.rule_op < 0) {
    refuse(rule, "'" + op_name + "' is no operator of '" + f.name + "'; one of " + names_of(f.ops) +
                     (f.number == 4 ? ", 'at least', 'at most'" : ""));
  }
  read_operand(album, r, f, o, rule);
  if (at_least) --r.value;
  if (at_most) ++r.value;
  return r;
}

template <typename T>
std::vector<T> list_of(const QJsonValue& v, const char* key) {
  std::vector<T> out;
  if (v.isUndefined()) return out;
  if (!v.isArray()) throw std::invalid_argument(std::string("lookup '") + key + "' is a list");
  for (const QJsonValue& item : v.toArray()) {
    if constexpr (std::is_same_v<T, std::string>) {
      out.push_back(item.toString().toStdString());
    } else {
      out.push_back(static_cast<T>(item.toDouble()));
    }
  }
  return out;
}

}  // namespace

advanced_metadata_search smart_album_from_json(const std::string& json) {
  QJsonParseError error;
  const QJsonDocument doc = QJsonDocument::fromJson(QByteArray::fromStdString(json), &error);
  if (doc.isNull()) {
    throw std::invalid_argument("the rules are no JSON: " + error.errorString().toStdString() +
                                " at byte " + std::to_string(error.offset));
  }
  if (!doc.isObject()) throw std::invalid_argument("the rules are one JSON object");
  const QJsonObject top = doc.object();
  advanced_metadata_search album;
  album.name = top.value("name").toString().toStdString();
  const QString match = top.value("match").toString("all");
  if (match != "all" && match != "any") {
    throw std::invalid_argument("'match' is 'all' or 'any'");
  }
  album.match_all_rules = match == "all";
  const QJsonObject lookup = top.value("lookup").toObject();
  album.f_number_table = list_of<double>(lookup.value("f_numbers"), "f_numbers");
  album.exposure_time_table = list_of<double>(lookup.value("exposure_times"), "exposure_times");
  album.iso_table = list_of<int>(lookup.value("isos"), "isos");
  album.file_type_extensions = list_of<std::string>(lookup.value("file_types"), "file_types");
  const QJsonArray rules = top.value("rules").toArray();
  for (qsizetype i = 0; i < rules.size(); ++i) {
    album.rules.push_back(read_rule(album, rules.at(i), static_cast<std::size_t>(i)));
  }
  return album;
}

void set_lookup_tables(search_criteria& search, const smart_album_lookup& lookup) {
  if (search.type() != advanced_metadata_search_type) return;
  advanced_metadata_search album = search.get<advanced_metadata_search>();
  album.f_number_table = lookup.f_numbers;
  album.exposure_time_table = lookup.exposure_times;
  album.iso_table = lookup.isos;
  album.file_type_extensions = lookup.file_types;
  search = search_criteria(album, advanced_metadata_search_type);
}

}  // namespace vael_util
