// A host in miniature: only the installed header and library.
#include <vantor/vantor.h>

#include <cstdio>

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
