#include "tools/cfmeta/show.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "cfmeta/field/cffield.h"
#include "cfmeta/field/cfgeo.h"
#include "cfmeta/field/cfmodelfield.h"
#include "cfmeta/format/cfdateformat.h"
#include "cfmeta/format/cfdecoratedformat.h"
#include "cfmeta/format/cfnumberformat.h"
#include "cfmeta/format/cfstringformat.h"
#include "cfmeta/format/cftimeformat.h"
#include "cfmeta/metadata/cffieldgroup.h"
#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/stats/cfcatstats.h"
#include "cfmeta/stats/cfcontstats.h"
#include "cfmeta/summaries/cfdatasetsummaries.h"
#include "cfmeta/summaries/cffieldsummaries.h"
#include "tools/cfmeta/document.h"
#include "tools/cfmeta/summaries.h"

namespace cfmeta_tool {

namespace {

constexpr uint32_t kTopCategories = 3;
// Fitting a table to a width cuts no column narrower than its heading nor than these: names
// keep more, as they tell the rows apart.
constexpr size_t kMinCutChars = 10;
constexpr size_t kMinCutNameChars = 16;

// Characters, not bytes, so that UTF-8 text lines up.
size_t DisplayWidth(const std::string& text) {
  size_t width = 0;
  for (unsigned char c : text) width += (c & 0xC0) != 0x80;
  return width;
}

// One line per cell: line ends and tabs become spaces.
std::string Cell(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r' || c == '\t'; }, ' ');
  return text;
}

// `text` in at most `maxChars` characters, the last an ellipsis when it is cut.
std::string Cut(const std::string& text, size_t maxChars) {
  if (maxChars == 0 || DisplayWidth(text) <= maxChars) return text;
  size_t chars = 0, cut = 0;
  while (cut < text.size() && chars < maxChars - 1) {
    ++cut;
    while (cut < text.size() && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) ++cut;
    ++chars;
  }
  return text.substr(0, cut) + "\u2026";
}

std::string Count(double count) {
  if (count == std::floor(count) && std::fabs(count) < 1e15) return fmt::format("{:.0f}", count);
  return fmt::format("{:.4g}", count);
}

// The name a type carries in its class's dictionary, or `fallback`.
const char* TypeText(const CFFormatUtils::DictEntry* dict, unsigned int type,
                     const char* fallback) {
  for (const CFFormatUtils::DictEntry* row = dict; row->second; ++row) {
    if (row->first == type) return row->second;
  }
  return fallback;
}

std::string DescribeFormat(const CFFormat& format) {
  std::string width = format.GetWidth() < 0 ? "free" : std::to_string(format.GetWidth());
  if (const auto* number = dynamic_cast<const CFNumberFormat*>(&format)) {
    return fmt::format("{} w={} d={}",
                       TypeText(CFNumberFormat::gFmtTypeDict, number->GetFormatType(), "number"),
                       width, number->GetDecimals());
  }
  if (const auto* time = dynamic_cast<const CFTimeFormat*>(&format)) {
    return fmt::format("time {} w={} d={}",
                       TypeText(CFTimeFormat::gFmtTypeDict, time->GetFormatType(), "?"), width,
                       time->GetDecimals());
  }
  if (const auto* date = dynamic_cast<const CFDateFormat*>(&format)) {
    std::string text = fmt::format(
        "date {} w={}", TypeText(CFDateFormat::gFmtTypeDict, date->GetFormatType(), "?"), width);
    if (const CFTimeFormat* time = date->GetTimeFormat()) text += " + " + DescribeFormat(*time);
    return text;
  }
  if (const auto* decorated = dynamic_cast<const CFDecoratedFormat*>(&format)) {
    std::string prefix, suffix, negPrefix, negSuffix;
    decorated->GetAffixes(prefix, suffix);
    decorated->GetNegAffixes(negPrefix, negSuffix);
    return fmt::format(
        "{} w={} d={} \"{}#{}\" neg \"{}{}#{}{}\"",
        TypeText(CFDecoratedFormat::gFmtTypeDict, decorated->GetFormatType(), "decorated"), width,
        decorated->GetDecimals(), prefix, suffix, negPrefix, prefix, suffix, negSuffix);
  }
  if (const auto* text = dynamic_cast<const CFStringFormat*>(&format)) {
    return fmt::format("string w={}{}", width, text->GetHexRep() ? " hex" : "");
  }
  return fmt::format("format w={}", width);
}

std::string FieldFormat(const CFField& field) {
  if (const CFFormat* own = field.GetPrivateFormat()) return DescribeFormat(*own);
  std::string reference = field.GetFormatReference();
  return reference.empty() ? "" : "@" + reference;
}

std::string Limit(const CFDatum& limit) {
  std::string text;
  if (!limit.ToString(text, 0)) return "*";
  return text;
}

std::string Missing(const CFMissingValues& missing) {
  std::vector<std::string> parts;
  if (missing.IsNullMissing()) parts.push_back("null");
  if (missing.IsWhiteSpMissing()) parts.push_back("blank");
  const CFRange& range = missing.GetMissingRange();
  if (!range.IsEmpty()) {
    parts.push_back(Limit(range.GetLimits().first) + ".." + Limit(range.GetLimits().second));
  }
  for (const CFValue& value : missing.GetMissingValueList())
    parts.push_back(Limit(value.GetValue()));
  return fmt::format("{}", fmt::join(parts, ","));
}

size_t LabelCount(const CFField& field) {
  size_t labels = field.GetValueLabels().size();
  for (const CFValue& value : field.GetValues()) labels += !value.GetLabel().empty();
  return labels;
}

// Mean and standard deviation are not data values: they get two more decimals than the
// field's number format.
std::unique_ptr<CFFormat> Finer(const CFFormat* format) {
  const auto* number = dynamic_cast<const CFNumberFormat*>(format);
  if (number == nullptr) return nullptr;
  std::unique_ptr<CFNumberFormat> finer(static_cast<CFNumberFormat*>(number->Clone()));
  finer->SetWidthDecimals(number->GetWidth(), number->GetDecimals() + 2);
  return finer;
}

std::string ContinuousSummary(const CFContStats& stats, const CFField& field,
                              const CFFormat* format) {
  if (stats.GetSumFreqWeights() <= 0) return "no data";
  std::pair<double, double> extrema = stats.GetExtrema();
  CFDatum low(extrema.first), high(extrema.second);
  if (const auto* integers = dynamic_cast<const CFContStatsInt*>(&stats)) {
    low = CFDatum(integers->GetExactExtrema().first);
    high = CFDatum(integers->GetExactExtrema().second);
  } else if (CFField::DatumTypeOf(field.GetStorage()) == CFDatum::Integer) {
    low = CFDatum(static_cast<long long>(extrema.first));
    high = CFDatum(static_cast<long long>(extrema.second));
  }
  CFFormat::ValueUnits units = UnitsOf(field.GetStorage());
  std::unique_ptr<CFFormat> finer = Finer(format);
  const CFFormat* moments = finer ? finer.get() : format;
  double sd = std::sqrt(stats.GetVariance());
  // A spread of dates or times is a length of time, not a date or time itself.
  std::string spread =
      units == CFFormat::Days ? fmt::format("{:.6g} days", sd)
      : units == CFFormat::Seconds
          ? (sd >= 86400 ? fmt::format("{:.6g} days", sd / 86400) : fmt::format("{:.6g} s", sd))
          : Trim(Render(CFDatum(sd), moments, units, 6));
  return fmt::format("min {}  max {}  mean {}  sd {}", Trim(Render(low, format, units)),
                     Trim(Render(high, format, units)),
                     Trim(Render(CFDatum(stats.GetMean()), moments, units, 6)), spread);
}

std::string CategorySummary(const CFCatStats& stats, const CFField& field, const CFFormat* format) {
  uint32_t count = stats.GetNCats();
  if (count == 0) return "no data";
  std::vector<uint32_t> order(count);
  std::iota(order.begin(), order.end(), 0u);
  uint32_t shown = std::min(count, kTopCategories);
  std::partial_sort(order.begin(), order.begin() + shown, order.end(), [&](uint32_t a, uint32_t b) {
    double wa = stats.GetCatWeight(a), wb = stats.GetCatWeight(b);
    return wa != wb ? wa > wb : a < b;
  });
  std::vector<std::string> parts;
  for (uint32_t i = 0; i < shown; ++i) {
    CFDatum value = stats.GetCatValDatum(order[i]);
    std::string text = Trim(Render(value, format, UnitsOf(field.GetStorage())));
    int index = CFValue::GetIndex(value, field.GetValues());
    if (index >= 0 && !field.GetValues()[index].GetLabel().empty()) {
      text += " \"" + field.GetValues()[index].GetLabel() + "\"";
    }
    parts.push_back(text + ": " + Count(stats.GetCatWeight(order[i])));
  }
  std::string summary = fmt::format("{}", fmt::join(parts, ", "));
  if (count > shown) summary += fmt::format(" (+{} more)", count - shown);
  return summary;
}

std::string Statistics(const CFMetaData& metadata, const CFField& field) {
  const CFFormat* format = metadata.GetDisplayFormat(field);
  if (const CFContStats* stats = field.GetContStats())
    return ContinuousSummary(*stats, field, format);
  if (const CFCatStats* stats = field.GetCatStats()) return CategorySummary(*stats, field, format);
  return "";
}

std::string Share(double part, double whole) {
  if (part == 0) return "0%";
  if (part == whole) return "100%";
  double percent = 100.0 * part / whole;
  if (percent < 0.05) return "<0.1%";
  if (percent > 99.95) return ">99.9%";
  return fmt::format("{:.1f}%", percent);
}

std::string Nulls(const CFMetaData& metadata, const CFField& field, const CFFieldSummary* summary) {
  double nulls = -1, records = -1;
  if (summary != nullptr && summary->getValidCount() >= 0 && summary->getMissingCount() >= 0) {
    nulls = static_cast<double>(summary->getMissingCount());
    records = nulls + static_cast<double>(summary->getValidCount());
  } else {
    // Statistics count frequency weights, so they are set against the weighted record count.
    double counted = field.GetContStats()  ? field.GetContStats()->GetSumFreqWeights()
                     : field.GetCatStats() ? field.GetCatStats()->GetSumWeights()
                                           : -1;
    double weighted = metadata.GetRecordCount(true);
    if (counted >= 0 && weighted >= counted) {
      nulls = weighted - counted;
      records = weighted;
    }
  }
  if (nulls < 0) return "";
  if (records <= 0) return Count(nulls);
  return fmt::format("{} ({})", Count(nulls), Share(nulls, records));
}

// How a column gives way when a table is fitted to a width: not at all, first, or only when the
// first can give no more (names, which identify the row).
enum Give { Keep, First, Last };

// Writes `rows` (the first the headings) in aligned columns. With a `width`, the widest of the
// columns that give way first lose a character at a time until the lines fit or none can lose
// more, then those that give way last.
void WriteRows(const std::vector<std::vector<std::string>>& rows, const std::vector<Give>& give,
               size_t width, std::ostream& out) {
  std::vector<size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (size_t c = 0; c < row.size(); ++c) widths[c] = std::max(widths[c], DisplayWidth(row[c]));
  }
  if (width > 0 && !widths.empty()) {
    size_t total = 2 * (widths.size() - 1);
    for (size_t w : widths) total += w;
    for (Give turn : {First, Last}) {
      while (total > width) {
        size_t widest = widths.size();
        for (size_t c = 0; c < widths.size() && c < give.size(); ++c) {
          size_t least =
              std::max(turn == Last ? kMinCutNameChars : kMinCutChars, DisplayWidth(rows[0][c]));
          if (give[c] == turn && widths[c] > least &&
              (widest == widths.size() || widths[c] > widths[widest])) {
            widest = c;
          }
        }
        if (widest == widths.size()) break;
        --widths[widest];
        --total;
      }
    }
  }
  for (const auto& row : rows) {
    std::string line;
    for (size_t c = 0; c < row.size(); ++c) {
      std::string cell = Cut(row[c], widths[c]);
      line += cell;
      if (c + 1 < row.size()) line += std::string(widths[c] - DisplayWidth(cell) + 2, ' ');
    }
    out << line.substr(0, line.find_last_not_of(' ') + 1) << '\n';
  }
}

std::string ModelTarget(const CFModelField& model) {
  std::string targetField, group, tag;
  CFDatum value;
  model.GetTargetProps(targetField, value, group, tag);
  std::string text = targetField.empty() ? "-" : targetField;
  std::string valueText;
  if (!value.IsNull() && value.ToString(valueText, 0)) text += " = " + valueText;
  return text;
}

std::string CoordinateSystem(const CFGeo& geo) {
  bool set = false;
  std::vector<std::string> parts;
  int32_t wkid = geo.GetWkid(set);
  if (set) parts.push_back(fmt::format("wkid {}", wkid));
  std::string csname = geo.GetCsname(set);
  if (set && !csname.empty()) parts.push_back(csname);
  std::string wkt = geo.GetWkt(set);
  if (set && !wkt.empty() && parts.empty()) parts.push_back(Cell(wkt));
  bool projected = geo.GetIsProjected(set);
  if (set) parts.push_back(projected ? "projected" : "geographic");
  return parts.empty() ? "-" : fmt::format("{}", fmt::join(parts, ", "));
}

// Model roles and geometries, for the fields that have them.
void WriteModelAndGeo(const CFMetaData& metadata, size_t width, std::ostream& out) {
  std::vector<std::vector<std::string>> models{{"name", "model role", "target"}};
  std::vector<std::vector<std::string>> geos{{"name", "geometry", "coordinate system"}};
  for (unsigned int i = 0; i < metadata.FieldCount(); ++i) {
    const CFField& field = *metadata.GetField(i);
    if (const CFModelField* model = field.GetModelField()) {
      std::string role = EntityText(CFField::kModelFieldRoleTable, model->GetMFRole());
      if (!model->GetMFExtendedRole().empty()) role += " (" + model->GetMFExtendedRole() + ")";
      models.push_back({Cell(field.GetName()), Cell(role), Cell(ModelTarget(*model))});
    }
    if (const CFGeo* geo = field.GetGeo()) {
      bool set = false;
      CFGeo::Type type = geo->GetType(set);
      geos.push_back({Cell(field.GetName()), set ? EntityText(CFField::kGeoTypeTable, type) : "-",
                      CoordinateSystem(*geo)});
    }
  }
  if (models.size() > 1) {
    out << "\nModel fields: " << models.size() - 1 << "\n\n";
    WriteRows(models, {Last, Keep, First}, width, out);
  }
  if (geos.size() > 1) {
    out << "\nGeospatial fields: " << geos.size() - 1 << "\n\n";
    WriteRows(geos, {Last, Keep, First}, width, out);
  }
}

void WriteGroups(const CFMetaData& metadata, size_t width, std::ostream& out) {
  std::vector<std::vector<std::string>> rows{{"group", "type", "label", "counted", "members"}};
  for (CFMetaData::GroupType type : {CFMetaData::PlainGroup, CFMetaData::MultiCategorySet,
                                     CFMetaData::MultiDichotomySet, CFMetaData::SplitGroup}) {
    std::string name, label, counted;
    std::vector<std::string> members;
    for (unsigned int i = 0; metadata.GetFieldGroup(type, i, name, members, label, counted); ++i) {
      rows.push_back({Cell(name), CFFieldGroup::TypeText(type), Cell(label),
                      counted.empty() ? "-" : Cell(counted),
                      Cell(fmt::format("{}", fmt::join(members, ", ")))});
    }
  }
  if (rows.size() == 1) return;
  out << "\nField groups: " << rows.size() - 1 << "\n\n";
  WriteRows(rows, {Last, Keep, First, Keep, First}, width, out);
}

}  // namespace

void WriteTable(const CFMetaData& metadata, std::ostream& out, size_t width) {
  std::map<std::string, const CFFieldSummary*> summaries;
  const CFDatasetSummaries* dataset = metadata.getDatasetSummaries();
  if (const CFFieldSummaries* fields = dataset ? dataset->getFieldSummaries() : nullptr) {
    for (size_t i = 0; i < fields->getFieldSummaryCount(); ++i) {
      summaries.emplace(fields->getFieldSummary(i)->getFieldName(), fields->getFieldSummary(i));
    }
  }
  auto count = [](size_t n) { return n == 0 ? std::string() : std::to_string(n); };
  // Column by column, so that one empty for every field can be left out.
  struct Column {
    const char* heading;
    Give give;
    std::vector<std::string> cells;
  };
  std::vector<Column> columns = {
      {"name", Last, {}},    {"storage", Keep, {}},    {"measure", Keep, {}},
      {"role", Keep, {}},    {"label", First, {}},     {"values", Keep, {}},
      {"labels", Keep, {}},  {"nulls", Keep, {}},      {"missing values", First, {}},
      {"format", First, {}}, {"statistics", First, {}}};
  for (unsigned int i = 0; i < metadata.FieldCount(); ++i) {
    const CFField& field = *metadata.GetField(i);
    auto summary = summaries.find(field.GetName());
    std::string cells[] = {
        Cell(field.GetName()),
        EntityText(CFField::kStorageTable, field.GetStorage()),
        EntityText(CFField::kMeasureTable, field.GetType()),
        EntityText(CFField::kRoleTable, field.GetRole()),
        Cell(field.GetLabel()),
        count(field.GetValues().size()),
        count(LabelCount(field)),
        Nulls(metadata, field, summary == summaries.end() ? nullptr : summary->second),
        Cell(Missing(field.GetMissingValues())),
        Cell(FieldFormat(field)),
        Cell(Statistics(metadata, field))};
    for (size_t c = 0; c < columns.size(); ++c) columns[c].cells.push_back(cells[c]);
  }
  columns.erase(std::remove_if(columns.begin(), columns.end(),
                               [](const Column& column) {
                                 return std::all_of(column.cells.begin(), column.cells.end(),
                                                    [](const std::string& c) { return c.empty(); });
                               }),
                columns.end());
  std::vector<std::vector<std::string>> rows(metadata.FieldCount() + 1);
  std::vector<Give> give;
  for (const Column& column : columns) {
    rows[0].push_back(column.heading);
    for (size_t r = 0; r < column.cells.size(); ++r) rows[r + 1].push_back(column.cells[r]);
    give.push_back(column.give);
  }
  out << "Fields: " << metadata.FieldCount() << "\n\n";
  WriteRows(rows, give, width, out);
  WriteModelAndGeo(metadata, width, out);
  WriteGroups(metadata, width, out);

  WriteSummaries(metadata, out);

  out << "\nRecords: ";
  double records = metadata.GetRecordCount(false);
  if (records < 0) {
    out << "unknown\n";
  } else {
    out << Count(records) << " (weighted " << Count(metadata.GetRecordCount(true)) << ")\n";
  }
  double dropped = metadata.GetDroppedCount();
  if (dropped >= 0) out << "Dropped: " << Count(dropped) << '\n';

  out << "\nShared formats: " << metadata.SharedFormatCount() << '\n';
  if (metadata.SharedFormatCount() == 0) return;
  const std::pair<CFField::StorageType, const char*> slots[] = {{CFField::RealStorage, "numbers"},
                                                                {CFField::StringStorage, "strings"},
                                                                {CFField::DateStorage, "dates"},
                                                                {CFField::TimeStorage, "times"}};
  std::vector<std::vector<std::string>> formats;
  formats.push_back({"name", "format", "default for"});
  for (unsigned int i = 0; i < metadata.SharedFormatCount(); ++i) {
    const CFFormat& format = *metadata.GetSharedFormat(i);
    std::vector<std::string> defaults;
    for (const auto& slot : slots) {
      if (metadata.GetDefaultFormat(slot.first) == &format) defaults.push_back(slot.second);
    }
    formats.push_back({Cell(format.GetName()), DescribeFormat(format),
                       defaults.empty() ? "-" : fmt::format("{}", fmt::join(defaults, ", "))});
  }
  out << '\n';
  WriteRows(formats, {Last, First, Keep}, width, out);
}

size_t OutputWidth() {
  if (const char* columns = std::getenv("COLUMNS")) {
    char* end = nullptr;
    long value = std::strtol(columns, &end, 10);
    if (end != columns && *end == '\0' && value > 0) return static_cast<size_t>(value);
  }
  struct winsize size {};
  if (isatty(STDOUT_FILENO) == 1 && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0) {
    return size.ws_col;
  }
  return 0;
}

}  // namespace cfmeta_tool
