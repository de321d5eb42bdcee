// Infers a metadata document from the rows of a delimited file in one pass.
//
// Every column becomes a field. Its storage is integer when every non-null cell is a 64-bit
// integer, real when every one is a finite number, string otherwise (an all-null column is a
// string column too). A number is an optional sign, digits, an optional decimal symbol and
// exponent, with blanks (spaces, tabs) around it allowed; the decimal symbol is "." or ",",
// and digits before it may be grouped in threes by the grouping characters given
// (SetNumberForm: "1,234.5", "1.234,5", "1 234,5"). A number with a leading zero ("007") is
// taken for a code and makes the column a string column; blanks around a text are part of it.
//
// Empty cells are null, and so are the cells that are exactly one of the null tokens
// (SetNullTokens; by default "NA", "N/A", "NaN", "null", "NULL" and "-"). Nulls count in no
// statistic. A string column lists the null tokens it holds as its field's missing values; in
// a column of numbers, dates or times they are only counted as null.
//
// A numeric column with at most `maxNominal` distinct values is categorical: a flag when it
// has exactly two, nominal otherwise; with more, or for a `maxNominal` of 0, it is continuous.
// A string column is always categorical (a flag for exactly two values). A categorical field
// keeps its sorted value list and category counts only while it has at most `maxCategories`
// distinct values; beyond that they are left out with a warning. Continuous fields get their
// continuous statistics. Numeric fields get a free-width number format that shows every value
// as the number it is: with the decimals the data show (as written, "12.50" two, "2.5E-3"
// four), at most 10 and never fewer than a value's shortest text that reads back needs, or in
// scientific notation when that takes more than 10 decimals or more characters than a
// free-width number holds; the format records the decimal symbol and the grouping character
// the column used. Columns given to Decorate get a currency or percent format instead. Columns
// of dates, times of day and timestamps get date, time and timestamp storage (days or seconds
// from 1970-01-01 GMT), continuous statistics and display formats of their written form.
//
// With details (always with summaries), each column also gets the figures of ColumnProfile:
// distinct values, the most frequent ones, percentiles and a histogram of numbers, dates and
// times, lengths of texts. They are exact while a column has at most `maxCategories` (or
// `maxNominal`, when larger) distinct values and come from mergeable sketches beyond that (see
// cfmeta/stats/cfsketches.h for their error bounds).
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
  static constexpr unsigned kDefaultMaxNominal = 10;
  static constexpr int kMaxDecimals = 10;
  static constexpr size_t kMaxNullTokens = 64;

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

  // The most distinct values a numeric column may have and still be categorical; 0 makes every
  // numeric column continuous. Call before Header.
  void SetMaxNominal(unsigned maxNominal) { m_maxNominal = maxNominal; }

  // The cell texts that stand for null, in place of the default ones; the empty cell always
  // does. Throws ToolError (bad usage) for more than kMaxNullTokens. Call before Header.
  void SetNullTokens(const std::vector<std::string>& tokens);
  // The null tokens a profiler starts with: "NA", "N/A", "NaN", "null", "NULL" and "-".
  static std::vector<std::string> DefaultNullTokens();

  // How numbers are written: `decimal` is '.' or ',', and `grouping` holds the characters that
  // may group digits in threes before it: none, or one or two of ',', '.' and ' ', not
  // `decimal`. Throws ToolError (bad usage) otherwise. Call before Header.
  void SetNumberForm(char decimal, const std::string& grouping);

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
  unsigned m_maxNominal = kDefaultMaxNominal;
  bool m_summaries;
  bool m_details;
  std::map<std::string, Decorated> m_decorations;
  std::vector<Column> m_columns;
  uint64_t m_rows = 0;
  // Numbers: the decimal symbol and up to two grouping characters (NUL for none).
  char m_decimal = '.';
  char m_grouping[2] = {'\0', '\0'};
  // The null tokens, and which lengths (bit 63: 63 bytes or more) and first bytes they have,
  // so that most cells are told apart from them without a comparison.
  std::vector<std::string> m_nullTokens = DefaultNullTokens();
  uint64_t m_nullLengths = 0;
  std::array<bool, 256> m_nullFirstBytes{};

  // Whether the cell is a null token; notes which on the column.
  bool IsNullToken(Column& column, const char* text, size_t length) const;

  // What Finish reports of `column`, whose values (null for text) are read in `form` (-1 for
  // numbers).
  ColumnProfile Describe(const Column& column, int form, const Values* values,
                         CFField::StorageType storage) const;

  // The column's measurement level, and in `categories` its category counts typed as its
  // storage: null when the field is not categorical or the counts are not all known, are more
  // than `maxCategories` or cannot be written (the last two adding a warning).
  CFField::FieldType TakeCategories(Column& column, std::unique_ptr<CFCatStats>& categories,
                                    std::vector<std::string>& warnings) const;
};

}  // namespace cfmeta_tool

#endif  // TOOLS_CFMETA_PROFILER_H_
