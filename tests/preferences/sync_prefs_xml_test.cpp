#include "preferences/sync_prefs_xml.h"

#include <sys/resource.h>

#include <chrono>
#include <climits>

#include "preferences/pref_files.h"
#include "tests/preferences/prefs_test_env.h"

namespace vantor_test {
namespace {

SyncPrefs Parse(const std::string& xml) {
  SyncPrefs out{};
  out.version = -99;
  EXPECT_TRUE(VTL::GetSyncPrefsFromString(out, xml));
  return out;
}

TEST(SyncPrefsXml, WriterBytes) {
  // The booleans alternate, and are all flipped in the second record, so that any two fields
  // written in each other's place show.
  const SyncPrefs set{true,         false,        true,  false,  true,  false, true,
                      false,        true,         false, true,   false, true,  12.5,
                      "2026-11-23", "/u/Norvane", 12,    "nx-1", -3,    "abc", 2};
  const SyncPrefs raw{false, true,        false,   true,  false, true,  false,
                      true,  false,       true,    false, true,  false, 0,
                      "",    "/a&b\"c<d", INT_MIN, "",    0,     "",    0};

  const struct {
    const char* name;
    SyncPrefs prefs;
    std::string xml;
  } cases[] = {
      {"fields set", set,
       "<syncon value = \"true\"><newalbumssyncauto value= \"false\" servertime = "
       "\"2026-11-23\"/><askbeforedelete value = \"true\"/><resolveconflictsauto "
       "value = \"false\"/><restrictfilesize value= \"12.500000\" selected =\"true\"/>"
       "<syncallselection value = \"false\"/><downloadlocationpath value = "
       "\"/u/Norvane\"/><syncOnSystemIdle value = \"true\"/><syncEntireCatalog "
       "value = \"false\"/><defaultLibraryNxId value = \"nx-1\"/><defaultLibraryVaelId value = "
       "\"-3\"/><syncFileTypes><syncPhotos value = \"true\"/><syncVideo value = \"false\"/>"
       "<syncAudio value = \"true\"/><syncPDFs value = \"false\"/><syncCreations value = "
       "\"true\"/></syncFileTypes><version value = \"12\"/><curCatalogGUID value = \"abc\"/>"
       "<deleteMediaPref value = \"2\"/></syncon>"},
      {"raw strings, zero size", raw,
       "<syncon value = \"false\"><newalbumssyncauto value= \"true\" servertime = \"\"/>"
       "<askbeforedelete value = \"false\"/><resolveconflictsauto value = \"true\"/>"
       "<restrictfilesize value= \"0.000000\" selected =\"false\"/><syncallselection value = "
       "\"true\"/><downloadlocationpath value = \"/a&b\"c<d\"/><syncOnSystemIdle value = "
       "\"false\"/><syncEntireCatalog value = \"true\"/><defaultLibraryNxId value = \"\"/>"
       "<defaultLibraryVaelId value = \"0\"/><syncFileTypes><syncPhotos value = \"false\"/>"
       "<syncVideo value = \"true\"/><syncAudio value = \"false\"/><syncPDFs value = \"true\"/>"
       "<syncCreations value = \"false\"/></syncFileTypes><version value = \"-2147483648\"/>"
       "<curCatalogGUID value = \"\"/><deleteMediaPref value = \"0\"/></syncon>"},
  };
  for (const auto& c : cases) EXPECT_EQ(VTL::GetXMLForSyncPrefs(c.prefs), c.xml) << c.name;

  // The writer's text reads back whole when no string needs escaping.
  prefs_env env;
  EXPECT_EQ(fields(Parse(cases[0].xml)), fields(set));
  // A raw ampersand ends the parse there: what follows keeps the parser's defaults.
  SyncPrefs cut = parser_defaults(env.download_path());
  cut.askbeforedelete = false;
  cut.resolveconflictsauto = true;
  cut.syncallselection = true;
  EXPECT_EQ(fields(Parse(cases[1].xml)), fields(cut));
}

TEST(SyncPrefsXml, ParserRules) {
  prefs_env env;
  // Deep nesting and a megabyte of attributes are plain XML: every start tag still counts.
  std::string deep, wide = "<restrictfilesize value=\"0\" selected=\"true\"";
  for (int i = 0; i < 100000; ++i) deep += "<a>";
  while (wide.size() < (1 << 20)) wide += " a" + std::to_string(wide.size()) + "=\"false\"";
  const struct {
    const char* name;
    std::string xml;
    std::function<void(SyncPrefs&)> expect;
  } cases[] = {
      {"empty", "", [](SyncPrefs&) {}},
      {"not xml", "syncon=true", [](SyncPrefs&) {}},
      {"only lower-case true", "<syncPhotos value=\"TRUE\"/>",
       [](SyncPrefs& p) { p.syncPhotos = false; }},
      {"value must come first", "<syncPhotos x=\"1\" value=\"false\"/>", [](SyncPrefs&) {}},
      {"size alone", "<restrictfilesize value=\"12.5\"/>",
       [](SyncPrefs& p) { p.restrictfilesize = 12.5; }},
      {"size selected by any second name", "<restrictfilesize value=\"0\" anything=\"true\"/>",
       [](SyncPrefs& p) { p.restrictfilesizeSelected = true; }},
      {"servertime by any second name", "<newalbumssyncauto value=\"true\" when=\"t1\"/>",
       [](SyncPrefs& p) { p.servertime = "t1"; }},
      {"nesting ignored, numbers by atoi",
       "<r><a><syncPDFs value=\"false\"/></a><version value=\"x12\"/>"
       "<deleteMediaPref value=\"7z\"/><defaultLibraryVaelId value=\"-4\"/></r>",
       [](SyncPrefs& p) {
         p.syncPDFs = false;
         p.deleteMediaPref = 7;
         p.defaultLibraryVaelId = -4;
       }},
      {"entities decoded", "<curCatalogGUID value=\"a&amp;b&#x41;&lt;\"/>",
       [](SyncPrefs& p) { p.curCatalogGUID = "a&bA<"; }},
      {"internal entity of a DOCTYPE",
       "<!DOCTYPE d [<!ENTITY p \"/pics\">]><downloadlocationpath value=\"&p;/x\"/>",
       [](SyncPrefs& p) { p.downloadlocationpath = "/pics/x"; }},
      {"not UTF-8 ends the parse",
       "<syncon value=\"true\"><curCatalogGUID value=\"\xff\"/><version value=\"3\"/>",
       [](SyncPrefs& p) { p.syncon = true; }},
      {"external entity not fetched",
       "<!DOCTYPE syncon [<!ENTITY x SYSTEM \"/etc/hostname\">]><syncon value=\"true\">"
       "<curCatalogGUID value=\"&x;\"/><version value=\"3\"/></syncon>",
       [](SyncPrefs& p) { p.syncon = true; }},
      {"deep nesting", deep + "<syncPDFs value=\"false\"/>",
       [](SyncPrefs& p) { p.syncPDFs = false; }},
      {"a megabyte of attributes", wide + "/>",
       [](SyncPrefs& p) { p.restrictfilesizeSelected = true; }},
  };
  for (const auto& c : cases) {
    SyncPrefs expected = parser_defaults(env.download_path());
    c.expect(expected);
    EXPECT_EQ(fields(Parse(c.xml)), fields(expected)) << c.name;
  }
}

TEST(SyncPrefsXml, DefaultTextIsReadWhole) {
  prefs_env env;
  const std::string defaults = vantor_prefs::SyncDefaultsXml();
  EXPECT_EQ(defaults,
            "<syncon value = \"true\"><newalbumssyncauto value= \"true\" servertime =\"\"/>"
            "<askbeforedelete value =\"false\"/><resolveconflictsauto value = \"false\"/>"
            "<restrictfilesize value=\"\" selected = \"false\"/><syncallselection value = "
            "\"false\"/><downloadlocationpath value = \"" +
                env.download_path() +
                "\"/><syncOnSystemIdle value = \"false\"/><syncEntireCatalog value = \"false\"/>"
                "<defaultLibraryNxId value = \"\"/><defaultLibraryVaelId value = \"\"/>"
                "<syncFileTypes><syncPhotos value = \"true\"/><syncVideo value = \"true\"/>"
                "<syncAudio value = \"false\"/><syncPDFs value = \"false\"/><syncCreations "
                "value = \"false\"/></syncFileTypes><version value = \"12\"><curCatalogGUID "
                "value = \"\"/><deleteMediaPref value = \"1\"></syncon>");

  SyncPrefs expected = parser_defaults(env.download_path());
  expected.syncon = true;
  expected.askbeforedelete = false;
  expected.syncallselection = false;
  expected.syncAudio = false;
  expected.syncPDFs = false;
  expected.version = 12;
  EXPECT_EQ(fields(Parse(defaults)), fields(expected));
}

// Entity expansion must stop at Expat's amplification limit, cheaply, leaving the fields
// after the fault at their defaults; a long chain of entities must not exhaust the stack.
TEST(SyncPrefsXml, HostileTextIsBounded) {
  prefs_env env;
  std::string laughs = "<!DOCTYPE syncon [<!ENTITY l0 \"lol\">";
  for (int i = 1; i <= 9; ++i) {
    laughs += "<!ENTITY l" + std::to_string(i) + " \"";
    for (int k = 0; k < 10; ++k) laughs += "&l" + std::to_string(i - 1) + ";";
    laughs += "\">";
  }
  laughs += "]><syncon value=\"true\"><curCatalogGUID value=\"&l9;\"/><version value=\"5\"/>";

  std::string chain = "<!DOCTYPE syncon [<!ENTITY e0 \"x\">";
  for (int i = 1; i <= 40000; ++i) {
    chain += "<!ENTITY e" + std::to_string(i) + " \"&e" + std::to_string(i - 1) + ";\">";
  }
  chain += "]><syncon value=\"true\"><curCatalogGUID value=\"&e40000;\"/></syncon>";

  SyncPrefs expected = parser_defaults(env.download_path());
  expected.syncon = true;
  rusage before{};
  ::getrusage(RUSAGE_SELF, &before);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(fields(Parse(laughs)), fields(expected));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  rusage after{};
  ::getrusage(RUSAGE_SELF, &after);
  EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 64 * 1024) << "kilobytes of peak growth";

  EXPECT_EQ(fields(Parse(chain)), fields(parser_defaults(env.download_path())));
}

TEST(SyncPrefsXml, XmlEscapeAppends) {
  std::string out = "x";
  vantor_prefs::XmlEscape("a<b>&\"'\x01\xc3\xa9", out);
  EXPECT_EQ(out, "xa&lt;b&gt;&amp;&quot;&#39;\x01\xc3\xa9");
}

}  // namespace
}  // namespace vantor_test
