// The clause of each smart album rule field.

#include <boost/algorithm/string/split.hpp>
#include <boost/date_time/gregorian/gregorian.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cmath>
#include <functional>
#include <locale>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "catalog/search_index.h"
#include "catalog_util/file_types.h"
#include "catalog_util/metadata_vocabulary.h"
#include "catalog_util/search/smart_album_statement.h"

namespace vael_util {
namespace {

namespace pt = boost::posix_time;
namespace greg = boost::gregorian;
namespace id = metadata_identifier;
namespace mime = creation_mime_type;

constexpr double radians_per_degree = 3.14159265358979323846 / 180.0;

// The rule being compiled. `n` numbers its aliases. `p` numbers its parameters: the index
// itself up to 9, "_N_" from 10 on. Plain indexes would let rules meet on one name from the
// eleventh rule on (":md_value2" of rule 0 is ":md_value" of rule 20, the first "not rated"
// rating of rule 1 binds ":metadata_desc_id10" of rule 10), and a second bind replaces the
// first.
struct rule_context {
  smart_album_statement& st;
  const search_rule& r;
  std::string n;
  std::string p;

  std::string param(const char* stem) const { return stem + p; }
  std::string md() const { return "md_" + n; }
  // " \tAND md_N" + the operator + the parameter.
  std::string compare(const char* op, const char* stem) const {
    return " \tAND md_" + n + op + param(stem);
  }
  void bind(const char* stem, const dbl::entry_data& value) const {
    st.query().bind(param(stem), value);
  }
};

template <typename T>
T number_of_text(const std::string& text) {
  std::istringstream in(text);
  in.imbue(std::locale::classic());
  T value{};
  in >> std::noskipws >> value;
  if (text.empty() || in.fail() || in.peek() != std::char_traits<char>::eof()) {
    throw std::runtime_error("bad cast");
  }
  return value;
}
double decimal_of(const std::string& text) {
  return number_of_text<double>(text);
}
int integer_of(const std::string& text) {
  return number_of_text<int>(text);
}

template <typename T>
const T& entry(const std::vector<T>& table, std::int32_t index) {
  if (index < 0 || static_cast<std::size_t>(index) >= table.size()) {
    throw std::out_of_range("invalid vector<T> subscript");
  }
  return table[static_cast<std::size_t>(index)];
}

// A LIKE operand that matches `_` and `%` as themselves, and whether it needs " ESCAPE '/'".
// The escape character is escaped as well: SQLite drops a "/" before any other character, so
// "a/b_c" would otherwise find "ab_c".
struct like_text {
  std::string text;
  bool escaped = false;
};
like_text escape_like(const std::string& text) {
  if (text.find_first_of("_%") == std::string::npos && text != "-") return {text, false};
  std::string out;
  for (const char c : text) {
    if (c == '_' || c == '%' || c == '/') out += '/';
    out += c;
  }
  return {out, true};
}
const char* escape_clause(const like_text& t) {
  return t.escaped ? " ESCAPE '/'" : "";
}

void add_metadata_clause(const rule_context& c, const char* identifier, const char* table,
                         const std::string& clause) {
  const std::string& n = c.n;
  c.st.main_clause() += "\tmedia_table.id IN (SELECT m2md_" + n + ".media_id" + "\tFROM " + table +
                        " AS md_" + n + ", media_to_metadata_table AS m2md_" + n + "\tWHERE m2md_" +
                        n + ".metadata_id = md_" + n + ".id" + "\tAND md_" + n +
                        ".description_id = " + c.param(":metadata_desc_id") + clause + ")";
  c.bind(":metadata_desc_id", c.st.description_id(identifier));
}

void add_date_tag_clause(const rule_context& c, const std::string& clause) {
  const std::string& n = c.n;
  c.st.main_clause() +=
      "\tmedia_table.id IN ( SELECT t2m_" + n + ".media_id FROM tag_to_media_table AS t2m_" + n +
      "\tWHERE t2m_" + n + ".tag_id IN (SELECT t2md_" + n +
      ".tag_id FROM tag_to_metadata_table AS t2md_" + n +
      "\tINNER JOIN metadata_date_time_table AS md_" + n + "    ON md_" + n + ".id = t2md_" + n +
      ".metadata_id" + "    AND md_" + n + ".description_id = " + c.param(":metadata_desc_id") +
      "\n" + "    AND " + clause + ")" + ")";
  c.bind(":metadata_desc_id", c.st.description_id(id::tag_date));
}

pt::ptime next_midnight(const pt::ptime& t) {
  return pt::ptime(t.date() + greg::days(1));
}

// The start of "within the last `count` units": midnight of today stepped back; `date` for
// an unknown unit.
pt::ptime relative_begin(const search_rule& r, const greg::date& today) {
  switch (r.unit) {
    case unit_days:
      return pt::ptime(today - greg::days(r.count));
    case unit_weeks:
      return pt::ptime(today - greg::weeks(r.count));
    case unit_months:
      return pt::ptime(today - greg::months(r.count));
    default:
      return r.date;
  }
}

void file_name(const rule_context& c) {
  const like_text t = escape_like(vael::to_search_index(c.r.text));
  const std::string name = c.param(":filename");
  std::string clause;
  std::string value;
  switch (c.r.rule_op) {
    case op_name_is:
      // The escape goes behind each operand: behind the parenthesis it does not parse.
      clause = " ( filename_search_index LIKE " + name + escape_clause(t) +
               " OR filename_search_index LIKE " + c.param(":filename2") + escape_clause(t) + " ) ";
      c.bind(":filename", t.text);
      c.bind(":filename2", t.text + ".%");
      c.st.tail_clause() += clause + "\n";
      return;
    case op_begins_with:
      value = t.text + "%";
      break;
    case op_ends_with:
      value = "%" + t.text;
      break;
    case op_contains:
      value = "%" + t.text + "%";
      break;
    case op_does_not_contain:
      c.st.tail_clause() += " filename_search_index NOT LIKE " + name + escape_clause(t) + "\n";
      c.bind(":filename", "%" + t.text + "%");
      return;
    default:
      return;
  }
  c.st.tail_clause() += " filename_search_index LIKE " + name + escape_clause(t) + "\n";
  c.bind(":filename", value);
}

// The text is escaped as the file name rule's is: "IMG_1" must not find "IMGX1".
void project_file_name(const rule_context& c) {
  if (c.r.rule_op != 0 && c.r.rule_op != 1) return;
  const like_text t = escape_like(c.r.text);
  c.st.tail_clause() += std::string(c.r.rule_op == 0 ? " filename_search_index LIKE "
                                                     : " filename_search_index NOT LIKE ") +
                        c.param(":filename") + escape_clause(t) +
                        "\tAND\t( media_table.mime_type = '" + mime::flicker_gallery + "'\n" +
                        "\tOR\tmedia_table.mime_type = 'application/omb'\n" +
                        "\tOR\tmedia_table.mime_type = '" + mime::slideshow + "'\n" +
                        "\tOR\tmedia_table.mime_type = '" + mime::velo_slideshow + "')\n" + "\n";
  c.bind(":filename", "%" + t.text + "%");
}

void tag(const rule_context& c) {
  c.st.main_clause() +=
      "\tmedia_table.id IN (SELECT media_id FROM tag_to_media_table WHERE tag_id = " +
      c.param(":tag_id") + ")";
  c.bind(":tag_id", c.r.tag_id);
}

void rating(const rule_context& c) {
  if (c.r.rule_op == 0 && c.r.value == 0) {
    const std::string m = std::to_string(c.st.take_unrated_index());
    const std::string k = c.n + m;
    const std::string desc = c.param(":metadata_desc_id") + m;
    c.st.main_clause() += "\tmedia_table.id NOT IN (SELECT md_" + k + ".media_id" +
                          "\tFROM media_to_metadata_table AS md_" + k + "\tWHERE md_" + k +
                          ".metadata_id IN (SELECT m2md_" + k + ".id" +
                          "\tFROM metadata_integer_table AS m2md_" + k + "\tWHERE  m2md_" + k +
                          ".description_id = " + desc + " \tAND m2md_" + k + ".value > 0" + "))";
    c.st.query().bind(desc, c.st.description_id(id::rating));
    c.bind(":md_value", 0);
    return;
  }
  static const char* const ops[] = {".value = ", ".value != ", ".value < ", ".value > "};
  if (c.r.rule_op < 0 || c.r.rule_op > 3) return;
  add_metadata_clause(c, id::rating, "metadata_integer_table",
                      c.compare(ops[c.r.rule_op], ":md_value"));
  c.bind(":md_value", c.r.value);
}

// Escaped too: a model "EOS_5D" must not find "EOS55D".
void text_field(const rule_context& c, const char* identifier) {
  const like_text t = escape_like(c.r.text);
  const std::string clause = c.compare(".value LIKE ", ":md_value") + escape_clause(t);
  c.bind(":md_value", "%" + t.text + "%");
  if (c.r.rule_op == 0) {
    add_metadata_clause(c, identifier, "metadata_string_table", clause);
    return;
  }
  const std::string& n = c.n;
  c.st.tail_clause() += "\tmedia_table.id NOT IN (SELECT m2md_" + n + ".media_id" +
                        "\tFROM metadata_string_table AS md_" + n +
                        ", media_to_metadata_table AS m2md_" + n + "\tWHERE m2md_" + n +
                        ".metadata_id = md_" + n + ".id" + "\tAND md_" + n +
                        ".description_id = " + c.param(":metadata_desc_id") + clause + " ) " + "\n";
  c.bind(":metadata_desc_id", c.st.description_id(identifier));
}

void capture_date(const rule_context& c) {
  pt::ptime begin, end;
  switch (c.r.rule_op) {
    case op_on:
      begin = c.r.date;
      end = next_midnight(c.r.date);
      break;
    case op_before:
      begin = pt::ptime(greg::date(1400, 1, 1));
      end = c.r.date;
      break;
    case op_after:
      begin = next_midnight(c.r.date);
      end = pt::ptime(greg::date(9999, 12, 31),
                      pt::time_duration(23, 59, 59) + pt::microseconds(999999));
      break;
    case op_within_the_last: {
      const greg::date today = search_now().date();
      end = pt::ptime(today + greg::days(1));
      begin = relative_begin(c.r, today);
      break;
    }
    default:
      return;
  }
  c.st.main_clause() += " ( media_table.search_date_begin >= " + c.param(":md_value") +
                        " AND media_table.search_date_begin < " + c.param(":md_value2") +
                        " AND media_table.search_date_end <= " + c.param(":md_value2") + ")";
  c.bind(":md_value", begin);
  c.bind(":md_value2", end);
}

void tag_date(const rule_context& c) {
  const std::string md = c.md();
  const std::string first = c.param(":date_value"), second = c.param(":date_value2");
  switch (c.r.rule_op) {
    case op_on:
      c.bind(":date_value", c.r.date);
      c.bind(":date_value2", next_midnight(c.r.date));
      add_date_tag_clause(c, md + ".value > " + first + "\tAND\t" + md + ".value <= " + second);
      return;
    case op_before:
      c.bind(":date_value", c.r.date);
      add_date_tag_clause(c, md + ".value < " + first);
      return;
    case op_after:
      c.bind(":date_value", c.r.date);
      add_date_tag_clause(c, md + ".value > " + first);
      return;
    case op_within_the_last: {
      const greg::date today = search_now().date();
      c.bind(":date_value", pt::ptime(today + greg::days(1)));
      c.bind(":date_value2", relative_begin(c.r, today));
      add_date_tag_clause(c, md + ".value >= " + second + "    AND " + md + ".value < " + first);
      return;
    }
    default:
      return;
  }
}

// A comparison with ":md_value" by rule_op: 0 "=", 1 ">", 2 "<"; 3 the range from it to
// ":md_value2" closed by `upper`, the only case that reads `high`.
template <typename Value>
void range_field(const rule_context& c, const char* identifier, const char* table,
                 const char* upper, Value low, const std::function<Value()>& high) {
  static const char* const ops[] = {".value = ", ".value > ", ".value < "};
  std::string clause;
  if (c.r.rule_op >= 0 && c.r.rule_op < 3) {
    clause = c.compare(ops[c.r.rule_op], ":md_value");
  } else if (c.r.rule_op == 3) {
    clause =
        c.compare(".value >= ", ":md_value") + " \tAND md_" + c.n + upper + c.param(":md_value2");
    c.bind(":md_value2", high());
  } else {
    return;
  }
  c.bind(":md_value", low);
  add_metadata_clause(c, identifier, table, clause);
}

void width_or_height(const rule_context& c, const char* identifier) {
  const search_rule& r = c.r;
  if (r.rule_op < 0 || r.rule_op > 3) return;
  range_field<int>(c, identifier, "metadata_integer_table", ".value < ", integer_of(r.text),
                   [&] { return integer_of(r.text2); });
}

void file_size(const rule_context& c) {
  if (c.r.rule_op != 0 && c.r.rule_op != 1) return;
  const double size = decimal_of(c.r.text);
  const std::string clause =
      c.compare(c.r.rule_op == 0 ? ".value > " : ".value < ", ":md_value") + "    AND m2md_" + c.n +
      ".media_id NOT IN " + "(SELECT id FROM media_table WHERE mime_type == '" +
      mime::flicker_gallery + "'\n" + "\tOR\tmedia_table.mime_type == '" + mime::slideshow + "'\n" +
      "\tOR\tmedia_table.mime_type == '" + mime::velo_slideshow + "')\n";
  c.bind(":md_value", size);
  add_metadata_clause(c, id::file_size, "metadata_integer_table", clause);
}

// Fields 13 and 22: a test on the media's width w_N and height h_N.
void dimensions(const rule_context& c, const std::string& test) {
  const std::string& n = c.n;
  std::string joins;
  for (const char* side : {"width", "height"}) {
    const std::string s = side;
    joins += "\tINNER JOIN (SELECT m2md_" + s + "_" + n + ".media_id as " + s + "_media_id" + n +
             ", " + s + "_md_" + n + ".value as " + s + n +
             "   FROM media_to_metadata_table as m2md_" + s + "_" + n +
             " INNER JOIN metadata_integer_table AS " + s + "_md_" + n + " \tON  " + s + "_md_" +
             n + ".id = m2md_" + s + "_" + n + ".metadata_id" + " \tAND " + s + "_md_" + n +
             ".description_id = " + c.param((":" + s + "_desc_id").c_str()) +
             ") ON media_table.id = " + s + "_media_id" + n;
  }
  c.st.main_clause() += "\tmedia_table.id IN (SELECT media_id" + n +
                        " FROM (SELECT media_table.id as media_id" + n + ", width" + n + " as w_" +
                        n + ", height" + n + " as h_" + n + " FROM media_table" + joins +
                        "\tWHERE " + test + "))" + "\n";
  c.bind(":width_desc_id", c.st.description_id(id::image_width));
  c.bind(":height_desc_id", c.st.description_id(id::image_height));
}

void pixel_count(const rule_context& c) {
  const std::string& n = c.n;
  const std::string area = " \t( +w_" + n + " * +h_" + n;
  std::string test;
  if (c.r.rule_op >= 0 && c.r.rule_op < 3) {
    static const char* const ops[] = {" = ", " > ", " < "};
    test = area + ops[c.r.rule_op] + c.param(":md_value") + " ) ";
  } else if (c.r.rule_op == 3) {
    test = area + " >= " + c.param(":md_value") + " AND\t+w_" + n + " * +h_" + n + " < " +
           c.param(":md_value2") + " ) ";
    c.bind(":md_value2", decimal_of(c.r.text2));
  }
  c.bind(":md_value", decimal_of(c.r.text));
  dimensions(c, test);
}

void orientation(const rule_context& c) {
  const std::string& n = c.n;
  std::string test;
  if (c.r.value == 0) test = " \t+w_" + n + " < +h_" + n;
  if (c.r.value == 1) test = " \t+w_" + n + " >= +h_" + n;
  dimensions(c, test);
}

// Fields 15, 17, 18, 19, 20: "is" is a narrow range around a decimal, an equality for ISO.
void camera_setting(const rule_context& c, const char* identifier,
                    const std::function<double(bool second)>& operand, bool iso) {
  const char* table = iso ? "metadata_integer_table" : "metadata_decimal_table";
  const int op = c.r.rule_op;
  if (op == 0 && !iso) {
    const double v = operand(false);
    c.bind(":md_value", v - 0.0001);
    c.bind(":md_value2", v + 0.0001);
    add_metadata_clause(c, identifier, table,
                        " \tAND ( md_" + c.n + ".value BETWEEN " + c.param(":md_value") + " AND " +
                            c.param(":md_value2") + " ) ");
    return;
  }
  if (op < 0 || op > 3) return;
  range_field<double>(c, identifier, table, ".value <= ", operand(false),
                      [&] { return operand(true); });
}

void folder_name(const rule_context& c) {
  const int op = c.r.rule_op;
  if (op < 0 || op > 4) return;
  const like_text t = escape_like(vael::to_search_index(c.r.text));
  static const char* const patterns[][2] = {{"", ""}, {"", "%"}, {"%", ""}, {"%", "%"}, {"%", "%"}};
  const std::string closing = std::string(op == 4 ? " md.value NOT LIKE " : " md.value LIKE ") +
                              c.param(":folderName") + escape_clause(t) + " ) " + "\n";
  const std::string opening =
      "  media_table.id IN (SELECT DISTINCT m2md.media_id FROM media_to_metadata_table as "
      "m2md INNER JOIN metadata_string_table as md ON md.id = m2md.metadata_id WHERE "
      "md.description_id  = :folder_name AND";
  if (c.st.match_all()) {
    // The closing half goes behind every other clause of `main`, which thus lands inside the
    // subquery; joined by AND that means the same. The opening's "AND" joins what follows.
    c.st.main_clause() += opening;
    c.st.join_next_without_joiner();
    c.st.tail_clause() += closing;
  } else {
    // Joined by OR, a clause between the halves would stand in the folder test itself.
    c.st.main_clause() += opening + closing;
  }
  c.bind(":folderName", patterns[op][0] + t.text + patterns[op][1]);
  c.st.query().bind(":folder_name", c.st.description_id(id::folder_name));
}

struct range {
  double low, high;
};

void location(const rule_context& c) {
  const search_rule& r = c.r;
  range lon{}, lat{};
  bool box = true;
  if (r.rule_op == op_near_place) {
    const auto cell = [](double v) { return v <= 0.0 ? range{v - 1.0, v} : range{v, v + 1.0}; };
    lon = cell(r.longitude);
    lat = cell(r.latitude);
  } else if (r.rule_op == op_within_distance) {
    const double km = r.distance_unit == 0.0 ? r.distance * 1.61 : r.distance;
    const double half_height = km / 111.2;
    // cos takes radians: the latitude in degrees as it stands would size the box at random.
    const double half_width = km / (std::cos(r.latitude * radians_per_degree) * 111.2);
    lon = {r.longitude - half_width, r.longitude + half_width};
    lat = {r.latitude - half_height, r.latitude + half_height};
  } else {
    box = false;
  }
  const std::string& n = c.n;
  std::string sql =
      "\tmedia_table.id IN (SELECT media_to_metadata_table.media_id FROM media_to_metadata_table";
  for (const auto& [side, desc] :
       {std::pair<std::string, std::string>{"long", ":long_desc_id"}, {"lat", ":latitudeDescId"}}) {
    sql += "\tINNER JOIN metadata_decimal_table AS " + side + "_md_" + n +
           ", media_to_metadata_table as m2md_" + side + "_" + n + " \tON  " + side + "_md_" + n +
           ".id = m2md_" + side + "_" + n + ".metadata_id" + " \tAND m2md_" + side + "_" + n +
           ".media_id = media_table.id" + " \tAND " + side + "_md_" + n +
           ".description_id = " + c.param(desc.c_str());
  }
  // Without a box the rule keeps to media that have a location: no WHERE, which would
  // otherwise stand empty.
  if (box) {
    sql += "\tWHERE \t( long_md_" + n + ".value >= " + c.param(":long_value") + " AND long_md_" +
           n + ".value < " + c.param(":long_value2") + ")" + " \tAND ( lat_md_" + n +
           ".value >= " + c.param(":lat_value") + " AND lat_md_" + n + ".value < " +
           c.param(":lat_value2") + " )";
    c.bind(":long_value", std::min(lon.low, lon.high));
    c.bind(":long_value2", std::max(lon.low, lon.high));
    c.bind(":lat_value", std::min(lat.low, lat.high));
    c.bind(":lat_value2", std::max(lat.low, lat.high));
  }
  c.st.main_clause() += sql + ")" + "\n";
  c.bind(":long_desc_id", c.st.description_id(id::gps_longitude));
  c.bind(":latitudeDescId", c.st.description_id(id::gps_latitude));
}

void file_extension(const rule_context& c) {
  const advanced_metadata_search& s = c.st.search();
  const std::string set = c.r.text.empty() ? entry(s.file_type_extensions, c.r.value) : c.r.text;
  if (c.r.rule_op == 0 && !set.empty()) {
    std::vector<std::string> entries;
    boost::algorithm::split(entries, set, [](char ch) { return ch == ','; });
    std::string clause = " ( ";
    for (std::size_t i = 0; i < entries.size(); ++i) {
      const std::string name = c.param(":file_extn") + std::to_string(i);
      if (i > 0) clause += " OR ";
      clause += " filename_search_index LIKE " + name;
      c.st.query().bind(name, "%." + entries[i]);
    }
    c.st.tail_clause() += clause + " ) ";
  }
  c.st.tail() += "\n";
}

void media_kind(const rule_context& c) {
  switch (c.r.value) {
    case 0:
      c.st.tail_clause() += "\tmime_type LIKE 'audio/%'\n";
      return;
    case 1:
      c.st.tail_clause() += std::string("\t(\tmime_type LIKE 'video/%'\n") +
                            "    OR\tmime_type = 'application/x-glimmerwave-flicker'\n" + "  )\n";
      return;
    case 2:
      c.st.tail_clause() += std::string("\t(\tmime_type LIKE 'image/%'\n") +
                            "    OR\tmime_type = 'application/vnd.norvane.ombra'\n" +
                            "    OR\tmime_type = 'application/vnd.norvane.ombrix'\n" + "  )\n";
      return;
    case 3:
      c.st.tail_clause() += "\t\tmedia_table.mime_type = 'application/pdf'\n";
      return;
    case 4: {
      std::string& tail = c.st.tail_clause();
      tail += "\t(\tmedia_table.mime_type = 'application/omb'\n";
      for (const char* type : {mime::flicker_gallery, mime::slideshow, mime::velo_slideshow}) {
        tail += std::string("\tOR\t") + "\t\tmedia_table.mime_type = '" + type + "'\n";
      }
      tail += "  )\n";
      return;
    }
    default:
      return;
  }
}

void stack(const rule_context& c, const char* table) {
  if (c.r.value != 0 && c.r.value != 1) return;
  c.st.tail_clause() += std::string(c.r.value == 0 ? "    media_table.id IN (SELECT media_id FROM "
                                                   : "    media_table.id NOT IN (SELECT media_id "
                                                     "FROM ") +
                        table + ")\n";
}

void project_kind(const rule_context& c) {
  switch (c.r.value) {
    case 0:
      c.st.tail_clause() +=
          std::string("\t\tmedia_table.mime_type = '") + mime::flicker_gallery + "'\n";
      return;
    case 1:
      c.st.tail_clause() += "\t\tmedia_table.mime_type = 'application/omb'\n";
      return;
    case 2: {
      const std::string either = std::string("\t\tmedia_table.mime_type = '") + mime::slideshow +
                                 "'\n" + "OR\tmedia_table.mime_type = '" + mime::velo_slideshow +
                                 "'\n";
      // Bare, the OR would split a conjunction with the other rules.
      const bool among_and = c.st.match_all() && c.st.search().rules.size() > 1;
      c.st.tail_clause() += among_and ? "(" + either + ")" : either;
      return;
    }
    default:
      return;
  }
}

void decimal_field(const rule_context& c, const char* identifier) {
  const search_rule& r = c.r;
  if (r.rule_op < 0 || r.rule_op > 3) return;
  range_field<double>(c, identifier, "metadata_decimal_table", ".value < ", decimal_of(r.text),
                      [&] { return decimal_of(r.text2); });
}

// Fields 32 and 38 bind their text with any rule_op, though only "is" makes a clause.
void video_text(const rule_context& c, const char* identifier) {
  c.bind(":md_value", c.r.text);
  if (c.r.rule_op != 0) return;
  add_metadata_clause(c, identifier, "metadata_string_table",
                      c.compare(".value LIKE ", ":md_value"));
}

}  // namespace

void emit_rule(smart_album_statement& statement, std::size_t index) {
  const search_rule& r = statement.search().rules[index];
  const rule_context c{statement, r, std::to_string(index),
                       index < 10 ? std::to_string(index) : "_" + std::to_string(index) + "_"};
  const advanced_metadata_search& s = statement.search();
  switch (r.rule_field) {
    case rule_file_name:
      return file_name(c);
    case rule_project_file_name:
      return project_file_name(c);
    case rule_tag_2:
    case rule_tag_3:
    case rule_tag_29:
    case rule_tag_33:
    case rule_tag_34:
    case rule_tag_35:
    case rule_tag_39:
      return tag(c);
    case rule_rating:
      return rating(c);
    case rule_make:
      return text_field(c, id::make);
    case rule_model:
      return text_field(c, id::model);
    case rule_image_description:
      return text_field(c, id::image_description);
    case rule_creator:
      return text_field(c, id::creator);
    case rule_album_notes:
      return text_field(c, id::album_notes);
    case rule_capture_date:
      return capture_date(c);
    case rule_tag_date:
      return tag_date(c);
    case rule_width:
      return width_or_height(c, id::image_width);
    case rule_height:
      return width_or_height(c, id::image_height);
    case rule_file_size:
      return file_size(c);
    case rule_pixel_count:
      return pixel_count(c);
    case rule_orientation:
      return orientation(c);
    case rule_exposure_time:
      return camera_setting(
          c, id::exposure_time,
          [&](bool second) { return entry(s.exposure_time_table, second ? r.value2 : r.value); },
          false);
    case rule_exposure_bias:
      return camera_setting(
          c, id::exposure_bias, [&](bool second) { return decimal_of(second ? r.text2 : r.text); },
          false);
    case rule_f_number:
      return camera_setting(
          c, id::f_number,
          [&](bool second) { return entry(s.f_number_table, second ? r.value2 : r.value); }, false);
    case rule_iso:
      return camera_setting(
          c, id::iso_speed_ratings,
          [&](bool second) {
            return static_cast<double>(entry(s.iso_table, second ? r.value2 : r.value));
          },
          true);
    case rule_focal_length:
      return camera_setting(
          c, id::focal_length, [&](bool second) { return decimal_of(second ? r.text2 : r.text); },
          false);
    case rule_exposure_program:
      add_metadata_clause(c, id::exposure_program, "metadata_integer_table",
                          c.compare(".value = ", ":md_value"));
      c.bind(":md_value", decimal_of(r.text));
      return;
    case rule_flash:
      add_metadata_clause(c, id::flash, "metadata_integer_table",
                          c.compare(".value & 1 != ", ":md_value"));
      c.bind(":md_value", r.value);
      return;
    case rule_file_extension:
      return file_extension(c);
    case rule_media_kind:
      return media_kind(c);
    case rule_media_stack:
      return stack(c, "media_stack_to_media_table");
    case rule_version_stack:
      return stack(c, "version_stack_to_media_table");
    case rule_project_kind:
      return project_kind(c);
    case rule_frame_rate:
      return decimal_field(c, id::frame_rate);
    case rule_duration:
      return decimal_field(c, id::media_duration);
    case rule_media_format:
      return video_text(c, id::media_format);
    case rule_resolution:
      return video_text(c, id::resolution);
    case rule_folder_name:
      return folder_name(c);
    case rule_location:
      return location(c);
    default:
      return;
  }
}

}  // namespace vael_util
