// Infers a metadata document from the rows of a delimited file in one pass.
//
// Every column becomes a field. Its storage is integer when every non-empty cell is a 64-bit
// integer, real when every one is a finite number, string otherwise (an all-empty column is a
// string column too). Numbers are written plainly: an optional sign, digits, an optional
// decimal point and exponent; a number with a leading zero ("007") is taken for a code and
// makes the column a string column. Empty cells are null.
//
// A numeric column with at most `maxCategories` distinct values is categorical: a flag when it
// has exactly two, nominal otherwise; with more it is continuous. A string column is always
// categorical (a flag for exactly two values), but its value list and category counts are kept
// only while it has at most `maxCategories` distinct values. Categorical fields get their
// sorted value list and category counts, continuous fields their continuous statistics, numeric
// fields a free-width number format with as many decimals as the data show (at most 10), or a
// currency or percent format for the columns given to Decorate. Columns of ISO 8601 dates, times
// of day and timestamps get date, time and timestamp storage (days or seconds from 1970-01-01
// GMT), continuous statistics and ISO display formats.
//
// With details (always with summaries), each column also gets the figures of ColumnProfile:
// distinct values, the most frequent ones, percentiles and a histogram of numbers, dates and
// times, lengths of texts. They are exact while a column has at most `maxCategories` distinct
// values and come from mergeable sketches beyond that (see cfmeta/stats/cfsketches.h for their
// error bounds).
//
// Memory grows with the number of columns and of distinct values kept, never with the rows.
#ifndef TOOLS_CFMETA_PROFILER_H_
#define TOOLS_CFMETA_PROFILER_H_

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cfmeta/field/cffield.h"
#include "tools/cfmeta/csvreader.h"

class CFCatStats;
class CFMetaData;

namespace cfmeta_tool {

// What profiling found in one column. Values of numbers are the numbers; of dates days and of
// times and timestamps seconds from 1970-01-01 GMT; texts are the cells as written.
struct ColumnProfile {
  static constexpr size_t kTopValues = 10;
  // The ranks of `percentiles`, in percent.
  static constexpr std::array<int, 7> kPercentileRanks = {1, 5, 25, 50, 75, 95, 99};

  struct Top {
    std::string text;
    double value = 0.0;  // numbers, dates and times only
    uint64_t count = 0;  // at least the true count less `error`, at most the true count
    uint64_t error = 0;
  };
  struct Bin {
    double lower = 0.0, upper = 0.0;  // the last bin holds its upper bound too
    double count = 0.0;
    double mean = 0.0;
  };

  std::string name;
  CFField::StorageType storage = CFField::StringStorage;
  CFField::FieldType level = CFField::Nominal;
  uint64_t count = 0;  // non-null cells
  uint64_t nulls = 0;
  uint64_t distinct = 0;
  bool distinctExact = true;
  // Most frequent first, ties in ascending order of text; at most kTopValues.
  std::vector<Top> top;
  // Strings: the first and last by byte order, and lengths in characters; unknown (`texts`
  // false) for a column that turned text after it had more distinct values than categories.
  bool texts = false;
  std::string minText, maxText;
  uint64_t lengthMin = 0, lengthMax = 0;
  double lengthMean = 0.0;
  // Numbers, dates and times with a value (`numeric`).
  bool numeric = false;
  double min = 0.0, max = 0.0;
  double mean = 0.0, stdDev = 0.0, skewness = 0.0, kurtosis = 0.0;  // NaN when undefined
  std::array<double, kPercentileRanks.size()> percentiles{};
  bool percentilesExact = true;
  double interQuartileRange = 0.0;
  double lowerFence = 0.0, upperFence = 0.0;  // 1.5 interquartile ranges beyond the quartiles
  std::vector<Bin> histogram;
  int decimals = 0;  // fraction digits of times and timestamps
  // Dates and times: how the file wrote them ("MM/DD/YYYY"), and whether the day and month
  // order was assumed for want of a value that settles it.
  std::string dateForm;
  bool dateOrderAssumed = false;
};

class Profiler : public CsvSink {
 public:
  static constexpr unsigned kDefaultMaxCategories = 50;
  static constexpr int kMaxDecimals = 10;

  // How a numeric column's values display, beside the plain number format.
  enum class Decoration { Currency, Percent };

  // With `summaries`, Finish also stores the dataset summaries: valid and missing counts,
  // moments up to the fourth of continuous fields and the distribution of categorical ones
  // (for a string column beyond the category limit, of its first values only).
  // With `details`, Finish can also describe every column (ColumnProfile).
  explicit Profiler(unsigned maxCategories = kDefaultMaxCategories, bool summaries = false,
                    bool details = false);
  ~Profiler() override;

  // Gives column `name` a currency format (`symbol` before the number, digits grouped by
  // commas) or a percent format ("%" after the number, which is shown as it stands) in place
  // of the plain number format. Header then throws ToolError when no column has that name, and
  // Finish when the column is not numeric or `symbol` starts with a digit zero. Call before
  // Header.
  void Decorate(const std::string& name, Decoration decoration, const std::string& symbol = "$");

  // Throws ToolError for an empty column name, a duplicate one, or a name an XML document
  // cannot carry.
  void Header(const std::vector<std::string>& names) override;
  void Cell(size_t column, const char* text, size_t length) override;
  void EndRow() override;

  // The metadata of everything seen. Each column whose values could not all be listed, or
  // whose dates were read in an assumed day and month order, adds a line to `warnings`. With
  // details, `profiles` (when not null) receives one ColumnProfile per column in file order.
  // Requires: Header was called.
  std::unique_ptr<CFMetaData> Finish(std::vector<std::string>& warnings,
                                     std::vector<ColumnProfile>* profiles = nullptr);

  uint64_t Rows() const { return m_rows; }

 private:
  struct Column;
  struct Decorated {
    Decoration decoration;
    std::string symbol;
  };
  struct Values;
  struct Beyond;
  unsigned m_maxCategories;
  bool m_summaries;
  bool m_details;
  std::map<std::string, Decorated> m_decorations;
  std::vector<Column> m_columns;
  uint64_t m_rows = 0;

  // What Finish reports of `column`, whose values (null for text) are read in `form` (-1 for
  // numbers).
  ColumnProfile Describe(const Column& column, int form, const Values* values,
                         CFField::StorageType storage) const;

  // The column's category counts typed as its storage; null when they are not all known or
  // cannot be written (adding a warning for a string column).
  std::unique_ptr<CFCatStats> TakeCategories(Column& column,
                                             std::vector<std::string>& warnings) const;
};

}  // namespace cfmeta_tool

#endif  // TOOLS_CFMETA_PROFILER_H_
