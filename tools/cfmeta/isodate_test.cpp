#include "tools/cfmeta/isodate.h"

#include <gtest/gtest.h>

#include <string>

namespace cfmeta_tool {
namespace {

TEST(IsoDateTest, ReadsDatesTimesAndTimestampsFromTheEpoch) {
  struct Row {
    const char* text;
    char kind;  // 'd' date, 't' time, 's' timestamp
    double value;
    int decimals;
  } rows[] = {
      {"1970-01-01", 'd', 0, 0},
      {"1969-12-31", 'd', -1, 0},
      {"2024-02-29", 'd', 19782, 0},
      {"2000-03-01", 'd', 11017, 0},
      {"0000-01-01", 'd', -719528, 0},
      {"00:00", 't', 0, 0},
      {"01:02:03.5", 't', 3723.5, 1},
      {"23:59:59.123456789", 't', 86399.123456789, 9},
      {"1970-01-02T00:00:01", 's', 86401, 0},
      {"1969-12-31 23:59:59Z", 's', -1, 0},
      {"2024-02-29T12:00", 's', 19782 * 86400.0 + 43200, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    std::string text = row.text;
    double value = 1e300;
    int decimals = -1;
    bool read = row.kind == 'd'   ? (decimals = 0, ParseIsoDate(text.data(), text.size(), value))
                : row.kind == 't' ? ParseIsoTime(text.data(), text.size(), value, decimals)
                                  : ParseIsoTimestamp(text.data(), text.size(), value, decimals);
    ASSERT_TRUE(read);
    EXPECT_DOUBLE_EQ(row.value, value);
    EXPECT_EQ(row.decimals, decimals);
  }
}

TEST(IsoDateTest, RefusesWhatIsNotAValidIsoText) {
  double value;
  int decimals;
  for (const char* text : {"2023-02-29", "2024-13-01", "2024-00-10", "2024-04-31", "2024-1-01",
                           "2024/01/01", "20240101", " 2024-01-01", "2024-01-01 ", ""}) {
    SCOPED_TRACE(text);
    EXPECT_FALSE(ParseIsoDate(text, std::string(text).size(), value));
  }
  for (const char* text : {"24:00", "12:60", "12:00:60", "12:00:00.", "12:00:00.1234567890", "1:00",
                           "12:00:0", "12-00", "12:00Z"}) {
    SCOPED_TRACE(text);
    EXPECT_FALSE(ParseIsoTime(text, std::string(text).size(), value, decimals));
  }
  for (const char* text : {"2024-01-01", "2024-01-01T", "2024-01-01X12:00", "2024-01-01T25:00",
                           "2024-01-01T12:00+02:00", "2024-01-01  12:00"}) {
    SCOPED_TRACE(text);
    EXPECT_FALSE(ParseIsoTimestamp(text, std::string(text).size(), value, decimals));
  }
}

}  // namespace
}  // namespace cfmeta_tool
