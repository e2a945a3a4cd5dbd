// Writes a catalog of an old schema version for the crash driver's upgrades:
//   old_catalog FILE 7|8
#include <cstdio>
#include <exception>
#include <string>

#include "catalog/schema/schema_creation.h"
#include "catalog/schema/schema_v7.h"
#include "catalog/schema/schema_v8.h"
#include "dbl/sqlite/sqlite_database.h"

int main(int argc, char** argv) {
  if (argc != 3 || (std::string(argv[2]) != "7" && std::string(argv[2]) != "8")) {
    std::fprintf(stderr, "usage: old_catalog FILE 7|8\n");
    return 2;
  }
  try {
    dbl::sqlite_database db(argv[1]);
    vael::schema::create_schema(db, std::string(argv[2]) == "7" ? vael::schema::v7::generation()
                                                                : vael::schema::v8::generation());
  } catch (const std::exception& e) {
    std::fprintf(stderr, "old_catalog: %s\n", e.what());
    return 2;
  }
  return 0;
}
