// Usage: catalog_test_writer CATALOG MEDIA_ID
// Marks the media changed in one committed transaction and prints the new change id.

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include "catalog/connection.h"
#include "catalog/internal_connection.h"
#include "catalog/transaction.h"

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  try {
    vael::connection c(argv[1]);
    vael::transaction t(c.handle());
    t.begin(vael::without_undo, vael::lock_now);
    c.get().media_tracker().mark_changed(std::stoi(argv[2]));
    t.commit();
    std::cout << c.get().change_tracker().current_change_id() << "\n";
    return 0;
  } catch (const std::exception& e) {
    std::cerr << e.what() << "\n";
    return 1;
  }
}
