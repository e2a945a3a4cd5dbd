#include "preferences/host_xml_parser.h"

#include <limits>
#include <new>
#include <utility>

static_assert(XML_MAJOR_VERSION > 2 || (XML_MAJOR_VERSION == 2 && XML_MINOR_VERSION >= 4),
              "entity amplification limits need Expat 2.4 or later");

namespace vantor_prefs {
namespace {

// Host texts are small and use no entities. Expat's own defaults (8 MiB before the factor
// counts) would let one small text make megabytes of expansion per parse.
constexpr float kMaxEntityAmplification = 100.0f;
constexpr unsigned long long kEntityActivationThreshold = 64 * 1024;

// Expat 2.5 expands an entity that refers to another by recursion, so a chain of some ten
// thousand declarations overflows the stack; it has no setting to stop that. The depth cannot
// exceed the number of entities, which host texts never declare: a text that declares more
// than this many breaks off there, like any other fault.
constexpr int kMaxEntityDeclarations = 64;

}  // namespace

host_xml_parser::host_xml_parser() : parser_(XML_ParserCreate(nullptr)) {
  if (parser_ == nullptr) throw std::bad_alloc();
  XML_SetUserData(parser_.get(), this);
  // A DOCTYPE may declare entities; it may not make Expat read anything outside the text or
  // expand without bound.
  XML_SetParamEntityParsing(parser_.get(), XML_PARAM_ENTITY_PARSING_NEVER);
  XML_SetEntityDeclHandler(parser_.get(), EntityDecl);
  XML_SetBillionLaughsAttackProtectionMaximumAmplification(parser_.get(), kMaxEntityAmplification);
  XML_SetBillionLaughsAttackProtectionActivationThreshold(parser_.get(),
                                                          kEntityActivationThreshold);
}

void host_xml_parser::set_element_handlers(XML_StartElementHandler start,
                                           XML_EndElementHandler end) {
  XML_SetElementHandler(parser_.get(), start, end);
}

void host_xml_parser::parse(const std::string& xml) {
  constexpr size_t kMaxChunk = static_cast<size_t>(std::numeric_limits<int>::max());
  const char* data = xml.data();
  size_t left = xml.size();
  bool going = true;
  while (going && left > kMaxChunk) {
    going = XML_Parse(parser_.get(), data, static_cast<int>(kMaxChunk), XML_FALSE) == XML_STATUS_OK;
    data += kMaxChunk;
    left -= kMaxChunk;
  }
  // What the parse returns is of no interest: whatever was read before a fault stands.
  if (going) static_cast<void>(XML_Parse(parser_.get(), data, static_cast<int>(left), XML_TRUE));
  if (failure_) std::rethrow_exception(std::exchange(failure_, {}));
}

void host_xml_parser::stop(std::exception_ptr failure) noexcept {
  failure_ = std::move(failure);
  XML_StopParser(parser_.get(), XML_FALSE);
}

void XMLCALL host_xml_parser::EntityDecl(void* user_data, const XML_Char*, int, const XML_Char*,
                                         int, const XML_Char*, const XML_Char*, const XML_Char*,
                                         const XML_Char*) {
  auto* self = static_cast<host_xml_parser*>(user_data);
  if (++self->entity_declarations_ > kMaxEntityDeclarations) {
    XML_StopParser(self->parser_.get(), XML_FALSE);
  }
}

}  // namespace vantor_prefs
