// A host in miniature: only the installed header and library.
#include <vantor/ksv_client.h>
#include <vantor/vantor.h>

#include <cstdio>

// A client author's view: the client header stands alone.
static_assert(KSV::codes::erro == 1701999215 && KSV::codes::mapE == 1835102277u);

int main() {
  SyncPrefs prefs{};
  VTL::GetSyncPrefsFromString(prefs, "<syncon value=\"true\"><version value=\"12\"/></syncon>");
  if (!prefs.syncon || prefs.version != 12) {
    std::puts("parse through the installed library failed");
    return 1;
  }
  const std::string text = VTL::GetXMLForSyncPrefs(prefs);
  if (text.rfind("<syncon value = \"true\">", 0) != 0) {
    std::puts("unexpected text from the installed library");
    return 1;
  }
  std::puts("ok");
  return 0;
}
