#pragma once

#include <functional>

#include "dbl/database.h"

namespace dbl {

// Told (current, maximum) as a copy goes on; answering false cancels it.
using copy_progress_callback = std::function<bool(int current, int maximum)>;

// Copies every row of every table of `source` into the same tables of `target`, ids kept and
// without undo, then sets the target's auto id counter past the largest id copied. Progress
// runs from 0 to 1000: up to 100 while counting rows, the rest while copying.
// Throws std::runtime_error when a source table is missing from the target or has another
// column count, or when the target holds any row outside its auto id table; both before
// anything is written. Throws cancel_error when `progress` answers false; what was copied
// until then stays, since the choice of transaction around the copy is the caller's.
// REQUIRES: both open; the tables of both registered.
void copy_database(const database& source, const database& target,
                   const copy_progress_callback& progress);

}  // namespace dbl
