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
// Memory grows with the number of columns and of distinct values kept, never with the rows.
#ifndef TOOLS_CFMETA_PROFILER_H_
#define TOOLS_CFMETA_PROFILER_H_

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tools/cfmeta/csvreader.h"

class CFCatStats;
class CFMetaData;

namespace cfmeta_tool {

class Profiler : public CsvSink {
 public:
  static constexpr unsigned kDefaultMaxCategories = 50;
  static constexpr int kMaxDecimals = 10;

  // How a numeric column's values display, beside the plain number format.
  enum class Decoration { Currency, Percent };

  // With `summaries`, Finish also stores the dataset summaries: valid and missing counts,
  // moments up to the fourth of continuous fields and the distribution of categorical ones
  // (for a string column beyond the category limit, of its first values only).
  explicit Profiler(unsigned maxCategories = kDefaultMaxCategories, bool summaries = false);
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

  // The metadata of everything seen. Each column whose values could not all be listed adds a
  // line to `warnings`. Requires: Header was called.
  std::unique_ptr<CFMetaData> Finish(std::vector<std::string>& warnings);

 private:
  struct Column;
  struct Decorated {
    Decoration decoration;
    std::string symbol;
  };
  unsigned m_maxCategories;
  bool m_summaries;
  std::map<std::string, Decorated> m_decorations;
  std::vector<Column> m_columns;
  uint64_t m_rows = 0;

  // The column's category counts typed as its storage; null when they are not all known or
  // cannot be written (adding a warning for a string column).
  std::unique_ptr<CFCatStats> TakeCategories(Column& column,
                                             std::vector<std::string>& warnings) const;
};

}  // namespace cfmeta_tool

#endif  // TOOLS_CFMETA_PROFILER_H_
