#include "tools/cfmeta/profiler.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>
#include <string_view>
#include <tuple>
#include <unordered_set>

#include "cfmeta/field/cffield.h"
#include "cfmeta/format/cfdecoratedformat.h"
#include "cfmeta/format/cfnumberformat.h"
#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/stats/cfcatstatsimp.h"
#include "cfmeta/stats/cfcontstats.h"
#include "cfmeta/stats/cfmoments.h"
#include "cfmeta/stats/cfsketches.h"
#include "cfmeta/summaries/cfdatasetsummaries.h"
#include "tools/cfmeta/dateforms.h"
#include "tools/cfmeta/summaries.h"
#include "tools/cfmeta/toolerror.h"

namespace cfmeta_tool {

namespace {

enum class Kind { Empty, Integer, Real, Temporal, String };

// Characters, not bytes, of UTF-8 text.
uint64_t Characters(std::string_view text) {
  uint64_t count = 0;
  for (unsigned char c : text) count += (c & 0xC0) != 0x80;
  return count;
}

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
    default:
      return CFField::StringStorage;
  }
}

CFField::StorageType StorageOf(TemporalKind kind) {
  switch (kind) {
    case TemporalKind::Date:
      return CFField::DateStorage;
    case TemporalKind::Time:
      return CFField::TimeStorage;
    default:
      return CFField::TimestampStorage;
  }
}

// A free-width number format with the decimals the data show; null for strings. Dates and
// times take the format of their form.
std::unique_ptr<CFFormat> DisplayFormatFor(Kind kind, int decimals) {
  if (kind != Kind::Integer && kind != Kind::Real) return nullptr;
  return std::make_unique<CFNumberFormat>(CFNumberFormat::Standard, -1, decimals);
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

// What a column's numbers, or one reading of its dates and times, add up to.
struct Profiler::Values {
  CFContStatsDbl stats;
  // With details.
  std::unique_ptr<CFMoments> moments;
  std::unique_ptr<CFQuantileSketch> quantiles;
  int decimals = 0;

  explicit Values(bool details) {
    if (details) {
      moments = std::make_unique<CFMoments>();
      quantiles = std::make_unique<CFQuantileSketch>();
    }
  }
  void Add(double value, int places) {
    stats.Update(value);
    if (moments) {
      moments->Update(value);
      quantiles->Add(value);
    }
    decimals = std::max(decimals, std::min(places, kMaxDecimals));
  }
};

// What a column with more distinct texts than the categories hold keeps instead, with details:
// sketches of its texts, seeded with the categories counted until then.
struct Profiler::Beyond {
  CFDistinctCount distinct;
  CFHeavyHitters top;
  // The first and last texts and the lengths, of the `texts` cells added as text: a column
  // that turns text after its categories overflow has them for its later cells only.
  std::string minText, maxText;
  uint64_t lengthMin = UINT64_MAX, lengthMax = 0, lengthSum = 0, texts = 0, count = 0;

  explicit Beyond(uint32_t capacity) : top(capacity) {}
  void Add(std::string_view text, uint64_t weight, bool asText) {
    uint64_t hash = CFSketchHash(text.data(), text.size());
    distinct.AddHash(hash);
    top.Add(text, hash, weight);
    count += weight;
    if (!asText) return;
    uint64_t length = Characters(text);
    lengthMin = std::min(lengthMin, length);
    lengthMax = std::max(lengthMax, length);
    lengthSum += length * weight;
    if (texts == 0 || text < minText) minText.assign(text);
    if (texts == 0 || text > maxText) maxText.assign(text);
    texts += weight;
  }
};

struct Profiler::Column {
  std::string name;
  Kind kind = Kind::Empty;
  // Counts by text while there are few enough distinct texts; null once there are more.
  std::unique_ptr<CFCatStatsStr> categories = std::make_unique<CFCatStatsStr>();
  // Integer statistics while every value is an integer.
  std::unique_ptr<CFContStatsInt> intStats = std::make_unique<CFContStatsInt>();
  // While every value is a number.
  std::unique_ptr<Values> numbers;
  // While every value is a date or time: one reading per form every cell so far matches.
  FormSet forms = 0;
  std::array<std::unique_ptr<Values>, kFormCount> readings;
  uint64_t valid = 0;
  // More distinct values were seen than the categories hold.
  bool exceeded = false;
  std::unique_ptr<Beyond> beyond;
  std::string key;

  // Moves the column's kind along as its cells show more: an integer column may turn real,
  // and any column string; a date or time column keeps to its forms or turns string.
  void Classify(const char* text, size_t length, bool details) {
    bool open = kind == Kind::Empty;
    if (open || kind == Kind::Integer) {
      long long integer;
      if (ParseInteger(text, length, integer)) {
        if (open) numbers = std::make_unique<Values>(details);
        kind = Kind::Integer;
        intStats->Update(integer);
        numbers->Add(static_cast<double>(integer), 0);
        return;
      }
    }
    double value;
    int places;
    if (open || kind == Kind::Integer || kind == Kind::Real) {
      if (ParseReal(text, length, value, places)) {
        if (open) numbers = std::make_unique<Values>(details);
        kind = Kind::Real;
        intStats.reset();
        numbers->Add(value, places);
        return;
      }
    }
    if ((open || kind == Kind::Temporal) && ReadTemporal(text, length, details)) return;
    kind = Kind::String;
    intStats.reset();
    numbers.reset();
    for (auto& reading : readings) reading.reset();
  }

  // Keeps the readings of the forms that also read this cell.
  bool ReadTemporal(const char* text, size_t length, bool details) {
    double values[kFormCount];
    int places[kFormCount];
    FormSet among = kind == Kind::Empty ? kAllForms : forms;
    FormSet read = ReadDateForms(text, length, among, values, places);
    if (read == 0) return false;
    kind = Kind::Temporal;
    intStats.reset();
    forms = read;
    for (int form = 0; form < kFormCount; ++form) {
      if ((read >> form & 1u) == 0) {
        readings[form].reset();
        continue;
      }
      if (!readings[form]) readings[form] = std::make_unique<Values>(details);
      readings[form]->Add(values[form], places[form]);
    }
    return true;
  }

  // Counts the text among the categories until more distinct texts come than they may hold;
  // then they are dropped, and with details the sketches take over from them.
  void Count(const char* text, size_t length, unsigned maxCategories, bool details) {
    key.assign(text, length);
    if (categories->GetNCats() < maxCategories) {
      categories->Update(key, 1.0);
      return;
    }
    if (categories->UpdateIfKnown(key, 1.0)) return;
    exceeded = true;
    if (details) {
      uint32_t capacity = std::clamp(2 * maxCategories, 64u, 1024u);
      beyond = std::make_unique<Beyond>(capacity);
      bool text = kind == Kind::String;
      for (uint32_t i = 0; i < categories->GetNCats(); ++i) {
        beyond->Add(categories->GetCatVal(i), static_cast<uint64_t>(categories->GetCatWeight(i)),
                    text);
      }
      beyond->Add(key, 1, text);
    }
    categories.reset();
  }
};

Profiler::Profiler(unsigned maxCategories, bool summaries, bool details)
    : m_maxCategories(maxCategories), m_summaries(summaries), m_details(details || summaries) {}

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
  }
}

void Profiler::Cell(size_t column, const char* text, size_t length) {
  if (text == nullptr || length == 0) return;  // empty, quoted or not, is null
  Column& c = m_columns[column];
  if (c.kind != Kind::String) c.Classify(text, length, m_details);
  ++c.valid;
  if (c.categories) {
    c.Count(text, length, m_maxCategories, m_details);
  } else if (c.beyond) {
    c.beyond->Add(std::string_view(text, length), 1, c.kind == Kind::String);
  }
}

void Profiler::EndRow() { ++m_rows; }

std::unique_ptr<CFCatStats> Profiler::TakeCategories(Column& column,
                                                     std::vector<std::string>& warnings) const {
  switch (column.kind) {
    case Kind::Empty:
    case Kind::Temporal:
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

namespace {

// The value a cell of a number or date column stands for; `form` is -1 for numbers.
double ValueOf(const std::string& text, int form) {
  double value = 0.0;
  if (form < 0) {
    int places;
    ParseReal(text.data(), text.size(), value, places);
    return value;
  }
  double values[kFormCount];
  int places[kFormCount];
  ReadDateForms(text.data(), text.size(), FormSet{1} << form, values, places);
  return values[form];
}

// Values with their weights in ascending order, equal values merged.
using WeightedValues = std::vector<std::pair<double, double>>;

// The smallest value whose cumulative weight reaches `q` of the total: the same rule the
// quantile sketch follows.
double LowerQuantile(const WeightedValues& values, double total, double q) {
  double cumulative = 0.0;
  for (const auto& [value, weight] : values) {
    cumulative += weight;
    if (cumulative >= q * total) return value;
  }
  return values.back().first;
}

constexpr size_t kHistogramBins = 20;
constexpr int kBinMeanSamples = 8;

// About twenty equal bins from the minimum to the maximum, one for a single value. Integers
// and days get bins a whole number wide, so that each bin holds as many values as the next.
std::vector<ColumnProfile::Bin> EmptyBins(const ColumnProfile& profile) {
  double span = profile.max - profile.min;
  size_t bins = span > 0 ? kHistogramBins : 1;
  double width = span / static_cast<double>(bins);
  if (span > 0 && (profile.storage == CFField::IntegerStorage ||
                   profile.storage == CFField::DateStorage)) {
    width = std::ceil((span + 1) / static_cast<double>(kHistogramBins));
    bins = static_cast<size_t>(std::ceil((span + 1) / width));
  }
  std::vector<ColumnProfile::Bin> histogram(bins);
  for (size_t i = 0; i < bins; ++i) {
    histogram[i].lower = profile.min + width * static_cast<double>(i);
    histogram[i].upper = i + 1 == bins ? profile.max : histogram[i].lower + width;
  }
  return histogram;
}

size_t BinOf(const std::vector<ColumnProfile::Bin>& histogram, double value) {
  // The bins are few: the first whose upper bound lies beyond the value, or the last.
  size_t bin = 0;
  while (bin + 1 < histogram.size() && value >= histogram[bin].upper) ++bin;
  return bin;
}

void ExactDistribution(const WeightedValues& values, double total, ColumnProfile& profile) {
  for (size_t i = 0; i < profile.percentiles.size(); ++i) {
    profile.percentiles[i] =
        LowerQuantile(values, total, ColumnProfile::kPercentileRanks[i] / 100.0);
  }
  profile.histogram = EmptyBins(profile);
  for (const auto& [value, weight] : values) {
    ColumnProfile::Bin& bin = profile.histogram[BinOf(profile.histogram, value)];
    bin.mean += value * weight;
    bin.count += weight;
  }
  for (ColumnProfile::Bin& bin : profile.histogram) {
    bin.mean = bin.count > 0 ? bin.mean / bin.count : (bin.lower + bin.upper) / 2;
  }
}

// The sketch's estimates. A bin's mean averages the quantiles across the ranks it spans; every
// quantile comes from one sorting of the sketch's items.
void SketchedDistribution(const CFQuantileSketch& sketch, ColumnProfile& profile) {
  profile.percentilesExact = sketch.IsExact();
  profile.histogram = EmptyBins(profile);
  const size_t bins = profile.histogram.size();
  // The share of the values below each bin's upper bound: a linear pass over the items each.
  std::vector<double> shares(bins + 1, 0.0);
  for (size_t i = 0; i + 1 < bins; ++i) {
    double bound = std::nextafter(profile.histogram[i].upper,
                                  -std::numeric_limits<double>::infinity());
    shares[i + 1] = std::max(shares[i], sketch.Rank(bound));
  }
  shares[bins] = 1.0;
  std::vector<double> fractions;
  for (int rank : ColumnProfile::kPercentileRanks) fractions.push_back(rank / 100.0);
  for (size_t i = 0; i < bins; ++i) {
    for (int j = 0; j < kBinMeanSamples; ++j) {
      fractions.push_back(shares[i] + (shares[i + 1] - shares[i]) * (j + 0.5) / kBinMeanSamples);
    }
  }
  std::vector<double> quantiles = sketch.Quantiles(fractions);
  std::copy_n(quantiles.begin(), profile.percentiles.size(), profile.percentiles.begin());
  const double total = static_cast<double>(sketch.Count());
  for (size_t i = 0; i < bins; ++i) {
    ColumnProfile::Bin& bin = profile.histogram[i];
    bin.count = (shares[i + 1] - shares[i]) * total;
    auto samples = quantiles.begin() + profile.percentiles.size() + i * kBinMeanSamples;
    double mean = std::accumulate(samples, samples + kBinMeanSamples, 0.0) / kBinMeanSamples;
    bin.mean = bin.count > 0 ? std::clamp(mean, bin.lower, bin.upper) : (bin.lower + bin.upper) / 2;
  }
}

void SetTexts(ColumnProfile& profile, const std::string& minText, const std::string& maxText,
              uint64_t lengthMin, uint64_t lengthMax, double lengthSum) {
  profile.texts = true;
  profile.minText = minText;
  profile.maxText = maxText;
  profile.lengthMin = lengthMin;
  profile.lengthMax = lengthMax;
  profile.lengthMean = profile.count > 0 ? lengthSum / static_cast<double>(profile.count) : 0.0;
}

}  // namespace

ColumnProfile Profiler::Describe(const Column& column, int form, const Values* values,
                                 CFField::StorageType storage) const {
  ColumnProfile profile;
  profile.name = column.name;
  profile.storage = storage;
  profile.count = column.valid;
  profile.nulls = m_rows - column.valid;
  const bool numeric = values != nullptr && values->stats.GetSumFreqWeights() > 0;

  // 1. Counts by text: exact while the categories hold them all.
  WeightedValues exact;
  std::vector<ColumnProfile::Top> top;
  if (column.categories) {
    const CFCatStatsStr& categories = *column.categories;
    uint64_t lengthMin = UINT64_MAX, lengthMax = 0;
    double lengthSum = 0.0;
    std::vector<uint32_t> order;
    for (uint32_t i = 0; i < categories.GetNCats(); ++i) {
      const std::string& text = categories.GetCatVal(i);
      double weight = categories.GetCatWeight(i);
      order.push_back(i);
      if (numeric) exact.emplace_back(ValueOf(text, form), weight);
      uint64_t length = Characters(text);
      lengthMin = std::min(lengthMin, length);
      lengthMax = std::max(lengthMax, length);
      lengthSum += static_cast<double>(length) * weight;
    }
    std::sort(order.begin(), order.end(), [&](uint32_t a, uint32_t b) {
      double wa = categories.GetCatWeight(a), wb = categories.GetCatWeight(b);
      return wa != wb ? wa > wb : categories.GetCatVal(a) < categories.GetCatVal(b);
    });
    for (size_t i = 0; i < order.size() && i < ColumnProfile::kTopValues; ++i) {
      top.push_back({categories.GetCatVal(order[i]), 0.0,
                     static_cast<uint64_t>(categories.GetCatWeight(order[i])), 0});
    }
    if (storage == CFField::StringStorage && !order.empty()) {
      auto [first, last] = std::minmax_element(
          order.begin(), order.end(),
          [&](uint32_t a, uint32_t b) { return categories.GetCatVal(a) < categories.GetCatVal(b); });
      SetTexts(profile, categories.GetCatVal(*first), categories.GetCatVal(*last), lengthMin,
               lengthMax, lengthSum);
    }
    std::sort(exact.begin(), exact.end());
    WeightedValues merged;
    for (const auto& entry : exact) {
      if (!merged.empty() && merged.back().first == entry.first) {
        merged.back().second += entry.second;
      } else {
        merged.push_back(entry);
      }
    }
    exact.swap(merged);
    profile.distinct = numeric ? exact.size() : categories.GetNCats();
  } else if (column.beyond) {
    const Beyond& beyond = *column.beyond;
    profile.distinct = beyond.distinct.Estimate();
    profile.distinctExact = beyond.distinct.IsExact();
    for (const CFHeavyHitters::Item& item : beyond.top.Top(ColumnProfile::kTopValues)) {
      top.push_back({item.value, 0.0, item.count, item.error});
    }
    if (storage == CFField::StringStorage && beyond.texts == beyond.count) {
      SetTexts(profile, beyond.minText, beyond.maxText, beyond.lengthMin, beyond.lengthMax,
               static_cast<double>(beyond.lengthSum));
    }
  }
  if (numeric) {
    for (ColumnProfile::Top& entry : top) entry.value = ValueOf(entry.text, form);
  }
  profile.top = std::move(top);

  // 2. What the values add up to.
  if (!numeric) return profile;
  profile.numeric = true;
  profile.decimals = values->decimals;
  std::tie(profile.min, profile.max) = values->stats.GetExtrema();
  const CFMoments& moments = *values->moments;
  profile.mean = moments.GetMean();
  profile.stdDev = moments.GetStdDev();
  profile.skewness = moments.GetSkewness();
  profile.kurtosis = moments.GetKurtosis();
  if (!exact.empty()) {
    ExactDistribution(exact, static_cast<double>(column.valid), profile);
  } else {
    SketchedDistribution(*values->quantiles, profile);
  }
  double q1 = profile.percentiles[2], q3 = profile.percentiles[4];
  profile.interQuartileRange = q3 - q1;
  profile.lowerFence = q1 - 1.5 * profile.interQuartileRange;
  profile.upperFence = q3 + 1.5 * profile.interQuartileRange;
  if (form >= 0) profile.dateForm = FormText(form);
  return profile;
}

std::unique_ptr<CFMetaData> Profiler::Finish(std::vector<std::string>& warnings,
                                             std::vector<ColumnProfile>* profiles) {
  auto metadata = std::make_unique<CFMetaData>();
  std::vector<ColumnProfile> described;
  described.reserve(m_columns.size());
  std::vector<ColumnSummary> summaries;
  // The summaries point into the categories, so they live until the tree is built.
  std::vector<std::unique_ptr<CFCatStats>> kept;
  for (Column& column : m_columns) {
    // The reading of a date or time column that stands.
    int form = -1;
    bool assumed = false;
    const Values* values = column.numbers.get();
    CFField::StorageType storage = StorageOf(column.kind);
    if (column.kind == Kind::Temporal) {
      form = ChooseForm(column.forms, assumed);
      values = column.readings[form].get();
      storage = StorageOf(KindOfForm(form));
      if (assumed) {
        warnings.push_back(fmt::format(
            "column '{}': no value shows whether the day or the month comes first; read as {}",
            column.name, FormText(form)));
      }
    }
    if (m_details) {
      described.push_back(Describe(column, form, values, storage));
      described.back().dateOrderAssumed = assumed;
    }

    std::unique_ptr<CFCatStats> categories = TakeCategories(column, warnings);
    bool numeric = storage != CFField::StringStorage;
    uint32_t count = categories ? categories->GetNCats() : 0;
    bool categorical = !numeric || (categories && count <= m_maxCategories);
    CFField::FieldType type = !categorical ? CFField::Continuous
                              : count == 2 ? CFField::Flag
                                           : CFField::Nominal;
    if (m_details) described.back().level = type;
    CFField field(column.name, storage, type);

    bool stored = true;
    if (categorical && count > 0) {
      categories->ReorderCats(true);
      std::vector<CFValue> fieldValues;
      fieldValues.reserve(count);
      for (uint32_t i = 0; i < count; ++i) {
        fieldValues.emplace_back(categories->GetCatValDatum(i));
        // Of two values the larger means true: 1 over 0, "yes" over "no", "Y" over "N".
        if (type == CFField::Flag) {
          fieldValues.back().SetFlag(i == 0 ? CFValue::FalseFlag : CFValue::TrueFlag);
        }
      }
      field.SetValues(fieldValues);
      stored = field.GetValues().size() == count && field.SetSumStats(categories.get());
    } else if (!categorical) {
      stored = column.intStats ? field.SetSumStats(column.intStats.get())
                               : field.SetSumStats(&values->stats);
    }
    int decimals = values ? values->decimals : 0;
    std::unique_ptr<CFFormat> format =
        form >= 0 ? FormatOfForm(form, decimals) : DisplayFormatFor(column.kind, decimals);
    auto decorated = m_decorations.find(column.name);
    if (decorated != m_decorations.end()) {
      format = DecoratedFormatFor(column.name, column.kind, decimals,
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
        summary.moments = values->moments.get();
        summary.extrema = &values->stats;
        summary.profile = &described.back();
      } else if (count > 0) {
        summary.categories = categories.get();  // sorted with the field's values
      } else if (column.kind == Kind::String && column.beyond) {
        summary.overflow = column.beyond->top.Top(m_maxCategories);
        summary.overflowCount = column.beyond->count;
        summary.exceeded = true;
      }
      summaries.push_back(std::move(summary));
      kept.push_back(std::move(categories));
    }
  }
  if (m_summaries) {
    std::unique_ptr<CFDatasetSummaries> tree = BuildSummaries(summaries);
    if (tree) metadata->setDatasetSummaries(tree.release());
  }
  double rows = static_cast<double>(m_rows);
  metadata->SetRecordCounts(rows, rows);
  if (profiles != nullptr) *profiles = std::move(described);
  return metadata;
}

}  // namespace cfmeta_tool
