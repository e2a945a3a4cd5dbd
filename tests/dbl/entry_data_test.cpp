#include "dbl/entry_data.h"

#include <gtest/gtest.h>

#include <boost/numeric/conversion/cast.hpp>

#include "tests/dbl/dbl_test_util.h"

namespace dbl {
namespace {

using dbl_test::message_of;

TEST(EntryData, KindsStayApart) {
  EXPECT_EQ(entry_data().type(), typeid(void));
  EXPECT_EQ(entry_data(3).type(), typeid(std::int32_t));
  EXPECT_EQ(entry_data(long32{3}).type(), typeid(long32));
  EXPECT_EQ(entry_data(std::int64_t{3}).type(), typeid(std::int64_t));
  EXPECT_EQ(entry_data(short{3}).type(), typeid(std::int16_t));
  EXPECT_EQ(entry_data(auto_id{3}).type(), typeid(auto_id));
  EXPECT_EQ(entry_data(blob{}).type(), typeid(blob));

  const char* none = nullptr;
  entry_data from_null_pointer(none);
  EXPECT_FALSE(from_null_pointer.is_null());
  EXPECT_EQ(from_null_pointer.as_string(), "");
  EXPECT_EQ(entry_data(fixed_string{10, "abc"}).as_string(), "abc");
  EXPECT_THROW(entry_data(3).as_string(), bad_entry_data_cast);
  EXPECT_THROW(entry_data(1).as_bool(), bad_entry_data_cast);
  EXPECT_THROW(entry_data().as_blob(), bad_entry_data_cast);
}

TEST(EntryData, CopiesShareOneBox) {
  entry_data a(std::string("shared"));
  entry_data b = a;
  EXPECT_TRUE(a.shares(b));
  EXPECT_FALSE(a.shares(entry_data(std::string("shared"))));
  b = entry_data(7);
  EXPECT_EQ(a.as_string(), "shared");
  EXPECT_TRUE(b.shares(entry_data(7)));
  EXPECT_FALSE(b.shares(entry_data(std::int64_t{7})));
  EXPECT_FALSE(entry_data(short{-1}).shares(entry_data(short{1})));
}

TEST(EntryData, NumericConversions) {
  EXPECT_EQ(entry_data(300.9).as_int(), 300);
  EXPECT_EQ(entry_data(-300.9).as_int(), -300);
  EXPECT_EQ(entry_data(short{-5}).as_int64(), -5);
  EXPECT_EQ(entry_data(auto_id{42}).as_int(), 42);
  EXPECT_EQ(entry_data(std::uint64_t{1} << 63).as_uint64(), std::uint64_t{1} << 63);
  EXPECT_DOUBLE_EQ(entry_data(9.3e18).as_double(), 9.3e18);
  EXPECT_EQ(entry_data(9.3e18).as_uint64(), 9300000000000000000ULL);

  EXPECT_THROW(entry_data(4294967295U).as_int(), boost::numeric::positive_overflow);
  EXPECT_THROW(entry_data(std::int64_t{1} << 40).as_long(), boost::numeric::positive_overflow);
  EXPECT_THROW(entry_data(1e300).as_int64(), boost::numeric::positive_overflow);

  for (const entry_data& not_numeric :
       {entry_data(), entry_data(true), entry_data(long32{1}), entry_data("1")}) {
    EXPECT_EQ(message_of<bad_entry_data_cast>([&] { (void)not_numeric.as_int(); }),
              "The type held in this entry_data object is not a recognized numeric type.")
        << not_numeric.type().name();
  }
  EXPECT_EQ(message_of<boost::numeric::negative_overflow>([] { (void)entry_data(-1).as_uint(); }),
            "bad numeric conversion: negative overflow");
}

TEST(EntryData, EqualityRules) {
  const boost::posix_time::ptime t(boost::gregorian::date(2020, 1, 2));
  const std::tuple<const char*, entry_data, entry_data, bool> cases[] = {
      {"null-zero", entry_data(), entry_data(0), false},
      {"null-empty", entry_data(), entry_data(""), false},
      {"int-int64", entry_data(3), entry_data(std::int64_t{3}), true},
      {"int-short", entry_data(5), entry_data(short{5}), true},
      {"int-auto_id", entry_data(5), entry_data(auto_id{5}), true},
      {"double-int", entry_data(3.0), entry_data(3), false},
      {"double-double-close", entry_data(1.0), entry_data(1.0 + 1e-17), true},
      {"double-double-far", entry_data(1.0), entry_data(1.0 + 1e-15), false},
      {"bool-int", entry_data(true), entry_data(1), false},
      {"string-fixed", entry_data("a"), entry_data(fixed_string{10, "a"}), false},
      {"fixed-width", entry_data(fixed_string{10, "a"}), entry_data(fixed_string{20, "a"}), false},
      {"string-case", entry_data("a"), entry_data("A"), false},
      {"wstring", entry_data(std::wstring(L"x")), entry_data(std::wstring(L"x")), true},
      {"ptime-later", entry_data(t), entry_data(t + boost::posix_time::seconds(1)), false},
      {"blob-empty", entry_data(blob{}), entry_data(), false},
      {"uint64-int", entry_data(std::uint64_t{7}), entry_data(7), true},
  };
  for (const auto& [name, a, b, equal] : cases) {
    EXPECT_EQ(a == b, equal) << name;
    EXPECT_EQ(b == a, equal) << name << " (reversed)";
    EXPECT_EQ(a != b, !equal) << name;
  }
  // Not numeric kinds: equality ends in a failed conversion.
  EXPECT_THROW((void)(entry_data(long32{7}) == entry_data(long32{7})), bad_entry_data_cast);
  const entry_data w(fixed_wstring{3, L"a"});
  EXPECT_THROW((void)(w == entry_data(fixed_wstring{3, L"a"})), bad_entry_data_cast);
  EXPECT_THROW((void)(w == w), bad_entry_data_cast);
  EXPECT_FALSE(w == entry_data(fixed_string{3, "a"}));
  EXPECT_THROW((void)(entry_data(std::uint64_t{1}) == entry_data(-1)),
               boost::numeric::negative_overflow);
}

}  // namespace
}  // namespace dbl
