#pragma once

#include "vantor/vantor.h"

namespace vantor_cli {

// The name of an export's result, as the header spells it ("change_catalog_required").
const char* code_name(VTL::error_code code);

}  // namespace vantor_cli
