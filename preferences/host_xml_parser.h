#pragma once

#include <expat.h>

#include <exception>
#include <memory>
#include <string>

namespace vantor_prefs {

// One Expat parser for text that comes from the host, set up so that no text can make it read
// outside the text, expand entities without bound or recurse without bound. Handlers receive
// the parser object as their user data and run their work through guard(), so that a C++
// exception never unwinds through Expat: parse() rethrows it once Expat has returned.
class host_xml_parser {
 public:
  // Throws std::bad_alloc when Expat cannot make a parser.
  host_xml_parser();
  host_xml_parser(const host_xml_parser&) = delete;
  host_xml_parser& operator=(const host_xml_parser&) = delete;

  void set_element_handlers(XML_StartElementHandler start, XML_EndElementHandler end);

  // Parses the whole of `xml` with the final flag. What Expat makes of the text is not
  // reported: whatever the handlers saw before a fault stands. Rethrows the first exception a
  // guarded handler raised; the parse stopped there.
  void parse(const std::string& xml);

  // Runs `body` for the handler whose user data is `user_data`. An exception is kept and the
  // parser stopped; once one is kept, later handlers (Expat still reports the end of an empty
  // element) do nothing.
  template <typename Body>
  static void guard(void* user_data, Body&& body) noexcept {
    auto* self = static_cast<host_xml_parser*>(user_data);
    if (self->failure_) return;
    try {
      body();
    } catch (...) {
      self->stop(std::current_exception());
    }
  }

 private:
  struct parser_deleter {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
  };

  void stop(std::exception_ptr failure) noexcept;
  static void XMLCALL EntityDecl(void* user_data, const XML_Char*, int, const XML_Char*, int,
                                 const XML_Char*, const XML_Char*, const XML_Char*,
                                 const XML_Char*);

  std::unique_ptr<XML_ParserStruct, parser_deleter> parser_;
  std::exception_ptr failure_;
  int entity_declarations_ = 0;
};

}  // namespace vantor_prefs
