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

#include "cfmeta/field/cfdatum.h"
#include "cfmeta/field/cffield.h"
#include "cfmeta/field/cfrange.h"
#include "cfmeta/field/cfvalue.h"
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

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

// `text` without the blanks around it. Most cells have none, so only a blank first or last byte
// costs a loop.
std::string_view Trimmed(const char* text, size_t length) {
  const char* end = text + length;
  if (length > 0 && (IsBlank(*text) || IsBlank(end[-1]))) {
    while (text < end && IsBlank(*text)) ++text;
    while (end > text && IsBlank(end[-1])) --end;
  }
  return std::string_view(text, static_cast<size_t>(end - text));
}

// How a file writes its numbers: the decimal symbol and the characters that may group the
// digits before it in threes (NUL for none).
struct NumberForm {
  char decimal = '.';
  char group[2] = {'\0', '\0'};

  bool Plain() const { return decimal == '.' && group[0] == '\0'; }
  bool Groups(char c) const { return c != '\0' && (c == group[0] || c == group[1]); }
};

// What a number's text shows of its precision.
struct Digits {
  int written = 0;      // decimals of its plain text as written: 2 for "1.50", 4 for "2.5E-3"
  int needed = 0;       // decimals of the shortest text that reads back: 1 for "1.50"
  int significant = 1;  // significant digits of that text: 2 for "1.50", 1 for "1000"
};

// A double tells apart every decimal text of this many significant digits, so such a text,
// less its trailing zeros, is the shortest one that reads back as its value.
constexpr int kExactDigits = 15;
// The longest number text rewritten plainly; longer ones written with separators are text.
constexpr size_t kMaxNumberText = 128;

// The digits of a finite number from_chars has read whole from `p`, its "+" skipped. Most
// numbers have no exponent, so the point is looked for from the end, past the fraction digits
// only; the significant digits are then found from both ends.
Digits DigitsOf(const char* p, const char* end) {
  if (p < end && *p == '-') ++p;
  const char* e = end;  // the mantissa's end
  const char* dot = end;
  const char* q = end;
  while (q > p && IsDigit(q[-1])) --q;
  if (q > p && q[-1] == '.') {
    dot = q - 1;
  } else if (q > p) {
    // An exponent: find where the mantissa ends, and its point.
    e = p;
    while ((*e | 0x20) != 'e') ++e;
    dot = static_cast<const char*>(std::memchr(p, '.', static_cast<size_t>(e - p)));
    if (dot == nullptr) dot = e;
  }
  long long exponent = 0;
  if (e < end) {
    q = e + 1;
    bool negative = *q == '-';
    if (*q == '-' || *q == '+') ++q;
    for (; q < end; ++q) exponent = std::min(exponent * 10 + (*q - '0'), 100000LL);
    if (negative) exponent = -exponent;
  }
  Digits digits;
  const long long fraction = dot < e ? e - dot - 1 : 0;
  digits.written = static_cast<int>(std::clamp(fraction - exponent, 0LL, 100000LL));
  const char* first = p;
  while (first < e && (*first == '0' || *first == '.')) ++first;
  if (first == e) return digits;  // zero
  const char* last = e;           // just past the last non-zero digit
  while (last[-1] == '0' || last[-1] == '.') --last;
  digits.significant = static_cast<int>((last - first) - (first < dot && dot < last));
  const long long after = last > dot ? last - dot - 1 : -(dot - last);
  digits.needed = static_cast<int>(std::clamp(after - exponent, 0LL, 100000LL));
  return digits;
}

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

// Rewrites `text`, written in `form`, as from_chars reads it ("1.234,5" as "1234.5") into
// `out` (kMaxNumberText bytes). False when the separators break the form: a grouping character
// after the decimal symbol, a first group of more than three digits or a later one of other
// than three, two different grouping characters, or a "." that is neither symbol. `grouping`
// receives the grouping character used, or NUL.
bool Rewrite(std::string_view text, const NumberForm& form, char* out, size_t& length,
             char& grouping) {
  if (text.size() > kMaxNumberText) return false;
  grouping = '\0';
  length = 0;
  int run = 0;        // digits since the last grouping character, or since the start
  bool whole = true;  // still among the digits before the decimal symbol
  for (char c : text) {
    if (whole && form.Groups(c)) {
      if (run == 0 || run > 3 || (grouping != '\0' && (run != 3 || c != grouping))) return false;
      grouping = c;
      run = 0;
      continue;
    }
    if (IsDigit(c)) {
      ++run;
    } else if (c == '+' || c == '-') {
      if (whole && run > 0) return false;
    } else {
      if (whole && grouping != '\0' && run != 3) return false;
      whole = false;
      if (c == form.decimal) {
        c = '.';
      } else if (c == '.') {
        return false;
      }
    }
    out[length++] = c;
  }
  return !whole || grouping == '\0' || run == 3;
}

bool ParsePlainInteger(const char* text, const char* end, long long& value, Digits& digits) {
  const char* p = NumberStart(text, end);
  if (p == nullptr) return false;
  std::from_chars_result result = std::from_chars(p, end, value);
  if (result.ec != std::errc() || result.ptr != end) return false;
  // Trailing zeros are not significant; they can only matter once the column turns real.
  const char* last = end;
  while (last - p > 1 && last[-1] == '0') --last;
  int significant = static_cast<int>(last - p) - (*p == '-');
  digits.significant = std::min(std::max(significant, 1), 17);
  return true;
}

bool ParsePlainReal(const char* text, const char* end, double& value, Digits& digits) {
  const char* p = NumberStart(text, end);
  if (p == nullptr) return false;
  std::from_chars_result result = std::from_chars(p, end, value, std::chars_format::general);
  if (result.ec != std::errc() || result.ptr != end || !std::isfinite(value)) return false;
  digits = DigitsOf(p, end);
  if (digits.significant > kExactDigits) {
    // More digits than a double holds: what the value needs is in its shortest text.
    char shortest[32];
    std::to_chars_result printed = std::to_chars(shortest, shortest + sizeof shortest, value);
    Digits exact = DigitsOf(shortest, printed.ptr);
    digits.needed = exact.needed;
    digits.significant = exact.significant;
  }
  return true;
}

// A number read by `parsePlain` once blanks around it are gone and, for a form other than the
// plain one, its separators are rewritten. `grouping` receives the grouping character the text
// uses, or NUL.
template <typename T, typename ParsePlain>
bool ParseInForm(const char* text, size_t length, const NumberForm& form, T& value,
                 Digits& digits, char& grouping, ParsePlain parsePlain) {
  std::string_view trimmed = Trimmed(text, length);
  if (form.Plain()) {
    grouping = '\0';
    return parsePlain(trimmed.data(), trimmed.data() + trimmed.size(), value, digits);
  }
  char plain[kMaxNumberText];
  size_t plainLength;
  return Rewrite(trimmed, form, plain, plainLength, grouping) &&
         parsePlain(plain, plain + plainLength, value, digits);
}

// A 64-bit integer.
bool ParseInteger(const char* text, size_t length, const NumberForm& form, long long& value,
                  Digits& digits, char& grouping) {
  return ParseInForm(text, length, form, value, digits, grouping, ParsePlainInteger);
}

// A finite number; `digits` describes its text.
bool ParseReal(const char* text, size_t length, const NumberForm& form, double& value,
               Digits& digits, char& grouping) {
  return ParseInForm(text, length, form, value, digits, grouping, ParsePlainReal);
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

CFFormat::DecimalSymbol DecimalSymbolOf(const NumberForm& form) {
  return form.decimal == ',' ? CFFormat::DecimalSymbol::Comma : CFFormat::DecimalSymbol::Period;
}

CFFormat::GroupingSymbol GroupingSymbolOf(char grouping) {
  switch (grouping) {
    case ',':
      return CFFormat::GroupingSymbol::Comma;
    case '.':
      return CFFormat::GroupingSymbol::Period;
    case ' ':
      return CFFormat::GroupingSymbol::Space;
    default:
      return CFFormat::GroupingSymbol::None;
  }
}

// The characters a free-width standard format renders numbers in; a number that needs more
// loses decimals.
constexpr size_t kFreeWidth = 23;

// What a numeric column's format must show: the most decimals and significant digits any value
// needs to read back as itself, the decimals the data were written with, and the extremes.
struct NumberShape {
  bool integer = false;
  int decimals = 0;
  int needed = 0;
  int significant = 1;
  double min = 0.0, max = 0.0;
};

// A free-width number format under which every value renders as the number it is: the
// decimals the data show, when they fit; otherwise scientific with as many decimals as the
// most significant digits need.
std::unique_ptr<CFNumberFormat> NumberFormatFor(const NumberShape& shape) {
  if (shape.integer) return std::make_unique<CFNumberFormat>(CFNumberFormat::Standard, -1, 0);
  // A standard text drops decimals only while it is too wide, and the extremes are the widest:
  // when they fit with the decimals every value needs, no value loses one it needs.
  bool fits = shape.needed <= Profiler::kMaxDecimals;
  for (double extreme : {shape.min, shape.max}) {
    fits = fits && fmt::format("{:.{}f}", extreme, shape.needed).size() <= kFreeWidth;
  }
  if (fits) {
    return std::make_unique<CFNumberFormat>(CFNumberFormat::Standard, -1,
                                            std::max(shape.decimals, shape.needed));
  }
  return std::make_unique<CFNumberFormat>(CFNumberFormat::Scientific, -1,
                                          std::max(shape.significant - 1, 0));
}

const char* DecorationText(Profiler::Decoration decoration);

// A free-width currency or percent format for a numeric column.
std::unique_ptr<CFFormat> DecoratedFormatFor(const std::string& name, Kind kind, int decimals,
                                             Profiler::Decoration decoration,
                                             const std::string& symbol, const NumberForm& numbers,
                                             char grouping) {
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
  // Money is grouped even where the data were not: by commas, or by points after a decimal
  // comma.
  if (currency && grouping == '\0') grouping = numbers.decimal == ',' ? '.' : ',';
  format->SetSeparators(DecimalSymbolOf(numbers), GroupingSymbolOf(grouping));
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
  // Numbers: the most decimals and significant digits a value needs to read back as itself.
  int needed = 0;
  int significant = 1;

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
  void AddNumber(double value, const Digits& digits) {
    Add(value, digits.written);
    needed = std::max(needed, digits.needed);
    significant = std::max(significant, digits.significant);
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
  // The first character seen grouping digits, or NUL.
  char grouping = '\0';
  // The null tokens seen, token i being bit (1 << i).
  uint64_t nullTokens = 0;

  // Moves the column's kind along as its cells show more: an integer column may turn real,
  // and any column string; a date or time column keeps to its forms or turns string.
  void Classify(const char* text, size_t length, bool details, const NumberForm& form) {
    bool open = kind == Kind::Empty;
    Digits digits;
    char grouped;
    if (open || kind == Kind::Integer) {
      long long integer;
      if (ParseInteger(text, length, form, integer, digits, grouped)) {
        if (open) numbers = std::make_unique<Values>(details);
        kind = Kind::Integer;
        intStats->Update(integer);
        numbers->AddNumber(static_cast<double>(integer), digits);
        if (grouping == '\0') grouping = grouped;
        return;
      }
    }
    double value;
    if (open || kind == Kind::Integer || kind == Kind::Real) {
      if (ParseReal(text, length, form, value, digits, grouped)) {
        if (open) numbers = std::make_unique<Values>(details);
        kind = Kind::Real;
        intStats.reset();
        numbers->AddNumber(value, digits);
        if (grouping == '\0') grouping = grouped;
        return;
      }
    }
    if (open || kind == Kind::Temporal) {
      std::string_view trimmed = Trimmed(text, length);
      if (!trimmed.empty() && ReadTemporal(trimmed.data(), trimmed.size(), details)) return;
    }
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

  // Counts the text among the categories until more than `keep` distinct texts come; then
  // they are dropped (Overflow).
  void Count(const char* text, size_t length, unsigned keep, unsigned maxCategories, bool details) {
    key.assign(text, length);
    if (categories->GetNCats() < keep) {
      categories->Update(key, 1.0);
      return;
    }
    if (categories->UpdateIfKnown(key, 1.0)) return;
    Overflow(maxCategories, details);
    if (beyond) beyond->Add(key, 1, kind == Kind::String);
  }

  // Drops the categories; with details the sketches take over from them.
  void Overflow(unsigned maxCategories, bool details) {
    exceeded = true;
    if (details) {
      uint32_t capacity = std::clamp(2 * maxCategories, 64u, 1024u);
      beyond = std::make_unique<Beyond>(capacity);
      bool text = kind == Kind::String;
      for (uint32_t i = 0; i < categories->GetNCats(); ++i) {
        beyond->Add(categories->GetCatVal(i), static_cast<uint64_t>(categories->GetCatWeight(i)),
                    text);
      }
    }
    categories.reset();
  }
};

Profiler::Profiler(unsigned maxCategories, bool summaries, bool details)
    : m_maxCategories(maxCategories), m_summaries(summaries), m_details(details || summaries) {}

void Profiler::Decorate(const std::string& name, Decoration decoration, const std::string& symbol) {
  m_decorations[name] = Decorated{decoration, symbol};
}

std::vector<std::string> Profiler::DefaultNullTokens() {
  return {"NA", "N/A", "NaN", "null", "NULL", "-"};
}

void Profiler::SetNullTokens(const std::vector<std::string>& tokens) {
  if (tokens.size() > kMaxNullTokens) {
    throw ToolError(fmt::format("at most {} null tokens can be given", kMaxNullTokens),
                    kExitBadUsage);
  }
  m_nullTokens = tokens;
}

void Profiler::SetNumberForm(char decimal, const std::string& grouping) {
  bool valid = (decimal == '.' || decimal == ',') && grouping.size() <= 2;
  for (char c : grouping) {
    valid = valid && c != decimal && (c == ',' || c == '.' || c == ' ');
  }
  if (!valid) {
    throw ToolError(fmt::format("numbers cannot be written with the decimal symbol '{}' and the "
                                "grouping characters '{}'",
                                decimal, grouping),
                    kExitBadUsage);
  }
  m_decimal = decimal;
  m_grouping[0] = grouping.empty() ? '\0' : grouping[0];
  m_grouping[1] = grouping.size() < 2 ? '\0' : grouping[1];
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
  m_nullLengths = 0;
  m_nullFirstBytes.fill(false);
  for (const std::string& token : m_nullTokens) {
    if (token.empty()) continue;  // the empty cell is null anyway
    m_nullLengths |= uint64_t{1} << std::min<size_t>(token.size(), 63);
    m_nullFirstBytes[static_cast<unsigned char>(token[0])] = true;
  }
  m_columns.clear();
  m_columns.resize(names.size());
  for (size_t i = 0; i < names.size(); ++i) {
    m_columns[i].name = names[i];
  }
}

bool Profiler::IsNullToken(Column& column, const char* text, size_t length) const {
  if ((m_nullLengths >> std::min<size_t>(length, 63) & 1) == 0) return false;
  for (size_t i = 0; i < m_nullTokens.size(); ++i) {
    const std::string& token = m_nullTokens[i];
    if (token.size() == length && std::memcmp(token.data(), text, length) == 0) {
      column.nullTokens |= uint64_t{1} << i;
      return true;
    }
  }
  return false;
}

void Profiler::Cell(size_t column, const char* text, size_t length) {
  if (text == nullptr || length == 0) return;  // empty, quoted or not, is null
  Column& c = m_columns[column];
  if (m_nullFirstBytes[static_cast<unsigned char>(text[0])] && IsNullToken(c, text, length)) {
    return;
  }
  if (c.kind != Kind::String) {
    c.Classify(text, length, m_details, NumberForm{m_decimal, {m_grouping[0], m_grouping[1]}});
  }
  ++c.valid;
  if (c.categories) {
    // A numeric column keeps enough texts to tell whether it is categorical.
    unsigned keep =
        c.kind == Kind::String ? m_maxCategories : std::max(m_maxCategories, m_maxNominal);
    c.Count(text, length, keep, m_maxCategories, m_details);
  } else if (c.beyond) {
    c.beyond->Add(std::string_view(text, length), 1, c.kind == Kind::String);
  }
}

void Profiler::EndRow() { ++m_rows; }

CFField::FieldType Profiler::TakeCategories(Column& column, std::unique_ptr<CFCatStats>& categories,
                                            std::vector<std::string>& warnings) const {
  categories.reset();
  const NumberForm form{m_decimal, {m_grouping[0], m_grouping[1]}};
  switch (column.kind) {
    case Kind::Empty:
      return CFField::Nominal;
    case Kind::Temporal:
      return CFField::Continuous;
    case Kind::Integer:
      if (column.exceeded) return CFField::Continuous;
      categories = Retype<CFCatStatsInt>(*column.categories, [&](const std::string& text) {
        long long value = 0;
        Digits digits;
        char grouping;
        ParseInteger(text.data(), text.size(), form, value, digits, grouping);
        return value;
      });
      break;
    case Kind::Real:
      if (column.exceeded) return CFField::Continuous;
      categories = Retype<CFCatStatsDbl>(*column.categories, [&](const std::string& text) {
        double value = 0.0;
        Digits digits;
        char grouping;
        ParseReal(text.data(), text.size(), form, value, digits, grouping);
        return value;
      });
      break;
    case Kind::String:
      if (!column.exceeded && !AllCarriable(*column.categories)) {
        warnings.push_back(fmt::format(
            "column '{}': some values hold control characters that a document cannot carry; "
            "its value list and category counts are left out",
            column.name));
        return CFField::Nominal;
      }
      if (!column.exceeded) categories = std::move(column.categories);
      break;
  }
  if (categories && categories->GetNCats() > m_maxNominal && column.kind != Kind::String) {
    categories.reset();
    return CFField::Continuous;
  }
  if (column.exceeded || categories->GetNCats() > m_maxCategories) {
    warnings.push_back(fmt::format(
        "column '{}': more than {} distinct values; its value list and category counts are "
        "left out (--max-categories raises the limit)",
        column.name, m_maxCategories));
    categories.reset();
    return CFField::Nominal;
  }
  return categories->GetNCats() == 2 ? CFField::Flag : CFField::Nominal;
}

namespace {

// The value a cell of a number or date column stands for; `form` is -1 for numbers, which are
// written in `numbers`.
double ValueOf(const std::string& text, int form, const NumberForm& numbers) {
  double value = 0.0;
  if (form < 0) {
    Digits digits;
    char grouping;
    ParseReal(text.data(), text.size(), numbers, value, digits, grouping);
    return value;
  }
  std::string_view trimmed = Trimmed(text.data(), text.size());
  double values[kFormCount];
  int places[kFormCount];
  ReadDateForms(trimmed.data(), trimmed.size(), FormSet{1} << form, values, places);
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
  const NumberForm numbers{m_decimal, {m_grouping[0], m_grouping[1]}};

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
      if (numeric) exact.emplace_back(ValueOf(text, form, numbers), weight);
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
    for (ColumnProfile::Top& entry : top) entry.value = ValueOf(entry.text, form, numbers);
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
  const NumberForm numbers{m_decimal, {m_grouping[0], m_grouping[1]}};
  // The null tokens a column held, as its missing values.
  auto missingTokens = [this](uint64_t seen) {
    std::vector<CFValue> listed;
    for (size_t i = 0; i < m_nullTokens.size(); ++i) {
      if ((seen >> i & 1) != 0 && Carriable(m_nullTokens[i])) {
        listed.emplace_back(CFDatum(m_nullTokens[i].c_str(), false));
      }
    }
    return CFMissingValues(CFRange(), listed, true, false);
  };
  for (Column& column : m_columns) {
    // A column that turned text after it kept more texts than a text column keeps.
    if (column.kind == Kind::String && column.categories &&
        column.categories->GetNCats() > m_maxCategories) {
      column.Overflow(m_maxCategories, m_details);
    }
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

    std::unique_ptr<CFCatStats> categories;
    CFField::FieldType type = TakeCategories(column, categories, warnings);
    bool categorical = type != CFField::Continuous;
    uint32_t count = categories ? categories->GetNCats() : 0;
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
    if (storage == CFField::StringStorage && column.nullTokens != 0) {
      stored = stored && field.SetMissingValues(missingTokens(column.nullTokens));
    }
    int decimals = values ? values->decimals : 0;
    std::unique_ptr<CFFormat> format;
    if (form >= 0) format = FormatOfForm(form, decimals);
    auto decorated = m_decorations.find(column.name);
    if (decorated != m_decorations.end()) {
      format = DecoratedFormatFor(column.name, column.kind, decimals, decorated->second.decoration,
                                  decorated->second.symbol, numbers, column.grouping);
    } else if (column.kind == Kind::Integer || column.kind == Kind::Real) {
      NumberShape shape;
      shape.integer = column.kind == Kind::Integer;
      shape.decimals = decimals;
      shape.needed = values->needed;
      shape.significant = values->significant;
      std::tie(shape.min, shape.max) = values->stats.GetExtrema();
      std::unique_ptr<CFNumberFormat> number = NumberFormatFor(shape);
      number->SetSeparators(DecimalSymbolOf(numbers), GroupingSymbolOf(column.grouping));
      format = std::move(number);
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
      } else {
        // A numeric column categorical beyond the value lists' limit is summarised as a text
        // column beyond it: by its most frequent values.
        if (column.kind != Kind::String && column.categories)
          column.Overflow(m_maxCategories, true);
        if (column.beyond) {
          summary.overflow = column.beyond->top.Top(m_maxCategories);
          summary.overflowCount = column.beyond->count;
          summary.exceeded = true;
        }
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
