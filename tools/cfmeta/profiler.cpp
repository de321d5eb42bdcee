#include "tools/cfmeta/profiler.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <unordered_set>

#include "cfmeta/field/cffield.h"
#include "cfmeta/format/cfdateformat.h"
#include "cfmeta/format/cfdecoratedformat.h"
#include "cfmeta/format/cfnumberformat.h"
#include "cfmeta/format/cftimeformat.h"
#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/stats/cfcatstatsimp.h"
#include "cfmeta/stats/cfcontstats.h"
#include "cfmeta/stats/cfmoments.h"
#include "cfmeta/summaries/cfdatasetsummaries.h"
#include "tools/cfmeta/isodate.h"
#include "tools/cfmeta/summaries.h"
#include "tools/cfmeta/toolerror.h"

namespace cfmeta_tool {

namespace {

enum class Kind { Empty, Integer, Real, Date, Time, Timestamp, String };

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Skips a leading "+" that from_chars does not take. Null when what follows is not the number's
// start: another sign, a code with a leading zero ("007", "-01"), or nothing at all.
const char* NumberStart(const char* text, const char* end) {
  const char* p = text;
  if (p < end && *p == '+') {
    ++p;
    if (p < end && *p == '-') return nullptr;
  }
  const char* digits = (p < end && *p == '-') ? p + 1 : p;
  if (digits == end) return nullptr;
  if (digits[0] == '0' && digits + 1 < end && IsDigit(digits[1])) return nullptr;
  return p;
}

bool ParseInteger(const char* text, size_t length, long long& value) {
  const char* end = text + length;
  const char* p = NumberStart(text, end);
  if (p == nullptr) return false;
  std::from_chars_result result = std::from_chars(p, end, value);
  return result.ec == std::errc() && result.ptr == end;
}

// A finite number; `decimals` is the count of digits after its decimal point.
bool ParseReal(const char* text, size_t length, double& value, int& decimals) {
  const char* end = text + length;
  const char* p = NumberStart(text, end);
  if (p == nullptr) return false;
  std::from_chars_result result = std::from_chars(p, end, value, std::chars_format::general);
  if (result.ec != std::errc() || result.ptr != end || !std::isfinite(value)) return false;
  decimals = 0;
  const char* point = static_cast<const char*>(std::memchr(p, '.', end - p));
  if (point != nullptr) {
    for (const char* d = point + 1; d < end && IsDigit(*d); ++d) ++decimals;
  }
  return true;
}

// The categories counted by text, retyped as the column's numbers. Texts that read as one
// number ("1" and "1.0") merge.
template <typename Stats, typename Parse>
std::unique_ptr<Stats> Retype(const CFCatStatsStr& texts, Parse parse) {
  auto typed = std::make_unique<Stats>();
  for (uint32_t i = 0; i < texts.GetNCats(); ++i) {
    const std::string& text = texts.GetCatVal(i);
    typed->Update(parse(text), texts.GetCatWeight(i));
  }
  return typed;
}

// Whether a document can carry `text`: no control characters, NUL included.
bool Carriable(const std::string& text) {
  return CFMetaData::ValidateXMLChars(text) && text.find('\0') == std::string::npos;
}

CFField::StorageType StorageOf(Kind kind) {
  switch (kind) {
    case Kind::Integer:
      return CFField::IntegerStorage;
    case Kind::Real:
      return CFField::RealStorage;
    case Kind::Date:
      return CFField::DateStorage;
    case Kind::Time:
      return CFField::TimeStorage;
    case Kind::Timestamp:
      return CFField::TimestampStorage;
    default:
      return CFField::StringStorage;
  }
}

// A format that shows the values as the data wrote them: numbers at free width with their
// decimals, dates, times and timestamps in ISO 8601 form; null for strings.
std::unique_ptr<CFFormat> DisplayFormatFor(Kind kind, int decimals) {
  using Separator = CFFormat::UnitsSeparator;
  // HH:MM:SS, then a point and the decimals.
  const int timeWidth = 8 + (decimals > 0 ? decimals + 1 : 0);
  switch (kind) {
    case Kind::Integer:
    case Kind::Real:
      return std::make_unique<CFNumberFormat>(CFNumberFormat::Standard, -1, decimals);
    case Kind::Date:
      return std::make_unique<CFDateFormat>(CFDateFormat::Y_M_D, 10, 0, Separator::Dash, false,
                                            false);
    case Kind::Time:
      return std::make_unique<CFTimeFormat>(CFTimeFormat::H_M_S, timeWidth, decimals,
                                            Separator::Colon, true);
    case Kind::Timestamp: {
      auto format =
          std::make_unique<CFDateFormat>(CFDateFormat::Y_M_D, 10, 0, Separator::Dash, false, false);
      CFTimeFormat time(CFTimeFormat::H_M_S, timeWidth, decimals, Separator::Colon, true);
      format->SetTimeFormat(&time);
      return format;
    }
    default:
      return nullptr;
  }
}

const char* DecorationText(Profiler::Decoration decoration);

// A free-width currency or percent format for a numeric column.
std::unique_ptr<CFFormat> DecoratedFormatFor(const std::string& name, Kind kind, int decimals,
                                             Profiler::Decoration decoration,
                                             const std::string& symbol) {
  if (kind != Kind::Integer && kind != Kind::Real) {
    throw ToolError(fmt::format("column '{}' is not numeric, so it cannot show as {}", name,
                                DecorationText(decoration)));
  }
  bool currency = decoration == Profiler::Decoration::Currency;
  auto format = std::make_unique<CFDecoratedFormat>(
      currency ? CFDecoratedFormat::Currency : CFDecoratedFormat::Percentage, -1, decimals);
  const std::string prefix = currency ? symbol : "", suffix = currency ? "" : "%";
  format->SetAffixes(prefix, suffix);
  std::string setPrefix, setSuffix;
  format->GetAffixes(setPrefix, setSuffix);
  if (setPrefix != prefix || setSuffix != suffix) {
    throw ToolError(
        fmt::format("column '{}': the currency symbol '{}' cannot start with 0", name, symbol));
  }
  if (currency) {
    format->SetSeparators(CFFormat::DecimalSymbol::Period, CFFormat::GroupingSymbol::Comma);
  }
  return format;
}

const char* DecorationText(Profiler::Decoration decoration) {
  return decoration == Profiler::Decoration::Currency ? "currency" : "a percentage";
}

bool AllCarriable(const CFCatStatsStr& categories) {
  for (uint32_t i = 0; i < categories.GetNCats(); ++i) {
    if (!Carriable(categories.GetCatVal(i))) return false;
  }
  return true;
}

}  // namespace

struct Profiler::Column {
  std::string name;
  Kind kind = Kind::Empty;
  int decimals = 0;
  // Counts by text while there are few enough distinct texts; null once there are more.
  std::unique_ptr<CFCatStatsStr> categories = std::make_unique<CFCatStatsStr>();
  // Integer statistics while every value is an integer, real ones while every value is a number.
  std::unique_ptr<CFContStatsInt> intStats = std::make_unique<CFContStatsInt>();
  std::unique_ptr<CFContStatsDbl> realStats = std::make_unique<CFContStatsDbl>();
  // Moments for the summaries, when they are asked for.
  std::unique_ptr<CFMoments> moments;
  uint64_t valid = 0;
  // More distinct values were seen than the categories hold.
  bool exceeded = false;
  std::string key;

  // Moves the column's kind along as its cells show more: an integer column may turn real,
  // and any column string; a date, time or timestamp column keeps that kind or turns string.
  void Classify(const char* text, size_t length) {
    bool open = kind == Kind::Empty;
    if (open || kind == Kind::Integer) {
      long long integer;
      if (ParseInteger(text, length, integer)) {
        kind = Kind::Integer;
        intStats->Update(integer);
        realStats->Update(static_cast<double>(integer));
        if (moments) moments->Update(static_cast<double>(integer));
        return;
      }
    }
    double value;
    int places;
    if (open || kind == Kind::Integer || kind == Kind::Real) {
      if (ParseReal(text, length, value, places)) {
        Settle(Kind::Real, value, places);
        return;
      }
    }
    if ((open || kind == Kind::Date) && ParseIsoDate(text, length, value)) {
      Settle(Kind::Date, value, 0);
    } else if ((open || kind == Kind::Time) && ParseIsoTime(text, length, value, places)) {
      Settle(Kind::Time, value, places);
    } else if ((open || kind == Kind::Timestamp) &&
               ParseIsoTimestamp(text, length, value, places)) {
      Settle(Kind::Timestamp, value, places);
    } else {
      kind = Kind::String;
      intStats.reset();
      realStats.reset();
      moments.reset();
    }
  }

  // Counts a value of a kind held as a real.
  void Settle(Kind to, double value, int places) {
    kind = to;
    intStats.reset();
    realStats->Update(value);
    if (moments) moments->Update(value);
    decimals = std::max(decimals, std::min(places, kMaxDecimals));
  }

  // Counts the text among the categories until more distinct texts come than they may hold;
  // then they are dropped, or with `keepWhenFull` kept counting only the texts they hold.
  void Count(const char* text, size_t length, unsigned maxCategories, bool keepWhenFull) {
    key.assign(text, length);
    if (categories->GetNCats() < maxCategories) {
      categories->Update(key, 1.0);
    } else if (!categories->UpdateIfKnown(key, 1.0)) {
      exceeded = true;
      if (!keepWhenFull) categories.reset();
    }
  }
};

Profiler::Profiler(unsigned maxCategories, bool summaries)
    : m_maxCategories(maxCategories), m_summaries(summaries) {}

void Profiler::Decorate(const std::string& name, Decoration decoration, const std::string& symbol) {
  m_decorations[name] = Decorated{decoration, symbol};
}

Profiler::~Profiler() = default;

void Profiler::Header(const std::vector<std::string>& names) {
  std::unordered_set<std::string> seen;
  for (size_t i = 0; i < names.size(); ++i) {
    const std::string& name = names[i];
    if (name.empty()) throw ToolError(fmt::format("header: column {} has no name", i + 1));
    if (!Carriable(name)) {
      throw ToolError(fmt::format("header: the name of column {} holds control characters", i + 1));
    }
    if (!seen.insert(name).second) {
      throw ToolError(fmt::format("header: the column name '{}' appears twice", name));
    }
  }
  for (const auto& decorated : m_decorations) {
    if (seen.count(decorated.first) == 0) {
      throw ToolError(fmt::format("header: there is no column '{}' to show as {}", decorated.first,
                                  DecorationText(decorated.second.decoration)));
    }
  }
  m_columns.clear();
  m_columns.resize(names.size());
  for (size_t i = 0; i < names.size(); ++i) {
    m_columns[i].name = names[i];
    if (m_summaries) m_columns[i].moments = std::make_unique<CFMoments>();
  }
}

void Profiler::Cell(size_t column, const char* text, size_t length) {
  if (text == nullptr || length == 0) return;  // empty, quoted or not, is null
  Column& c = m_columns[column];
  if (c.kind != Kind::String) c.Classify(text, length);
  ++c.valid;
  if (c.categories) c.Count(text, length, m_maxCategories, m_summaries);
}

void Profiler::EndRow() { ++m_rows; }

std::unique_ptr<CFCatStats> Profiler::TakeCategories(Column& column,
                                                     std::vector<std::string>& warnings) const {
  switch (column.kind) {
    case Kind::Empty:
    case Kind::Date:
    case Kind::Time:
    case Kind::Timestamp:
      return nullptr;
    case Kind::Integer:
      if (column.exceeded) return nullptr;
      return Retype<CFCatStatsInt>(*column.categories, [](const std::string& text) {
        long long value = 0;
        ParseInteger(text.data(), text.size(), value);
        return value;
      });
    case Kind::Real:
      if (column.exceeded) return nullptr;
      return Retype<CFCatStatsDbl>(*column.categories, [](const std::string& text) {
        double value = 0.0;
        int places;
        ParseReal(text.data(), text.size(), value, places);
        return value;
      });
    case Kind::String:
      break;
  }
  if (column.exceeded) {
    warnings.push_back(fmt::format(
        "column '{}': more than {} distinct values; its value list and category counts are "
        "left out (--max-categories raises the limit)",
        column.name, m_maxCategories));
    return nullptr;
  }
  if (!AllCarriable(*column.categories)) {
    warnings.push_back(fmt::format(
        "column '{}': some values hold control characters that a document cannot carry; its "
        "value list and category counts are left out",
        column.name));
    return nullptr;
  }
  return std::move(column.categories);
}

std::unique_ptr<CFMetaData> Profiler::Finish(std::vector<std::string>& warnings) {
  auto metadata = std::make_unique<CFMetaData>();
  std::vector<ColumnSummary> summaries;
  // The summaries point into the categories, so they live until the tree is built.
  std::vector<std::unique_ptr<CFCatStats>> kept;
  for (Column& column : m_columns) {
    std::unique_ptr<CFCatStats> categories = TakeCategories(column, warnings);
    CFField::StorageType storage = StorageOf(column.kind);
    bool numeric = storage != CFField::StringStorage;
    uint32_t count = categories ? categories->GetNCats() : 0;
    bool categorical = !numeric || (categories && count <= m_maxCategories);
    CFField::FieldType type = !categorical ? CFField::Continuous
                              : count == 2 ? CFField::Flag
                                           : CFField::Nominal;
    CFField field(column.name, storage, type);

    bool stored = true;
    if (categorical && count > 0) {
      categories->ReorderCats(true);
      std::vector<CFValue> values;
      values.reserve(count);
      for (uint32_t i = 0; i < count; ++i) {
        values.emplace_back(categories->GetCatValDatum(i));
        // Of two values the larger means true: 1 over 0, "yes" over "no", "Y" over "N".
        if (type == CFField::Flag) {
          values.back().SetFlag(i == 0 ? CFValue::FalseFlag : CFValue::TrueFlag);
        }
      }
      field.SetValues(values);
      stored = field.GetValues().size() == count && field.SetSumStats(categories.get());
    } else if (!categorical) {
      stored = column.intStats ? field.SetSumStats(column.intStats.get())
                               : field.SetSumStats(column.realStats.get());
    }
    std::unique_ptr<CFFormat> format = DisplayFormatFor(column.kind, column.decimals);
    auto decorated = m_decorations.find(column.name);
    if (decorated != m_decorations.end()) {
      format = DecoratedFormatFor(column.name, column.kind, column.decimals,
                                  decorated->second.decoration, decorated->second.symbol);
    }
    if (format) stored = stored && field.SetPrivateFormat(format.get());
    if (!stored || metadata->AppendField(field) < 0) {
      throw ToolError(fmt::format("cannot add column '{}' to the document", column.name));
    }

    if (m_summaries) {
      ColumnSummary summary;
      summary.name = column.name;
      summary.valid = column.valid;
      summary.missing = m_rows - column.valid;
      if (!categorical) {
        summary.moments = column.moments.get();
        summary.extrema = column.realStats.get();
      } else if (count > 0) {
        summary.categories = categories.get();  // sorted with the field's values
      } else if (column.kind == Kind::String && column.exceeded && column.categories &&
                 AllCarriable(*column.categories)) {
        column.categories->ReorderCats(true);
        summary.categories = column.categories.get();
        summary.exceeded = true;
      }
      summaries.push_back(summary);
      kept.push_back(std::move(categories));
    }
  }
  if (m_summaries) {
    std::unique_ptr<CFDatasetSummaries> tree = BuildSummaries(summaries);
    if (tree) metadata->setDatasetSummaries(tree.release());
  }
  double rows = static_cast<double>(m_rows);
  metadata->SetRecordCounts(rows, rows);
  return metadata;
}

}  // namespace cfmeta_tool
