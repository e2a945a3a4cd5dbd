# Warning flags for our own targets only; third-party headers come in as system headers.
add_library(vantor_warnings INTERFACE)
target_compile_options(vantor_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Wcast-align -Wunused
  -Woverloaded-virtual -Wconversion -Wsign-conversion -Wnull-dereference -Wdouble-promotion
  -Wformat=2 -Wimplicit-fallthrough
  $<$<BOOL:${VANTOR_WERROR}>:-Werror>)
