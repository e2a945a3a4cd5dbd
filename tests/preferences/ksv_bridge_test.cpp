#include "preferences/ksv_bridge.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>
#include <vector>

#include "preferences/ksv_values.h"
#include "tests/preferences/prefs_test_env.h"
#include "vantor/ksv_client.h"

namespace vantor_test {
namespace {

using vantor_prefs::ksv_map;
using vantor_prefs::ksv_ref;

// A text value that counts how many of its kind are alive, so that leaks and early deletes
// show.
int live_probes = 0;
class probe final : public KSV::CBaseImpl<KSV::StringValue, KSV::codes::bStr> {
 public:
  probe() { ++live_probes; }
  ~probe() override { --live_probes; }
  KSV::Status Get(char* buffer, unsigned* size) override { return inner_.Get(buffer, size); }

 private:
  KSV::CStringValue inner_{"probe"};
};

// A map over fixed pairs. A key of 0 is handed out as a probe, which is no code, and an empty
// text as a number, which is no text.
class fixed_map final : public KSV::CBaseImpl<KSV::Map, KSV::codes::mapE> {
 public:
  explicit fixed_map(std::vector<std::pair<KSV::Code, std::string>> pairs)
      : pairs_(std::move(pairs)) {}
  KSV::Status Next(KSV::Base** key, KSV::Base** value) override {
    if (next_ == pairs_.size()) return KSV::codes::eEnd;
    const auto& [code, text] = pairs_[next_++];
    *key = code == 0 ? static_cast<KSV::Base*>(new probe()) : new KSV::CUnsignedInt32Value(code);
    *value = text.empty() ? static_cast<KSV::Base*>(new KSV::CUnsignedInt32Value(1))
                          : new KSV::CStringValue(text);
    return KSV::codes::ok;
  }

 private:
  std::vector<std::pair<KSV::Code, std::string>> pairs_;
  size_t next_ = 0;
};

TEST(KsvValues, FollowTheCountingAndCopyRules) {
  ksv_ref<KSV::StringValue> text(new KSV::CStringValue("abc"));
  char buffer[8] = "xxxxxxx";
  for (unsigned given : {3u, 100u}) {
    unsigned size = given;
    EXPECT_EQ(text->Get(given == 3 ? buffer : nullptr, &size), KSV::codes::bufI) << given;
    EXPECT_EQ(size, 4u) << given;
  }
  EXPECT_EQ(buffer[0], 'x') << "nothing copied into a buffer too small";
  unsigned size = 4;
  EXPECT_EQ(text->Get(buffer, &size), KSV::codes::ok);
  EXPECT_STREQ(buffer, "abc");

  void* out = &size;
  EXPECT_EQ(text->QueryInterface(KSV::codes::uint, &out), KSV::codes::erro);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(text->QueryInterface(KSV::codes::bStr, nullptr), KSV::codes::erro);
  ASSERT_EQ(text->QueryInterface(KSV::codes::bAsE, &out), KSV::codes::ok);
  EXPECT_EQ(out, static_cast<KSV::Base*>(text.get()));
  ASSERT_EQ(text->QueryInterface(KSV::codes::bStr, &out), KSV::codes::ok);
  EXPECT_EQ(out, text.get());
  EXPECT_EQ(text->Release(), 2) << "two references were handed out";
  EXPECT_EQ(text->Release(), 1);
}

// In the Itanium C++ ABI a pointer to a virtual member holds 1 + the byte offset of its table
// entry, which gives the place a client's table must have it at.
template <class M>
std::uintptr_t place(M member) {
  std::uintptr_t words[sizeof(M) / sizeof(std::uintptr_t)];
  static_assert(sizeof words == sizeof member);
  std::memcpy(words, &member, sizeof member);
  return (words[0] - 1) / sizeof(void*);
}

TEST(KsvClientHeader, OperationsSitAtTheirTablePlaces) {
  using namespace KSV;
  EXPECT_EQ((std::vector<std::uintptr_t>{
                place(&Base::QueryInterface), place(&Base::AddRef), place(&Base::Release),
                place(&StringValue::Get), place(&UnsignedInt32Value::Get), place(&List::Next),
                place(&Map::Next), place(&Library::SetAuthInfo), place(&Library::GetServerTime),
                place(&Library::ListTags), place(&Library::GetStorageInfo)}),
            (std::vector<std::uintptr_t>{0, 1, 2, 4, 4, 4, 4, 4, 9, 24, 52}));
}

TEST(KsvBridge, ReadsMapsAndReleasesWhatItRead) {
  fixed_map repeated(
      {{KSV::codes::tgti, "first"}, {KSV::codes::srid, "id"}, {KSV::codes::tgti, "second"}});
  EXPECT_EQ(vantor_prefs::ReadKsvMap(repeated),
            (ksv_map{{KSV::codes::tgti, "first"}, {KSV::codes::srid, "id"}}));

  // A key that is no code, or a value that is no text, ends the map with what came before.
  fixed_map bad_key({{KSV::codes::tgti, "kept"}, {0, "x"}, {KSV::codes::srid, "lost"}});
  EXPECT_EQ(vantor_prefs::ReadKsvMap(bad_key), (ksv_map{{KSV::codes::tgti, "kept"}}));
  fixed_map bad_value({{KSV::codes::thie, ""}, {KSV::codes::srid, "lost"}});
  EXPECT_TRUE(vantor_prefs::ReadKsvMap(bad_value).empty());
  EXPECT_EQ(live_probes, 0) << "every key and value handed out was released";

  ksv_ref<KSV::Base> tag(new fixed_map({{KSV::codes::ttty, "album group"}}));
  EXPECT_EQ(vantor_prefs::ReadKsvTag(*tag), (ksv_map{{KSV::codes::ttty, "album group"}}));
  ksv_ref<KSV::Base> not_a_map(new probe());
  EXPECT_TRUE(vantor_prefs::ReadKsvTag(*not_a_map).empty());

  EXPECT_EQ(vantor_prefs::ReadKsvString(ksv_ref<KSV::StringValue>(new probe())), "probe");
  EXPECT_EQ(live_probes, 1) << "ReadKsvString released its value";
}

// The album list and its failures go through the screen export's tests; these are the
// clients that cannot serve at all, and the clock, which needs no sign-in.
using KsvClientTest = sync_catalog_test;

TEST_F(KsvClientTest, ServerTimeIsAppended) {
  std::string time = "kept:";
  std::filesystem::remove(env_.box().path("ksv.json"));
  EXPECT_FALSE(VTL::GetCurrentServerTimeFromKSV(time)) << "no state file";
  write_state("{\"server_time\": \"2024-05-01T10:00:00Z\"}");
  EXPECT_TRUE(VTL::GetCurrentServerTimeFromKSV(time));
  EXPECT_EQ(time, "kept:2024-05-01T10:00:00Z");
  write_state("{\"albums\": 3}");
  EXPECT_FALSE(VTL::GetCurrentServerTimeFromKSV(time)) << "malformed state";
  EXPECT_EQ(time, "kept:2024-05-01T10:00:00Z");
}

TEST_F(KsvClientTest, UnreachableClientsFailQuietlyAndARefusalIsLogged) {
  const struct {
    std::string client;
    const char* log;
  } cases[] = {{env_.box().path("nowhere.so"), ""},
               {VANTOR_TEST_KSV_NO_ENTRY, ""},
               {VANTOR_TEST_KSV_REFUSING, "Vantor : KSV Library Pointer not valid\n"}};
  for (const auto& c : cases) {
    ::setenv("VANTOR_KSV_LIBRARY", c.client.c_str(), 1);
    std::string time;
    EXPECT_FALSE(VTL::GetCurrentServerTimeFromKSV(time)) << c.client;
    VTL::error_code code = VTL::success;
    EXPECT_EQ(capture_stderr([&] {
                try {
                  vantor_prefs::GetAuthenticatedKsvLibrary("t-1");
                } catch (VTL::error_code e) {
                  code = e;
                }
              }),
              c.log)
        << c.client;
    EXPECT_EQ(code, VTL::unknown_error) << c.client;
  }
}

}  // namespace
}  // namespace vantor_test
