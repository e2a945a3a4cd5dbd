#include "tools/vantor/error_names.h"

namespace vantor_cli {

const char* code_name(VTL::error_code code) {
  switch (code) {
    case VTL::success:
      return "success";
    case VTL::no_valid_user:
      return "no_valid_user";
    case VTL::unknown_error:
      return "unknown_error";
    case VTL::invalid_argument:
      return "invalid_argument";
    case VTL::not_logged_in:
      return "not_logged_in";
    case VTL::invalid_credentials:
      return "invalid_credentials";
    case VTL::catalog_error:
      return "catalog_error";
    case VTL::change_catalog_required:
      return "change_catalog_required";
  }
  return "unknown error code";
}

}  // namespace vantor_cli
