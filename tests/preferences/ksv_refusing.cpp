// A module whose entry point, built against the installed client header alone, refuses to
// hand out a library object.
#include <vantor/ksv_client.h>

extern "C" int GetKSVLibraryInterface(void**, int) {
  return KSV::codes::erro;
}
