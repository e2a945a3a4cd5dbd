// Equality and stored text of the text searches.

#include <stdexcept>
#include <tuple>

#include "catalog/media_date.h"
#include "catalog_util/search/criteria_serialization.h"
#include "catalog_util/search/text_searches.h"

namespace vael_util {
namespace {

const char text_search_error[] =
    "The text search was not serialized properly and could not be deserialized.";

template <typename Term>
const Term& as(const text_search_criteria& t) {
  return boost::any_cast<const Term&>(t.value);
}

template <typename Term>
const std::string& name_of(const text_search_criteria& t) {
  return as<Term>(t).name;
}

// The name of the terms of kinds 0 to 4.
const std::string& term_name(const text_search_criteria& t) {
  switch (t.kind) {
    case 0:
      return name_of<tag_criteria>(t);
    case 1:
      return name_of<people_criteria>(t);
    case 2:
      return name_of<places_criteria>(t);
    case 3:
      return name_of<events_criteria>(t);
    default:
      return name_of<file_criteria>(t);
  }
}

bool term_equals(const text_search_criteria& a, const text_search_criteria& b) {
  if (a.kind != b.kind) return false;
  switch (a.kind) {
    case 5: {
      const auto &x = as<metadata_criteria>(a), &y = as<metadata_criteria>(b);
      return x.value == y.value && x.field == y.field;
    }
    case 6: {
      const auto &x = as<date_criteria>(a), &y = as<date_criteria>(b);
      return x.begin == y.begin && x.end == y.end;
    }
    case 7: {
      const auto &x = as<all_criteria>(a), &y = as<all_criteria>(b);
      return x.tag_text == y.tag_text && x.file_text == y.file_text &&
             x.metadata_text == y.metadata_text && x.field == y.field && x.begin == y.begin &&
             x.end == y.end && x.has_date == y.has_date;
    }
    default:
      return term_name(a) == term_name(b);
  }
}

std::string term_text(const text_search_criteria& t) {
  std::string out = serialize_number(t.kind);
  switch (t.kind) {
    case 5: {
      const auto& m = as<metadata_criteria>(t);
      return out + serialize_string(m.value) + serialize_number(m.field);
    }
    case 6: {
      const auto& d = as<date_criteria>(t);
      return out + serialize_date_range(d.begin, d.end);
    }
    case 7: {
      const auto& a = as<all_criteria>(t);
      return out + serialize_string(a.tag_text) + serialize_string(a.file_text) +
             serialize_string(a.metadata_text) + serialize_number(a.field) +
             serialize_date_range(a.begin, a.end);
    }
    default:
      return out + serialize_string(term_name(t));
  }
}

text_search_criteria read_term(const std::string& text, std::uint64_t pos, std::uint64_t* end) {
  const int kind = read_int(text, pos, &pos);
  text_search_criteria term;
  switch (kind) {
    case 0:
      term = text_search_criteria(tag_criteria{read_string(text, pos, &pos)});
      break;
    case 1:
      term = text_search_criteria(people_criteria{read_string(text, pos, &pos)});
      break;
    case 2:
      term = text_search_criteria(places_criteria{read_string(text, pos, &pos)});
      break;
    case 3:
      term = text_search_criteria(events_criteria{read_string(text, pos, &pos)});
      break;
    case 4:
      term = text_search_criteria(file_criteria{read_string(text, pos, &pos)});
      break;
    case 5: {
      metadata_criteria m;
      m.value = read_string(text, pos, &pos);
      m.field = read_int(text, pos, &pos);
      term = text_search_criteria(m);
      break;
    }
    case 6: {
      const auto range = read_date_range(text, pos, &pos);
      term = text_search_criteria(date_criteria{range.first, range.second});
      break;
    }
    case 7: {
      all_criteria a;
      a.tag_text = read_string(text, pos, &pos);
      a.file_text = read_string(text, pos, &pos);
      a.metadata_text = read_string(text, pos, &pos);
      a.field = read_int(text, pos, &pos);
      std::tie(a.begin, a.end) = read_date_range(text, pos, &pos);
      // The flag is not stored: a range other than the unknown date's means there was one.
      a.has_date = a.begin != vael::unknown_date_begin() || a.end != vael::unknown_date_end();
      term = text_search_criteria(a);
      break;
    }
    default:
      throw std::runtime_error(text_search_error);
  }
  *end = pos;
  return term;
}

}  // namespace

all_criteria::all_criteria() : begin(vael::unknown_date_begin()), end(vael::unknown_date_end()) {}

bool search_equals(const smart_text_search& a, const smart_text_search& b) {
  if (a.entries.size() != b.entries.size() || a.query_text != b.query_text) return false;
  for (std::size_t i = 0; i < a.entries.size(); ++i) {
    const auto &x = a.entries[i], &y = b.entries[i];
    if (x.second != y.second) return false;
    if (x.second == smart_text_search::term_entry) {
      if (!term_equals(boost::any_cast<const text_search_criteria&>(x.first),
                       boost::any_cast<const text_search_criteria&>(y.first))) {
        return false;
      }
    } else if (boost::any_cast<const operator_criteria&>(x.first).op !=
               boost::any_cast<const operator_criteria&>(y.first).op) {
      return false;
    }
  }
  return true;
}

std::string search_serialize(const smart_text_search& s) {
  std::string out = serialize_number(static_cast<std::int64_t>(s.entries.size()));
  for (const auto& [value, kind] : s.entries) {
    out += serialize_number(kind);
    if (kind == smart_text_search::term_entry) {
      out += term_text(boost::any_cast<const text_search_criteria&>(value));
    } else {
      out += serialize_number(boost::any_cast<const operator_criteria&>(value).op);
    }
  }
  return out + serialize_string(s.query_text);
}

std::uint64_t search_deserialize(const std::string& text, std::uint64_t pos, smart_text_search& s) {
  s = smart_text_search();
  // The count is only a loop bound: every entry takes bytes of its own, so a count that the
  // text does not back ends in a refusal from the reads, never in an allocation.
  const std::int64_t count = read_number(text, pos, &pos);
  if (count < 0) throw std::runtime_error(text_search_error);
  for (std::int64_t i = 0; i < count; ++i) {
    const int kind = read_int(text, pos, &pos);
    if (kind == smart_text_search::term_entry) {
      s.entries.emplace_back(read_term(text, pos, &pos), kind);
    } else if (kind == smart_text_search::operator_entry) {
      s.entries.emplace_back(operator_criteria{read_int(text, pos, &pos)}, kind);
    } else {
      throw std::runtime_error(text_search_error);
    }
  }
  s.query_text = read_string(text, pos, &pos);
  return pos;
}

bool search_equals(const simple_metadata_string_search& a, const simple_metadata_string_search& b) {
  return a.description_ids == b.description_ids && a.text == b.text &&
         a.string_match_kind == b.string_match_kind;
}

std::string search_serialize(const simple_metadata_string_search& s) {
  return serialize_number(s.string_match_kind) + serialize_string(s.text) +
         serialize_id_list(s.description_ids);
}

std::uint64_t search_deserialize(const std::string& text, std::uint64_t pos,
                                 simple_metadata_string_search& s) {
  s.string_match_kind = read_int(text, pos, &pos);
  s.text = read_string(text, pos, &pos);
  s.description_ids = read_id_list(text, pos, &pos);
  return pos;
}

}  // namespace vael_util
