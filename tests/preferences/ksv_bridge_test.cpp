#include "preferences/ksv_bridge.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "preferences/ksv_values.h"
#include "tests/support/sandbox.h"
#include "vantor/ksv_client.h"
#include "vantor/vantor.h"

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

// A map over fixed pairs. A key of 0 is handed out as a text, which is no code, and an empty
// text as a number, which is no text.
class fixed_map final : public KSV::CBaseImpl<KSV::Map, KSV::codes::mapE> {
 public:
  explicit fixed_map(std::vector<std::pair<KSV::Code, std::string>> pairs)
      : pairs_(std::move(pairs)) {}
  KSV::Status Next(KSV::Base** key, KSV::Base** value) override {
    if (next_ == pairs_.size()) return KSV::codes::eEnd;
    const auto& [code, text] = pairs_[next_++];
    if (code == 0) {
      *key = new probe();
    } else {
      *key = new KSV::CUnsignedInt32Value(code);
    }
    *value = text.empty() ? static_cast<KSV::Base*>(new KSV::CUnsignedInt32Value(1))
                          : new KSV::CStringValue(text);
    return KSV::codes::ok;
  }

 private:
  std::vector<std::pair<KSV::Code, std::string>> pairs_;
  size_t next_ = 0;
};

// Sets an environment variable for one scope.
class scoped_env {
 public:
  scoped_env(const char* name, const std::string& value) : name_(name) {
    ::setenv(name, value.c_str(), 1);
  }
  ~scoped_env() { ::unsetenv(name_); }

 private:
  const char* name_;
};

TEST(KsvValues, FollowTheCountingAndCopyRules) {
  ksv_ref<KSV::StringValue> text(new KSV::CStringValue("abc"));
  char buffer[8];
  std::memset(buffer, 'x', sizeof buffer);
  unsigned size = 3;
  EXPECT_EQ(text->Get(buffer, &size), KSV::codes::bufI);
  EXPECT_EQ(size, 4u);
  EXPECT_EQ(buffer[0], 'x');
  size = 100;
  EXPECT_EQ(text->Get(nullptr, &size), KSV::codes::bufI);
  EXPECT_EQ(size, 4u);
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

  KSV::CSignedInt32Value negative(-7);
  std::int32_t value = 0;
  EXPECT_EQ(negative.Get(&value), KSV::codes::ok);
  EXPECT_EQ(value, -7);
  EXPECT_EQ(negative.QueryInterface(KSV::codes::uint, &out), KSV::codes::erro);

  auto* doomed = new probe();
  ASSERT_EQ(live_probes, 1);
  doomed->AddRef();
  EXPECT_EQ(doomed->Release(), 1);
  EXPECT_EQ(live_probes, 1);
  EXPECT_EQ(doomed->Release(), 0);
  EXPECT_EQ(live_probes, 0) << "the last Release deletes";
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
  EXPECT_EQ(place(&KSV::Base::QueryInterface), 0u);
  EXPECT_EQ(place(&KSV::Base::AddRef), 1u);
  EXPECT_EQ(place(&KSV::Base::Release), 2u);
  EXPECT_EQ(place(&KSV::StringValue::Get), 4u);
  EXPECT_EQ(place(&KSV::UnsignedInt32Value::Get), 4u);
  EXPECT_EQ(place(&KSV::List::Next), 4u);
  EXPECT_EQ(place(&KSV::Map::Next), 4u);
  EXPECT_EQ(place(&KSV::Library::SetAuthInfo), 4u);
  EXPECT_EQ(place(&KSV::Library::GetServerTime), 9u);
  EXPECT_EQ(place(&KSV::Library::ListTags), 24u);
  EXPECT_EQ(place(&KSV::Library::GetStorageInfo), 52u);
  EXPECT_EQ(KSV::codes::bStr, 1649636466u);
  EXPECT_EQ(KSV::codes::eEnd, 1699049060);
  EXPECT_EQ(KSV::codes::tapr, 1952542834u);
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

  auto* tag = new fixed_map({{KSV::codes::ttty, "album group"}});
  ksv_ref<KSV::Base> as_base(tag);
  EXPECT_EQ(vantor_prefs::ReadKsvTag(*as_base), (ksv_map{{KSV::codes::ttty, "album group"}}));
  ksv_ref<KSV::Base> not_a_map(new probe());
  EXPECT_TRUE(vantor_prefs::ReadKsvTag(*not_a_map).empty());

  EXPECT_EQ(vantor_prefs::ReadKsvString(ksv_ref<KSV::StringValue>(new probe())), "probe");
  EXPECT_EQ(live_probes, 1) << "ReadKsvString released its value";
}

class KsvClientTest : public ::testing::Test {
 protected:
  void use_client(const char* path) {
    client_.reset();
    client_ = std::make_unique<scoped_env>("VANTOR_KSV_LIBRARY", path);
  }
  void write_state(const std::string& json) { box_.write_file("ksv.json", json); }

  vantor_test::sandbox box_;
  scoped_env state_{"VANTOR_KSV_LOCAL_STATE", box_.path("ksv.json")};
  std::unique_ptr<scoped_env> client_;
};

TEST_F(KsvClientTest, ServerTimeIsAppendedFromEitherClient) {
  use_client(VANTOR_TEST_KSV_LOCAL);
  std::string time = "kept:";
  EXPECT_FALSE(VTL::GetCurrentServerTimeFromKSV(time)) << "no state file";
  write_state("{\"server_time\": \"2024-05-01T10:00:00Z\"}");
  EXPECT_TRUE(VTL::GetCurrentServerTimeFromKSV(time));
  EXPECT_EQ(time, "kept:2024-05-01T10:00:00Z");
  write_state("{\"albums\": 3}");
  EXPECT_FALSE(VTL::GetCurrentServerTimeFromKSV(time)) << "malformed state";
  EXPECT_EQ(time, "kept:2024-05-01T10:00:00Z");

  use_client(VANTOR_TEST_KSV_MINIMAL);
  EXPECT_TRUE(VTL::GetCurrentServerTimeFromKSV(time));
  EXPECT_EQ(time, "kept:2024-05-01T10:00:00Zminimal-clock");
}

TEST_F(KsvClientTest, UnreachableClientsFailQuietlyAndARefusalIsLogged) {
  write_state("{\"ticket\": \"t\"}");
  auto authenticate = [] {
    try {
      vantor_prefs::GetAuthenticatedKsvLibrary("t");
    } catch (VTL::error_code code) {
      return code;
    }
    return VTL::success;
  };
  for (const std::string& path : {box_.path("nowhere.so"), std::string(VANTOR_TEST_KSV_NO_ENTRY)}) {
    use_client(path.c_str());
    std::string time;
    EXPECT_FALSE(VTL::GetCurrentServerTimeFromKSV(time)) << path;
    VTL::error_code code = VTL::success;
    EXPECT_EQ(vantor_test::capture_stderr([&] { code = authenticate(); }), "") << path;
    EXPECT_EQ(code, VTL::unknown_error) << path;
  }

  use_client(VANTOR_TEST_KSV_MINIMAL);
  scoped_env refuse("VANTOR_TEST_KSV_REFUSE", "1");
  std::string time;
  EXPECT_FALSE(VTL::GetCurrentServerTimeFromKSV(time));
  VTL::error_code code = VTL::success;
  EXPECT_EQ(vantor_test::capture_stderr([&] { code = authenticate(); }),
            "Vantor : KSV Library Pointer not valid\n");
  EXPECT_EQ(code, VTL::unknown_error);
}

TEST_F(KsvClientTest, AuthenticationAndAlbumListStatusesBecomeResults) {
  use_client(VANTOR_TEST_KSV_LOCAL);
  write_state(R"({"ticket": "t-1", "quota": 2048, "storage_used": "512", "albums": [
      {"title": "Trip", "parents": "Travel", "online_id": "a1", "type": "album group",
       "access": "r", "privacy": "public", "template_id": "tm", "permissions": "rw"},
      {"title": "Bare"}]})");
  VTL::error_code code = VTL::success;
  const std::string log = vantor_test::capture_stderr([&] {
    try {
      vantor_prefs::GetAuthenticatedKsvLibrary("wrong");
    } catch (VTL::error_code thrown) {
      code = thrown;
    }
  });
  EXPECT_EQ(code, VTL::invalid_credentials);
  EXPECT_EQ(log, "Vantor : Invalid Credentials.Failed in SetAuthInfo Call:\n");

  ksv_ref<KSV::Library> library = vantor_prefs::GetAuthenticatedKsvLibrary("t-1");
  const std::vector<ksv_map> tags = vantor_prefs::ListKsvTags(*library);
  ASSERT_EQ(tags.size(), 2u);
  EXPECT_EQ(tags[0], (ksv_map{{KSV::codes::tgti, "Trip"},
                              {KSV::codes::thie, "Travel"},
                              {KSV::codes::srid, "a1"},
                              {KSV::codes::ttty, "album group"},
                              {KSV::codes::acpu, "r"},
                              {KSV::codes::tpri, "public"},
                              {KSV::codes::gtmi, "tm"},
                              {KSV::codes::tapr, "rw"}}));
  EXPECT_EQ(tags[1], (ksv_map{{KSV::codes::tgti, "Bare"}}));
  EXPECT_EQ(vantor_prefs::GetKsvStorage(*library),
            std::make_pair(std::string("2048"), std::string("512")));

  const struct {
    const char* status;
    VTL::error_code result;
    const char* decimal;
  } cases[] = {{"icrd", VTL::invalid_credentials, "1768125028"},
               {"esex", VTL::invalid_credentials, "1702061432"},
               {"oops", VTL::unknown_error, "1869574259"}};
  for (const auto& c : cases) {
    write_state(std::string("{\"ticket\": \"t-1\", \"list_tags_status\": \"") + c.status + "\"}");
    code = VTL::success;
    const std::string lines = vantor_test::capture_stderr([&] {
      try {
        vantor_prefs::ListKsvTags(*library);
      } catch (VTL::error_code thrown) {
        code = thrown;
      }
    });
    EXPECT_EQ(code, c.result) << c.status;
    EXPECT_EQ(lines,
              std::string("Vantor : Invalid Credentials.Failed in ListTags Call\nVantor : ") +
                  c.decimal + "\n")
        << c.status;
  }
}

}  // namespace
