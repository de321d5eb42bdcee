#include "tools/cfmeta/dateforms.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "cfmeta/field/cfdatum.h"

namespace cfmeta_tool {
namespace {

constexpr FormSet Set(std::initializer_list<int> forms) {
  FormSet set = 0;
  for (int form : forms) set |= FormSet{1} << form;
  return set;
}

// The forms of `among` that read `text`, and the value and decimals of the first of them.
FormSet Read(const std::string& text, FormSet among, double& value, int& places) {
  double values[kFormCount];
  int decimals[kFormCount];
  const FormSet found = ReadDateForms(text.data(), text.size(), among, values, decimals);
  bool assumed;
  const int first = ChooseForm(found, assumed);
  if (first >= 0) value = values[first], places = decimals[first];
  return found;
}

TEST(DateFormTest, ReadsEachFormAndRefusesWhatIsNoRealDayOrTime) {
  constexpr double kDay = 86400;
  struct Row {
    const char* text;
    FormSet forms;
    double value;  // of the first form
    int decimals;
  } rows[] = {
      {"2015-01-31", Set({kIsoDate}), 16466, 0},
      {"09:30", Set({kIsoTime, kTimeHm, kTimeHms}), 34200, 0},
      {"9:30:15.25", Set({kTimeHms}), 34215.25, 2},
      {"2015-01-01T10:00:00Z", Set({kIsoTimestamp}), 16436 * kDay + 36000, 0},
      {"2015/01/31", Set({kYmdSlash}), 16466, 0},
      {"0000/1/1", Set({kYmdSlash}), -719528, 0},
      {"2015/01/31 01:00", Set({kYmdSlashHm, kYmdSlashHms}), 16466 * kDay + 3600, 0},
      {"2015/01/31 01:00:00", Set({kYmdSlashHms}), 16466 * kDay + 3600, 0},
      {"12/31/2015", Set({kMdySlash}), 16800, 0},
      {"31/12/2015 23:59:59.5", Set({kDmySlashHms}), 16800 * kDay + 86399.5, 1},
      {"1/5/2015", Set({kMdySlash, kDmySlash}), 16440, 0},
      {"31.1.2015 0:00", Set({kDmyDotHm, kDmyDotHms}), 16466 * kDay, 0},
      {"Jan 1 2000", Set({kMonDY}), 10957, 0},
      {"JANUARY 1, 2000 1:30 PM", Set({kMonDYAmPm}), 10957 * kDay + 48600, 0},
      {"29 feb 2016", Set({kDMonY}), 16860, 0},
      {"01-Jan-2000 12:00:00 AM", Set({kDMonYDashAmPm}), 10957 * kDay, 0},
      {"12:30PM", Set({kTimeAmPm}), 45000, 0},
      {"01:30:00 am", Set({kTimeAmPm}), 5400, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    double value = 0;
    int decimals = -1;
    ASSERT_EQ(row.forms, Read(row.text, kAllForms, value, decimals));
    EXPECT_DOUBLE_EQ(row.value, value);
    EXPECT_EQ(row.decimals, decimals);
  }
  for (const char* text :
       {"13/13/2015", "2015-02-30", "2015/13/01", "31.02.2015", "Feb 29 2015", "24:00", "13:00 PM",
        "0:30 AM", "12:60", "1/1/15", "2015", "20150101", "12.5", "Janu 1 2000",
        "01/31/2015  10:00", "01/31/2015T10:00", "1:30 P.M.", ""}) {
    SCOPED_TRACE(text);
    double value;
    int decimals;
    EXPECT_EQ(0u, Read(text, kAllForms, value, decimals));
  }
  // Day first, the same text is another day; a form outside `among` is not read.
  double value = 0;
  int decimals;
  EXPECT_EQ(Set({kDmySlash}), Read("1/5/2015", Set({kDmySlash, kDmyDot}), value, decimals));
  EXPECT_DOUBLE_EQ(16556, value);
}

TEST(DateFormTest, ColumnSettlesOnTheFirstFormEveryCellReads) {
  struct Column {
    std::vector<std::string> cells;
    int form;
    bool assumed;
  } columns[] = {
      {{"01/02/2015", "13/02/2015"}, kDmySlash, false},
      {{"01/02/2015", "02/13/2015"}, kMdySlash, false},
      {{"01/02/2015 10:00", "03/04/2015 1:00"}, kMdySlashHm, true},
      {{"2015/01/02 10:00", "2015/01/02 10:00:30"}, kYmdSlashHms, false},
      {{"09:30", "9:45"}, kTimeHm, false},
      {{"09:30", "13:45:00.5"}, kIsoTime, false},
  };
  for (const Column& column : columns) {
    SCOPED_TRACE(column.cells[0] + ", " + column.cells[1]);
    FormSet live = kAllForms;
    double values[kFormCount];
    int decimals[kFormCount];
    for (const std::string& cell : column.cells) {
      live = ReadDateForms(cell.data(), cell.size(), live, values, decimals);
    }
    bool assumed = !column.assumed;
    EXPECT_EQ(column.form, ChooseForm(live, assumed));
    EXPECT_EQ(column.assumed, assumed);
  }
}

TEST(DateFormTest, FormatShowsTheValueAsWrittenWhereItCan) {
  struct Row {
    int form;
    const char* text;
    int decimals;
    const char* shown;  // null when the text itself
  } rows[] = {
      {kIsoDate, "2015-01-31", 0, nullptr},
      {kIsoTime, "23:59:59.25", 2, nullptr},
      {kIsoTime, "09:30", 0, "09:30:00"},
      {kIsoTimestamp, "2015-01-31T10:00:00Z", 0, "2015-01-31 10:00:00"},
      {kYmdSlashHms, "2015/01/31 01:00:00", 0, nullptr},
      {kMdySlashHm, "01/31/2015 13:30", 0, nullptr},
      {kDmySlash, "31/01/2015", 0, nullptr},
      {kDmyDotHms, "31.01.2015 23:59:59.125", 3, nullptr},
      {kDMonY, "01 Jan 2000", 0, nullptr},
      {kDMonYDashHm, "01-Jan-2000 10:00", 0, nullptr},
      {kTimeHm, "09:30", 0, nullptr},
      {kMdySlash, "1/5/2015", 0, "01/05/2015"},
      {kMonDY, "January 5, 2015", 0, "05 Jan 2015"},
      {kTimeAmPm, "1:30 PM", 0, "13:30:00"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    double values[kFormCount];
    int decimals[kFormCount];
    const std::string text = row.text;
    FormSet bit = FormSet{1} << row.form;
    ASSERT_EQ(bit, ReadDateForms(text.data(), text.size(), bit, values, decimals));
    std::unique_ptr<CFFormat> format = FormatOfForm(row.form, row.decimals);
    ASSERT_NE(nullptr, format);
    const CFFormat::ValueUnits units =
        KindOfForm(row.form) == TemporalKind::Date ? CFFormat::Days : CFFormat::Seconds;
    std::string shown;
    ASSERT_EQ(0, format->Format(CFDatum(values[row.form]), units, shown));
    EXPECT_EQ(row.shown != nullptr ? row.shown : row.text, shown);
  }
  EXPECT_EQ(nullptr, FormatOfForm(kFormCount, 0));
}

}  // namespace
}  // namespace cfmeta_tool
