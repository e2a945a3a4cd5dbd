#pragma once

#include <memory>
#include <string>

#include "catalog/connection_handle.h"

namespace vael {

// The kind of a rendition (a preview, say), one row of rendition_description_table. Id 0 is
// the master's own description. A small value: copies share one immutable body, and a
// default made one shares a static empty body (id 0, empty identifier).
class rendition_description_t {
 public:
  rendition_description_t();
  rendition_description_t(int id, std::string identifier);

  int get_id() const { return body_->id; }
  const std::string& get_identifier() const { return body_->identifier; }

 private:
  struct body {
    int id = 0;
    std::string identifier;
  };
  std::shared_ptr<const body> body_;
};

// Writes a new description. Throws std::logic_error "Could not create the metadata
// description, because '<identifier>' is already a metadata description." when one exists.
// REQUIRES: an open transaction.
rendition_description_t create_rendition_description(const connection_handle& handle,
                                                     const std::string& identifier);

// Whether a description exists; a cached one answers without SQL.
bool has_rendition_description(const connection_handle& handle, const std::string& identifier);
bool has_rendition_description(const connection_handle& handle, int id);

// The description through the connection's bounded caches. Throws std::logic_error when
// there is none.
rendition_description_t get_rendition_description(const connection_handle& handle, int id);
rendition_description_t get_rendition_description(const connection_handle& handle,
                                                  const std::string& identifier);

}  // namespace vael
