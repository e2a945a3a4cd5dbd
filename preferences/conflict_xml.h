#pragma once

#include "catalog/connection_handle.h"

namespace vantor_prefs {

// The first (newest) member of the version stack holding `mediaId`, or `mediaId` itself when
// it is in none. Any failure of the catalog also gives `mediaId`: never throws.
int VersionSetTop(const vael::connection_handle& connection, int mediaId);

}  // namespace vantor_prefs
