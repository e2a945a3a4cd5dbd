#pragma once

#include <gtest/gtest.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <exception>
#include <functional>
#include <string>

#include "catalog/connection.h"
#include "catalog/internal_connection.h"
#include "catalog/transaction.h"
#include "dbl/query.h"
#include "dbl/record.h"
#include "tests/support/sandbox.h"

namespace vael_test {

// The text of the E that `call` throws, or "(no error)", so that a refusal is checked by its
// words; an exception of another type goes on to fail the test.
template <typename E = std::exception>
std::string message_of(const std::function<void()>& call) {
  try {
    call();
  } catch (const E& e) {
    return e.what();
  }
  return "(no error)";
}

// A new catalog file in the sandbox: an empty file becomes a catalog at its first open.
inline std::string new_catalog(const vantor_test::sandbox& box, const std::string& name) {
  box.write_file(name, "");
  return box.path(name);
}

inline int scalar(dbl::database& db, const std::string& sql) {
  dbl::query q(db, sql);
  q.add_column("ignored", typeid(int));
  return q.first_row()[0].as_int();
}

inline std::string text(dbl::database& db, const std::string& sql) {
  dbl::query q(db, sql);
  q.add_column("ignored", typeid(std::string));
  return q.first_row()[0].as_string();
}

inline void run(dbl::database& db, const std::string& sql) {
  dbl::query(db, sql).execute();
}

// Writes a media row the way the media code will, and marks it changed.
// REQUIRES: an open transaction.
inline int add_media(vael::internal_connection& c, const std::string& file) {
  namespace pt = boost::posix_time;
  dbl::record m(c.database(), c.database().get_table("media_table"));
  m.set("change_id", 0);
  for (const char* column : {"full_filepath", "filepath_search_index", "filename_search_index"}) {
    m.set(column, file);
  }
  m.set("mime_type", "image/jpeg");
  m.set("volume_id", dbl::auto_id{1});
  for (const char* column : {"search_date_begin", "search_date_end"}) {
    m.set(column, pt::ptime(pt::time_from_string("2020-01-01 00:00:00")));
  }
  m.set("rendition_description_id", dbl::auto_id{0});
  m.save();
  c.media_tracker().mark_changed(m.id());
  return m.id();
}

inline int media_change_id(dbl::database& db, int id) {
  return scalar(db, "SELECT change_id FROM media_table WHERE id = " + std::to_string(id));
}

}  // namespace vael_test
