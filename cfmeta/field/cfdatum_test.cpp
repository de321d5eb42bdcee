#include "cfmeta/field/cfdatum.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

std::string Text(const CFDatum& datum) {
  return datum.GetString() != nullptr ? datum.GetString() : "<no buffer>";
}

TEST(CFDatumTest, ConstructorsPickTheirTypeAndNullState) {
  struct Row {
    const char* what;
    CFDatum datum;
    bool isNull;
    CFDatum::DataType type;
    uint64_t length;
  } rows[] = {
      {"default", CFDatum(), true, CFDatum::Integer, 0},
      {"int", CFDatum(3), false, CFDatum::Integer, 0},
      {"unsigned", CFDatum(4294967295u), false, CFDatum::Integer, 0},
      {"long long", CFDatum(-5LL), false, CFDatum::Integer, 0},
      {"double", CFDatum(2.5), false, CFDatum::Real, 0},
      {"empty text", CFDatum("", false), false, CFDatum::String, 1},
      {"text", CFDatum("abc", false), false, CFDatum::String, 4},
      {"null pointer", CFDatum(nullptr, false), true, CFDatum::String, 0},
      {"text flagged null", CFDatum("abc", true), true, CFDatum::String, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(row.isNull, row.datum.IsNull());
    EXPECT_EQ(row.type, row.datum.GetType());
    EXPECT_EQ(row.length, row.datum.GetLength());
    if (row.type == CFDatum::String) {
      EXPECT_EQ(row.isNull, row.datum.GetString() == nullptr);
    }
  }
  EXPECT_EQ(4294967295LL, CFDatum(4294967295u).GetInt());
  EXPECT_STREQ("", CFDatum("", false).GetString());
}

TEST(CFDatumTest, SetValueReusesTheBufferOnlyForTheSameSize) {
  CFDatum datum(42LL);
  datum.SetValue("abc", false);
  EXPECT_EQ(CFDatum::String, datum.GetType());
  EXPECT_FALSE(datum.IsNull());
  EXPECT_EQ(4u, datum.GetLength());
  const char* first = datum.GetString();

  datum.SetValue("xyz", false);
  EXPECT_EQ(first, datum.GetString());
  EXPECT_EQ("xyz", Text(datum));

  datum.SetValue("ab", false);
  EXPECT_NE(first, datum.GetString());
  EXPECT_EQ("ab", Text(datum));
  EXPECT_EQ(3u, datum.GetLength());

  // Text taken from the datum's own buffer, same size and shorter.
  datum.SetValue(datum.GetString(), false);
  EXPECT_EQ("ab", Text(datum));
  datum.SetValue(datum.GetString() + 1, false);
  EXPECT_EQ("b", Text(datum));
  EXPECT_EQ(2u, datum.GetLength());

  // Null frees the buffer; a null real turned into a null string holds none.
  datum.SetValue("b", true);
  EXPECT_TRUE(datum.IsNull());
  EXPECT_EQ(0u, datum.GetLength());
  EXPECT_EQ(nullptr, datum.GetString());
  datum.SetValue(nullptr, false);
  EXPECT_TRUE(datum.IsNull());
  EXPECT_EQ(nullptr, datum.GetString());
  CFDatum real(1.5);
  real.SetValue(nullptr, true);
  EXPECT_EQ(CFDatum::String, real.GetType());
  EXPECT_EQ(nullptr, real.GetString());
  real.SetValue("", false);
  EXPECT_FALSE(real.IsNull());
  EXPECT_EQ(1u, real.GetLength());
}

TEST(CFDatumTest, AssignmentCopiesDeeply) {
  CFDatum text("hello", false);
  const char* buffer = text.GetString();
  CFDatum& alias = text;
  text = alias;  // self-assignment keeps the datum intact
  EXPECT_EQ(buffer, text.GetString());
  EXPECT_EQ("hello", Text(text));

  CFDatum copy(text);
  EXPECT_NE(text.GetString(), copy.GetString());
  text.SetValue("HELLO", false);  // same size: written in place
  EXPECT_EQ("hello", Text(copy));
  EXPECT_EQ(6u, copy.GetLength());

  // An integer over a string, a string over a real, a null string over a string.
  copy = CFDatum(7);
  EXPECT_EQ(CFDatum::Integer, copy.GetType());
  EXPECT_EQ(7, copy.GetInt());
  CFDatum real(0.5);
  real = text;
  EXPECT_EQ("HELLO", Text(real));
  real = CFDatum(nullptr, true);
  EXPECT_TRUE(real.IsNull());
  EXPECT_EQ(CFDatum::String, real.GetType());
  EXPECT_EQ(nullptr, real.GetString());
  CFDatum nan(kNaN);
  copy = nan;
  EXPECT_TRUE(std::isnan(copy.GetReal()));

  // Moves hand the buffer over and leave a null datum behind.
  std::vector<CFDatum> values;
  values.emplace_back("first", false);
  const char* moved = values[0].GetString();
  for (int i = 0; i < 100; ++i) values.emplace_back(i);
  EXPECT_EQ(moved, values[0].GetString());
  CFDatum taken(std::move(values[0]));
  EXPECT_EQ(moved, taken.GetString());
  EXPECT_TRUE(values[0].IsNull());
  EXPECT_EQ(CFDatum::Integer, values[0].GetType());
  values[1] = std::move(taken);
  EXPECT_EQ("first", Text(values[1]));
}

TEST(CFDatumTest, CompareFollowsItsTable) {
  struct Row {
    const char* what;
    CFDatum a;
    CFDatum b;
    int expected;
  } rows[] = {
      {"int less", CFDatum(-3), CFDatum(2), -1},
      {"int equal", CFDatum(4), CFDatum(4), 0},
      {"int greater, signed", CFDatum(std::numeric_limits<long long>::max()),
       CFDatum(std::numeric_limits<long long>::min()), 1},
      {"real less", CFDatum(1.0), CFDatum(1.5), -1},
      {"real equal, signed zeros", CFDatum(-0.0), CFDatum(0.0), 0},
      {"real greater", CFDatum(kInf), CFDatum(1e308), 1},
      {"NaN and NaN", CFDatum(kNaN), CFDatum(kNaN), 1},
      {"NaN and a number", CFDatum(kNaN), CFDatum(1.0), 1},
      {"a number and NaN", CFDatum(1.0), CFDatum(kNaN), 1},
      {"int and real", CFDatum(5), CFDatum(5.0), 2},
      {"real and int", CFDatum(5.0), CFDatum(5), 2},
      {"int and string", CFDatum(1), CFDatum("1", false), 2},
      {"null and value", CFDatum(), CFDatum(1), 2},
      {"value and null", CFDatum(1), CFDatum(), 2},
      {"null and null", CFDatum(), CFDatum(), 2},
      {"null strings", CFDatum(nullptr, true), CFDatum(nullptr, true), 2},
      {"null string and empty string", CFDatum(nullptr, true), CFDatum("", false), 2},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(row.expected, row.a.Compare(row.b));
  }
  CFDatum null;
  EXPECT_EQ(2, null.Compare(null));

  // Strings: strcmp's own result in byte order; only its sign is promised.
  struct StringRow {
    const char* a;
    const char* b;
    int sign;
  } strings[] = {
      {"a", "b", -1},    {"b", "a", 1}, {"B", "a", -1},       {"abc", "abc", 0},
      {"ab", "abc", -1}, {"", "a", -1}, {"\xC3\xA9", "z", 1},  // bytes are unsigned
      {"a ", "a", 1},
  };
  for (const StringRow& row : strings) {
    SCOPED_TRACE(std::string(row.a) + " vs " + row.b);
    int result = CFDatum(row.a, false).Compare(CFDatum(row.b, false));
    EXPECT_EQ(row.sign, (result > 0) - (result < 0));
    EXPECT_EQ(std::strcmp(row.a, row.b), result);  // passed through, not clipped
  }
}

TEST(CFDatumTest, ToStringPrintsValuesAndOpenBounds) {
  struct Row {
    const char* what;
    CFDatum datum;
    int sign;
    bool ok;
    const char* text;
  } rows[] = {
      {"null, lower bound", CFDatum(), -1, true, "-INF"},
      {"null, upper bound", CFDatum(), 1, true, "INF"},
      {"null, far upper bound", CFDatum(nullptr, true), 42, true, "INF"},
      {"null, no bound", CFDatum(), 0, false, ""},
      {"null string, no bound", CFDatum("x", true), 0, false, ""},
      {"real", CFDatum(0.1), 0, true, "0.1"},
      {"real, sign ignored", CFDatum(-2.5), -1, true, "-2.5"},
      {"large real", CFDatum(1e20), 0, true, "1e+20"},
      {"integer", CFDatum(-7), 1, true, "-7"},
      {"smallest integer", CFDatum(std::numeric_limits<long long>::min()), 0, true,
       "-9223372036854775808"},
      {"string", CFDatum("a b\tc", false), 0, true, "a b\tc"},
      {"empty string", CFDatum("", false), 0, true, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    std::string out = "stale";
    EXPECT_EQ(row.ok, row.datum.ToString(out, row.sign));
    EXPECT_EQ(row.text, out);
  }
}

}  // namespace
